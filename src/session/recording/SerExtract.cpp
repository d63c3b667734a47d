#include "session/recording/SerExtract.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <vector>

#include "session/Failure.h"
#include "session/files/FileNames.h"
#include "session/fits/FitsFile.h"
#include "session/pictures/PngPreview.h"
#include "session/recording/cube/CubeFrame.h"
#include "session/recording/cube/CubeTimes.h"
#include "session/text/Units.h"
#include "support/ser/SerFile.h"
#include "support/ser/SerSamples.h"

namespace orq::session {
namespace {

using Samples = std::vector<std::uint16_t>;

/// A frame in the order of a SER file, as numbers.
struct SerFrame {
  SerHeader header;
  Samples samples;
  std::optional<std::int64_t> unixTenths;
  std::vector<FitsCard> cards;          ///< what its file says of it
  const char* fileKeyword = "SERFILE";  ///< under which a frame that is taken out names its file
};

[[noreturn]] void Refuse(const std::string& path, const std::string& why) {
  throw Failure(Status::File, "'" + path + "': " + why);
}

void DemandFrame(const std::string& path, std::uint64_t frame, std::uint64_t frames) {
  if (frame >= 1 && frame <= frames) return;
  throw Failure(Status::Range, "'" + path + "' has frames 1 to " + std::to_string(frames));
}

// Header texts of other programs may hold what FITS does not take.
std::string Plain(std::string text) {
  std::ranges::replace_if(
      text, [](char c) { return c < ' ' || c > '~'; }, '?');
  return text;
}

std::vector<FitsCard> CardsOf(const SerHeader& header, const std::optional<std::int64_t>& unixTenths) {
  std::vector<FitsCard> cards;
  const auto add = [&cards](const char* name, const std::string& text, const char* comment) {
    if (!text.empty()) cards.push_back({name, Plain(text), comment});
  };
  add("INSTRUME", header.instrument, "camera");
  if (unixTenths) {
    add("DATE-OBS", IsoUtcTenths(*unixTenths), "time stamp of the frame");
    add("TIMESYS", "UTC", "time scale of DATE-OBS");
  }
  add("OBSERVER", header.observer, "who took the image");
  add("TELESCOP", header.telescope, "telescope");
  if (header.Planes() == 1 && header.colour != kSerMono) {
    add("BAYERPAT", std::string(SerColourName(header.colour)), "colours of the top left 2x2 pixels, row by row");
    cards.push_back({"XBAYROFF", std::int64_t{0}, "[pixel] column offset of the pattern"});
    cards.push_back({"YBAYROFF", std::int64_t{0}, "[pixel] row offset of the pattern"});
  }
  add("ROWORDER", "TOP-DOWN", "first row of the data is the top one");
  return cards;
}

SerFrame ReadSer(const std::string& path, std::uint64_t frame) {
  std::string error;
  const std::optional<SerFile> file = SerFile::Open(path, error);
  if (!file) Refuse(path, error);
  const SerSurvey& survey = file->Survey();
  if (survey.header.frames == 0) Refuse(path, "it was not finished: repair it first (orqcam ser repair)");
  DemandFrame(path, frame, survey.frames);
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(survey.header.FrameBytes()));
  const auto readFrame = [&](std::uint64_t index) {
    if (!file->ReadFrame(index, bytes)) Refuse(path, "cannot be read");
  };
  SerFrame read{.header = survey.header, .samples = {}, .unixTenths = {}, .cards = {}};
  const bool wide = survey.header.BytesPerSample() == 2;
  bool little = true;
  if (wide) {
    readFrame(0);
    little = SerIsLittleEndian(bytes, survey.header.byteOrder);
  }
  readFrame(frame - 1);
  read.samples.resize(bytes.size() / (wide ? 2 : 1));
  for (std::size_t i = 0; i < read.samples.size(); ++i)
    read.samples[i] = wide ? SerSample(&bytes[2 * i], little) : bytes[i];
  const auto stamp = file->ReadStamps(frame - 1, 1);
  if (stamp && !stamp->empty()) read.unixTenths = UnixTenthsOf(stamp->front());
  read.cards = CardsOf(read.header, read.unixTenths);
  return read;
}

SerFrame ReadCube(const std::string& path, std::uint64_t frame) {
  CubeFile cube(path);
  DemandFrame(path, frame, std::min(cube.WholeFrames(), cube.Facts().frames));
  const auto rows = ReadTimesTable(cube, frame - 1, 1);
  if (!rows && ReadTimes(TimesFileOf(path)))
    Refuse(path, "it was not finished: repair it first (orqcam ser repair)");
  const RecordedFrame* const row = rows && !rows->empty() && rows->front().begin != 0 ? &rows->front() : nullptr;
  SerFrame read{.header = CubeHeaderAsSer(cube),
                .samples = SamplesOfCube(cube.ReadFrame(frame - 1), cube.Facts().shape),
                .unixTenths = {},
                .cards = CardsOfCubeFrame(cube, row),
                .fileKeyword = "CUBEFILE"};
  if (row != nullptr) read.unixTenths = row->begin;
  return read;
}

/// Where red, green and blue stand in a pixel.
std::size_t PlaceOf(const SerHeader& header, std::size_t colour) {
  return header.colour == kSerBgr ? 2 - colour : colour;
}

std::vector<std::uint8_t> PlanesOf(const SerFrame& frame) {
  const auto planes = static_cast<std::size_t>(frame.header.Planes());
  const std::size_t pixels = frame.samples.size() / planes;
  const auto width = static_cast<std::size_t>(frame.header.BytesPerSample());
  std::vector<std::uint8_t> bytes(frame.samples.size() * width);
  std::size_t to = 0;
  for (std::size_t plane = 0; plane < planes; ++plane) {
    const std::size_t place = planes == 1 ? 0 : PlaceOf(frame.header, plane);
    for (std::size_t i = 0; i < pixels; ++i) {
      const std::uint16_t sample = frame.samples[i * planes + place];
      if (width == 2)
        std::memcpy(&bytes[to], &sample, 2);
      else
        bytes[to] = static_cast<std::uint8_t>(sample);
      to += width;
    }
  }
  return bytes;
}

std::vector<std::uint8_t> FitsOf(const SerFrame& frame, const std::string& path, std::uint64_t number,
                                 FitsForm form) {
  constexpr std::size_t kMostText = 68;
  const SerHeader& header = frame.header;
  std::vector<FitsCard> cards = frame.cards;
  cards.push_back({"FRAMENO", static_cast<std::int64_t>(number), "number of the frame in its recording, from 1"});
  cards.push_back({frame.fileKeyword, Plain(path.substr(path.rfind('/') + 1).substr(0, kMostText)),
                   "recording that it was taken out of"});
  const std::vector<std::uint8_t> planes = PlanesOf(frame);
  return EncodeFits(PlainImage{header.width, header.height, header.Planes(), header.BytesPerSample(), planes},
                    cards, form);
}

int PatternOf(std::int32_t colour) {
  switch (colour) {
    case kSerRggb:
      return 0;
    case kSerBggr:
      return 1;
    case kSerGrbg:
      return 2;
    case kSerGbrg:
      return 3;
    default:
      return -1;
  }
}

std::vector<std::uint8_t> PictureOf(const SerFrame& frame) {
  const SerHeader& header = frame.header;
  FrameInfo info;
  info.region = {
      .startX = 0, .startY = 0, .width = header.width, .height = header.height, .bin = 1, .format = ORQ_IMG_RAW8};
  info.bayerPattern = PatternOf(header.colour);
  std::vector<std::uint8_t> bytes;
  if (header.Planes() == 3) {
    info.region.format = ORQ_IMG_RGB24;
    const int shift = header.BytesPerSample() == 2 ? std::max(header.depth - 8, 0) : 0;
    bytes.resize(frame.samples.size());
    for (std::size_t i = 0; i < bytes.size(); ++i) {
      const std::size_t blueFirst = 2 - i % 3;  // the colour that stands here then: red, green, blue are 0 to 2
      bytes[i] = static_cast<std::uint8_t>(frame.samples[i - i % 3 + PlaceOf(header, blueFirst)] >> shift);
    }
    return EncodePreview(bytes, info);
  }
  if (header.BytesPerSample() == 2) info.region.format = ORQ_IMG_RAW16;
  return EncodePreview(PlanesOf(frame), info);
}

}  // namespace

std::string ExtractSer(const std::string& path, std::uint64_t frame, const std::string& to, Existing existing,
                       Durability durability) {
  const FilePattern pattern(to);
  const FileKind kind = pattern.Kind();
  if (kind == FileKind::Raw)
    throw Failure(Status::Invalid, "file name: '" + to + "' must end in .fits.fz, .fits, .fit or .png");
  const SerFrame read = IsFits(path) ? ReadCube(path, frame) : ReadSer(path, frame);
  NameFacts facts;
  facts.number = frame;
  facts.unixUs = read.unixTenths.value_or(0) / 10;
  facts.camera = read.header.instrument;
  std::string name = pattern.Expand(facts);
  const FitsForm form = kind == FileKind::CompressedFits ? FitsForm::Compressed : FitsForm::Plain;
  const std::vector<std::uint8_t> bytes =
      kind == FileKind::Png ? PictureOf(read) : FitsOf(read, path, frame, form);
  WriteWholeFile(name, bytes, existing, durability);
  return name;
}

}  // namespace orq::session
