// A device link that is open on a port, with the frames of its stream.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "Doors.h"
#include "link/CameraFX3.h"
#include "link/ProductIds.h"
#include "link/WireProtocol.h"
#include "link/stream/CirBuf.h"
#include "link/stream/StreamFormat.h"

namespace orq::test {

inline constexpr int kPatienceMs = 30000;  ///< for what must come; long, because machines can be slow

/// The four calls that opening a camera is made of. False when the device could not be opened.
inline bool Open(CCameraFX3& link, std::shared_ptr<UsbPort> port, std::uint8_t index = 0,
                 std::uint16_t productId = pid::kK1C) {
  link.UsePort(port);
  link.usbContext = port->Context();
  port->libusb_set_debug(link.usbContext, 0);
  link.usbHandle = port->libusb_open_device_with_vid_pid_index(link.usbContext, wire::kVendorId, productId, index);
  if (link.usbHandle == nullptr) return false;
  port->libusb_set_configuration(link.usbHandle, wire::kConfiguration);
  port->libusb_claim_interface(link.usbHandle, wire::kInterface);
  link.bOpened = 1;
  return true;
}

/// A frame as the consumer of a stream gets it.
struct ReceivedFrame {
  wire::FrameHeader header;
  std::vector<std::uint8_t> payload;
};

/// The next frame of a stream, or nothing within the patience.
inline std::optional<ReceivedFrame> TakeFrame(CirBuf& ring, int waitMs = kPatienceMs) {
  auto buffer = std::make_unique<std::uint8_t[]>(ring.FrameBytes());
  CirBuf::Frame frame;
  if (!ring.Take(buffer, frame, waitMs)) return std::nullopt;
  const auto header = wire::GetHeader(frame.marks);
  if (!header) return std::nullopt;
  return ReceivedFrame{*header, {buffer.get(), buffer.get() + frame.payloadBytes}};
}

/// Sets the registers that decide the form of the frames.
inline void Program(CCameraFX3& link, const StreamFormat& format, int startX = 0, int startY = 0) {
  const auto pair = [&](std::uint16_t reg, int value) {
    EXPECT_TRUE(link.WriteFPGAREG(reg, static_cast<unsigned short>(value & 0xFF)));
    EXPECT_TRUE(link.WriteFPGAREG(static_cast<unsigned short>(reg + 1), static_cast<unsigned short>(value >> 8)));
  };
  EXPECT_TRUE(link.WriteFPGAREG(wire::kFpgaUpdateHold, 1));
  pair(wire::kFpgaStartX, startX);
  pair(wire::kFpgaStartY, startY);
  pair(wire::kFpgaWidth, format.width);
  pair(wire::kFpgaHeight, format.height);
  EXPECT_TRUE(link.WriteFPGAREG(wire::kFpgaBin, format.bin));
  EXPECT_TRUE(link.WriteFPGAREG(wire::kFpgaFormat, format.format));
  EXPECT_TRUE(link.WriteFPGAREG(wire::kFpgaUpdateHold, 0));
}

/// Frames come one by one, on request.
inline void UseSoftTrigger(CCameraFX3& link) {
  EXPECT_TRUE(link.SelectExtTrigSource(false));
  EXPECT_TRUE(link.EnableFPGATriggerMode(true));
}

/// A small camera (64 x 32 unless said otherwise) on a door, with a link that is open on it.
template <typename Door>
class LinkTest : public ::testing::Test {
 protected:
  void Plug(const VirtualOptions& options = Untimed(), int width = 64, int height = 32,
            std::uint64_t lineTimeNs = 1000) {
    camera = MakeCamera(options, width, height, lineTimeNs);
    number = door.Attach(camera);
  }
  void PlugAndOpen(const VirtualOptions& options = Untimed(), int width = 64, int height = 32,
                   std::uint64_t lineTimeNs = 1000) {
    Plug(options, width, height, lineTimeNs);
    ASSERT_TRUE(Open(link, door.MakePort())) << link.Port().LastError();
  }
  void TearDown() override { link.CloseDevice(); }

  Door door;
  std::shared_ptr<Firmware> camera;
  std::size_t number = 0;
  CCameraFX3 link;
};

}  // namespace orq::test
