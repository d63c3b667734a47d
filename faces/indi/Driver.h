// All cameras of this computer for INDI's clients.
#pragma once

#include "camera/CameraDevice.h"

namespace orq::indi {

class Driver {
 public:
  Driver();

 private:
  CameraDevice first_;
};

}  // namespace orq::indi
