#include "alpaca/devices/Exposures.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <utility>

namespace orq::network::alpaca {
namespace {

constexpr std::chrono::seconds kLongestAbort(5);
// Clients that are slow, or have stopped reading, hold the picture that they were sent.
constexpr std::size_t kMostPictures = 8;

}  // namespace

void Exposures::begin(std::uint64_t exposureUs) {
  const std::scoped_lock lock(mutex_);
  if (underWay_) throw StateError("an exposure is under way; wait for its end, or abort it");
  std::erase_if(made_, [](const auto& picture) { return picture.expired(); });
  if (made_.size() >= kMostPictures) {
    throw BusyError("slow clients are still taking " + std::to_string(made_.size()) +
                    " earlier pictures; try later");
  }
  underWay_ = true;
  aborted_ = false;
  exposureUs_ = exposureUs;
  image_.reset();
  trouble_.clear();
}

void Exposures::start(const Reading& reading, const Optics& optics, std::uint64_t exposureUs) {
  begin(exposureUs);
  try {
    // Shared, because a job is copied; it goes when the job is over.
    auto turn = std::make_shared<CaptureTurns::Turn>(slot_.turns().take(Purpose::exposure));
    const std::shared_ptr<Camera> camera = slot_.camera();
    camera->region(reading.region);
    auto reader = std::make_shared<Reader>(camera->reader());
    camera->startExposure(std::chrono::microseconds(exposureUs));
    waiter_.run([this, turn, camera, reader, reading, optics]() mutable {
      std::shared_ptr<const Image> image;
      std::string trouble;
      try {
        image = std::make_shared<const Image>(imageOf(reader->wait(), reading, optics));
      } catch (const std::exception& error) {
        trouble = error.what();
      }
      reader.reset();
      turn.reset();  // before anybody is told that the camera is free
      finish(std::move(image), std::move(trouble));
    });
  } catch (...) {
    finish(nullptr, {});
    throw;
  }
}

void Exposures::finish(std::shared_ptr<const Image> image, std::string trouble) {
  {
    const std::scoped_lock lock(mutex_);
    underWay_ = false;
    if (!aborted_) {
      if (image) made_.push_back(image);
      image_ = std::move(image);
      trouble_ = std::move(trouble);
    }
  }
  ended_.notify_all();
}

void Exposures::abort() {
  {
    const std::scoped_lock lock(mutex_);
    if (!underWay_) return;
    aborted_ = true;
  }
  slot_.camera()->abortExposure();
  std::unique_lock lock(mutex_);
  if (!ended_.wait_for(lock, kLongestAbort, [this] { return !underWay_; }))
    throw TimeoutError("the exposure does not end; try again");
}

Exposures::Standing Exposures::standing() const {
  std::uint64_t wholeUs = 0;
  {
    const std::scoped_lock lock(mutex_);
    if (!trouble_.empty()) return {Stage::failed, 0, trouble_};
    if (!underWay_) return {Stage::idle, image_ ? 100 : 0, {}};
    wholeUs = std::max<std::uint64_t>(exposureUs_, 1);
  }
  const orq_exposure_progress progress = slot_.camera()->progress();
  // Before it has begun, and after it has ended: the frame is still on its way.
  const std::uint64_t elapsed = progress.running != 0 ? std::min(progress.elapsed_us, wholeUs) : wholeUs;
  return {elapsed < wholeUs ? Stage::exposing : Stage::reading, static_cast<int>(100 * elapsed / wholeUs), {}};
}

std::shared_ptr<const Image> Exposures::image() const {
  const std::scoped_lock lock(mutex_);
  return image_;
}

}  // namespace orq::network::alpaca
