#include "cameras/CameraSlot.h"

#include <utility>

#include "Log.h"

namespace orq::network {
namespace {

constexpr std::chrono::seconds kTryEvery(1);

}  // namespace

const char* nameOf(Presence presence) {
  switch (presence) {
    case Presence::absent:
      return "absent";
    case Presence::open:
      return "open";
    case Presence::lost:
      return "lost";
  }
  return "";
}

CameraStanding CameraSlot::standing() const {
  const std::scoped_lock lock(mutex_);
  return standing_;
}

std::shared_ptr<Camera> CameraSlot::camera() const {
  const std::scoped_lock lock(mutex_);
  if (standing_.presence == Presence::open) return camera_;
  const std::string text = "camera " + name_ + " is not there: " + standing_.trouble;
  if (standing_.presence == Presence::lost) throw LostError(text);
  throw NotFoundError(text);
}

std::shared_ptr<Camera> CameraSlot::lastCamera() const {
  const std::scoped_lock lock(mutex_);
  return camera_;
}

void CameraSlot::setStanding(Presence presence, std::string trouble) {
  const std::scoped_lock lock(mutex_);
  standing_.presence = presence;
  standing_.trouble = std::move(trouble);
}

void CameraSlot::open() {
  auto options = sized<orq_open_options>();
  options.resume = 1;
  try {
    const auto opened = std::make_shared<Camera>(name_, options);
    const orq_camera_info info = opened->info();
    {
      const std::scoped_lock lock(mutex_);
      camera_ = opened;
      standing_.info = info;
      standing_.presence = Presence::open;
      standing_.trouble.clear();
      ++standing_.openings;
    }
    logLine("camera " + std::to_string(index_) + " is " + info.model + " (" + name_ + ")");
  } catch (const Error& error) {
    setStanding(Presence::absent, error.what());
    throw;
  }
}

void CameraSlot::hear(const orq_event& event) {
  switch (event.kind) {
    case ORQ_EVENT_LOST:
      setStanding(Presence::lost, "it was unplugged; plug it in again");
      logLine("camera " + std::to_string(index_) + " is lost: " + event.text);
      break;
    case ORQ_EVENT_RETURNED: {
      const std::scoped_lock lock(mutex_);
      standing_.presence = Presence::open;
      standing_.trouble.clear();
      ++standing_.openings;
      logLine("camera " + std::to_string(index_) + " is back");
      break;
    }
    default:
      break;
  }
}

void CameraSlot::tend() {
  const std::shared_ptr<Camera> known = lastCamera();
  if (known) {
    while (const std::optional<orq_event> event = known->nextEvent()) hear(*event);
    return;
  }
  const auto now = std::chrono::steady_clock::now();
  if (now < nextTry_) return;
  nextTry_ = now + kTryEvery;
  try {
    open();
  } catch (const Error&) {
    // Its standing tells why; the next try may do better.
  }
}

void CameraSlot::abort() {
  if (const std::shared_ptr<Camera> known = lastCamera()) orq_capture_abort(known->get());
}

void CameraSlot::close() {
  if (const std::shared_ptr<Camera> known = lastCamera()) orq_camera_close(known->get());
}

}  // namespace orq::network
