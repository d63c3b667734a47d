// What begins an exposure, and the pulses that go with it.
#pragma once

#include <indiccd.h>

#include <vector>

#include "panels/Panel.h"

namespace orq::indi {

/// ORQ_TRIGGER_MODE, ORQ_TRIGGER, and ORQ_OUTPUT_A and _B of cameras that have them.
class TriggerPanel : public Panel {
 public:
  explicit TriggerPanel(INDI::DefaultDevice& device) : device_(device) {}

  void connected(Camera& camera) override;
  void disconnected() override;
  bool set(const NumberRequest& request) override;
  bool set(const SwitchRequest& request) override;
  void save(std::FILE* file) override;

 private:
  void setMode(std::string_view chosen);
  void send(bool wanted);
  void showMode();

  INDI::DefaultDevice& device_;
  Camera* camera_ = nullptr;
  INDI::PropertySwitch mode_{0};
  std::vector<int> modes_;  ///< ORQ_MODE_... in the order of the switch
  INDI::PropertySwitch send_{1};
  std::vector<INDI::PropertyNumber> outputs_;
};

}  // namespace orq::indi
