// Recordings, and SER files.
#include <chrono>
#include <limits>
#include <string>

#include "api/Handles.h"
#include "api/Structs.h"
#include "session/measure/Disc.h"
#include "session/recording/CubeRepair.h"
#include "session/recording/SerExtract.h"
#include "session/recording/SerRepair.h"
#include "session/recording/cube/CubeFile.h"
#include "support/Text.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

constexpr std::int64_t kNsPerTenth = 100;

session::RecordingForm FormOf(int32_t form) {
  if (form < ORQ_RECORDING_BY_NAME || form > ORQ_RECORDING_FOLDER)
    throw session::Failure(session::Status::Invalid, "options: form must be one of ORQ_RECORDING_...");
  return static_cast<session::RecordingForm>(form);
}

session::RecordingOptions HowToRecord(const orq_recording_options* options) {
  const orq_recording_options wanted =
      options == nullptr ? orq_recording_options{} : TakeStruct(options, "options");
  session::RecordingOptions how;
  how.form = FormOf(wanted.form);
  how.frames = wanted.frames;
  how.bytes = wanted.bytes;
  constexpr auto kMost = static_cast<uint64_t>(std::chrono::microseconds::max().count() / 1000);  // as nanoseconds
  how.duration = std::chrono::microseconds(wanted.duration_us < kMost ? wanted.duration_us : kMost);
  if (wanted.ring_mb != 0) how.ringBytes = std::uint64_t{wanted.ring_mb} << 20U;
  how.existing = wanted.overwrite != 0 ? Existing::Overwrite : Existing::Keep;
  return how;
}

session::Recording& RecordingOf(orq_recording* recording) {
  return *Demand(recording, "recording").recording;
}

int64_t UnixNs(std::int64_t serTime) {
  const std::optional<std::int64_t> tenths = UnixTenthsOf(serTime);
  const bool fits = tenths && *tenths <= std::numeric_limits<int64_t>::max() / kNsPerTenth &&
                    *tenths >= std::numeric_limits<int64_t>::min() / kNsPerTenth;
  return fits ? *tenths * kNsPerTenth : 0;
}

orq_ser_info InfoOf(const session::SerFindings& found) {
  const SerHeader& header = found.survey.header;
  orq_ser_info info{};
  info.colour = header.colour;
  CopyText(SerColourName(header.colour), info.colour_name);
  info.width = header.width;
  info.height = header.height;
  info.depth = header.depth;
  info.header_frames = header.frames;
  info.frames = found.survey.frames;
  info.whole_frames = found.unfinishedFrames != 0 ? found.unfinishedFrames : found.survey.frames;
  info.frame_bytes = header.FrameBytes();
  info.bytes = found.survey.fileBytes;
  info.stamps = found.survey.stamps;
  info.unstamped = found.unstamped;
  info.backwards = found.backwards;
  info.differing = found.differing;
  info.first_unix_ns = UnixNs(found.firstTime);
  info.last_unix_ns = UnixNs(found.lastTime);
  info.header_unix_ns = UnixNs(header.utcTime);
  info.described = found.described ? 1 : 0;
  info.whole = found.troubles.empty() ? 1 : 0;
  CopyText(header.observer, info.observer);
  CopyText(header.instrument, info.instrument);
  CopyText(header.telescope, info.telescope);
  CopyText(Join(found.troubles, "; "), info.trouble);
  return info;
}

}  // namespace

orq_status orq_recording_plan_get(orq_camera* camera, const char* path, const orq_recording_options* options,
                                  orq_recording_plan* plan) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    { const session::Camera::Use open(*opened); }  // what is wrong with the camera is told first
    const session::RecordingOptions how = HowToRecord(options);
    DemandStruct(plan, "plan");
    const session::RecordingPlan planned = session::PlanRecording(*opened, DemandText(path, "path"), how);
    orq_recording_plan given{};
    given.width = planned.region.width;
    given.height = planned.region.height;
    given.bin = planned.region.bin;
    given.format = planned.region.format;
    given.form = static_cast<int32_t>(planned.form);
    given.frame_bytes = planned.frameBytes;
    given.ring_frames = planned.ringFrames;
    given.free_bytes = planned.freeBytes;
    given.free_frames = planned.freeFrames;
    CopyText(planned.file, given.file);
    CopyText(planned.timesFile, given.times_file);
    GiveStruct(given, plan);
  });
}

