#include "live/work/LongWork.h"

#include <exception>
#include <utility>

namespace orq::network {

LongWork::~LongWork() {
  abort();
  if (thread_.joinable()) thread_.join();
}

void LongWork::start(const std::string& kind, Work work) {
  const std::shared_ptr<Camera> camera = slot_->camera();
  const std::scoped_lock lock(mutex_);
  if (state_.running)
    throw BusyError("the camera is busy with another task (" + state_.kind + "); abort it first");
  if (thread_.joinable()) thread_.join();
  state_ = {kind, true, {}, {}};
  thread_ = std::thread([this, camera, work = std::move(work)] {
    std::string result;
    std::string trouble;
    try {
      result = work(*camera);
    } catch (const std::exception& error) {
      trouble = error.what();
    }
    const std::scoped_lock done(mutex_);
    state_ = {state_.kind, false, std::move(result), std::move(trouble)};
  });
}

void LongWork::abort() {
  if (!state().running) return;
  if (const std::shared_ptr<Camera> camera = slot_->lastCamera()) orq_capture_abort(camera->get());
}

WorkState LongWork::state() const {
  const std::scoped_lock lock(mutex_);
  return state_;
}

}  // namespace orq::network
