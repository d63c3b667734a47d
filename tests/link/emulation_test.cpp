// The emulated bus itself, seen by libusb's own calls.
#include <gmock/gmock.h>
#include <libusb-1.0/libusb.h>
#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iterator>
#include <thread>

#include "OpenLink.h"
#include "emulation/common/CameraWords.h"
#include "emulation/common/PlugCommands.h"
#include "support/FakePort.h"
#include "support/VirtualRig.h"

namespace orq::test {
namespace {

using Emulation = LinkTest<LibusbDoor>;

std::string Hex(std::span<const unsigned char> bytes) {
  std::string text;
  for (const unsigned char byte : bytes) {
    char digits[4];
    std::snprintf(digits, sizeof digits, "%02X ", byte);
    text += digits;
  }
  return text.empty() ? text : text.substr(0, text.size() - 1);
}

/// The answer to GET_DESCRIPTOR from the open device.
std::string Descriptor(libusb_device_handle* handle, std::uint8_t type, std::uint8_t index) {
  unsigned char bytes[256];
  const int came = libusb_get_descriptor(handle, type, index, bytes, sizeof bytes);
  return came < 0 ? libusb_error_name(came) : Hex(std::span(bytes).first(static_cast<std::size_t>(came)));
}

TEST_F(Emulation, ASuperSpeedCameraDescribesItself) {
  PlugAndOpen();
  EXPECT_EQ(Descriptor(link.usbHandle, 1, 0), "12 01 00 03 00 00 00 09 55 F0 01 11 00 01 01 02 03 01");
  EXPECT_EQ(Descriptor(link.usbHandle, 2, 0),
            "09 02 1F 00 01 01 00 80 70 "  // configuration 1: one interface, 896 mA
            "09 04 00 00 01 FF 00 00 00 "  // vendor class, one endpoint
            "07 05 81 02 00 04 00 "        // bulk in, 1024 bytes
            "06 30 0F 00 00 00");          // bursts of 16
  EXPECT_EQ(Descriptor(link.usbHandle, 15, 0),
            "05 0F 16 00 02 07 10 02 02 00 00 00 0A 10 03 00 0E 00 01 0A FF 07");
  EXPECT_EQ(Descriptor(link.usbHandle, 6, 0), "LIBUSB_ERROR_PIPE") << "no qualifier at SuperSpeed";
  EXPECT_EQ(Descriptor(link.usbHandle, 3, 9), "LIBUSB_ERROR_PIPE") << "no such string";
}

TEST_F(Emulation, AHighSpeedCameraDescribesItself) {
  VirtualOptions options = Untimed();
  options.usb3 = false;
  PlugAndOpen(options);
  EXPECT_EQ(Descriptor(link.usbHandle, 1, 0), "12 01 10 02 00 00 00 40 55 F0 01 11 00 01 01 02 03 01");
  EXPECT_EQ(Descriptor(link.usbHandle, 2, 0),
            "09 02 19 00 01 01 00 80 FA 09 04 00 00 01 FF 00 00 00 07 05 81 02 00 02 00");
  EXPECT_EQ(Descriptor(link.usbHandle, 6, 0), "0A 06 10 02 00 00 00 40 01 00");
}

TEST_F(Emulation, TheSerialNumberStringIsTheCamerasOwnNumber) {
  VirtualOptions options = Untimed();
  options.serial = "00112233aabbccdd";
  PlugAndOpen(options);
  unsigned char text[64] = {};
  EXPECT_EQ(libusb_get_string_descriptor_ascii(link.usbHandle, 3, text, sizeof text), 16);
  EXPECT_STREQ(reinterpret_cast<char*>(text), "00112233aabbccdd");
  EXPECT_GT(libusb_get_string_descriptor_ascii(link.usbHandle, 2, text, sizeof text), 0);
  EXPECT_STREQ(reinterpret_cast<char*>(text), "Virtual camera k1c");
}

TEST_F(Emulation, ConfigurationsAreSetOnlyWhileNobodyHoldsTheInterface) {
  PlugAndOpen();
  EXPECT_EQ(libusb_set_configuration(link.usbHandle, 1), LIBUSB_ERROR_BUSY);
  EXPECT_EQ(libusb_release_interface(link.usbHandle, 0), LIBUSB_SUCCESS);
  EXPECT_EQ(libusb_set_configuration(link.usbHandle, 1), LIBUSB_SUCCESS);
  EXPECT_EQ(libusb_set_configuration(link.usbHandle, 7), LIBUSB_ERROR_NOT_FOUND);
  EXPECT_EQ(libusb_claim_interface(link.usbHandle, 5), LIBUSB_ERROR_NOT_FOUND);
  EXPECT_EQ(libusb_claim_interface(link.usbHandle, 0), LIBUSB_SUCCESS);
}

TEST_F(Emulation, AnUnconfiguredDeviceHasNoInterface) {
  EmulatedDevice::PlugOptions early;
  early.configured = false;
  number = door.Attach(camera = MakeCamera(Untimed()), early);
  const auto port = door.MakePort();
  libusb_device_handle* handle = libusb_open_device_with_vid_pid(port->Context(), wire::kVendorId, pid::kK1C);
  ASSERT_NE(handle, nullptr);
  libusb_config_descriptor* active = nullptr;
  EXPECT_EQ(libusb_get_active_config_descriptor(libusb_get_device(handle), &active), LIBUSB_ERROR_NOT_FOUND);
  EXPECT_EQ(libusb_claim_interface(handle, 0), LIBUSB_ERROR_NOT_FOUND);
  door.Device(number).Configure();
  EXPECT_EQ(libusb_claim_interface(handle, 0), LIBUSB_SUCCESS);
  libusb_close(handle);
  port->CloseDevice();
}

TEST_F(Emulation, AnotherEndpointDoesNotExist) {
  PlugAndOpen();
  unsigned char byte = 0;
  int came = 0;
  EXPECT_EQ(libusb_bulk_transfer(link.usbHandle, 0x82, &byte, 1, &came, 1000), LIBUSB_ERROR_IO);
  EXPECT_EQ(libusb_clear_halt(link.usbHandle, 0x82), LIBUSB_ERROR_NOT_FOUND);
}

TEST_F(Emulation, AReplugComesUnderANewNumber) {
  Plug();
  const int before = door.Device(number).Address();
  EXPECT_GT(before, 1);
  door.Unplug(number);
  EXPECT_EQ(door.Device(number).Address(), 0);
  EXPECT_FALSE(door.Device(number).Plugged());
  door.Replug(number);
  EXPECT_EQ(door.Device(number).Address(), before + 1);
  std::string error;
  EXPECT_FALSE(door.Device(number).Plug({}, error)) << "it is plugged in";
  EXPECT_NE(error, "");
}

/// Programs come and go, and are killed, while cameras are pulled out: the bus outlives each of them.
TEST_F(Emulation, AListenerMayLeaveWhileItIsTold) {
  Plug();
  std::atomic<bool> goOn = true;
  std::thread listeners([&] {
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = 2;  // where udev tells of devices
    while (goOn) {
      const int listener = ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
      ASSERT_GE(listener, 0);
      ASSERT_EQ(::bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
      ::close(listener);
    }
  });
  for (int round = 0; round < 300; ++round) {
    door.Unplug(number);
    door.Replug(number);
  }
  goOn = false;
  listeners.join();
  EXPECT_TRUE(door.Device(number).Plugged());
}

TEST_F(Emulation, OneBusInAProcess) {
  std::string error;
  EXPECT_EQ(EmulatedBus::Make(error), nullptr);
  EXPECT_NE(error, "");
}

TEST_F(Emulation, FramesAreRightHoweverTheyAreCopied) {
  for (const CopyMode copy : {CopyMode::Best, CopyMode::Process, CopyMode::Wire}) {
    SCOPED_TRACE(static_cast<int>(copy));
    EmulatedDevice::PlugOptions options;
    options.copy = copy;
    camera = MakeCamera(Untimed(), 1000, 700);
    number = door.Attach(camera, options);
    ASSERT_TRUE(Open(link, door.MakePort())) << link.LinkError();
    UseSoftTrigger(link);
    const StreamFormat format{1000, 700, 1, wire::kFormat16Bit};
    Program(link, format);
    CirBuf ring(1'400'000, 2);
    ring.StartInstBufThr();
    ASSERT_TRUE(link.StartStream(ring, format)) << link.LinkError();
    for (int i = 0; i < 3; ++i) {
      ASSERT_TRUE(link.SendSoftTrigger());
      const auto frame = TakeFrame(ring);
      ASSERT_TRUE(frame);
      EXPECT_TRUE(frame->payload == camera->SentPayload(frame->header.sequence));
    }
    link.CloseDevice();
    door.Unplug(number);
  }
}

TEST(CameraWords, BeginACameraAtEachModelName) {
  std::string error;
  const auto cameras = ParseCameras("k1c,k1c,seed=2,usb=2,x26m,prerender=3", error);
  ASSERT_TRUE(cameras) << error;
  ASSERT_EQ(cameras->size(), 3U);
  EXPECT_EQ((*cameras)[0].model, "k1c");
  EXPECT_EQ((*cameras)[0].seed, 1U);
  EXPECT_EQ((*cameras)[1].model, "k1c");
  EXPECT_EQ((*cameras)[1].seed, 2U);
  EXPECT_FALSE((*cameras)[1].usb3);
  EXPECT_EQ((*cameras)[2].model, "x26m");
  EXPECT_EQ((*cameras)[2].preRender, 3);
}

TEST(CameraWords, RefuseWhatIsNoCamera) {
  for (const char* text : {"", "seed=2", "nocamera", "k1c,nooption=1", "k1c,", "k1c,,seed=2", "k1c,seed=x"}) {
    std::string error;
    EXPECT_FALSE(ParseCameras(text, error)) << text;
    EXPECT_NE(error, "") << text;
  }
}

TEST_F(Emulation, CommandsUnplugReplugAndStall) {
  PlugAndOpen();
  EXPECT_EQ(ObeyCommand(door.Bus().PlugPoints(), "stall 0").text, "ok");
  std::vector<unsigned char> buffer(4096);
  int came = 0;
  EXPECT_EQ(libusb_bulk_transfer(link.usbHandle, 0x81, buffer.data(), 4096, &came, 1000), LIBUSB_ERROR_PIPE);
  EXPECT_EQ(libusb_clear_halt(link.usbHandle, 0x81), LIBUSB_SUCCESS);
  EXPECT_EQ(libusb_bulk_transfer(link.usbHandle, 0x81, buffer.data(), 4096, &came, 50), LIBUSB_ERROR_TIMEOUT);
  EXPECT_EQ(ObeyCommand(door.Bus().PlugPoints(), " unplug  0 ").text, "ok");
  EXPECT_FALSE(door.Device(0).Plugged());
  EXPECT_THAT(ObeyCommand(door.Bus().PlugPoints(), "unplug 0").text, ::testing::StartsWith("error: "));
  EXPECT_THAT(ObeyCommand(door.Bus().PlugPoints(), "stall 0").text, ::testing::StartsWith("error: "));
  EXPECT_EQ(ObeyCommand(door.Bus().PlugPoints(), "replug 0").text, "ok");
  EXPECT_TRUE(door.Device(0).Plugged());
}

TEST_F(Emulation, ACommandTellsWhatTheSensorSent) {
  PlugAndOpen();
  const std::string path = ::testing::TempDir() + "orq-sent-" + std::to_string(::getpid());
  EXPECT_THAT(ObeyCommand(door.Bus().PlugPoints(), "sent 0 5 " + path).text, ::testing::StartsWith("error: "));
  const auto before = std::chrono::system_clock::now();
  EXPECT_TRUE(link.FPGAStart());
  EXPECT_TRUE(Eventually([&] { return !camera->SentFrames().empty(); }));
  EXPECT_TRUE(link.FPGAStop());
  const SentFrame sent = camera->SentFrames().back();
  const std::string words = "sent 0 " + std::to_string(sent.header.sequence) + " ";
  const CommandAnswer answer = ObeyCommand(door.Bus().PlugPoints(), words + path);
  ASSERT_THAT(answer.text, ::testing::StartsWith("ok "));
  const std::chrono::microseconds began(std::stoll(answer.text.substr(3)));
  EXPECT_LT(std::chrono::abs(began - before.time_since_epoch()), std::chrono::seconds(60));
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> content((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  ASSERT_EQ(content.size(), 64U + sent.payload->size());
  EXPECT_EQ(std::memcmp(content.data(), "ORQF", 4), 0);
  EXPECT_EQ(std::memcmp(content.data() + 64, sent.payload->data(), sent.payload->size()), 0);
  EXPECT_THAT(ObeyCommand(door.Bus().PlugPoints(), words + "/no/such/folder/file").text,
              ::testing::StartsWith("error: "));
  EXPECT_THAT(ObeyCommand(door.Bus().PlugPoints(), words).text, ::testing::StartsWith("error: "));
  std::remove(path.c_str());
}

TEST_F(Emulation, WrongCommandsAreExplained) {
  Plug();
  for (const char* line :
       {"", "unplug", "unplug x", "unplug -1", "unplug 1", "unplug 0 0", "replug", "quit 1", "help"}) {
    const CommandAnswer answer = ObeyCommand(door.Bus().PlugPoints(), line);
    EXPECT_THAT(answer.text, ::testing::StartsWith("error: ")) << line;
    EXPECT_FALSE(answer.quit) << line;
  }
  EXPECT_TRUE(door.Device(0).Plugged());
  EXPECT_TRUE(ObeyCommand(door.Bus().PlugPoints(), "quit").quit);
}

}  // namespace
}  // namespace orq::test