orq_status orq_recording_start(orq_camera* camera, const char* path, const orq_recording_options* options,
                               orq_recording** recording) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    { const session::Camera::Use open(*opened); }
    const session::RecordingOptions how = HowToRecord(options);
    orq_recording*& result = DemandResult(recording, "recording");
    auto started = std::make_unique<orq_recording>();
    started->recording = std::make_unique<session::Recording>(opened, DemandText(path, "path"), how);
    result = started.release();
  });
}

orq_status orq_recording_stop(orq_recording* recording) {
  return Guarded([&] { RecordingOf(recording).Stop(); });
}

orq_status orq_recording_wait(orq_recording* recording, int32_t timeout_ms) {
  return Guarded([&] {
    session::Recording& waited = RecordingOf(recording);
    constexpr std::chrono::hours kForever{24};
    if (timeout_ms < 0)
      while (!waited.Wait(kForever)) continue;
    else if (!waited.Wait(std::chrono::milliseconds(timeout_ms)))
      throw session::Failure(session::Status::Timeout, "the recording still runs: wait again, or stop it");
  });
}

orq_status orq_recording_get_state(orq_recording* recording, orq_recording_state* state) {
  return Guarded([&] {
    const session::Recording& asked = RecordingOf(recording);
    DemandStruct(state, "state");
    const session::RecordingState now = asked.State();
    orq_recording_state given{};
    given.end = static_cast<int32_t>(now.end);
    given.frames = now.frames;
    given.missed = now.missed;
    given.lost = now.lost;
    given.waiting = now.waiting;
    given.bytes = now.bytes;
    given.free_bytes = now.freeBytes;
    given.seconds = now.seconds;
    given.first_unix_ns = now.first * kNsPerTenth;
    given.last_unix_ns = now.last * kNsPerTenth;
    given.direct = now.direct ? 1 : 0;
    CopyText(now.trouble, given.trouble);
    GiveStruct(given, state);
  });
}

orq_status orq_recording_get_missing(orq_recording* recording, uint64_t index, orq_missing_frames* missing) {
  return Guarded([&] {
    const session::Recording& asked = RecordingOf(recording);
    DemandStruct(missing, "missing");
    const auto found = asked.Missing(static_cast<std::size_t>(index));
    if (!found) throw session::Failure(session::Status::NotFound, "the recording has no more gaps by now");
    GiveStruct({sizeof *missing, static_cast<int32_t>(found->cause), found->first, found->last}, missing);
  });
}

void orq_recording_release(orq_recording* recording) {
  Guarded([&] {
    if (recording == nullptr) return;
    Demand(recording, "recording");
    const std::unique_ptr<orq_recording> handle(recording);
    handle->recording.reset();
    handle->mark = 0;
  });
}

orq_status orq_ser_get_info(const char* path, orq_ser_info* info) {
  return Guarded([&] {
    DemandText(path, "path");
    DemandStruct(info, "info");
    GiveStruct(InfoOf(session::IsFits(path) ? session::CheckCube(path) : session::CheckSer(path)), info);
  });
}

orq_status orq_ser_repair(const char* path, orq_ser_repaired* repaired) {
  return Guarded([&] {
    DemandText(path, "path");
    DemandStruct(repaired, "repaired");
    const session::SerRepaired done = session::IsFits(path) ? session::RepairCube(path) : session::RepairSer(path);
    GiveStruct({sizeof *repaired, done.changed ? 1 : 0, done.frames, done.timed}, repaired);
  });
}

orq_status orq_ser_extract(const char* path, uint64_t frame, const char* to, const orq_save_options* options,
                           orq_path* written) {
  return Guarded([&] {
    DemandText(path, "path");
    DemandText(to, "to");
    const orq_save_options wanted = options == nullptr ? orq_save_options{} : TakeStruct(options, "options");
    DemandStruct(written, "written");
    const Existing existing = wanted.overwrite != 0 ? Existing::Overwrite : Existing::Keep;
    const Durability durability = wanted.fast != 0 ? Durability::Cached : Durability::Synced;
    orq_path given{};
    CopyText(session::ExtractSer(path, frame, to, existing, durability), given.path);
    GiveStruct(given, written);
  });
}

orq_status orq_frame_get_disc(const orq_frame* frame, orq_disc* disc) {
  return Guarded([&] {
    const SharedFrame& shared = DemandFrame(frame);
    DemandStruct(disc, "disc");
    const auto found = session::FindDisc(shared.Pixels(), shared.Info().region);
    if (!found) throw session::Failure(session::Status::NotFound, "no disc stands out of the noise");
    GiveStruct({sizeof *disc, 0, found->x, found->y, found->diameter}, disc);
  });
}
