// The models that tests about models run over.
#pragma once

#include <vector>

#include "models/table/ModelData.h"

namespace orq::test {

inline bool AnyCamera(const ModelData&) {
  return true;
}

/// Short names of all models of the table that `wanted` takes, without the player of recordings, which needs a
/// file.
inline std::vector<const char*> CameraKeys(bool (*wanted)(const ModelData&) = AnyCamera) {
  std::vector<const char*> keys;
  for (const ModelData& model : AllModels())
    if (model.key != "replay" && wanted(model)) keys.push_back(model.key.data());  // of a literal: ends in 0
  return keys;
}

/// Those that offer every bin factor from 1 to 4; the others bin in their FPGA and leave out 3.
inline std::vector<const char*> CameraKeysOfAllBins() {
  return CameraKeys([](const ModelData& model) { return !model.fpgaBin; });
}

inline std::vector<const char*> CooledCameraKeys() {
  return CameraKeys([](const ModelData& model) { return model.cooled; });
}

}  // namespace orq::test
