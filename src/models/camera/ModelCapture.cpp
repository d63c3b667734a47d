// The capture worker: from the stream to the mailbox.
#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

#include "image/dark/DarkImage.h"
#include "image/timemark/TimeMark.h"
#include "link/WireProtocol.h"
#include "models/camera/FrameLevels.h"
#include "models/camera/FramePath.h"
#include "models/camera/ModelWorker.h"
#include "models/camera/Overdue.h"
#include "models/camera/RegisterBatch.h"

namespace orq {
namespace {

using Clock = std::chrono::steady_clock;

// How soon the worker notices a stop, at most.
constexpr int kSliceMs = 20;
// Beyond its time: computers stall, and an exposure that was given up too early is lost for good.
constexpr std::chrono::seconds kGrace{5};
// A single exposure's frame that is not there this long after its time, when the stream had to be mended, broke
// off.
constexpr std::chrono::seconds kGraceAfterBreak{1};
constexpr int kNeutralGamma = 50;
// Automatic control measures ten times a second.
constexpr std::chrono::milliseconds kAutoCopyInterval{100};
// Above every exposure: cycles may measure.
constexpr std::int32_t kAutoGateOpen = 0x7FFFFFFF;

constexpr const char* kFramesHeld =
    "all memory for frames is in use: release frames that are no longer needed, allow more, or choose a smaller "
    "region";
constexpr const char* kNoMemory =
    "not enough memory for the frames: choose a smaller region or close other programs";

// Why there is no buffer for a frame of `bytes` bytes.
const char* WhyNoBuffer(const FramePool& pool, std::size_t bytes) {
  return pool.Bytes() + bytes > pool.Limit() ? kFramesHeld : kNoMemory;
}

std::string DamagedFrame(const StreamCounters& counters) {
  const char* how = "its transfer failed";
  if (counters.failedShort != 0) how = "it was too short";
  if (counters.failedOversize != 0) how = "it was too long";
  if (counters.failedMarks != 0) how = "its header or trailer was damaged";
  if (counters.failedSequence != 0) how = "its sequence number was wrong";
  if (counters.failedStalled != 0) how = "the camera stalled the transfer";
  if (counters.failedTimedOut != 0) how = "its transfer timed out";
  return std::string("the exposure's frame could not be used because ") + how + "; expose again";
}

std::string NoFrameFor(std::chrono::microseconds time, std::uint64_t stale) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time).count();
  const std::string only = stale == 0 ? "" : " but " + std::to_string(stale) + " that were exposed before";
  return "the camera sent no frame for " + std::to_string(seconds) + " s" + only + "; close it and open it again";
}

// Why a stream is no longer alive.
std::string StreamTrouble(const CModelCamera& camera) {
  const std::string trouble = camera.bOpened != 0 ? camera.LinkError() : "";
  return trouble.empty() ? "the camera was closed while it captured: start the capture again" : trouble;
}

std::int64_t UnixUs(std::uint64_t monotonicNs) {
  const auto monotonicNow = std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch());
  const auto wallNow =
      std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch());
  const std::int64_t ageNs = monotonicNow.count() - static_cast<std::int64_t>(monotonicNs);
  return wallNow.count() - ageNs / 1000;
}

// Loading settings asks for the whole sensor from the next open on, and the tables describe that from then on.
bool TablesDescribe(const CModelCamera& camera, const FrameRegion& region) {
  const FrameRegion asked{camera.iStartX, camera.iStartY, camera.iWidth,
                          camera.iHeight, camera.iBin,    region.format};
  return asked == region;
}

}  // namespace

void CModelCamera::RunCapture(bool* running, void* camera) {
  static_cast<CModelCamera*>(static_cast<CCameraBase*>(camera))->Capture(running, false);
}

void CModelCamera::RunTriggeredExposure(bool* running, void* camera) {
  static_cast<CModelCamera*>(static_cast<CCameraBase*>(camera))->Capture(running, true);
}

