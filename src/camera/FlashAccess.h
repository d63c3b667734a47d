// The image bus and the flash share the controller's pins.
#pragma once

#include "link/CameraFX3.h"

namespace orq {

/// Releases the image bus for flash access, and switches it on again on every way out. Refused while a stream
/// runs.
class FlashAccess {
 public:
  explicit FlashAccess(CCameraFX3& link) : link_(link), granted_(link.AcquireFlash()) {}
  ~FlashAccess() {
    if (granted_) link_.ReleaseFlash();
  }
  explicit operator bool() const { return granted_; }
  FlashAccess(const FlashAccess&) = delete;
  FlashAccess& operator=(const FlashAccess&) = delete;

 private:
  CCameraFX3& link_;
  const bool granted_;
};

}  // namespace orq
