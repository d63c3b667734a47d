#include "virtual/bus/VirtualCamera.h"

#include <utility>

#include "virtual/device/Firmware.h"
#include "virtual/sensor/FrameSource.h"

namespace orq {

std::shared_ptr<VirtualCamera> VirtualCamera::Make(const VirtualOptions& options, std::string& error) {
  std::unique_ptr<FrameSource> source = MakeFrameSource(options, error);
  return source != nullptr ? Firmware::Make(options, std::move(source), error) : nullptr;
}

}  // namespace orq
