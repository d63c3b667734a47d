// A camera behind the usbredir protocol, message by message.
#include <gmock/gmock.h>

#include <cerrno>
#include <filesystem>

#include "RedirGuest.h"
#include "emulation/common/PlugCommands.h"
#include "emulation/usbredir/RedirCamera.h"

namespace orq::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class Redir : public ::testing::Test {
 protected:
  void Serve(std::string_view words = "k1c,timescale=0,prerender=1,serial=0011223344556677") {
    std::string error;
    const auto options = ParseVirtualOptions(words, error);
    ASSERT_TRUE(options) << error;
    model = VirtualCamera::Make(*options, error);
    camera = RedirCamera::Make(model, path, error);
    ASSERT_NE(camera, nullptr) << error;
  }
  void Plug(std::string_view words = "k1c,timescale=0,prerender=1,serial=0011223344556677") {
    Serve(words);
    guest = std::make_unique<RedirGuest>(path);
    ASSERT_TRUE(guest->Until([&] { return guest->plugged; }));
  }
  void Configure() {
    usb_redir_set_configuration_header configuration{1};
    const std::uint64_t id = guest->NextId();
    usbredirparser_send_set_configuration(guest->Native(), id, &configuration);
    const RedirAnswer answer = guest->Answer(id);
    EXPECT_EQ(answer.status, usb_redir_success);
    EXPECT_THAT(answer.data, ElementsAre(1));
  }
  /// Small frames, running.
  void Run() {
    Configure();
    const auto write = [&](std::uint16_t reg, std::uint16_t value) {
      EXPECT_EQ(guest->ControlNow(0x40, 0xD1, reg, value, 0).status, usb_redir_success);
    };
    write(0x2C, 64);
    write(0x2D, 0);
    write(0x2E, 32);
    write(0x2F, 0);
    write(0x14, 0);
    write(0x00, 1);
  }
  std::string Obey(const std::string& line) {
    PlugPoint* const points[] = {camera.get()};
    return ObeyCommand(points, line).text;
  }

  const std::string path = "/tmp/orq-redir-test." + std::to_string(::getpid());
  std::shared_ptr<VirtualCamera> model;
  std::unique_ptr<RedirCamera> camera;
  std::unique_ptr<RedirGuest> guest;
};

TEST_F(Redir, ASuperSpeedCameraIsAnnounced) {
  Plug();
  EXPECT_EQ(guest->device.speed, usb_redir_speed_super);
  EXPECT_EQ(+guest->device.vendor_id, 0xF055);
  EXPECT_EQ(+guest->device.product_id, 0x1101);
  EXPECT_EQ(+guest->device.device_version_bcd, 0x0100);
  EXPECT_EQ(+guest->interfaces.interface_count, 1U) << "a copy: members of messages are not aligned";
  EXPECT_EQ(guest->interfaces.interface_class[0], 0xFF);
  EXPECT_EQ(guest->endpoints.type[0], usb_redir_type_control);
  EXPECT_EQ(guest->endpoints.type[16], usb_redir_type_control);
  EXPECT_EQ(guest->endpoints.type[17], usb_redir_type_bulk) << "0x81";
  EXPECT_EQ(guest->endpoints.type[1], usb_redir_type_invalid);
  EXPECT_EQ(+guest->endpoints.max_packet_size[17], 1024);
}

TEST_F(Redir, AHighSpeedCameraIsAnnounced) {
  Plug("x26m,usb=2");
  EXPECT_EQ(guest->device.speed, usb_redir_speed_high);
  EXPECT_EQ(+guest->device.product_id, 0x2601);
  EXPECT_EQ(+guest->endpoints.max_packet_size[17], 512);
}

