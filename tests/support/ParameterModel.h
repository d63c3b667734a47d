// A model whose every number and flag a test chooses.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "models/camera/ModelCamera.h"
#include "support/FakePort.h"

namespace orq::test {

/// A small camera that is none of the table: no flag set, both raw formats, all bins.
inline ModelData SmallModel() {
  ModelData model;
  model.key = "test";
  model.name = "Test camera";
  model.productId = 0x7E57;
  model.maxWidth = model.maxHeight = 64;
  model.limits.exposureDefault = 10'000;
  model.limits.exposureMin = 32;
  model.limits.exposureMax = 2'000'000'000;
  return model;
}

inline ModelData Changed(const std::function<void(ModelData&)>& change) {
  ModelData model = SmallModel();
  change(model);
  return model;
}

/// A model camera of such data on a scripted port, with the setters that no table model has.
class ParameterModel : public CModelCamera {
 public:
  explicit ParameterModel(const std::function<void(ModelData&)>& change = [](ModelData&) {})
      : CModelCamera(Changed(change)) {
    UsePort(port);
  }
  ~ParameterModel() override { CloseCamera(); }

  bool SetOverCLKPerc(int percent) override {
    OverCLKPerc = percent;
    return true;
  }
  void SetPattern(int pattern) override { Pattern = pattern; }
  float GetTemp() override { return temperature; }
  bool FanAdjustCheck() override { return fanAdjustable; }
  bool SetFanSpeed(int speed) override {
    fanSpeed = speed;
    return fanAdjustable;
  }
  int GetFanSpeed() override { return fanSpeed; }

  std::vector<int> Controls() {
    GetNumOfControls();
    return {controlList.begin(), controlList.begin() + controlCount};
  }
  int Set(ORQ_CONTROL_TYPE id, long value) { return SetControlValue(id, value, false); }
  /// The value; -1000 when it cannot be read.
  long Get(ORQ_CONTROL_TYPE id) {
    long value = 0;
    ORQ_BOOL automatic = 1;
    return GetControlValue(id, &value, &automatic) == CTRL_OK && automatic == 0 ? value : -1000;
  }

  std::shared_ptr<FakePort> port = std::make_shared<FakePort>();
  Relaxed<float> temperature{20.0F};
  Relaxed<bool> fanAdjustable{false};
  Relaxed<int> fanSpeed{0};
};

}  // namespace orq::test
