// The files of a recording: its frames, and the text that tells of each.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "session/recording/FrameCount.h"
#include "session/recording/RecordingSink.h"
#include "session/recording/TimesFile.h"

namespace orq::session {

/// One of the forms of a recording, and its text. What is told of a frame reaches the system before the frame
/// does: whatever becomes of the program, a frame in the file has its line in the text. Caller-serialised.
class RecordingFiles {
 public:
  using Sink = std::function<std::unique_ptr<RecordingSink>(std::function<int()> beforeWrite)>;

  /// Makes both. Throws Failure; then neither is left.
  RecordingFiles(const std::string& file, Existing existing, const Sink& makeSink);

  void Remark(std::string_view text) { times_.Remark(text); }
  /// 0 or an errno; after one only `Finish` comes.
  int Put(std::span<const std::uint8_t> pixels, const RecordedFrame& frame, const RecordingSink::Facts& facts);
  /// What waits is written: killing the program does not lose it any more.
  int Flush();
  /// To be called often: writes what waits four times a second, and makes sure of it every other second.
  int KeepSafe();
  /// Makes finished files of `frames` frames, or of as many as there is room for, with these remarks behind them.
  /// 0 or an errno. Without any frame no file is left.
  int Finish(std::uint64_t& frames, const std::function<std::vector<std::string>()>& summary);

  const RecordingSink& Sunk() const { return *sink_; }

 private:
  using Clock = std::chrono::steady_clock;

  const std::string file_;
  TimesFile times_;
  std::unique_ptr<RecordingSink> sink_;
  Clock::time_point flushed_ = Clock::now();
  Clock::time_point synced_ = Clock::now();
};

/// Whether an errno says that there is no room.
bool IsFull(int error);

}  // namespace orq::session
