// Gains with a meaning of their own.
#pragma once

#include <indiccd.h>

#include <functional>
#include <utility>

#include "panels/Panel.h"

namespace orq::indi {

/// ORQ_GAIN_PRESET chooses one, ORQ_GAINS tells what they are in the present readout mode; of cameras of which it
/// is known what a count is worth.
class GainPanel : public Panel {
 public:
  /// `changed` is told when the gain has been set.
  GainPanel(INDI::DefaultDevice& device, std::function<void()> changed)
      : device_(device), changed_(std::move(changed)) {}

  void connected(Camera& camera) override;
  void disconnected() override;
  bool set(const SwitchRequest& request) override;
  void tick() override;

 private:
  /// Reads them again; true: something has changed.
  bool refresh();

  INDI::DefaultDevice& device_;
  std::function<void()> changed_;
  Camera* camera_ = nullptr;
  INDI::PropertySwitch preset_{3};
  INDI::PropertyNumber gains_{4};
};

}  // namespace orq::indi
