// The image bus and the flash share the controller's pins.
#pragma once

#include "camera/CameraFX3.h"

namespace orq {

/// Releases the image bus for flash access, and switches it on again on every way out.
class FlashAccess {
 public:
  explicit FlashAccess(CCameraFX3& link) : link_(link) { link_.EnableGPIF32DQ(false); }
  ~FlashAccess() { link_.EnableGPIF32DQ(true); }
  FlashAccess(const FlashAccess&) = delete;
  FlashAccess& operator=(const FlashAccess&) = delete;

 private:
  CCameraFX3& link_;
};

}  // namespace orq
