// Frames of a running video into a file or a folder, each of them or counted.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "session/camera/Camera.h"
#include "session/recording/FrameCount.h"
#include "session/recording/RecordingFiles.h"
#include "support/threads/Mutex.h"

namespace orq::session {

enum class RecordingForm : std::uint8_t { ByName, Ser, Cube, Folder };

struct RecordingOptions {
  RecordingForm form = RecordingForm::ByName;
  std::uint64_t frames = 0;  ///< it ends with so many; 0: no limit, as the next two
  std::chrono::microseconds duration{0};
  std::uint64_t bytes = 0;  ///< the file gets no larger
  /// Frames that wait for the disk, in bytes; at least two frames.
  std::uint64_t ringBytes = std::uint64_t{256} << 20U;
  Existing existing = Existing::Keep;
};

/// What a recording would be like as the camera is set now.
struct RecordingPlan {
  RecordingForm form = RecordingForm::Ser;  ///< never ByName
  std::string file;
  std::string timesFile;
  FrameRegion region;
  std::uint64_t frameBytes = 0;
  std::uint64_t ringFrames = 0;
  std::uint64_t freeBytes = 0;   ///< of the disk
  std::uint64_t freeFrames = 0;  ///< that fit there
};

enum class RecordingEnd : std::uint8_t {
  None,      ///< it runs
  Frames,    ///< a limit was reached
  Time,      ///< likewise
  Size,      ///< likewise
  Stopped,   ///< it was told to
  Video,     ///< the video has ended
  Lost,      ///< the camera is gone
  Changed,   ///< frames of another size, format or pattern came
  DiskFull,  ///< no room, or the file may not grow any more
  Failed     ///< the file cannot be written
};

struct RecordingState {
  RecordingEnd end = RecordingEnd::None;
  std::string trouble;  ///< of an end that nobody wanted: why; one line
  std::uint64_t frames = 0;
  std::uint64_t missed = 0;  ///< left out, because the disk was too slow
  std::uint64_t lost = 0;    ///< that did not come from the camera
  std::uint64_t waiting = 0;
  std::uint64_t bytes = 0;  ///< of the finished file, if it ended now
  std::uint64_t freeBytes = 0;
  double seconds = 0.0;  ///< since the first frame was there
  bool direct = false;   ///< written past the system's cache
  UtcTenths first = 0;   ///< times of the first frame and the last one; 0: there is none yet
  UtcTenths last = 0;
};

/// The name may hold what names of frames may hold, but for {n}; it ends as the form demands, and ByName decides
/// it: .ser, .fits, .fit, or a slash. Throws Failure: no such name, there is such a file already, or none can be
/// written there.
RecordingPlan PlanRecording(Camera& camera, const std::string& path, const RecordingOptions& options);

/// One recording, from its construction to its end, which comes by a limit, by `Stop` or with the video. It takes
/// every frame that is published from its beginning on; frames wait in a ring for the disk, and those that find it
/// full are counted. The camera's frame memory is larger by the ring meanwhile. Any-thread.
class Recording {
 public:
  Recording(std::shared_ptr<Camera> camera, const std::string& path, const RecordingOptions& options);
  /// Stops, and waits for the end.
  ~Recording();
  Recording(const Recording&) = delete;
  Recording& operator=(const Recording&) = delete;

  /// Ends it with the frames that have been published by now; those that wait are still written.
  void Stop();
  /// True when it has ended.
  bool Wait(std::chrono::milliseconds atMost);
  RecordingState State() const;
  const RecordingPlan& Plan() const { return plan_; }
  /// Frames in a row that are missing, the `index`-th of them, from 0.
  std::optional<MissingFrames> Missing(std::size_t index) const;

 private:
  using Clock = std::chrono::steady_clock;

  std::unique_ptr<RecordingSink> MakeSink(std::function<int()> beforeWrite) const;
  void MakeFiles();
  void Run();
  void TakeNext();
  void NoFrame(const Failure& failure);
  void Put(const SharedFrame& frame);
  bool IsLike(const FrameInfo& info) const;
  bool ReachesLimit(const SharedFrame& frame);
  void LookAtLimits();
  void BeginEnd(RecordingEnd cause);
  void End(RecordingEnd end, const std::string& trouble = {});
  void Finish();
  std::vector<std::string> Summary() const;
  void Publish();

  const std::shared_ptr<Camera> camera_;
  const RecordingOptions options_;
  const RecordingPlan plan_;
  int bayer_ = -1;
  std::unique_ptr<RecordingFiles> files_;
  std::shared_ptr<FrameReader> reader_;

  // Of the recording's thread.
  FrameCount count_;
  RecordingState now_;
  std::optional<FrameRegion> region_;  ///< of the last frame
  std::optional<Clock::time_point> began_;
  Clock::time_point freeAsked_{};
  std::uint64_t taken_ = 0;                     ///< from the reader
  std::optional<std::uint64_t> endsWith_;       ///< it ends when so many were taken
  std::uint64_t missedThen_ = 0;                ///< what the reader had missed when that was decided
  RecordingEnd endCause_ = RecordingEnd::None;  ///< of that
  RecordingEnd cause_ = RecordingEnd::None;     ///< of the end that has come
  std::optional<Clock::time_point> idleSince_;  ///< no video has run since then

  mutable Mutex mutex_;
  std::condition_variable changed_;
  RecordingState state_ ORQ_GUARDED_BY(mutex_);
  std::vector<MissingFrames> missing_ ORQ_GUARDED_BY(mutex_);
  bool stopWanted_ ORQ_GUARDED_BY(mutex_) = false;
  std::thread thread_;
};

}  // namespace orq::session
