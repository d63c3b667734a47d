// What is known about frames, and files of them.
#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <span>
#include <string>

#include "api/Handles.h"
#include "api/Structs.h"
#include "session/camera/CameraFiles.h"
#include "session/files/FrameSaver.h"
#include "session/files/SafeFile.h"
#include "session/fits/FitsCards.h"
#include "session/frame/Clipping.h"
#include "session/frame/Statistics.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

constexpr std::int64_t kNsPerTenth = 100;
constexpr double kTenthsPerUs = 10.0;
constexpr const char* kLibrary = "orqcam " ORQCAM_VERSION;

orq_frame_gps GpsOf(const FrameInfo& info) {
  const FrameGps& facts = info.gps;
  orq_frame_gps gps{};
  gps.state = static_cast<int32_t>(facts.state);
  gps.start_line = facts.latched.startLine;
  gps.end_line = facts.latched.endLine;
  gps.latitude = OrUnknown(facts.latitude);
  gps.longitude = OrUnknown(facts.longitude);
  gps.altitude_m = OrUnknown(facts.altitude);
  gps.predicted = facts.predictions.predicted;
  gps.confirmed = facts.predictions.confirmed;
  gps.wrong = facts.predictions.wrong;
  if (!HasGpsTimes(facts.state)) return gps;
  gps.satellites = facts.satellites;
  gps.start_unix_ns = facts.latched.start * kNsPerTenth;
  gps.end_unix_ns = facts.latched.end * kNsPerTenth;
  gps.row_us = info.times.rowInterval / kTenthsPerUs;
  gps.row_ns = std::llround(info.times.rowInterval * static_cast<double>(kNsPerTenth));
  return gps;
}

// With so many significant digits, whatever the locale.
std::string RealText(double value, int digits) {
  std::array<char, 40> text{};
  const auto [end, error] =
      std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::general, digits);
  return {text.data(), error == std::errc() ? end : text.data()};
}

orq_card CardOf(const session::FitsCard& from) {
  orq_card card{};
  CopyText(from.name, card.name);
  CopyText(from.comment, card.comment);
  if (const auto* logical = std::get_if<bool>(&from.value)) {
    card.type = ORQ_CARD_LOGICAL;
    card.integer = *logical ? 1 : 0;
    CopyText(*logical ? "T" : "F", card.text);
  } else if (const auto* integer = std::get_if<std::int64_t>(&from.value)) {
    card.type = ORQ_CARD_INTEGER;
    card.integer = *integer;
    CopyText(std::to_string(*integer), card.text);
  } else if (const auto* real = std::get_if<double>(&from.value)) {
    card.type = ORQ_CARD_REAL;
    card.real = *real;
    CopyText(RealText(*real, from.digits), card.text);
  } else {
    card.type = ORQ_CARD_TEXT;
    CopyText(std::get<std::string>(from.value), card.text);
  }
  return card;
}

// One that FITS files can hold.
template <std::size_t kBytes>
std::string LabelOf(const char (&text)[kBytes], const char* name) {
  std::string value = TextOf(text, name);
  session::CheckTextValue(value, name);
  return value;
}

void PutKeyword(session::FileContext& context, session::Keyword keyword) {
  std::erase_if(context.keywords, [&](const session::Keyword& other) { return other.name == keyword.name; });
  context.keywords.push_back(std::move(keyword));
}

session::SaveOptions HowToSave(const char* path, const orq_save_options* options) {
  if (path == nullptr) throw session::Failure(session::Status::Invalid, "path is null");
  const orq_save_options wanted = options == nullptr ? orq_save_options{} : TakeStruct(options, "options");
  session::SaveOptions how;
  how.pattern = session::FilePattern(path);
  how.preview = wanted.preview != 0;
  how.existing = wanted.overwrite != 0 ? Existing::Overwrite : Existing::Keep;
  how.durability = wanted.fast != 0 ? Durability::Cached : Durability::Synced;
  return how;
}

struct Saved {
  session::SavedFrame files;
  std::string warning;
};

Saved Save(const orq_frame* frame, const char* path, const orq_save_options* options) {
  const SharedFrame& shared = DemandFrame(frame);
  const session::SaveOptions how = HowToSave(path, options);
  session::FrameFacts facts = session::FactsOf(shared);
  const uint64_t number = options == nullptr ? 0 : TakeStruct(options, "options").number;
  if (number != 0) facts.number = number;
  if (session::IsWithoutLight(session::ContextOf(facts).imageType))
    facts.warning = session::ClippingWarning(shared.Pixels(), shared.Info());
  return {session::FrameSaver(how).Save(shared.Pixels(), facts), facts.warning};
}

}  // namespace

orq_status orq_frame_get_gps(const orq_frame* frame, orq_frame_gps* gps) {
  return Guarded([&] {
    const SharedFrame& shared = DemandFrame(frame);
    DemandStruct(gps, "gps");
    GiveStruct(GpsOf(shared.Info()), gps);
  });
}

