#include "loop/UploadGate.h"

namespace orq::indi {

// INDI tells of an upload that went well, not of one that failed; the end of its thread tells of both.
struct UploadGate::AtThreadEnd {
  UploadGate* gate = nullptr;
  ~AtThreadEnd() {
    if (gate != nullptr) gate->end();
  }
  static thread_local AtThreadEnd ofThisThread;
};
thread_local UploadGate::AtThreadEnd UploadGate::AtThreadEnd::ofThisThread;

void UploadGate::begin() {
  const std::lock_guard lock(mutex_);
  ++uploads_;
}

void UploadGate::endWithThisThread() {
  AtThreadEnd::ofThisThread.gate = this;
}

bool UploadGate::isUploadThread() {
  return AtThreadEnd::ofThisThread.gate != nullptr;
}

bool UploadGate::awaitIdle(std::chrono::seconds patience) {
  if (isUploadThread()) return true;
  std::unique_lock lock(mutex_);
  return idle_.wait_for(lock, patience, [this] { return uploads_ == 0; });
}

bool UploadGate::isIdle() {
  const std::lock_guard lock(mutex_);
  return uploads_ == 0;
}

void UploadGate::end() {
  const std::lock_guard lock(mutex_);
  --uploads_;
  idle_.notify_all();
}

}  // namespace orq::indi
