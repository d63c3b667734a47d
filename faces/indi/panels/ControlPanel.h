// Gain, offset and the other controls, each with its range.
#pragma once

#include <indiccd.h>

#include <optional>

#include "panels/Panel.h"

namespace orq::indi {

/// CCD_GAIN, CCD_OFFSET, CCD_CONTROLS for the rest, CCD_CONTROLS_MODE for those that can set themselves, and
/// CCD_READINGS for what can only be read.
class ControlPanel : public Panel {
 public:
  explicit ControlPanel(INDI::DefaultDevice& device) : device_(device) {}

  void connected(Camera& camera) override;
  void disconnected() override;
  bool set(const NumberRequest& request) override;
  bool set(const SwitchRequest& request) override;
  void save(std::FILE* file) override;
  void tick() override;

 private:
  /// A property, and the controls behind its elements.
  struct Group {
    INDI::PropertyNumber property{0};
    std::vector<orq_control_info> controls;
  };
  void fill(Group& group, const char* name, const char* label, const char* tab, IPerm permission);
  void add(Group& group, const orq_control_info& control, const char* element);
  bool set(Group& group, const NumberRequest& request);
  /// Reads values again; true: one has changed.
  bool refresh(Group& group);
  void refreshModes();

  INDI::DefaultDevice& device_;
  Camera* camera_ = nullptr;
  Group gain_, offset_, rest_, readings_;
  INDI::PropertySwitch modes_{0};
  std::vector<orq_control_info> automatic_;
};

}  // namespace orq::indi
