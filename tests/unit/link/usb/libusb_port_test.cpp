// What the libusb port does where no camera is plugged in; an emulated device is another test's.
#include "link/usb/LibusbPort.h"

#include <gtest/gtest.h>

#include <array>

#include "support/CollectedText.h"

namespace orq {
namespace {

constexpr std::uint16_t kNobody = 0xF0F0;

class LibusbWithoutCamera : public testing::Test {
 protected:
  void SetUp() override {
    if (port_->Context() == nullptr) GTEST_SKIP() << "no USB here: " << port_->LastError();
  }
  std::shared_ptr<UsbPort> port_ = MakeLibusbPort();
};

TEST_F(LibusbWithoutCamera, ListsNothingAndOpensNothing) {
  EXPECT_TRUE(port_->List(kNobody).empty());
  EXPECT_EQ(port_->LastError(), "");
  EXPECT_EQ(port_->libusb_open_device_with_vid_pid_index(port_->Context(), kNobody, 1, 0), nullptr);
  EXPECT_EQ(port_->LastErrorCode(), kUsbNotFound);
  EXPECT_NE(port_->LastError().find("no such camera"), std::string::npos);
}

TEST_F(LibusbWithoutCamera, AnswersNoDeviceWhileClosed) {
  std::array<std::uint8_t, 1> byte{};
  EXPECT_EQ(port_->ControlTransfer({kVendorIn, 0xD0, 0, 0, 1}, byte, 10), kUsbNoDevice);
  EXPECT_EQ(port_->Speed(), UsbSpeed::Unknown);
  EXPECT_NE(port_->libusb_set_configuration(nullptr, 1), 0);
  EXPECT_NE(port_->libusb_claim_interface(nullptr, 0), 0);
  EXPECT_EQ(port_->Pipe().MakeTransfer(1024), nullptr);
  EXPECT_EQ(port_->Pipe().ClearHalt(), kUsbNoDevice);
  port_->ReleaseInterface(0);
}

TEST_F(LibusbWithoutCamera, PrintsItsLogThroughTheTextSink) {
  constexpr int kEverything = 4;
  port_->libusb_set_debug(port_->Context(), kEverything);
  {
    test::CollectedText text;
    port_->List(kNobody);
    EXPECT_EQ(text.Release(), "");
    EXPECT_NE(text.Error().find("libusb"), std::string::npos) << text.Error();
    EXPECT_EQ(text.Output(), "");
  }
  testing::internal::CaptureStderr();
  port_->List(kNobody);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("libusb"), std::string::npos);
}

TEST_F(LibusbWithoutCamera, ClosesTwiceAndMakesANewContext) {
  port_->libusb_set_debug(port_->Context(), 0);
  port_->libusb_set_debug(nullptr, 0);
  port_->CloseDevice();
  port_->CloseDevice();
  EXPECT_NE(port_->Context(), nullptr);
  EXPECT_EQ(port_->libusb_open_device_with_vid_pid_index(nullptr, kNobody, 1, 0), nullptr);
}

}  // namespace
}  // namespace orq
