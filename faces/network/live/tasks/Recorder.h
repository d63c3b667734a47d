// Videos of one camera into files of the server.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <orqcam/orqcam.hpp>
#include <string>
#include <thread>

#include "cameras/CameraSlot.h"
#include "live/tasks/Folder.h"

namespace orq::network {

/// What is to be recorded. A limit of 0 is none.
struct RecordingWish {
  bool isSer = true;  ///< a SER file; else a FITS cube
  std::string name = "{camera}-{date}-{time}";
  std::uint64_t frames = 0;
  double seconds = 0.0;
};

/// How far it is, or how it ended.
struct RecordingProgress {
  bool running = false;
  std::string file;          ///< its name in the folder; empty: none yet
  std::uint64_t frames = 0;  ///< written
  std::uint64_t missed = 0;  ///< that the disk was too slow for
  std::uint64_t lost = 0;    ///< that did not come from the camera
  std::uint64_t bytes = 0;
  double seconds = 0.0;
  std::string trouble;  ///< of an end that nobody wanted
};

/// Records one video at a time; it goes on when whoever began it is gone. Any thread.
class Recorder {
 public:
  Recorder(std::shared_ptr<CameraSlot> slot, const Folder& folder) : slot_(std::move(slot)), folder_(folder) {}
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  /// Throws BusyError while one runs or the camera does something else, FileError and InvalidError.
  void start(const RecordingWish& wish);
  /// Ends it; frames that wait for the disk are still written. Nothing when none runs.
  void stop();
  RecordingProgress progress() const;

 private:
  void record(Camera& camera, const std::string& path, const RecordingWish& wish);
  void report(const RecordingProgress& progress);

  const std::shared_ptr<CameraSlot> slot_;
  const Folder& folder_;
  std::mutex starting_;       ///< while one begins, which may take until a view has given way
  mutable std::mutex mutex_;  ///< of the progress
  RecordingProgress progress_;
  std::atomic<bool> stopping_ = false;
  std::thread thread_;
};

}  // namespace orq::network
