// A camera's focus motor as Alpaca clients see it: interface version 4.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <string>

#include "alpaca/devices/Device.h"
#include "http/Workers.h"

namespace orq::network::alpaca {

class FocuserDevice : public Device {
 public:
  explicit FocuserDevice(std::shared_ptr<CameraSlot> slot);

  const char* type() const override { return "Focuser"; }
  std::string name() const override;

 protected:
  int interfaceVersion() const override { return 4; }
  std::map<std::string, std::function<Json()>> stateValues() override;

 private:
  bool isMoving() const;
  void move(int position);

  std::atomic<bool> underWay_{false};
  Workers mover_{1, 1};
};

}  // namespace orq::network::alpaca
