#include "live/tasks/LongWork.h"

#include <chrono>
#include <exception>
#include <optional>
#include <utility>

namespace orq::network {
namespace {

constexpr std::chrono::milliseconds kAbortEvery(100);

}  // namespace

// What was about to begin at one abort is ended by the next.
LongWork::~LongWork() {
  while (askToEnd()) {
    std::unique_lock lock(mutex_);
    ended_.wait_for(lock, kAbortEvery, [this] { return !state_.running; });
  }
  if (thread_.joinable()) thread_.join();
}

void LongWork::start(const std::string& kind, Uses uses, Work work) {
  const std::shared_ptr<Camera> camera = slot_->camera();
  const std::scoped_lock lock(mutex_);
  if (state_.running)
    throw BusyError("the camera is busy with another task (" + state_.kind + "); abort it first");
  if (thread_.joinable()) thread_.join();
  state_ = {kind, true, {}, {}};
  uses_ = uses;
  aborted_ = false;
  const GoOn goOn = [this] {
    const std::scoped_lock asked(mutex_);
    if (aborted_) throw CancelledError("it was aborted");
  };
  thread_ = std::thread([this, camera, goOn, work = std::move(work)] {
    std::string result;
    std::string trouble;
    try {
      result = work(*camera, goOn);
    } catch (const std::exception& error) {
      trouble = error.what();
    }
    {
      const std::scoped_lock done(mutex_);
      state_ = {state_.kind, false, std::move(result), std::move(trouble)};
    }
    ended_.notify_all();
  });
}

// False: there is nothing to end. Told before the camera is: work that has not got to it yet sees it then.
bool LongWork::askToEnd() {
  {
    const std::scoped_lock lock(mutex_);
    if (!state_.running) return false;
    aborted_ = true;
  }
  if (const std::shared_ptr<Camera> camera = slot_->lastCamera()) orq_capture_abort(camera->get());
  return true;
}

// The camera's abort ends all that it does.
void LongWork::abort() {
  {
    const std::scoped_lock lock(mutex_);
    if (!state_.running) return;
    const std::optional<Purpose> holder = slot_->turns().holder();
    if (uses_ == Uses::nothing && holder && *holder != Purpose::view)
      throw BusyError("the abort would end " + nameOf(*holder) + ", too; wait for its end, or stop it first");
  }
  askToEnd();
}

WorkState LongWork::state() const {
  const std::scoped_lock lock(mutex_);
  return state_;
}

}  // namespace orq::network
