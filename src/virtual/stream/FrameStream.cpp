#include "virtual/stream/FrameStream.h"

#include <algorithm>
#include <utility>

namespace orq {
namespace {

constexpr double kUsb2BytesPerMicrosecond = 40.0;

int PacketBytes(const VirtualOptions& options) {
  return options.usb3 ? wire::kSuperSpeedPacket : wire::kHighSpeedPacket;
}

std::size_t FrameBytes(const FrameGeometry& geometry) {
  const std::size_t samples = static_cast<std::size_t>(geometry.width) * static_cast<std::size_t>(geometry.height);
  return wire::kHeaderBytes + PayloadBytes(samples, geometry.format) + wire::kTrailerBytes;
}

}  // namespace

FrameStream::FrameStream(std::unique_ptr<FrameSource> source, const VirtualOptions& options,
                         const DeviceClock& clock, std::function<double()> sensorC)
    : source_(std::move(source)),
      options_(options),
      clock_(clock),
      sensorC_(std::move(sensorC)),
      packet_(PacketBytes(options)),
      faults_(options) {
  thread_ = std::thread([this] { Run(); });
}

FrameStream::~FrameStream() {
  {
    const MutexLock lock(mutex_);
    quit_ = true;
    ++epoch_;
  }
  work_.notify_all();
  thread_.join();
}

// Control side -----------------------------------------------------------------------------------------------

void FrameStream::PowerUp(const StreamSettings& settings) {
  const MutexLock lock(mutex_);
  Abort();
  endPending_ = false;
  cut_.reset();
  halted_ = false;
  connected_ = true;
  sequence_ = kFirstSequence;
  lastExposureUs_ = 0;
  latches_ = 0;
  latched_ = {};
  focus_ = 0;
  poweredAt_ = Clock::now();
  settings_ = settings;
  trigger_.Set(settings.trigger);
  for (std::size_t i = 0; i < kSyncOutputs; ++i) {
    sync_[i].Reset();
    sync_[i].Set(settings.sync[i], 0);
  }
}

void FrameStream::Disconnect() {
  {
    const MutexLock lock(mutex_);
    connected_ = false;
    Abort();
  }
  Wake();
}

bool FrameStream::Connected() const {
  const MutexLock lock(mutex_);
  return connected_;
}

void FrameStream::Apply(const StreamSettings& settings) {
  {
    const MutexLock lock(mutex_);
    const bool started = settings.output && !settings_.output;
    const bool stopped = settings_.output && !settings.output;
    const bool other = settings.geometry != settings_.geometry || settings.trigger != settings_.trigger ||
                       (settings_.sensorOn && !settings.sensorOn);
    const bool wasExposable = Exposable();
    settings_ = settings;
    if (stopped && settings.busOn && frameCount_ > 0 && !cut_) CutFrame();
    if (stopped || other) Abort();
    if (started) exposedSinceRun_ = 0;
    if (Exposable() && (!wasExposable || other)) exposableSince_ = Clock::now();
    trigger_.Set(settings.trigger);
    for (std::size_t i = 0; i < kSyncOutputs; ++i) sync_[i].Set(settings.sync[i], DeviceUs(Clock::now()));
  }
  work_.notify_all();
  Wake();
}

void FrameStream::SoftTrigger() {
  {
    const MutexLock lock(mutex_);
    trigger_.SoftwareRequest(SensorNow(), Clock::now());
  }
  work_.notify_all();
}

void FrameStream::SetTriggerLine(bool high) {
  {
    const MutexLock lock(mutex_);
    trigger_.SetLine(high, SensorNow(), Clock::now());
  }
  work_.notify_all();
}

void FrameStream::SetFlux(double electronsPerSecond) {
  const MutexLock lock(mutex_);
  flatFlux_ = electronsPerSecond;
}

void FrameStream::SetFocus(int position) {
  const MutexLock lock(mutex_);
  focus_ = position;
}

std::uint64_t FrameStream::TriggersMissed() const {
  const MutexLock lock(mutex_);
  return trigger_.Missed();
}

std::vector<SyncEdge> FrameStream::SyncEdges(int output) const {
  const MutexLock lock(mutex_);
  if (output < 0 || static_cast<std::size_t>(output) >= kSyncOutputs) return {};
  return sync_[static_cast<std::size_t>(output)].Edges(DeviceUs(Clock::now()));
}

void FrameStream::AddFault(const FrameFault& fault) {
  const MutexLock lock(mutex_);
  faults_.Add(fault);
}

std::uint64_t FrameStream::FramesExposed() const {
  const MutexLock lock(mutex_);
  return framesExposed_;
}

std::uint64_t FrameStream::LastExposureUs() const {
  const MutexLock lock(mutex_);
  return lastExposureUs_;
}

Payload FrameStream::SentPayload(std::uint32_t sequence) const {
  const MutexLock lock(mutex_);
  for (const SentFrame& sent : sent_)
    if (sent.payload != nullptr && sent.header.sequence == sequence) return *sent.payload;
  return {};
}

std::vector<SentFrame> FrameStream::SentFrames() const {
  const MutexLock lock(mutex_);
  std::vector<SentFrame> frames;
  for (std::size_t i = 0; i < sent_.size(); ++i) {
    const SentFrame& sent = sent_[(nextSent_ + i) % sent_.size()];
    if (sent.payload != nullptr) frames.push_back(sent);
  }
  return frames;
}

/// Ends the exposure and the readout under way.
void FrameStream::Abort() {
  ++epoch_;
  overlapping_ = false;
  SettleLatch();
  latching_.reset();
  lastReadoutEnd_ = {};
  trigger_.Forget();
  for (SyncOutput& output : sync_) output.Stop(DeviceUs(Clock::now()));
  DropFrames();
  work_.notify_all();
}

/// Forgets the frames that wait. A transfer that holds the beginning of one is owed its end.
void FrameStream::DropFrames() {
  if (frameCount_ > 0 && frames_[firstFrame_].frame.Sent() > 0 && !cut_) endPending_ = true;
  while (frameCount_ > 0) PopFrame();
}

/// The output has been stopped: the host still gets what is in the controller's buffer.
void FrameStream::CutFrame() {
  const Waiting& waiting = frames_[firstFrame_];
  const std::size_t sent = waiting.frame.Sent();
  const std::size_t readOut = std::max(ReadOutBytes(waiting), sent);
  if (readOut > sent) {
    cut_ = waiting.frame;
    cut_->CutAt(std::min(readOut, sent + kControllerBytes));
  }
}

void FrameStream::PopFrame() {
  frames_[firstFrame_].frame.Release();
  firstFrame_ = (firstFrame_ + 1) % kDeviceFrames;
  --frameCount_;
  work_.notify_all();
}

// Endpoint ---------------------------------------------------------------------------------------------------

BulkStep FrameStream::Read(std::span<std::uint8_t> out) {
  const MutexLock lock(mutex_);
  BulkStep step;
  step.wakeAt = Clock::time_point::max();
  if (!connected_) {
    step.kind = BulkStep::Kind::Gone;
  } else if (halted_) {
    step.kind = BulkStep::Kind::Stall;
  } else if (endPending_) {
    endPending_ = false;
    step.kind = BulkStep::Kind::Data;
    step.endOfTransfer = true;
  } else if (settings_.busOn && cut_) {
    return SendCut(out);
  } else if (settings_.busOn && frameCount_ > 0) {
    Waiting& waiting = frames_[firstFrame_];
    if (waiting.frame.Sent() == waiting.frame.EventAt() && waiting.frame.Event() != FramePlan::Event::None)
      return Strike(waiting.frame.Event());
    return SendFrom(waiting, out);
  }
  return step;
}

BulkStep FrameStream::Strike(FramePlan::Event event) {
  BulkStep step;
  switch (event) {
    case FramePlan::Event::Stall:
      halted_ = true;
      step.kind = BulkStep::Kind::Stall;
      break;
    case FramePlan::Event::Error:
      step.kind = BulkStep::Kind::Error;
      break;
    default:
      connected_ = false;
      step.kind = BulkStep::Kind::Gone;
      Abort();
      return step;
  }
  PopFrame();  // its rest is lost: the next bytes begin a frame
  return step;
}

/// Bytes of a frame that have left the sensor until now.
std::size_t FrameStream::ReadOutBytes(const Waiting& waiting) const {
  const double readoutNs = static_cast<double>(waiting.readout.count());
  const double passedNs = static_cast<double>((Clock::now() - waiting.readoutAt).count());
  const std::size_t until = waiting.frame.EventAt();
  if (passedNs >= readoutNs) return until;
  const double total = static_cast<double>(waiting.frame.Total());
  return std::min(until, static_cast<std::size_t>(std::max(0.0, total * passedNs / readoutNs)));
}

/// The controller's buffer, as fast as the host reads.
BulkStep FrameStream::SendCut(std::span<std::uint8_t> out) {
  BulkStep step;
  step.kind = BulkStep::Kind::Data;
  step.bytes = std::min(cut_->Total() - cut_->Sent(), out.size());
  cut_->Send(out.first(step.bytes));
  if (cut_->Sent() == cut_->Total()) {
    const bool wholePackets = cut_->Total() % static_cast<std::size_t>(packet_) == 0;
    step.endOfTransfer = !wholePackets || step.bytes < out.size();
    endPending_ = wholePackets && !step.endOfTransfer;
    cut_.reset();
  }
  return step;
}

BulkStep FrameStream::SendFrom(Waiting& waiting, std::span<std::uint8_t> out) {
  WireFrame& frame = waiting.frame;
  const std::size_t until = frame.EventAt();
  const auto packet = static_cast<std::size_t>(packet_);
  const std::size_t ready = ReadOutBytes(waiting);
  std::size_t bytes = std::min(ready - std::min(ready, frame.Sent()), out.size());
  if (bytes < out.size() && frame.Sent() + bytes < until)
    bytes = bytes / packet * packet;  // the bus carries whole packets until the frame ends

  BulkStep step;
  if (bytes == 0) {
    const std::size_t wanted = std::min(frame.Sent() + out.size(), until);
    const double part = static_cast<double>(wanted) / static_cast<double>(frame.Total());
    const double atNs = static_cast<double>(waiting.readout.count()) * part + 1.0;
    step.wakeAt = waiting.readoutAt + Clock::duration(static_cast<Clock::rep>(atNs));
    return step;
  }
  frame.Send(out.first(bytes));
  step.kind = BulkStep::Kind::Data;
  step.bytes = bytes;
  if (frame.Sent() == frame.Total()) {
    const bool wholePackets = frame.Total() % packet == 0;
    step.endOfTransfer = !wholePackets || bytes < out.size();
    endPending_ = wholePackets && !step.endOfTransfer;
    PopFrame();
  }
  return step;
}

void FrameStream::ClearHalt() {
  {
    const MutexLock lock(mutex_);
    halted_ = false;
    endPending_ = false;
    cut_.reset();
    if (frameCount_ > 0 && frames_[firstFrame_].frame.Sent() > 0) PopFrame();
  }
  Wake();
}

void FrameStream::SetWake(std::function<void()> onWake) {
  const MutexLock lock(wakeMutex_);
  onWake_ = std::move(onWake);
}

void FrameStream::Wake() {
  const MutexLock lock(wakeMutex_);
  if (onWake_) onWake_();
}

// Timing -----------------------------------------------------------------------------------------------------

FrameStream::Clock::duration FrameStream::Scaled(double microseconds) const {
  constexpr double kLongestNs = 4e18;
  return Clock::duration(
      static_cast<Clock::rep>(std::min(microseconds * 1000.0 * options_.timeScale, kLongestNs)));
}

/// Time since power-up as the device counts it. Without a time scale its pulses still take their time.
std::uint64_t FrameStream::DeviceUs(Clock::time_point time) const {
  const std::chrono::duration<double, std::micro> passed = std::max(time - poweredAt_, Clock::duration::zero());
  return static_cast<std::uint64_t>(passed.count() / (options_.timeScale > 0 ? options_.timeScale : 1.0));
}

double FrameStream::ReadoutUs(const FrameGeometry& geometry) const {
  const double lineUs = static_cast<double>(geometry.lineTimeNs) / 1000.0;
  double microseconds = geometry.height * lineUs * 100.0 / settings_.bandwidthPercent;
  if (geometry.fast) microseconds /= 2;
  if (!options_.usb3)
    microseconds = std::max(microseconds, static_cast<double>(FrameBytes(geometry)) / kUsb2BytesPerMicrosecond);
  return microseconds;
}

}  // namespace orq