void CModelCamera::Capture(bool* running, bool triggered) {
  Worker& worker = *worker_;
  const bool snap = snapMode != 0;
  worker.mailbox.Discard();
  worker.mailbox.ResetCounts();
  worker.SetTrouble({});
  // From here on `ended` speaks about this worker; until then readers trust the start mark.
  worker.mailbox.Notify([&] {
    worker.ended = false;
    captureStartMark = 0;
  });

  StreamEnd end = StreamEnd::Failed;
  FrameInfo info;
  std::string trouble;
  try {
    end = DeliverFrames(running, triggered, info, trouble);
  } catch (const std::bad_alloc&) {
    trouble = kNoMemory;
  }
  worker.lackedMemory = trouble == kFramesHeld || trouble == kNoMemory;
  worker.SetTrouble(trouble);  // known before anybody can see that the stream has ended
  worker.mailbox.Notify([&] { worker.armed = false; });
  StopStream();
  worker.videoDied = end == StreamEnd::Failed && !snap && ThreadCtrl::KeepRunning(running);
  // From here on whoever sees what became of the capture can start the next one.
  (triggered ? exposureThr : captureThr).AnnounceEnd();
  // A single exposure's frame is handed over when nothing more is to be done, so that the next exposure can
  // follow.
  if (end == StreamEnd::Delivered) {
    // Together: an exposure whose frame somebody has got must not begin anew, and the other way round.
    worker.mailbox.PublishIf(info, [&worker] {
      worker.ended = !worker.restarting;
      return worker.ended;
    });
  }
  if (end == StreamEnd::Stopped) worker.mailbox.Discard();
  worker.mailbox.Notify([&] {
    worker.ended = true;
    if (end == StreamEnd::Delivered)
      expStatus = ExpSuccess;
    else
      expStatus = end == StreamEnd::Failed || snap ? ExpFailed : ExpIdle;
  });
  if (worker.captureEnded) worker.captureEnded();
}

// Until the capture is to stop, a single exposure's frame is ready in the mailbox's work buffer (its facts in
// `info`), or the stream is of no more use.
CModelCamera::StreamEnd CModelCamera::DeliverFrames(bool* running, bool triggered, FrameInfo& info,
                                                    std::string& trouble) {
  Worker& worker = *worker_;
  const bool snap = snapMode != 0;
  // Buffers of frames that may be delivered as they came go round between the ring and the mailbox.
  const IMG_TYPE wanted = worker.setup.region.format;
  const bool raw = wanted == ORQ_IMG_RAW8 || wanted == ORQ_IMG_RAW16;
  if (!worker.mailbox.Prepare(worker.setup.OutputBytes(), raw ? ring->FrameBytes() : 0)) {
    trouble = WhyNoBuffer(worker.mailbox.Pool(), worker.setup.OutputBytes());
    return StreamEnd::Failed;
  }
  ring->Discard();
  StreamFormat format = worker.setup.WireFormat();
  {
    const std::lock_guard lock(worker.registers);
    SetTransferCount(static_cast<int>(worker.setup.WireBytes()));
    // The output of a stream that broke down may still run: nothing more is exposed for it from here on.
    FPGAStop();
    if (!WriteFPGAREG(wire::kFpgaSingle, snap ? 1 : 0) || !WriteTag(*this)) {
      trouble = StreamTrouble(*this);
      return StreamEnd::Failed;
    }
    format.fresh = {Tag().Newest(), &Tag()};
    CloseAutoGate();  // what automatic control has seen is of another capture
  }
  worker.stampedAt = Clock::time_point{};
  worker.readAt = Clock::time_point{};
  if (worker.gps) worker.gps->Begin();  // before an exposure takes up the lines
  worker.cadence.Begin();
  if (!StartStream(*ring, format)) {
    trouble = LinkError();
    return StreamEnd::Failed;
  }
  worker.triggeredAt = Clock::time_point{};
  worker.mailbox.Notify([&] { worker.armed = triggered; });
  Overdue overdue(exposureUs, worker.setup.WireBytes(), Clock::now());
  std::uint64_t started = 0;
  Clock::time_point triggeredAt{};
  while (ThreadCtrl::KeepRunning(running)) {
    CirBuf::Frame frame;
    if (ring->Take(pImgBuf, frame, kSliceMs)) {
      overdue.NextFrame(exposureUs, Clock::now());
      if (worker.mailbox.Work().empty()) {
        worker.mailbox.CountNoBuffer();
        if (!snap) continue;
        trouble = WhyNoBuffer(worker.mailbox.Pool(), worker.setup.OutputBytes());
        return StreamEnd::Failed;
      }
      if (!PrepareFrame(frame, info)) continue;
      if (snap) return StreamEnd::Delivered;
      worker.mailbox.Publish(info);
      continue;
    }
    if (!StreamAlive()) {
      trouble = StreamTrouble(*this);
      return StreamEnd::Failed;
    }
    const StreamCounters counters = CCameraFX3::Counters();
    if (snap && counters.failed != 0) {
      trouble = DamagedFrame(counters);
      return StreamEnd::Failed;
    }
    overdue.See(exposureUs);
    // Stale frames are no progress, and neither are those that nobody could look at between them: a camera that
    // sends nothing else would never be given up.
    const std::uint64_t own = counters.started - counters.stale - counters.dropped;
    if (own > started) overdue.Progress(Clock::now());
    started = std::max(started, own);
    if (worker.triggeredAt.load() != triggeredAt) {
      triggeredAt = worker.triggeredAt;
      overdue.Progress(triggeredAt);
    }
    // Nobody knows when a trigger comes; after it, a single exposure's frame has to come in time, and so has the
    // rest of a frame that has begun. A video goes on: the trigger may have met a busy sensor.
    const bool expected = counters.filling != 0 || (snap && triggeredAt != Clock::time_point{});
    if (triggered && !expected) continue;
    const bool broken = snap && counters.resyncs != 0;
    const auto grace = broken ? kGraceAfterBreak : kGrace;
    if (overdue.Reached(grace, Clock::now())) {
      trouble = broken ? "the transfer of the exposure's frame broke off; expose again"
                       : NoFrameFor(overdue.Limit(grace), counters.stale);
      return StreamEnd::Failed;
    }
  }
  if (StreamAlive()) return StreamEnd::Stopped;
  trouble = StreamTrouble(*this);  // it was lost before anybody asked for a stop
  return StreamEnd::Failed;
}

