// What the camera is and keeps, corrections of its frames, and the hub behind it.
#pragma once

#include <indiccd.h>

#include <array>
#include <functional>
#include <string>
#include <utility>

#include "panels/Panel.h"

namespace orq::indi {

/// Runs work off INDI's thread, and tells of its end on it; see CameraDevice.
using RunLong =
    std::function<void(std::string what, std::function<void(Camera&)> job, std::function<void(bool done)> told)>;

/// ORQ_IDENTITY, ORQ_ID, ORQ_DARK, ORQ_DARK_TAKE, ORQ_HOT_PIXELS, ORQ_HOT_PIXELS_SAVE, ORQ_TIME_MARK and
/// ORQ_USB_HUB.
class ServicePanel : public Panel {
 public:
  ServicePanel(INDI::DefaultDevice& device, RunLong runLong) : device_(device), runLong_(std::move(runLong)) {}

  void connected(Camera& camera) override;
  void disconnected() override;
  bool set(const SwitchRequest& request) override;
  bool set(const TextRequest& request) override;

 private:
  void setOn(INDI::PropertySwitch& property, bool on, const std::function<void()>& set);
  void start(INDI::PropertySwitch& property, const SwitchRequest& request, const std::string& what,
             std::function<void(Camera&)> job);
  void useDark(const std::string& file);
  // References, because INDI's properties have an operator & of their own.
  std::array<std::reference_wrapper<INDI::PropertyText>, 3> texts() { return {identity_, id_, dark_}; }
  std::array<std::reference_wrapper<INDI::PropertySwitch>, 4> switches() {
    return {takeDark_, hotPixels_, saveHotPixels_, timeMark_};
  }

  INDI::DefaultDevice& device_;
  RunLong runLong_;
  Camera* camera_ = nullptr;
  bool hub_ = false;
  INDI::PropertyText identity_{4};
  INDI::PropertyText id_{1};
  INDI::PropertyText dark_{1};
  INDI::PropertySwitch takeDark_{1};
  INDI::PropertySwitch hotPixels_{2};
  INDI::PropertySwitch saveHotPixels_{1};
  INDI::PropertySwitch timeMark_{2};
  INDI::PropertySwitch hubPower_{2};
};

}  // namespace orq::indi
