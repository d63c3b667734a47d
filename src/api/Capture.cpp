// Geometry, exposures and video.
#include <chrono>
#include <optional>

#include "api/Handles.h"
#include "api/Structs.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

FrameRegion RegionOf(const orq_region* region) {
  const orq_region given = TakeStruct(region, "wanted");
  if (given.format < ORQ_FORMAT_RAW8 || given.format > ORQ_FORMAT_Y8)
    throw session::Failure(session::Status::Invalid, "wanted.format must be one of ORQ_FORMAT_...");
  return {given.start_x, given.start_y, given.width, given.height, given.bin, static_cast<IMG_TYPE>(given.format)};
}

orq_region RegionOf(const FrameRegion& region) {
  return {sizeof(orq_region), region.startX, region.startY, region.width,
          region.height,      region.bin,    region.format, 0};
}

}  // namespace

orq_status orq_region_fit(orq_camera* camera, const orq_region* wanted, orq_region* fitted) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    const FrameRegion region = RegionOf(wanted);
    DemandStruct(fitted, "fitted");
    FrameRegion fit;
    opened->FitRegion(region, fit);
    GiveStruct(RegionOf(fit), fitted);
  });
}

orq_status orq_region_set(orq_camera* camera, const orq_region* wanted, orq_region* applied) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    const FrameRegion region = RegionOf(wanted);
    if (applied != nullptr) DemandStruct(applied, "applied");
    FrameRegion set;
    opened->SetRegion(region, set);
    if (applied != nullptr) GiveStruct(RegionOf(set), applied);
  });
}

orq_status orq_region_get(orq_camera* camera, orq_region* region) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(region, "region");
    GiveStruct(RegionOf(opened->Region()), region);
  });
}

orq_status orq_region_get_bayer(orq_camera* camera, int32_t* bayer) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandResult(bayer, "bayer") = session::Camera::Use(*opened)->FramePattern();
  });
}

orq_status orq_exposure_start(orq_camera* camera, uint64_t exposure_us) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    const auto most = static_cast<uint64_t>(std::chrono::microseconds::max().count());
    const auto exposure = static_cast<std::int64_t>(exposure_us < most ? exposure_us : most);
    opened->StartExposure(std::chrono::microseconds(exposure));
  });
}

orq_status orq_exposure_get_progress(orq_camera* camera, orq_exposure_progress* progress) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(progress, "progress");
    const session::ExposureProgress now = opened->Progress();
    GiveStruct({sizeof *progress, now.running ? 1 : 0, static_cast<uint64_t>(now.elapsed.count()),
                static_cast<uint64_t>(now.exposure.count()), static_cast<uint64_t>(now.limit.count())},
               progress);
  });
}

orq_status orq_video_start(orq_camera* camera) {
  return Guarded([&] { CameraOf(camera)->StartVideo(); });
}

orq_status orq_video_stop(orq_camera* camera) {
  return Guarded([&] { CameraOf(camera)->StopVideo(); });
}

orq_status orq_capture_abort(orq_camera* camera) {
  return Guarded([&] { CameraOf(camera)->Abort(); });
}

orq_status orq_exposure_abort(orq_camera* camera) {
  return Guarded([&] { CameraOf(camera)->AbortCapture(); });
}

orq_status orq_stream_get_counters(orq_camera* camera, orq_stream_counters* counters) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(counters, "counters");
    const StreamCounters now = opened->Counters();
    GiveStruct({.size = sizeof *counters,
                .reserved = 0,
                .started = now.started,
                .completed = now.completed,
                .failed = now.failed,
                .stale = now.stale,
                .dropped = now.dropped,
                .aborted = now.aborted,
                .filling = now.filling,
                .failed_short = now.failedShort,
                .failed_oversize = now.failedOversize,
                .failed_marks = now.failedMarks,
                .failed_sequence = now.failedSequence,
                .failed_stalled = now.failedStalled,
                .failed_transport = now.failedTransport,
                .failed_timed_out = now.failedTimedOut,
                .lost = now.lost,
                .overwritten = now.overwritten,
                .bytes = now.bytes,
                .bytes_discarded = now.bytesDiscarded,
                .submit_retries = now.submitRetries,
                .halts_cleared = now.haltsCleared,
                .resyncs = now.resyncs,
                .in_flight = now.inFlight,
                .in_flight_max = now.inFlightMax,
                .longest_gap_us = now.longestGapUs},
               counters);
  });
}

orq_status orq_time_mark_set(orq_camera* camera, int32_t on) {
  return Guarded([&] { session::Camera::Use(*CameraOf(camera))->SetTimeMark(on != 0); });
}

orq_status orq_frame_readings_set(orq_camera* camera, int32_t on) {
  return Guarded([&] { session::Camera::Use(*CameraOf(camera))->ReadWithFrames(on != 0); });
}

orq_status orq_gps_stamp_every(orq_camera* camera, int32_t milliseconds) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    const session::Camera::Use device(*opened);
    if (!device->Model().gps) throw session::Failure(session::Status::Unsupported, "this camera has no GPS");
    const bool asks = milliseconds >= 0;
    device->StampFrames(asks ? std::optional(std::chrono::milliseconds(milliseconds)) : std::nullopt);
  });
}
