#include "loop/MainLoop.h"

#include <indidevapi.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <utility>

namespace orq::indi {

MainLoop& MainLoop::get() {
  // Never destroyed: threads may still post while the process ends.
  static auto* const loop = new MainLoop;
  return *loop;
}

MainLoop::MainLoop() : wake_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (wake_ < 0) throw std::runtime_error("no descriptor is free for the event loop");
  IEAddCallback(
      wake_, [](int, void* self) { static_cast<MainLoop*>(self)->run(); }, this);
}

void MainLoop::post(std::function<void()> work) {
  const std::lock_guard lock(mutex_);
  work_.push_back(std::move(work));
  const std::uint64_t one = 1;
  // Fails only when the counter is full, and then the loop has been woken.
  [[maybe_unused]] const auto written = ::write(wake_, &one, sizeof one);
}

void MainLoop::run() {
  std::uint64_t count = 0;
  [[maybe_unused]] const auto read = ::read(wake_, &count, sizeof count);
  std::vector<std::function<void()>> work;
  {
    const std::lock_guard lock(mutex_);
    work.swap(work_);
  }
  for (const auto& one : work) one();
}

void Poster::post(std::function<void()> work) const {
  MainLoop::get().post([alive = alive_, work = std::move(work)] {
    if (!alive.expired()) work();
  });
}

}  // namespace orq::indi
