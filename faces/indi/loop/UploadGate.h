// Knows whether INDI is still sending a picture, on a thread of its own.
#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace orq::indi {

/// INDI makes a file of the exposure's buffer and sends it on a detached thread, which reads geometry, format and
/// names as it goes. What would change them waits here until that thread has ended, whatever became of the file.
class UploadGate {
 public:
  /// Before INDI is told that an exposure is complete.
  void begin();
  /// On INDI's thread, at its beginning: the upload is over when this thread ends.
  void endWithThisThread();
  /// Whether the caller is that thread itself.
  static bool isUploadThread();
  /// Until nothing is being sent; false: it still was after `patience`.
  bool awaitIdle(std::chrono::seconds patience = std::chrono::seconds(60));
  bool isIdle();

 private:
  struct AtThreadEnd;
  void end();

  std::mutex mutex_;
  std::condition_variable idle_;
  int uploads_ = 0;
};

}  // namespace orq::indi