orq_status orq_frame_get_statistics(const orq_frame* frame, orq_statistics* statistics) {
  return Guarded([&] {
    const SharedFrame& shared = DemandFrame(frame);
    DemandStruct(statistics, "statistics");
    const session::FrameStatistics measured = session::StatisticsOf(shared.Pixels(), shared.Info());
    orq_statistics given{};
    given.minimum = measured.minimum;
    given.maximum = measured.maximum;
    given.values = measured.values;
    given.mean = measured.mean;
    given.median = measured.median;
    given.deviation = measured.deviation;
    given.saturated = measured.saturated;
    std::ranges::copy(measured.histogram, given.histogram);
    GiveStruct(given, statistics);
  });
}

orq_status orq_frame_header_count(const orq_frame* frame, int32_t* count) {
  return Guarded([&] {
    const SharedFrame& shared = DemandFrame(frame);
    DemandResult(count, "count") = static_cast<int32_t>(session::HeaderCards(session::FactsOf(shared)).size());
  });
}

orq_status orq_frame_header_card(const orq_frame* frame, int32_t index, orq_card* card) {
  return Guarded([&] {
    const SharedFrame& shared = DemandFrame(frame);
    DemandStruct(card, "card");
    const auto cards = session::HeaderCards(session::FactsOf(shared));
    if (index < 0 || static_cast<std::size_t>(index) >= cards.size())
      throw session::Failure(session::Status::Range,
                             "the header has " + std::to_string(cards.size()) + " cards, counted from 0");
    GiveStruct(CardOf(cards[static_cast<std::size_t>(index)]), card);
  });
}

orq_status orq_frame_save(const orq_frame* frame, const char* path, const orq_save_options* options) {
  return Guarded([&] {
    const session::SavedFrame saved = Save(frame, path, options).files;
    if (!saved.trouble.empty()) throw session::Failure(session::Status::File, saved.trouble);
  });
}

orq_status orq_frame_save_files(const orq_frame* frame, const char* path, const orq_save_options* options,
                                orq_saved_files* saved) {
  return Guarded([&] {
    DemandFrame(frame);
    DemandStruct(saved, "saved");
    const Saved written = Save(frame, path, options);
    orq_saved_files given{};
    CopyText(written.files.file, given.file);
    CopyText(written.files.companion, given.preview);
    CopyText(written.files.sidecar, given.sidecar);
    CopyText(written.files.trouble, given.trouble);
    CopyText(written.warning, given.warning);
    GiveStruct(given, saved);
  });
}

orq_status orq_save_check(orq_camera* camera, const char* path, const orq_save_options* options, uint64_t count) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    { const session::Camera::Use open(*opened); }  // what is wrong with the camera is told first
    const session::SaveOptions how = HowToSave(path, options);
    session::CheckSaving(*opened, how, count);
  });
}

orq_status orq_clock_get_state(orq_clock_state* state) {
  return Guarded([&] {
    DemandStruct(state, "state");
    orq_clock_state given{};
    const auto clock = session::ReadClockState();
    given.synchronised = !clock ? -1 : clock->synchronised ? 1 : 0;
    given.max_error_us = clock ? clock->maxErrorUs : 0;
    GiveStruct(given, state);
  });
}

orq_status orq_labels_set(orq_camera* camera, const orq_labels* labels) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    const orq_labels given = TakeStruct(labels, "labels");
    if (given.image_type < ORQ_IMAGE_LIGHT || given.image_type > ORQ_IMAGE_FLAT)
      throw session::Failure(session::Status::Invalid, "labels.image_type must be one of ORQ_IMAGE_...");
    const std::string object = LabelOf(given.object, "labels.object");
    const std::string observer = LabelOf(given.observer, "labels.observer");
    const std::string creator = LabelOf(given.creator, "labels.creator");
    const session::Camera::Use device(*opened);  // not of a closed camera
    opened->ChangeOrigin([&](session::FrameOrigin& origin) {
      origin.context.imageType = static_cast<session::ImageType>(given.image_type);
      origin.context.object = object;
      origin.context.observer = observer;
      origin.context.creator = creator.empty() ? kLibrary : creator;
    });
  });
}

orq_status orq_keyword_set(orq_camera* camera, const char* keyword) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    if (keyword == nullptr) throw session::Failure(session::Status::Invalid, "keyword is null");
    const session::Camera::Use device(*opened);
    session::Keyword parsed = session::ParseKeyword(keyword);
    opened->ChangeOrigin([&](session::FrameOrigin& origin) { PutKeyword(origin.context, std::move(parsed)); });
  });
}

orq_status orq_keywords_clear(orq_camera* camera) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    const session::Camera::Use device(*opened);
    opened->ChangeOrigin([](session::FrameOrigin& origin) { origin.context.keywords.clear(); });
  });
}

orq_status orq_file_check(const char* path, int32_t overwrite) {
  return Guarded([&] {
    session::DemandWritable(DemandText(path, "path"), overwrite != 0 ? Existing::Overwrite : Existing::Keep);
  });
}

orq_status orq_file_write(const char* path, const uint8_t* bytes, size_t size, int32_t overwrite) {
  return Guarded([&] {
    DemandText(path, "path");
    if (bytes == nullptr) throw session::Failure(session::Status::Invalid, "bytes is null");
    session::WriteFile(path, std::span(bytes, size), overwrite != 0 ? Existing::Overwrite : Existing::Keep);
  });
}