bool CModelCamera::MixesColours(const FrameSetup& setup) const {
  const bool colourBin = setup.stages.host > 1 || (fpgaBin != 0 && setup.stages.hardware > 1);
  return monoBin != 0 && colourBin && setup.region.format != ORQ_IMG_RGB24;
}

int CModelCamera::FramePattern() const {
  const std::lock_guard lock(worker_->registers);
  const FrameSetup& setup = worker_->setup;
  const bool raw = setup.region.format == ORQ_IMG_RAW8 || setup.region.format == ORQ_IMG_RAW16;
  return raw ? DeliveredPattern(setup, FlipRow != 0, FlipColumn != 0, MixesColours(setup)) : -1;
}

// Runs the frame path into the mailbox's work buffer.
bool CModelCamera::PrepareFrame(const CirBuf::Frame& frame, FrameInfo& info) {
  Worker& worker = *worker_;
  const auto header = wire::GetHeader(std::span(frame.marks).first(frame.markBytes));
  if (!header || frame.payloadBytes != worker.setup.WireFormat().PayloadBytes()) return false;

  info = FrameInfo{};
  info.region = worker.setup.region;
  info.sequence = header->sequence;
  info.settingsTag = header->settingsTag;
  info.exposureUs = header->exposureUs;
  info.gain = model_.sensor->GainOf(header->gain);
  info.offset = model_.sensor->BlackLevelOf(header->blackLevel);
  info.readoutMode = header->readoutMode;
  const ReadoutMode mode = ReadoutModeOf(model_, info.readoutMode);
  info.readoutName = mode.name;
  info.flipHorizontal = FlipRow != 0;
  info.flipVertical = FlipColumn != 0;
  info.startUnixUs = UnixUs(frame.beginNs) - static_cast<std::int64_t>(header->exposureUs);
  info.uncertaintyUs = ArrivalUncertaintyUs(worker.setup, {mode.lineTimeNs, bandwidthPerc, usb3Host != 0},
                                            frame.endNs - frame.beginNs);
  const bool mono = MixesColours(worker.setup);
  info.bayerPattern = DeliveredPattern(worker.setup, info.flipHorizontal, info.flipVertical, mono);
  StampFrame(frame, header->gpsLatch, mono, info);
  TakeReadings(info);

  const int red = WB_Red;
  const int blue = WB_Blue;
  const int curve = gamma;
  const bool curved = curve != kNeutralGamma;
  info.whiteBalanceRed = red;
  info.whiteBalanceBlue = blue;
  info.gamma = curve;
  info.highSpeed = HighSpeed != 0;
  PixelTreatment treatment{.gain = info.gain,
                           .offset = info.offset,
                           .readoutMode = info.readoutMode,
                           .highSpeed = info.highSpeed,
                           .mixed = mono,
                           .red = red,
                           .blue = blue,
                           .gamma = curve};
  info.levels = LevelsOf(model_, worker.setup, treatment);
  if (!curved) {  // along a curve no unit is worth the same as another
    info.electronsPerAdu =
        ElectronsPerUnit(model_, worker.setup, ElectronsPerAdc(model_, info.readoutMode, info.gain));
  }
  const bool copyForAuto = AutoCopyDue(info, red, blue);
  // The mark goes by the height that the camera's fields ask for, which need not be that of this frame.
  const bool marked =
      worker.timeMark && info.region.format != ORQ_IMG_RAW16 && info.region.height >= kMarkLeastHeight;
  const bool corrected = bGettingDark != 0 || CutDark != 0 || HPC != 0;
  if (IsDeliveredRaw(info) && !corrected && !copyForAuto && !curved && !marked) {
    worker.mailbox.Adopt(pImgBuf);
    return true;
  }
  CorrectFrame();
  treatment.darkExcess = DarkExcess();
  info.hotPixelsRepaired = HPC != 0 && TablesDescribe(*this, worker.setup.region);
  info.darkSubtracted = IsDarkTaken();
  info.levels = LevelsOf(model_, worker.setup, treatment);
  const std::span<std::uint8_t> out = worker.mailbox.Work();
  RunFramePath({.setup = worker.setup,
                .image = pImgBuf.get(),
                .scratch = pBinBuf.get(),
                .converter = worker.converter,
                .whiteBalanceRed = red,
                .whiteBalanceBlue = blue,
                .flipHorizontal = info.flipHorizontal,
                .flipVertical = info.flipVertical,
                .monoBin = mono,
                .outputPattern = info.bayerPattern,
                .gamma16 = curved ? gammaTable16.get() : nullptr,
                .gamma8 = curved ? gammaTable8.data() : nullptr,
                .autoFrame = copyForAuto ? autoBuf.get() : nullptr,
                .autoFrameMutex = &autoBufMutex,
                .autoAfterBin = fpgaBin != 0},
               out);
  if (copyForAuto) OpenAutoGate(info, red, blue);
  if (marked) {
    const bool colour = info.region.format == ORQ_IMG_RGB24;
    AddTimeMark(out.data(), info.region.width, colour ? IMAGE_THREE_BYTES : IMAGE_ONE_BYTE);
  }
  return true;
}