TEST_F(Redir, DescriptorsAndStandardRequestsAreAnswered) {
  Plug();
  EXPECT_THAT(guest->ControlNow(0x80, 0x06, 0x0100, 0, 18).data,
              ElementsAre(0x12, 1, 0, 3, 0, 0, 0, 9, 0x55, 0xF0, 1, 0x11, 0, 1, 1, 2, 3, 1));
  EXPECT_EQ(guest->ControlNow(0x80, 0x06, 0x0200, 0, 255).data.size(), 31U);
  EXPECT_THAT(guest->ControlNow(0x80, 0x06, 0x0200, 0, 4).data, ElementsAre(9, 2, 31, 0))
      << "cut to what is asked";
  EXPECT_EQ(guest->ControlNow(0x80, 0x06, 0x0F00, 0, 255).data.size(), 22U);
  EXPECT_EQ(guest->ControlNow(0x80, 0x06, 0x0309, 0x409, 255).status, usb_redir_stall) << "no such string";
  EXPECT_THAT(guest->ControlNow(0x80, 0x00, 0, 0, 2).data, ElementsAre(0, 0));
  EXPECT_EQ(guest->ControlNow(0x00, 0x30, 0, 0, 6, Bytes(6)).status, usb_redir_success) << "SET_SEL";
  EXPECT_EQ(guest->ControlNow(0x00, 0x31, 40, 0, 0).status, usb_redir_success) << "SET_ISOCH_DELAY";
  EXPECT_EQ(guest->ControlNow(0x00, 0x03, 48, 0, 0).status, usb_redir_success) << "U1";
  EXPECT_EQ(guest->ControlNow(0x02, 0x01, 0, 0x82, 0).status, usb_redir_stall) << "no such endpoint";
  EXPECT_EQ(guest->ControlNow(0x40, 0xEE, 0, 0, 0).status, usb_redir_stall) << "no such request";
}

TEST_F(Redir, ConfigurationAndAlternateSettingCanBeAskedFor) {
  Plug();
  std::uint64_t id = guest->NextId();
  usbredirparser_send_get_configuration(guest->Native(), id);
  EXPECT_THAT(guest->Answer(id).data, ElementsAre(0));
  Configure();
  id = guest->NextId();
  usbredirparser_send_get_configuration(guest->Native(), id);
  EXPECT_THAT(guest->Answer(id).data, ElementsAre(1));
  usb_redir_set_alt_setting_header wrong{0, 3};
  id = guest->NextId();
  usbredirparser_send_set_alt_setting(guest->Native(), id, &wrong);
  EXPECT_EQ(guest->Answer(id).status, usb_redir_stall);
  usb_redir_get_alt_setting_header which{0};
  id = guest->NextId();
  usbredirparser_send_get_alt_setting(guest->Native(), id, &which);
  EXPECT_THAT(guest->Answer(id).data, ElementsAre(0));
}

TEST_F(Redir, AFrameArrivesAsItWasSent) {
  Plug();
  Run();
  const RedirAnswer frame = guest->Answer(guest->Bulk(480 * 1024));
  ASSERT_EQ(frame.status, usb_redir_success);
  ASSERT_EQ(frame.data.size(), 64U + 64 * 32 + 16) << "header, pixels, trailer; a short packet ends it";
  EXPECT_EQ(std::memcmp(frame.data.data(), "ORQF", 4), 0);
  std::uint32_t sequence = 0;
  for (int byte = 11; byte >= 8; --byte) sequence = sequence << 8 | frame.data[static_cast<std::size_t>(byte)];
  const Bytes pixels(frame.data.begin() + 64, frame.data.end() - 16);
  EXPECT_TRUE(pixels == model->SentPayload(sequence));
  const std::string file = path + ".sent";
  EXPECT_THAT(Obey("sent 0 " + std::to_string(sequence) + " " + file), StartsWith("ok "));
  EXPECT_EQ(std::filesystem::file_size(file), 64U + 64 * 32) << "header and pixels";
  std::filesystem::remove(file);
  EXPECT_THAT(Obey("sent 0 7 " + file), StartsWith("error: "));
  EXPECT_THAT(Obey("sent 0 7"), StartsWith("error: "));
}

