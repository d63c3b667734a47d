#include "virtual/VirtualCamera.h"

#include <utility>

#include "virtual/Firmware.h"
#include "virtual/FrameSource.h"

namespace orq {

std::shared_ptr<VirtualCamera> VirtualCamera::Make(const VirtualOptions& options, std::string& error) {
  std::unique_ptr<FrameSource> source = MakeFrameSource(options, error);
  return source != nullptr ? Firmware::Make(options, std::move(source), error) : nullptr;
}

}  // namespace orq
