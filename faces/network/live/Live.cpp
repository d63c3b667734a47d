#include "live/Live.h"

namespace orq::network {

LiveCamera& Live::at(const std::string& number) {
  const std::shared_ptr<CameraSlot> slot = cameras_.at(number);
  const std::scoped_lock lock(mutex_);
  std::unique_ptr<LiveCamera>& live = live_[slot->index()];
  if (!live) live = std::make_unique<LiveCamera>(slot, folder_);
  return *live;
}

}  // namespace orq::network