TEST_F(Redir, ATransferTooSmallForAPacketOverflows) {
  Plug();
  Run();
  EXPECT_EQ(guest->Answer(guest->Bulk(100)).status, usb_redir_babble);
}

TEST_F(Redir, AStallLastsUntilItIsCleared) {
  Plug();
  Run();
  EXPECT_EQ(Obey("stall 0"), "ok");
  EXPECT_EQ(guest->Answer(guest->Bulk(4096)).status, usb_redir_stall);
  EXPECT_EQ(guest->Answer(guest->Bulk(4096)).status, usb_redir_stall);
  EXPECT_THAT(guest->ControlNow(0x82, 0x00, 0, 0x81, 2).data, ElementsAre(1, 0)) << "the endpoint says so";
  EXPECT_EQ(guest->ControlNow(0x02, 0x01, 0, 0x81, 0).status, usb_redir_success);
  EXPECT_THAT(guest->ControlNow(0x82, 0x00, 0, 0x81, 2).data, ElementsAre(0, 0));
  const RedirAnswer frame = guest->Answer(guest->Bulk(4096));
  EXPECT_EQ(frame.status, usb_redir_success);
  EXPECT_EQ(std::memcmp(frame.data.data(), "ORQF", 4), 0) << "a frame begins behind a halt";
  EXPECT_EQ(guest->ControlNow(0x02, 0x03, 0, 0x81, 0).status, usb_redir_success) << "the host can halt it, too";
  EXPECT_EQ(guest->Answer(guest->Bulk(4096)).status, usb_redir_stall);
}

TEST_F(Redir, TransfersFailByCommand) {
  Plug();
  Run();
  EXPECT_EQ(Obey("error 0"), "ok");
  EXPECT_EQ(guest->Answer(guest->Bulk(4096)).status, usb_redir_ioerror);
  EXPECT_EQ(Obey("overflow 0"), "ok");
  EXPECT_EQ(guest->Answer(guest->Bulk(4096)).status, usb_redir_babble);
  EXPECT_EQ(guest->Answer(guest->Bulk(4096)).status, usb_redir_success);
}

TEST_F(Redir, ACancelledRequestIsAnsweredOnce) {
  Plug();
  Configure();
  const std::uint64_t id = guest->Bulk(4096);
  usbredirparser_send_cancel_data_packet(guest->Native(), id);
  EXPECT_EQ(guest->Answer(id).status, usb_redir_cancelled);
  guest->answers.clear();
  usbredirparser_send_cancel_data_packet(guest->Native(), id);
  EXPECT_EQ(guest->ControlNow(0x80, 0x00, 0, 0, 2).status, usb_redir_success);
  EXPECT_FALSE(guest->answers.contains(id));
}

TEST_F(Redir, ASilentCameraAnswersOnlyCancels) {
  Plug();
  Run();
  EXPECT_EQ(Obey("silence 0"), "ok");
  const std::uint64_t control = guest->Control(0xC0, 0xD4, 0, 0, 4);
  const std::uint64_t bulk = guest->Bulk(4096);
  usbredirparser_send_cancel_data_packet(guest->Native(), control);
  usbredirparser_send_cancel_data_packet(guest->Native(), bulk);
  EXPECT_EQ(guest->Answer(control).status, usb_redir_cancelled);
  EXPECT_EQ(guest->Answer(bulk).status, usb_redir_cancelled);
  EXPECT_EQ(Obey("replug 0"), "ok");
  EXPECT_TRUE(guest->Until([&] { return guest->arrivals == 2; }));
  EXPECT_EQ(guest->ControlNow(0xC0, 0xD4, 0, 0, 4).data.size(), 4U);
}

