#include "session/recording/Recording.h"

#include <sys/statvfs.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "models/camera/FrameGeometry.h"
#include "session/camera/CameraFiles.h"
#include "session/files/FrameSaver.h"
#include "session/frame/FrameOrigin.h"
#include "session/frame/FrameTime.h"
#include "session/recording/CubeSink.h"
#include "session/recording/FolderSink.h"
#include "session/recording/SerSink.h"
#include "session/recording/cube/CubeTimes.h"
#include "support/Text.h"

namespace orq::session {
namespace {

using std::chrono::milliseconds;

constexpr int kWaitMs = 50;
constexpr milliseconds kNap{20};        // while no video runs
constexpr milliseconds kPatience{300};  // with a video that does not run any more
constexpr std::uint64_t kMostRingFrames = 65'536;

std::uint64_t FreeBytes(const std::string& directory) {
  struct statvfs disk {};
  if (statvfs(directory.c_str(), &disk) != 0) return 0;
  return static_cast<std::uint64_t>(disk.f_bavail) * static_cast<std::uint64_t>(disk.f_frsize);
}

std::uint64_t FrameBytesOf(const FrameRegion& region) {
  return static_cast<std::uint64_t>(region.width) * static_cast<std::uint64_t>(region.height) *
         static_cast<std::uint64_t>(BytesPerPixel(region.format));
}

// The frames may be a little smaller than the buffers that they lie in, and binned ones half as large.
std::size_t RingMemory(const RecordingPlan& plan) {
  return static_cast<std::size_t>(2 * plan.ringFrames * plan.frameBytes);
}

const char* EndText(RecordingEnd end) {
  switch (end) {
    case RecordingEnd::None:
      return "";
    case RecordingEnd::Frames:
      return "all frames";
    case RecordingEnd::Time:
      return "time over";
    case RecordingEnd::Size:
      return "size reached";
    case RecordingEnd::Stopped:
      return "stopped";
    case RecordingEnd::Video:
      return "video ended";
    case RecordingEnd::Lost:
      return "camera lost";
    case RecordingEnd::Changed:
      return "frames changed";
    case RecordingEnd::DiskFull:
      return "disk full";
    case RecordingEnd::Failed:
      return "failed";
  }
  return "";
}

SerHeader HeaderFor(const FileContext& context, const FrameRegion& region, int bayer) {
  SerHeader header = SerHeaderFor(region, bayer);
  header.observer = context.observer;
  header.instrument = context.instrument;
  for (const Keyword& keyword : context.keywords) {
    const auto* const text = std::get_if<std::string>(&keyword.value);
    if (keyword.name == "TELESCOP" && text != nullptr) header.telescope = *text;
  }
  return header;
}

FilePattern PatternFor(std::string path, RecordingForm form) {
  if (form == RecordingForm::Folder || (form == RecordingForm::ByName && path.ends_with('/'))) {
    while (path.size() > 1 && path.ends_with('/')) path.pop_back();
    return FilePattern(path, FileUse::Folder);
  }
  FilePattern pattern(path, FileUse::Recording);
  if (form == RecordingForm::Ser && pattern.Kind() != FileKind::Ser)
    throw Failure(Status::Invalid, "file name: '" + path + "' must end in .ser, as a SER file is wanted");
  if (form == RecordingForm::Cube && pattern.Kind() != FileKind::Fits)
    throw Failure(Status::Invalid, "file name: '" + path + "' must end in .fits or .fit, as a cube is wanted");
  return pattern;
}

RecordingForm FormOf(FileKind kind) {
  if (kind == FileKind::Folder) return RecordingForm::Folder;
  return kind == FileKind::Ser ? RecordingForm::Ser : RecordingForm::Cube;
}

std::string ReasonOf(int error) {
  if (error == EEXIST) return "the text beside it was deleted meanwhile, and another file has its name";
  return error == ENOENT ? "its file or folder was deleted meanwhile" : std::strerror(error);
}

// Of the disk.
std::uint64_t BytesPerFrame(RecordingForm form, std::uint64_t frameBytes) {
  switch (form) {
    case RecordingForm::Folder:
      return FolderFileBytes(frameBytes);
    case RecordingForm::Cube:
      return frameBytes + kTimesRowBytes;
    default:
      return frameBytes + kSerTimeBytes;
  }
}

}  // namespace

RecordingPlan PlanRecording(Camera& camera, const std::string& path, const RecordingOptions& options) {
  const FilePattern pattern = PatternFor(path, options.form);
  if (pattern.Has("n"))
    throw Failure(Status::Invalid, "file name: a recording is one file or folder, {n} has no meaning in its name");
  const FrameFacts expected = ExpectedFrame(camera);
  RecordingPlan plan;
  plan.form = FormOf(pattern.Kind());
  plan.file = pattern.Expand(NameFactsOf(expected));
  plan.timesFile = TimesFileOf(plan.file);
  if (plan.form == RecordingForm::Folder)
    CheckFolder(plan.file, options.existing);
  else
    CheckWritable(plan.file, options.existing);
  CheckWritable(plan.timesFile, options.existing);
  plan.region = expected.info.region;
  plan.frameBytes = FrameBytesOf(plan.region);
  if (plan.frameBytes == 0) throw Failure(Status::State, "the camera has no region yet");
  plan.ringFrames = std::clamp<std::uint64_t>(options.ringBytes / plan.frameBytes, 2, kMostRingFrames);
  plan.freeBytes = FreeBytes(DirectoryOf(plan.file));
  plan.freeFrames = plan.freeBytes / BytesPerFrame(plan.form, plan.frameBytes);
  return plan;
}

Recording::Recording(std::shared_ptr<Camera> camera, const std::string& path, const RecordingOptions& options)
    : camera_(std::move(camera)), options_(options), plan_(PlanRecording(*camera_, path, options)) {
  bayer_ = Camera::Use(*camera_)->FramePattern();
  reader_ = camera_->OpenReader(ReadMode::Every, static_cast<std::size_t>(plan_.ringFrames));
  try {
    MakeFiles();
  } catch (...) {
    camera_->Frames().CloseReader(*reader_);
    throw;
  }
  camera_->Frames().Pool().Widen(RingMemory(plan_));
  now_.freeBytes = plan_.freeBytes;
  Publish();
  thread_ = std::thread([this] { Run(); });
}

std::unique_ptr<RecordingSink> Recording::MakeSink(std::function<int()> beforeWrite) const {
  const Existing existing = options_.existing;
  switch (plan_.form) {
    case RecordingForm::Cube:
      return std::make_unique<CubeSink>(plan_.file, existing, ExpectedFrame(*camera_), std::move(beforeWrite));
    case RecordingForm::Folder:
      return std::make_unique<FolderSink>(plan_.file, existing, plan_.frameBytes, std::move(beforeWrite));
    default:
      return std::make_unique<SerSink>(plan_.file, existing,
                                       HeaderFor(camera_->Origin().context, plan_.region, bayer_),
                                       std::move(beforeWrite));
  }
}

void Recording::MakeFiles() {
  const FileContext context = camera_->Origin().context;
  files_ = std::make_unique<RecordingFiles>(
      plan_.file, options_.existing,
      [this](std::function<int()> beforeWrite) { return MakeSink(std::move(beforeWrite)); });
  files_->Remark("file = " + plan_.file.substr(plan_.file.rfind('/') + 1));
  files_->Remark("camera = " + context.instrument);
  files_->Remark("serial = " + context.serial);
  files_->Remark(Format("frames of %d x %d pixels, %s, bin %d", plan_.region.width, plan_.region.height,
                        FormatName(plan_.region.format), plan_.region.bin));
  files_->Remark("time: start of the exposure of the row that was read out first");
  files_->Remark("number: by the camera's count, the first frame's being 1; missing frames are skipped");
  files_->Remark("frame number camera_number utc ser_time source uncertainty_us start_x start_y");
}

Recording::~Recording() {
  Stop();
  thread_.join();
}

void Recording::Stop() {
  const MutexLock lock(mutex_);
  stopWanted_ = true;
}

bool Recording::Wait(milliseconds atMost) {
  MutexLock lock(mutex_);
  return lock.WaitFor(changed_, atMost,
                      [this]() ORQ_REQUIRES(mutex_) { return state_.end != RecordingEnd::None; });
}

RecordingState Recording::State() const {
  const MutexLock lock(mutex_);
  RecordingState state = state_;
  if (state.end == RecordingEnd::None) state.waiting = camera_->Frames().Counts(*reader_).waiting;
  return state;
}

std::optional<MissingFrames> Recording::Missing(std::size_t index) const {
  const MutexLock lock(mutex_);
  return index < missing_.size() ? std::optional(missing_[index]) : std::nullopt;
}

// A thread that throws would end the program.
void Recording::Run() {
  try {
    while (cause_ == RecordingEnd::None) {
      TakeNext();
      Publish();
    }
    Finish();
  } catch (const std::exception& error) {
    End(RecordingEnd::Failed, error.what());
  }
  camera_->Frames().CloseReader(*reader_);
  camera_->Frames().Pool().Narrow(RingMemory(plan_));
  now_.end = cause_;
  Publish();
}

void Recording::TakeNext() {
  LookAtLimits();
  if (endsWith_ && taken_ >= *endsWith_) return End(endCause_);
  FramePtr frame;
  try {
    frame = camera_->AwaitFrame(reader_.get(), kWaitMs);
    ++taken_;
  } catch (const Failure& failure) {
    NoFrame(failure);
  }
  if (frame) Put(*frame);
  if (const int error = files_->KeepSafe(); error != 0 && cause_ == RecordingEnd::None)
    End(IsFull(error) ? RecordingEnd::DiskFull : RecordingEnd::Failed, ReasonOf(error));
}

void Recording::NoFrame(const Failure& failure) {
  switch (failure.Code()) {
    case Status::Timeout:
    case Status::Memory:
      return;
    case Status::Lost:
      return End(RecordingEnd::Lost, failure.what());
    case Status::Cancelled:
    case Status::State:
      break;
    default:
      return End(RecordingEnd::Video, failure.what());
  }
  if (endsWith_) return End(endCause_);
  // A video may still have to be started, or be interrupted because its region moves.
  try {
    const auto now = Clock::now();
    if (failure.Code() == Status::State && camera_->IsCapturing()) idleSince_.reset();
    if (!idleSince_) idleSince_ = now;
    if (began_ && (failure.Code() == Status::Cancelled || now - *idleSince_ > kPatience))
      return End(RecordingEnd::Video);
    std::this_thread::sleep_for(kNap);
  } catch (const Failure& closed) {
    End(closed.Code() == Status::Lost ? RecordingEnd::Lost : RecordingEnd::Video, closed.what());
  }
}

bool Recording::IsLike(const FrameInfo& info) const {
  const FrameRegion& region = info.region;
  const bool raw = region.format == ORQ_IMG_RAW8 || region.format == ORQ_IMG_RAW16;  // others have no pattern
  return region.width == plan_.region.width && region.height == plan_.region.height &&
         region.format == plan_.region.format && region.bin == plan_.region.bin &&
         (!raw || info.bayerPattern == bayer_);
}

bool Recording::ReachesLimit(const SharedFrame& frame) {
  if (!IsLike(frame.Info())) {
    End(RecordingEnd::Changed, "frames of another size, format or colour pattern came: a file holds one kind");
    return true;
  }
  const bool full = now_.frames == static_cast<std::uint64_t>(kSerMostFrames) ||
                    (options_.bytes != 0 && files_->Sunk().BytesOf(now_.frames + 1) > options_.bytes);
  if (full) End(RecordingEnd::Size);
  return full;
}

void Recording::Put(const SharedFrame& frame) {
  if (ReachesLimit(frame)) return;
  if (!began_) began_ = Clock::now();
  idleSince_.reset();
  const FrameInfo& info = frame.Info();
  const bool moved = region_ && (region_->startX != info.region.startX || region_->startY != info.region.startY);
  region_ = info.region;
  const std::size_t gaps = count_.Missing().size();
  RecordedFrame line;
  line.frame = now_.frames + 1;
  line.number = count_.Next(info.sequence, frame.Number(), moved);
  line.sequence = info.sequence;
  line.begin = info.times.begin;
  line.end = info.times.end;
  line.uncertainty = info.times.uncertainty;
  const std::string source = Lower(TimeSource(info));
  line.source = source;
  line.startX = info.region.startX;
  line.startY = info.region.startY;
  if (moved) files_->Remark("moved: the region begins elsewhere from here on, and the stream has begun anew");
  if (count_.Missing().size() > gaps) files_->Remark("missing " + TextOf(count_.Missing().back()));
  const int error = files_->Put(frame.Pixels(), line, [&frame] { return FactsOf(frame); });
  ++now_.frames;
  if (now_.first == 0) now_.first = line.begin;
  now_.last = line.begin;
  if (error != 0) return End(IsFull(error) ? RecordingEnd::DiskFull : RecordingEnd::Failed, ReasonOf(error));
  if (now_.frames == options_.frames) End(RecordingEnd::Frames);
}

void Recording::LookAtLimits() {
  const auto now = Clock::now();
  if (now - freeAsked_ > std::chrono::seconds(1)) {
    freeAsked_ = now;
    now_.freeBytes = FreeBytes(DirectoryOf(plan_.file)) + files_->Sunk().Ahead();
    now_.direct = files_->Sunk().IsDirect();
  }
  if (began_) now_.seconds = std::chrono::duration<double>(now - *began_).count();
  if (endsWith_) return;
  const bool stop = [this] {
    const MutexLock lock(mutex_);
    return stopWanted_;
  }();
  if (stop) return BeginEnd(RecordingEnd::Stopped);
  if (began_ && options_.duration.count() != 0 && now - *began_ >= options_.duration) BeginEnd(RecordingEnd::Time);
}

// It ends with the frames that are in line now. Those that the line had no room for lie between them or behind.
void Recording::BeginEnd(RecordingEnd cause) {
  const FrameMailbox::ReaderCounts counts = camera_->Frames().Counts(*reader_);
  endsWith_ = counts.delivered + counts.waiting;
  missedThen_ = counts.missed;
  endCause_ = cause;
}

void Recording::End(RecordingEnd end, const std::string& trouble) {
  cause_ = end;
  now_.trouble = trouble;
}

void Recording::Finish() {
  if (endsWith_ && missedThen_ > count_.Missed()) count_.MissedBehind(missedThen_ - count_.Missed());
  std::uint64_t frames = now_.frames;
  const int error = files_->Finish(frames, [this] { return Summary(); });
  now_.frames = frames;
  if (error != 0 && cause_ != RecordingEnd::DiskFull)
    End(IsFull(error) ? RecordingEnd::DiskFull : RecordingEnd::Failed, ReasonOf(error));
}

std::vector<std::string> Recording::Summary() const {
  std::vector<std::string> lines = {
      std::string("end = ") + EndText(cause_) + (now_.trouble.empty() ? "" : ": " + now_.trouble),
      Format("seconds = %.3f", now_.seconds),
      "missed = " + std::to_string(count_.Missed()) + " (the disk was too slow)",
      "lost = " + std::to_string(count_.Lost()) + " (did not come from the camera)"};
  for (const MissingFrames& missing : count_.Missing()) lines.push_back("missing " + TextOf(missing));
  return lines;
}

void Recording::Publish() {
  now_.missed = count_.Missed();
  now_.lost = count_.Lost();
  now_.bytes = now_.frames == 0 ? 0 : files_->Sunk().BytesOf(now_.frames);
  {
    const MutexLock lock(mutex_);
    state_ = now_;
    const auto& missing = count_.Missing();
    missing_.insert(missing_.end(), missing.begin() + static_cast<std::ptrdiff_t>(missing_.size()), missing.end());
  }
  if (now_.end != RecordingEnd::None) changed_.notify_all();
}

}  // namespace orq::session
