#include "cameras/CaptureTurns.h"

#include <orqcam/orqcam.hpp>

namespace orq::network {

std::string nameOf(Purpose purpose) {
  switch (purpose) {
    case Purpose::view:
      return "a live view";
    case Purpose::exposure:
      return "an exposure";
    case Purpose::recording:
      return "a recording";
  }
  return {};
}

CaptureTurns::Turn::~Turn() {
  if (turns_ == nullptr) return;
  {
    const std::scoped_lock lock(turns_->mutex_);
    turns_->holder_.reset();
  }
  turns_->changed_.notify_all();
}

bool CaptureTurns::Turn::isWanted() const {
  const std::scoped_lock lock(turns_->mutex_);
  return turns_->wanted_ > 0;
}

CaptureTurns::Turn CaptureTurns::take(Purpose purpose, std::chrono::milliseconds patience) {
  const bool isView = purpose == Purpose::view;
  const auto end = std::chrono::steady_clock::now() + patience;
  std::unique_lock lock(mutex_);
  if (!isView) ++wanted_;
  const auto decided = [&] {
    if (isView) return !holder_ && wanted_ == 0;
    return !holder_ || *holder_ != Purpose::view;
  };
  const bool inTime = changed_.wait_until(lock, end, decided);
  if (!isView) --wanted_;
  if (!inTime || holder_) {
    const std::string what = holder_ ? nameOf(*holder_) : "other work";
    lock.unlock();
    changed_.notify_all();
    throw BusyError("the camera is busy with " + what + "; wait for its end, or abort it");
  }
  holder_ = purpose;
  return Turn(*this);
}

std::optional<Purpose> CaptureTurns::holder() const {
  const std::scoped_lock lock(mutex_);
  return holder_;
}

}  // namespace orq::network
