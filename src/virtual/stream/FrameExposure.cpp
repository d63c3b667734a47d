// The sensor thread of the frame stream: exposure, rendering, start of readout.
#include <algorithm>
#include <utility>

#include "virtual/stream/FrameStream.h"

namespace orq {
namespace {

constexpr int kFastBits = 10;

/// Whole payloads kept for comparison: fewer when they are large.
std::size_t PayloadsToKeep(std::size_t bytes) {
  return bytes > (8U << 20) ? 2 : 8;
}

}  // namespace

void FrameStream::Run() {
  MutexLock lock(mutex_);
  while (true) {
    AwaitWork(lock);
    if (quit_) return;
    Exposure exposure = Begin();
    exposing_ = exposure.epoch;
    std::shared_ptr<const Payload> payload = Render(exposure, lock);
    const auto isVoid = [&]() ORQ_REQUIRES(mutex_) { return exposure.epoch != epoch_; };
    if (isVoid()) continue;
    if (Clock::now() > exposure.readoutAt && !exposure.readoutSeconds)
      exposure.readoutAt = Clock::now();  // rendering took longer than the exposure
    else if (lock.WaitUntil(work_, exposure.readoutAt, isVoid))
      continue;
    ReadOut(exposure, std::move(payload));
    lock.Unlock();
    Wake();
    lock.Lock();
  }
}

bool FrameStream::GeometryValid() const {
  const FrameGeometry& geometry = settings_.geometry;
  return geometry.width > 0 && geometry.height > 0 && geometry.bin > 0 &&
         geometry.width * geometry.bin <= source_->Width() && geometry.height * geometry.bin <= source_->Height();
}

/// Returns when an exposure is due or the thread is to end.
void FrameStream::AwaitWork(MutexLock& lock) {
  while (!quit_ && !ExposureDue())
    if (Exposable() && !Exhausted() && trigger_.AtLevel())
      lock.WaitOnceUntil(work_, SensorFreeAt());
    else
      lock.WaitOnce(work_);
}

/// Whether the sensor exposes at all: freely or on triggers.
bool FrameStream::Exposable() const {
  return connected_ && settings_.output && settings_.sensorOn && GeometryValid();
}

/// Whether nothing more is exposed before the host has acted.
bool FrameStream::Exhausted() const {
  const bool full = options_.timeScale <= 0 && frameCount_ == kDeviceFrames;
  return full || (settings_.snap && exposedSinceRun_ > 0);  // without time, frames come as the host takes them
}

bool FrameStream::ExposureDue() const {
  if (!Exposable() || Exhausted()) return false;
  return !settings_.trigger.listens || trigger_.Due(SensorFreeAt(), Clock::now());
}

/// A triggered exposure begins when the last one has been read out.
FrameStream::Clock::time_point FrameStream::SensorFreeAt() const {
  return std::max(lastReadoutEnd_, exposableSince_);
}

TriggerUnit::Sensor FrameStream::SensorNow() const {
  if (!Exposable()) return TriggerUnit::Sensor::Off;
  const bool busy = exposing_ == epoch_ || Exhausted() || Clock::now() < SensorFreeAt();
  return busy ? TriggerUnit::Sensor::Busy : TriggerUnit::Sensor::Ready;
}

/// A sensor without a shutter of its own counts microseconds, or lines when the options say so.
std::uint64_t FrameStream::ExposureUs() const {
  if (settings_.shutterUs) return *settings_.shutterUs;
  return options_.countLines ? WholeLinesUs(settings_.exposureUs) : settings_.exposureUs;
}

/// At least one line.
std::uint64_t FrameStream::WholeLinesUs(std::uint64_t exposureUs) const {
  const std::uint64_t lineNs = std::max<std::uint64_t>(settings_.geometry.lineTimeNs, 1);
  return std::max<std::uint64_t>(exposureUs * 1000 / lineNs, 1) * lineNs / 1000;
}

/// Takes the settings of the next frame. In video mode its exposure overlaps the readout of the frame before.
FrameStream::Exposure FrameStream::Begin() {
  const FrameGeometry& geometry = settings_.geometry;
  const std::uint64_t exposureUs = ExposureUs();
  Exposure exposure;
  exposure.epoch = epoch_;
  exposure.geometry = geometry;
  exposure.sensor = {.startX = geometry.startX,
                     .startY = geometry.startY,
                     .width = geometry.width,
                     .height = geometry.height,
                     .bin = geometry.bin,
                     .exposureUs = exposureUs,
                     .gain = settings_.gain,
                     .blackLevel = settings_.blackLevel,
                     .readout = settings_.readout,
                     .temperatureC = sensorC_(),
                     .defocusSteps = static_cast<double>(focus_ - options_.focus),
                     .flatFlux = flatFlux_,
                     .frameNumber = framesExposed_};
  exposure.settingsTag = settings_.settingsTag;
  exposure.triggered = settings_.trigger.listens;
  exposure.readoutUs = ReadoutUs(geometry);
  exposure.readout = Scaled(exposure.readoutUs);
  exposure.gpsLines = settings_.gpsLines;
  exposure.limit = std::uint64_t{settings_.transferBlocks} * wire::kBlockBytes;
  const Clock::time_point free = overlapping_ ? lastReadoutAt_ : Clock::now();
  const Clock::time_point start = exposure.triggered ? trigger_.Serve(SensorFreeAt()) : free;
  const Clock::duration length = Scaled(static_cast<double>(exposureUs));
  exposure.readoutAt = std::max(start + length, lastReadoutEnd_);
  for (SyncOutput& output : sync_) output.ExposureBegins(DeviceUs(exposure.readoutAt - length));
  AddInstants(exposure);
  return exposure;
}

/// A frame that shows when it was exposed keeps that time, also when it is rendered late and comes later.
void FrameStream::AddInstants(Exposure& exposure) const {
  const bool moves = options_.scene == "planet";
  if (!options_.flash && !options_.occultation && !moves) return;
  exposure.readoutSeconds = ReadoutSeconds(exposure);
  ExposureSettings& sensor = exposure.sensor;
  const double length = static_cast<double>(sensor.exposureUs) * 1e-6;
  const double firstRow = *exposure.readoutSeconds - length;
  sensor.rowSeconds = exposure.readoutUs * 1e-6 / exposure.geometry.height;
  sensor.seconds = firstRow + length / 2.0;
  const auto since = [&](UtcTime instant) {
    const std::chrono::duration<double> at = instant - options_.gps.value_or(VirtualGps()).start;
    return at.count() - firstRow;
  };
  if (options_.flash) {
    sensor.flashStart = since(options_.flash->start);
    sensor.flashSeconds = options_.flash->seconds;
  }
  if (options_.occultation) {
    sensor.hiddenStart = since(options_.occultation->start);
    sensor.hiddenSeconds = options_.occultation->seconds;
  }
}

/// The frame's payload; the lock is open meanwhile.
std::shared_ptr<const Payload> FrameStream::Render(const Exposure& exposure, MutexLock& lock) {
  if (options_.preRender > 0) return RenderAhead(exposure, lock);
  const std::size_t samples =
      static_cast<std::size_t>(exposure.sensor.width) * static_cast<std::size_t>(exposure.sensor.height);
  std::shared_ptr<Payload> payload = FreeBuffer(PayloadBytes(samples, exposure.geometry.format));
  const MutexPause open(mutex_, lock);
  Fill(exposure.sensor, exposure.geometry, *payload);
  return payload;
}

/// The same few payloads in turn, made when the geometry is first used.
std::shared_ptr<const Payload> FrameStream::RenderAhead(const Exposure& exposure, MutexLock& lock) {
  if (rendered_.empty() || renderedFor_ != exposure.geometry) {
    rendered_.clear();
    renderedFor_ = exposure.geometry;
    const std::size_t samples =
        static_cast<std::size_t>(exposure.sensor.width) * static_cast<std::size_t>(exposure.sensor.height);
    ExposureSettings settings = exposure.sensor;
    std::vector<std::shared_ptr<const Payload>> made;
    for (int i = 0; i < options_.preRender; ++i) {
      auto payload = std::make_shared<Payload>(PayloadBytes(samples, exposure.geometry.format));
      settings.frameNumber = static_cast<std::uint64_t>(i);
      {
        const MutexPause open(mutex_, lock);
        Fill(settings, exposure.geometry, *payload);
      }
      if (exposure.epoch != epoch_) return nullptr;
      made.push_back(std::move(payload));
    }
    rendered_ = std::move(made);
  }
  return rendered_[framesExposed_ % rendered_.size()];
}

/// Bits that the converter gives: the fast readout stops it early.
int FrameStream::AdcBits(const FrameGeometry& geometry) const {
  return geometry.fast ? std::min(kFastBits, source_->AdcBits()) : source_->AdcBits();
}

void FrameStream::Fill(const ExposureSettings& settings, const FrameGeometry& geometry, Payload& payload) {
  adu_.resize(static_cast<std::size_t>(settings.width) * static_cast<std::size_t>(settings.height));
  source_->Expose(settings, adu_);
  const int bits = AdcBits(geometry);
  if (const int lost = source_->AdcBits() - bits; lost > 0)
    for (std::uint16_t& sample : adu_) sample = static_cast<std::uint16_t>(sample >> lost);
  PackSamples(adu_, bits, geometry.format, payload);
}

/// A payload buffer that nobody uses any more, or a new one.
std::shared_ptr<Payload> FrameStream::FreeBuffer(std::size_t bytes) {
  for (const std::shared_ptr<Payload>& buffer : buffers_) {
    if (buffer.use_count() == 1) {
      buffer->resize(bytes);
      return buffer;
    }
  }
  buffers_.push_back(std::make_shared<Payload>(bytes));
  return buffers_.back();
}

/// The exposure has ended: the frame gets its number and enters the device's memory, if there is room.
void FrameStream::ReadOut(const Exposure& exposure, std::shared_ptr<const Payload> payload) {
  exposing_.reset();
  const FramePlan plan = faults_.PlanOf(++framesExposed_);
  const std::uint32_t sequence = sequence_++;
  ++exposedSinceRun_;
  lastExposureUs_ = exposure.sensor.exposureUs;
  const double readoutSeconds = exposure.readoutSeconds ? *exposure.readoutSeconds : ReadoutSeconds(exposure);
  const std::uint32_t latch = Latch(exposure, readoutSeconds);
  lastReadoutAt_ = exposure.readoutAt;
  lastReadoutEnd_ = exposure.readoutAt + exposure.readout;
  overlapping_ = true;
  if (plan.drop || frameCount_ == kDeviceFrames) return;
  const wire::FrameHeader header{.sequence = sequence,
                                 .payloadBytes = static_cast<std::uint32_t>(payload->size()),
                                 .width = static_cast<std::uint16_t>(exposure.sensor.width),
                                 .height = static_cast<std::uint16_t>(exposure.sensor.height),
                                 .startX = static_cast<std::uint16_t>(exposure.sensor.startX),
                                 .startY = static_cast<std::uint16_t>(exposure.sensor.startY),
                                 .bin = static_cast<std::uint8_t>(exposure.sensor.bin),
                                 .format = exposure.geometry.format,
                                 .adcBits = static_cast<std::uint8_t>(AdcBits(exposure.geometry)),
                                 .flags = static_cast<std::uint8_t>(exposure.triggered ? 1 : 0),
                                 .gpsLatch = latch,
                                 .exposureUs = exposure.sensor.exposureUs,
                                 .gain = static_cast<std::uint16_t>(exposure.sensor.gain),
                                 .blackLevel = static_cast<std::uint16_t>(exposure.sensor.blackLevel),
                                 .settingsTag = exposure.settingsTag,
                                 .readoutMode = static_cast<std::uint8_t>(exposure.geometry.mode)};
  const auto age = std::chrono::duration_cast<std::chrono::system_clock::duration>(
      Clock::now() - exposure.readoutAt + Scaled(static_cast<double>(exposure.sensor.exposureUs)));
  Remember({header, std::chrono::system_clock::now() - age, payload});
  Waiting& waiting = frames_[(firstFrame_ + frameCount_) % kDeviceFrames];
  waiting.frame.Build(header, std::move(payload), plan, exposure.limit, packet_);
  waiting.readoutAt = exposure.readoutAt;
  waiting.readout = exposure.readout;
  ++frameCount_;
}

/// Device time at which the readout begins. Without time the clock stands, but frames follow one another as if it
/// ran.
double FrameStream::ReadoutSeconds(const Exposure& exposure) const {
  if (options_.timeScale > 0) return clock_.At(exposure.readoutAt);
  const bool follows = overlapping_ && !exposure.triggered;
  const double start = std::max(clock_.Seconds(), follows ? lastReadoutSeconds_ : lastReadoutEndSeconds_);
  return std::max(start + static_cast<double>(exposure.sensor.exposureUs) * 1e-6, lastReadoutEndSeconds_);
}

/// Takes the times of the frame's two GPS lines and numbers them; 0 when the region does not hold both.
std::uint32_t FrameStream::Latch(const Exposure& exposure, double readoutSeconds) {
  SettleLatch();
  latching_.reset();
  lastReadoutSeconds_ = readoutSeconds;
  lastReadoutEndSeconds_ = readoutSeconds + exposure.readoutUs * 1e-6;
  const FrameGeometry& geometry = exposure.geometry;
  const auto inRegion = [&](int line) {
    return line >= geometry.startY && line < geometry.startY + geometry.height * geometry.bin;
  };
  if (!exposure.gpsLines || !inRegion(exposure.gpsLines->start) || !inRegion(exposure.gpsLines->end)) return 0;
  const std::uint32_t next = latches_ == 0 ? kFirstLatch : latches_ + 1;
  latches_ = std::max(next, 1U);
  const double firstRowSeconds = readoutSeconds - static_cast<double>(exposure.sensor.exposureUs) * 1e-6;
  const double rowSeconds = exposure.readoutUs * 1e-6 / geometry.height;
  const auto exposedAt = [&](int line) {  // sensor lines that are binned together begin together
    const int row = (line - geometry.startY) / geometry.bin;
    return firstRowSeconds + row * rowSeconds;
  };
  latching_ = {latches_, exposedAt(exposure.gpsLines->start), exposedAt(exposure.gpsLines->end)};
  return latches_;
}

/// A latch is the host's to read once the readout has ended.
void FrameStream::SettleLatch() {
  if (latching_ && Clock::now() >= lastReadoutEnd_) {
    latched_ = *latching_;
    latching_.reset();
  }
}

GpsLatch FrameStream::LastLatch() const {
  const MutexLock lock(mutex_);
  return latching_ && Clock::now() >= lastReadoutEnd_ ? *latching_ : latched_;
}

void FrameStream::Remember(SentFrame frame) {
  const std::size_t keep = options_.preRender > 0 ? sent_.size() : PayloadsToKeep(frame.payload->size());
  nextSent_ %= keep;
  for (std::size_t i = keep; i < sent_.size(); ++i) sent_[i] = {};
  sent_[nextSent_++] = std::move(frame);
}

}  // namespace orq