// Whether the delivered samples are those of the wire, in their places.
bool CModelCamera::IsDeliveredRaw(const FrameInfo& info) const {
  const bool raw = info.region.format == ORQ_IMG_RAW8 || info.region.format == ORQ_IMG_RAW16;
  return raw && worker_->setup.stages.host == 1 && !info.flipHorizontal && !info.flipVertical;
}

// A dark is made of whole 8-bit frames of the sensor, and of nothing else.
void CModelCamera::CorrectFrame() {
  const FrameSetup& setup = worker_->setup;
  const bool whole = setup.stages.hardware == 1 && setup.stages.host == 1 && setup.region.width == iMaxWidth &&
                     setup.region.height == iMaxHeight && !setup.wide;
  if (bGettingDark != 0 && whole) DoGetDark();
  if (!TablesDescribe(*this, setup.region)) return;
  SubtractDark();
  HandleHotPixels();
}

// What subtracting the dark took from every sample beyond what it gave back.
double CModelCamera::DarkExcess() {
  if (!IsDarkTaken()) return 0.0;
  const std::scoped_lock lock(DarkBufMutex);
  return darkExcess;
}

// Whether a dark is subtracted from the frame under way.
bool CModelCamera::IsDarkTaken() {
  if (CutDark == 0 || !IsDarkSubtracted(AutoExp != 0, exposureUs)) return false;
  if (!TablesDescribe(*this, worker_->setup.region)) return false;
  const std::scoped_lock lock(DarkBufMutex);
  return pDarkBuf != nullptr;
}

