// Frames, and the readers that wait for them.
#include "api/Handles.h"
#include "api/Structs.h"
#include "models/camera/FrameGeometry.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

constexpr int32_t kDefaultDepth = 8;
constexpr int32_t kMostDepth = 4096;
constexpr int64_t kNsPerTenth = 100;

orq_frame* HandleOf(FramePtr frame) {
  return reinterpret_cast<orq_frame*>(frame.Detach());
}

int32_t TimeSourceOf(GpsState state) {
  if (state == GpsState::Fix) return ORQ_TIME_GPS;
  return state == GpsState::Predicted ? ORQ_TIME_GPS_PREDICTED : ORQ_TIME_COMPUTER;
}

orq_frame_info InfoOf(const SharedFrame& frame) {
  const FrameInfo& facts = frame.Info();
  orq_frame_info info{};
  info.size = sizeof info;
  info.sequence = facts.sequence;
  info.start_x = facts.region.startX;
  info.start_y = facts.region.startY;
  info.width = facts.region.width;
  info.height = facts.region.height;
  info.bin = facts.region.bin;
  info.format = facts.region.format;
  const bool raw = facts.region.format == ORQ_IMG_RAW8 || facts.region.format == ORQ_IMG_RAW16;
  info.bayer = raw ? facts.bayerPattern : ORQ_BAYER_NONE;
  info.bytes_per_pixel = static_cast<int32_t>(BytesPerPixel(facts.region.format));
  info.exposure_us = facts.exposureUs;
  info.time_unix_ns = facts.times.begin * kNsPerTenth;
  info.end_unix_ns = facts.times.end * kNsPerTenth;
  info.time_uncertainty_ns = facts.times.uncertainty * kNsPerTenth;
  info.time_source = TimeSourceOf(facts.gps.state);
  info.gain = facts.gain;
  info.offset = facts.offset;
  info.flips = (facts.flipHorizontal ? ORQ_FLIP_HORIZONTAL : 0) | (facts.flipVertical ? ORQ_FLIP_VERTICAL : 0);
  info.electrons_per_adu = facts.electronsPerAdu;
  info.number = frame.Number();
  const FrameReadings& readings = facts.readings;
  info.sensor_c = OrUnknown(readings.sensorC);
  info.target_c = OrUnknown(readings.targetC);
  info.cooler_power = readings.coolerPower.value_or(-1);
  info.gamma = facts.gamma;
  info.corrections =
      (facts.darkSubtracted ? ORQ_CORRECTED_DARK : 0) | (facts.hotPixelsRepaired ? ORQ_CORRECTED_HOT_PIXELS : 0);
  info.readout_mode = facts.highSpeed ? 1 : facts.readoutMode;
  info.black_level = OrUnknown(facts.levels.black);
  info.saturated = OrUnknown(facts.levels.saturated);
  info.after_gap = frame.AfterGap() ? 1 : 0;
  info.real_exposure_ms = readings.realExposureMs.value_or(-1);
  return info;
}

}  // namespace

orq_status orq_frame_wait(orq_camera* camera, int32_t timeout_ms, orq_frame** frame) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandResult(frame, "frame");
    *frame = HandleOf(opened->AwaitFrame(nullptr, timeout_ms));
  });
}

orq_status orq_reader_open(orq_camera* camera, const orq_reader_options* options, orq_reader** reader) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandResult(reader, "reader");
    const orq_reader_options wanted = options == nullptr ? orq_reader_options{} : TakeStruct(options, "options");
    if (wanted.mode != ORQ_READ_NEWEST && wanted.mode != ORQ_READ_EVERY)
      throw session::Failure(session::Status::Invalid, "options.mode must be one of ORQ_READ_...");
    if (wanted.depth < 0 || wanted.depth > kMostDepth)
      throw session::Failure(session::Status::Invalid, "options.depth must be from 0 to 4096");
    const ReadMode mode = wanted.mode == ORQ_READ_EVERY ? ReadMode::Every : ReadMode::Newest;
    auto handle = std::make_unique<orq_reader>();
    handle->camera = opened;
    handle->reader =
        opened->OpenReader(mode, static_cast<std::size_t>(wanted.depth == 0 ? kDefaultDepth : wanted.depth));
    *reader = handle.release();
  });
}

orq_status orq_reader_wait(orq_reader* reader, int32_t timeout_ms, orq_frame** frame) {
  return Guarded([&] {
    const auto camera = Demand(reader, "reader").camera;
    const auto line = reader->reader;  // both stay when the reader is released meanwhile
    DemandResult(frame, "frame");
    *frame = HandleOf(camera->AwaitFrame(line.get(), timeout_ms));
  });
}

orq_status orq_reader_get_counters(orq_reader* reader, orq_reader_counters* counters) {
  return Guarded([&] {
    const orq_reader& handle = Demand(reader, "reader");
    DemandStruct(counters, "counters");
    const FrameMailbox::ReaderCounts counts = handle.camera->Frames().Counts(*handle.reader);
    GiveStruct({sizeof *counters, static_cast<uint32_t>(counts.waiting), counts.delivered, counts.missed,
                handle.camera->Frames().NoBuffer()},
               counters);
  });
}

void orq_reader_release(orq_reader* reader) {
  Guarded([&] {
    if (reader == nullptr) return;
    Demand(reader, "reader");
    const std::unique_ptr<orq_reader> handle(reader);
    handle->camera->Frames().CloseReader(*handle->reader);
    handle->mark = 0;  // after whoever waits with it has been told
  });
}

orq_status orq_frame_data(const orq_frame* frame, const uint8_t** bytes, size_t* size) {
  return Guarded([&] {
    const auto pixels = DemandFrame(frame).Pixels();
    DemandResult(bytes, "bytes");
    DemandResult(size, "size");
    *bytes = pixels.data();
    *size = pixels.size();
  });
}

orq_status orq_frame_get_info(const orq_frame* frame, orq_frame_info* info) {
  return Guarded([&] {
    const SharedFrame& shared = DemandFrame(frame);
    DemandStruct(info, "info");
    GiveStruct(InfoOf(shared), info);
  });
}

orq_status orq_frame_retain(orq_frame* frame) {
  return Guarded([&] { DemandFrame(frame).Retain(); });
}

void orq_frame_release(orq_frame* frame) {
  Guarded([&] {
    if (frame != nullptr) DemandFrame(frame).Release();
  });
}
