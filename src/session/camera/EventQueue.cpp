#include "session/camera/EventQueue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <utility>

#include "session/Failure.h"

namespace orq::session {

EventQueue::~EventQueue() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

void EventQueue::Put(EventKind kind, std::string text) {
  const MutexLock lock(mutex_);
  std::erase_if(events_, [kind](const Event& event) { return event.kind == kind; });
  events_.push_back({kind, std::move(text)});
  Show();
}

void EventQueue::FrameWaits(bool waits) {
  const MutexLock lock(mutex_);
  frameWaits_ = waits;
  frameTold_ = false;
  Show();
}

bool EventQueue::Next(Event& event) {
  const MutexLock lock(mutex_);
  if (!events_.empty()) {
    event = std::move(events_.front());
    events_.pop_front();
    Show();
    return true;
  }
  if (!frameWaits_ || std::exchange(frameTold_, true)) return false;
  Show();
  event = {EventKind::Frame};
  return true;
}

int EventQueue::Descriptor() {
  const MutexLock lock(mutex_);
  if (descriptor_ < 0) {
    descriptor_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (descriptor_ < 0)
      throw Failure(Status::Memory, "the system gives no more descriptors: close some files, or allow more");
    Show();
  }
  return descriptor_;
}

// An event descriptor is readable while its count is not 0. Neither call can fail or wait: the count is 0 or 1.
void EventQueue::Show() {
  const bool readable = (frameWaits_ && !frameTold_) || !events_.empty();
  if (descriptor_ < 0 || readable == shown_) return;
  std::uint64_t count = 1;
  [[maybe_unused]] const ssize_t bytes =
      readable ? ::write(descriptor_, &count, sizeof count) : ::read(descriptor_, &count, sizeof count);
  shown_ = readable;
}

}  // namespace orq::session