// Whether the frame shows the settings in force; only with `registers` held does the answer last.
bool CModelCamera::IsOfCurrentSettings(const FrameInfo& info, int wbRed, int wbBlue) const {
  return Tag().IsSince(worker_->measurableTag, info.settingsTag) && wbRed == WB_Red && wbBlue == WB_Blue;
}

// While the gate is closed, the first frame of the new settings is copied at once, and none of the old. Without a
// worker the copy grows old: the next one waits for a new one.
bool CModelCamera::AutoCopyDue(const FrameInfo& info, int wbRed, int wbBlue) {
  if (!autoThr.IsActive()) autoGateLimit = 0;
  if (!autoThr.IsActive() || !IsOfCurrentSettings(info, wbRed, wbBlue)) return false;
  const auto now = Clock::now();
  if (autoGateLimit != 0 && now - worker_->autoCopiedAt < kAutoCopyInterval) return false;
  worker_->autoCopiedAt = now;
  return true;
}

// Whoever changes a setting closes the gate under the same lock. A change since the copy leaves it closed.
void CModelCamera::OpenAutoGate(const FrameInfo& info, int wbRed, int wbBlue) {
  const std::lock_guard lock(worker_->registers);
  if (IsOfCurrentSettings(info, wbRed, wbBlue)) autoGateLimit = kAutoGateOpen;
}

void CModelCamera::SetTimeMark(bool on) {
  worker_->timeMark = on;
}

int CModelCamera::GetImageData(unsigned char* buffer, int size, int waitMs) {
  FrameInfo info;
  return GetFrame(buffer, size, waitMs, info);
}

// Whether a capture runs or is about to; with the mailbox's lock held.
bool CModelCamera::MayBringFrames() const {
  if (worker_->restarting) return true;
  if (!IsCaptureRunning()) return false;
  return captureStartMark != 0 || !worker_->ended;
}

int CModelCamera::GetFrame(unsigned char* buffer, int size, int waitMs, FrameInfo& info) {
  if (buffer == nullptr || size < 0) return 0;
  Worker& worker = *worker_;
  const std::span out(buffer, static_cast<std::size_t>(size));
  const auto mayCome = [this] { return MayBringFrames(); };
  // A worker that has not begun yet will discard what nobody fetched of the last capture.
  worker.mailbox.DiscardIf([this] { return captureStartMark != 0 && IsCaptureRunning(); });
  const FrameMailbox::Result result = worker.mailbox.Fetch(out, waitMs, mayCome, info);
  const bool fetched = result == FrameMailbox::Result::Frame;
  // A worker ends right after it has handed over a single exposure's frame, or said that no more frames come.
  AwaitEndingWorker();
  return fetched ? 1 : 0;
}

FrameMailbox::Result CModelCamera::AwaitFrame(FrameReader* reader, int waitMs, const std::function<bool()>& goOn,
                                              FramePtr& frame) {
  const auto mayCome = [this, &goOn] { return MayBringFrames() && goOn(); };
  FrameMailbox& mailbox = worker_->mailbox;
  if (reader != nullptr) return mailbox.Fetch(*reader, waitMs, mayCome, frame);
  // A worker that has not begun yet will discard what nobody fetched of the last capture.
  mailbox.DiscardIf([this] { return captureStartMark != 0 && IsCaptureRunning(); });
  return mailbox.Fetch(waitMs, mayCome, frame);
}

FrameMailbox& CModelCamera::Mailbox() {
  return worker_->mailbox;
}

bool CModelCamera::IsCapturing() {
  AwaitEndingWorker();  // a single exposure's frame is handed over a moment before
  bool capturing = false;
  worker_->mailbox.Ask([&] { capturing = MayBringFrames(); });
  return capturing;
}

void CModelCamera::OnCaptureEnd(std::function<void()> hook) {
  worker_->captureEnded = std::move(hook);
}

FrameInfo CModelCamera::LastFrame() const {
  return worker_->mailbox.LastFetched();
}

std::string CModelCamera::CaptureTrouble() const {
  const MutexLock lock(worker_->troubleMutex);
  return worker_->trouble;
}

bool CModelCamera::CaptureLackedMemory() const {
  return worker_->lackedMemory;
}

StreamCounters CModelCamera::Counters() const {
  StreamCounters counters = CCameraFX3::Counters();
  counters.overwritten += worker_->mailbox.Overwritten();
  return counters;
}

}  // namespace orq