TEST_F(Redir, UnplugAndReplug) {
  Plug();
  Run();
  EXPECT_EQ(Obey("unplug 0"), "ok");
  EXPECT_TRUE(guest->Until([&] { return !guest->plugged; }));
  EXPECT_FALSE(camera->Plugged());
  EXPECT_THAT(Obey("stall 0"), HasSubstr("not plugged in"));
  EXPECT_EQ(Obey("replug 0"), "ok");
  EXPECT_TRUE(guest->Until([&] { return guest->plugged; }));
  EXPECT_EQ(guest->ControlNow(0xC0, 0xD0, 0x00, 0, 1).data, Bytes{0}) << "power cycled: the output is off";
}

TEST_F(Redir, ACameraThatVanishesIsUnplugged) {
  Plug("k1c,timescale=0,prerender=1,unplug@1");
  Run();
  guest->Bulk(480 * 1024);
  EXPECT_TRUE(guest->Until([&] { return !guest->plugged; }));
  EXPECT_FALSE(camera->Plugged());
}

TEST_F(Redir, AResetEndsTheConfigurationAndTheHalt) {
  Plug();
  Configure();
  EXPECT_EQ(Obey("stall 0"), "ok");
  usbredirparser_send_reset(guest->Native());
  const std::uint64_t id = guest->NextId();
  usbredirparser_send_get_configuration(guest->Native(), id);
  EXPECT_THAT(guest->Answer(id).data, ElementsAre(0));
  EXPECT_THAT(guest->ControlNow(0x82, 0x00, 0, 0x81, 2).data, ElementsAre(0, 0));
}

TEST_F(Redir, WhatACameraLacksIsInvalid) {
  Plug();
  Configure();
  EXPECT_EQ(guest->Answer(guest->Bulk(4096, 0x82)).status, usb_redir_inval);
  EXPECT_EQ(guest->Answer(guest->Bulk(100U << 20U)).status, usb_redir_inval) << "more than anybody asks for";
  usb_redir_start_iso_stream_header stream{0x81, 1, 1};
  const std::uint64_t id = guest->NextId();
  usbredirparser_send_start_iso_stream(guest->Native(), id, &stream);
  EXPECT_EQ(guest->Answer(id).status, usb_redir_inval);
}

TEST_F(Redir, TheNextMachineFindsACameraJustPluggedIn) {
  Plug();
  Run();
  guest.reset();
  guest = std::make_unique<RedirGuest>(path);
  ASSERT_TRUE(guest->Until([&] { return guest->plugged; }));
  EXPECT_EQ(guest->ControlNow(0xC0, 0xD0, 0x00, 0, 1).data, Bytes{0});
}

TEST_F(Redir, ACameraThatWasPulledOutBeforeAMachineCameIsNotThere) {
  Serve();
  EXPECT_EQ(Obey("unplug 0"), "ok");
  guest = std::make_unique<RedirGuest>(path);
  EXPECT_TRUE(guest->Until([&] { return usbredirparser_have_peer_caps(guest->Native()) != 0; }));
  EXPECT_FALSE(guest->plugged);
  EXPECT_EQ(Obey("replug 0"), "ok");
  EXPECT_TRUE(guest->Until([&] { return guest->plugged; }));
}

TEST_F(Redir, NonsenseFromAMachineHurtsNobody) {
  Plug();
  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  guest.reset();
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(::connect(socket.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  const Bytes nonsense(100'000, 0xA5);
  (void)::send(socket.Get(), nonsense.data(), nonsense.size(), MSG_NOSIGNAL);
  socket.Close();
  guest = std::make_unique<RedirGuest>(path);
  EXPECT_TRUE(guest->Until([&] { return guest->plugged; }));
}

TEST_F(Redir, TheSocketIsItsUsersAlone) {
  Serve();
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600));
  std::string error;
  EXPECT_EQ(RedirCamera::Make(model, path, error), nullptr) << "it is in use";
  EXPECT_THAT(error, HasSubstr(path));
  camera.reset();
  EXPECT_FALSE(std::filesystem::exists(path));
}

}  // namespace
}  // namespace orq::test
