// A camera object on a virtual device of its own, with both ends in reach.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "models/camera/ModelCamera.h"
#include "virtual/bus/VirtualBus.h"
#include "virtual/bus/VirtualCamera.h"
#include "virtual/bus/VirtualPort.h"

namespace orq::test {

/// Device and camera object. The object's buffers hold `side` x `side` pixels: a corner of the device's sensor is
/// enough for most stories, and quick to make.
struct VirtualRig {
  explicit VirtualRig(const char* key = "k1c", const std::function<void(VirtualOptions&)>& change = {},
                      int side = 128) {
    VirtualOptions options;
    options.model = key;
    options.timeScale = 0.01;
    options.scene = "flat";
    options.fluxElectronsPerSecond = 300'000;
    if (change) change(options);
    std::string error;
    device = VirtualCamera::Make(options, error);
    EXPECT_NE(device, nullptr) << error;
    bus->Attach(device);
    ModelData model = *FindModel(key);
    model.maxWidth = model.maxHeight = side;
    model.timeScale = options.timeScale;
    camera = MakeObject(model);
  }

  std::unique_ptr<CModelCamera> MakeObject(const ModelData& model) const {
    auto made = std::make_unique<CModelCamera>(model);
    made->UsePort(MakeVirtualPort(bus));
    return made;
  }

  bool Open() const { return camera->OpenCamera(0) == 1; }

  std::vector<std::uint8_t> Buffer() const {
    return std::vector<std::uint8_t>(static_cast<std::size_t>(camera->FrameBytes()));
  }

  /// One single exposure, fetched; empty when it failed.
  std::vector<std::uint8_t> Snap(FrameInfo& info) const {
    std::vector<std::uint8_t> frame = Buffer();
    EXPECT_EQ(camera->StartExposure(), 1);
    if (camera->GetFrame(frame.data(), static_cast<int>(frame.size()), kPatienceMs, info) == 0) frame.clear();
    camera->StopCapture();
    return frame;
  }

  bool Fetch(FrameInfo& info, int waitMs = kPatienceMs) const {
    std::vector<std::uint8_t> frame = Buffer();
    return camera->GetFrame(frame.data(), static_cast<int>(frame.size()), waitMs, info) == 1;
  }
  bool Fetch() const {
    FrameInfo info;
    return Fetch(info);
  }

  /// Longer than anything takes on a busy machine.
  static constexpr int kPatienceMs = 30'000;

  std::shared_ptr<VirtualBus> bus = std::make_shared<VirtualBus>();
  std::shared_ptr<VirtualCamera> device;
  std::unique_ptr<CModelCamera> camera;
};

/// Waits until `done`, for at most half a minute.
template <class Done>
bool Eventually(Done done) {
  const auto giveUp = std::chrono::steady_clock::now() + std::chrono::milliseconds(VirtualRig::kPatienceMs);
  while (!done()) {
    if (std::chrono::steady_clock::now() > giveUp) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

}  // namespace orq::test
