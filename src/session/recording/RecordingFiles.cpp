#include "session/recording/RecordingFiles.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>

namespace orq::session {
namespace {

constexpr std::chrono::milliseconds kFlushEvery{250};
constexpr std::chrono::seconds kSyncEvery{2};

}  // namespace

bool IsFull(int error) {
  return error == ENOSPC || error == EDQUOT || error == EFBIG;
}

RecordingFiles::RecordingFiles(const std::string& file, Existing existing, const Sink& makeSink)
    : file_(file), times_(TimesFileOf(file), existing) {
  try {
    sink_ = makeSink([this] { return times_.Flush(); });
  } catch (...) {
    unlink(times_.Path().c_str());
    throw;
  }
}

int RecordingFiles::Put(std::span<const std::uint8_t> pixels, const RecordedFrame& frame,
                        const RecordingSink::Facts& facts) {
  times_.Frame(frame);
  return sink_->Put(pixels, frame, facts);
}

int RecordingFiles::Flush() {
  if (const int error = times_.Flush(); error != 0) return error;
  return sink_->Flush();
}

int RecordingFiles::KeepSafe() {
  const auto now = Clock::now();
  if (now - flushed_ < kFlushEvery) return 0;
  flushed_ = now;
  if (now - synced_ < kSyncEvery) return Flush();
  synced_ = now;
  if (const int error = times_.Sync(); error != 0) return error;
  return sink_->Sync();
}

int RecordingFiles::Finish(std::uint64_t& frames, const std::function<std::vector<std::string>()>& summary) {
  const std::uint64_t put = frames;
  int error = times_.Flush();
  if (const int flushed = sink_->Flush(); error == 0) error = flushed;
  for (;;) {
    if (const int failed = sink_->Keep(frames); failed != 0) return failed;
    if (frames == 0) break;
    if (frames < put) {
      if (const int failed = times_.CutBehind(frames); failed != 0) return failed;
    }
    times_.Remark(FinishedRemark(frames));
    for (const std::string& remark : summary()) times_.Remark(remark);
    int failed = times_.Sync();
    // Frames are finished without a text as well.
    const int unfinished = IsFull(failed) ? 0 : sink_->Finish();
    if (unfinished != 0) failed = unfinished;
    if (failed == 0) return error;
    if (error == 0) error = failed;
    if (!IsFull(failed)) return error;
    if (const int cut = times_.CutBehind(--frames); cut != 0) return cut;
  }
  unlink(times_.Path().c_str());
  std::remove(file_.c_str());  // a folder, too, which is empty then
  return error;
}

}  // namespace orq::session
