#include "session/CameraWatcher.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace orq::session {
namespace {

constexpr std::chrono::milliseconds kLook{500};

bool Same(const UsbDeviceEntry& a, const UsbDeviceEntry& b) {
  return a.bus == b.bus && a.address == b.address && a.productId == b.productId;
}

}  // namespace

CameraWatcher::CameraWatcher(PortMaker makePort, Watcher watcher)
    : makePort_(std::move(makePort)), watcher_(std::move(watcher)), port_(makePort_()) {
  thread_ = std::thread(&CameraWatcher::Run, this);
}

CameraWatcher::~CameraWatcher() {
  {
    const MutexLock lock(mutex_);
    ending_ = true;
  }
  changed_.notify_one();
  thread_.join();
}

void CameraWatcher::Run() {
  MutexLock lock(mutex_);
  while (!ending_) {
    lock.Unlock();
    Look();
    lock.Lock();
    lock.WaitFor(changed_, kLook, [this]() ORQ_REQUIRES(mutex_) { return ending_; });
  }
}

void CameraWatcher::Look() {
  const auto devices = ConnectedCameras([this] { return port_; });
  for (auto known = known_.begin(); known != known_.end();) {
    const bool there =
        std::ranges::any_of(devices, [&](const auto& device) { return Same(device, known->device); });
    if (there) {
      ++known;
      continue;
    }
    const CameraEntry gone = std::move(known->entry);
    known = known_.erase(known);
    watcher_(false, gone);
  }
  for (std::size_t i = 0; i < devices.size(); ++i) {
    const bool known = std::ranges::any_of(known_, [&](const Known& one) { return Same(devices[i], one.device); });
    if (known) continue;
    known_.push_back({devices[i], Describe(devices[i], static_cast<int>(i), makePort_)});
    watcher_(true, known_.back().entry);
  }
}

}  // namespace orq::session
