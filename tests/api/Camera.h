// A virtual camera behind the C interface, with the device in reach.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "api/Handles.h"
#include "orqcam/orqcam.h"
#include "virtual/bus/VirtualCamera.h"

namespace orq::test {

/// Longer than anything takes on a busy machine.
inline constexpr int kPatienceMs = 30'000;

/// A name whose camera takes a hundredth of the time, under even light.
inline std::string Quick(const std::string& model, const std::string& more = "") {
  return "virtual:" + model + ",timescale=0.01,scene=flat,flux=300000" + more;
}

/// An open camera; released at the end.
struct ApiCamera {
  explicit ApiCamera(const std::string& name = Quick("k1c"), const orq_open_options* options = nullptr) {
    EXPECT_EQ(orq_camera_open(name.c_str(), options, &camera), ORQ_OK) << orq_last_error();
  }
  ~ApiCamera() { orq_camera_release(camera); }
  ApiCamera(const ApiCamera&) = delete;
  ApiCamera& operator=(const ApiCamera&) = delete;

  VirtualCamera& Device() const { return *camera->camera->Named().device; }

  /// A corner of the sensor, which is quick to make.
  void Corner(int32_t format = ORQ_FORMAT_RAW8, int32_t side = 64) const {
    const orq_region corner{sizeof corner, 0, 0, side, side, 1, format, 0};
    EXPECT_EQ(orq_region_set(camera, &corner, nullptr), ORQ_OK) << orq_last_error();
  }

  orq_camera* camera = nullptr;
};

/// A held frame; released at the end.
struct ApiFrame {
  ApiFrame() = default;
  ~ApiFrame() { orq_frame_release(frame); }
  ApiFrame(const ApiFrame&) = delete;
  ApiFrame& operator=(const ApiFrame&) = delete;

  std::vector<std::uint8_t> Pixels() const {
    const uint8_t* bytes = nullptr;
    size_t size = 0;
    EXPECT_EQ(orq_frame_data(frame, &bytes, &size), ORQ_OK) << orq_last_error();
    return {bytes, bytes + size};
  }
  orq_frame_info Info() const {
    orq_frame_info info{};
    info.size = sizeof info;
    EXPECT_EQ(orq_frame_get_info(frame, &info), ORQ_OK) << orq_last_error();
    return info;
  }

  orq_frame* frame = nullptr;
};

/// Waits until `done`, for at most half a minute.
template <class Done>
bool Eventually(Done done) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kPatienceMs);
  while (!done()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

/// A call that waits, on a thread of its own, and well into its waiting.
template <class Call>
std::future<orq_status> Waiting(Call call) {
  auto begun = std::make_shared<std::atomic<bool>>(false);
  auto waiter = std::async(
      std::launch::async,
      [begun, call] {
        *begun = true;
        return call();
      });
  EXPECT_TRUE(Eventually([&] { return begun->load(); }));
  EXPECT_EQ(waiter.wait_for(std::chrono::milliseconds(300)), std::future_status::timeout) << "it did not wait";
  return waiter;
}

}  // namespace orq::test
