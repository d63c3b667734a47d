#include "cameras/Cameras.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstddef>

#include "Log.h"

namespace orq::network {
namespace {

constexpr std::chrono::milliseconds kTendEvery(100);
constexpr std::size_t kMostCameras = 32;

}  // namespace

Cameras::Cameras(const std::vector<std::string>& names) {
  if (names.size() > kMostCameras)
    throw InvalidError("a server keeps " + std::to_string(kMostCameras) + " cameras at most; start another one");
  for (const std::string& name : names) {
    add(name);
    try {
      slots_.back()->open();
    } catch (const InvalidError&) {
      throw;
    } catch (const Error& error) {
      logLine("camera " + name + " is waited for: " + error.what());
    }
  }
  keeper_ = std::thread([this] { keep(); });
  if (!names.empty()) return;
  watch_.emplace([this](bool pluggedInNow, const orq_camera_entry& camera) {
    if (pluggedInNow) pluggedIn(camera.name);
  });
}

Cameras::~Cameras() {
  watch_.reset();
  {
    const std::scoped_lock lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  keeper_.join();
  for (const auto& slot : slots_) slot->close();
}

void Cameras::add(const std::string& name) {
  const std::scoped_lock lock(mutex_);
  if (slots_.size() >= kMostCameras) return;
  slots_.push_back(std::make_shared<CameraSlot>(static_cast<int>(slots_.size()), name));
}

// On a thread that may open nothing: the keeper does.
void Cameras::pluggedIn(const std::string& name) {
  const std::vector<std::shared_ptr<CameraSlot>> known = all();
  if (std::any_of(known.begin(), known.end(), [&](const auto& slot) { return slot->name() == name; })) return;
  add(name);
}

std::vector<std::shared_ptr<CameraSlot>> Cameras::all() const {
  const std::scoped_lock lock(mutex_);
  return slots_;
}

std::shared_ptr<CameraSlot> Cameras::at(const std::string& number) const {
  std::size_t index = 0;
  const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), index);
  const bool isNumber = error == std::errc() && end == number.data() + number.size();
  const std::scoped_lock lock(mutex_);
  if (!isNumber || index >= slots_.size()) throw NotFoundError("there is no camera " + number);
  return slots_[index];
}

void Cameras::abort() {
  for (const auto& slot : all()) slot->abort();
}

void Cameras::keep() {
  for (;;) {
    for (const auto& slot : all()) slot->tend();
    std::unique_lock lock(mutex_);
    if (changed_.wait_for(lock, kTendEvery, [this] { return ending_; })) return;
  }
}

}  // namespace orq::network
