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
    if (isView) return !holder_ && wanted_ == 0 && !changing_;
    return holder_ ? *holder_ != Purpose::view : !changing_;
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

void CaptureTurns::change(const std::string& what, const std::function<void()>& change) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return !changing_; });
  if (holder_ && *holder_ != Purpose::view)
    throw BusyError(what + " stays as it is during " + nameOf(*holder_) + "; wait for its end, or stop it");
  changing_ = true;
  lock.unlock();
  const auto end = [this] {
    {
      const std::scoped_lock again(mutex_);
      changing_ = false;
    }
    changed_.notify_all();
  };
  try {
    change();
  } catch (...) {
    end();
    throw;
  }
  end();
}

std::optional<Purpose> CaptureTurns::holder() const {
  const std::scoped_lock lock(mutex_);
  return holder_;
}

}  // namespace orq::network
