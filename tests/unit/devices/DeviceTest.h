// An open camera with nothing of its own, on a scripted port.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/LogText.h"
#include "support/RecordingCamera.h"

namespace orq::test {

template <class Camera>
class OpenCameraTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(camera.OpenCamera(0), 1);
    camera.port->TakeEvents();
  }
  /// Control transfers since the last call, as hex.
  std::vector<std::string> Sent() { return camera.port->TakeEvents(); }

  Camera camera;
};

using DeviceTest = OpenCameraTest<BareCamera>;

/// Calls of the virtual table are recorded; the base's own versions are called qualified.
class DeviceTableTest : public OpenCameraTest<RecordingCamera> {
 protected:
  void SetUp() override {
    OpenCameraTest::SetUp();
    camera.TakeCalls();
  }
};

}  // namespace orq::test
