#include <array>

#include "unit/devices/DeviceTest.h"
#include "unit/devices/SleepLog.h"

namespace orq::test {
namespace {

using testing::ElementsAre;

/// A port whose sensor registers can be set; reads of those in `refusedRegisters` stall.
class SensorPort : public FakePort {
 public:
  std::map<std::uint16_t, std::uint8_t> sensor;

  int ControlTransfer(const SetupPacket& setup, std::span<std::uint8_t> data, unsigned timeoutMs) override {
    const int result = FakePort::ControlTransfer(setup, data, timeoutMs);
    if (result > 0 && setup.request == 0xD2) data[0] = sensor[setup.value];
    return result;
  }
};

class SensorIdentity : public testing::Test {
 protected:
  void SetUp() override {
    camera.UsePort(port);
    ASSERT_EQ(camera.OpenCamera(0), 1);
    port->TakeEvents();
    sleeps::onSleep = [this](unsigned us) {
      for (std::string& event : port->TakeEvents()) story.push_back(std::move(event));
      story.push_back("sleep " + std::to_string(us));
    };
    text.fill('#');
  }
  void TearDown() override { sleeps::onSleep = nullptr; }

  std::string Read() {
    camera.GetIMX582SensorId(text.data());
    for (std::string& event : port->TakeEvents()) story.push_back(std::move(event));
    return {text.begin(), text.begin() + 22};
  }

  std::shared_ptr<SensorPort> port = std::make_shared<SensorPort>();
  BareCamera camera;
  std::vector<std::string> story;
  std::array<unsigned char, 24> text{};
};

TEST_F(SensorIdentity, ThePageIsSelectedFetchedAndReadInOrder) {
  Read();
  EXPECT_THAT(story, ElementsAre("40 D3 02 0A 7F 00 00 00", "40 D3 00 0A 01 00 00 00", "sleep 20000",
                                 "C0 D2 27 0A 00 00 01 00", "C0 D2 28 0A 00 00 01 00", "C0 D2 29 0A 00 00 01 00",
                                 "C0 D2 2A 0A 00 00 01 00", "C0 D2 2B 0A 00 00 01 00", "C0 D2 2C 0A 00 00 01 00",
                                 "C0 D2 2D 0A 00 00 01 00", "C0 D2 2E 0A 00 00 01 00", "C0 D2 2F 0A 00 00 01 00",
                                 "C0 D2 30 0A 00 00 01 00", "C0 D2 31 0A 00 00 01 00"));
}

TEST_F(SensorIdentity, BytesAreTwoSmallHexadecimalDigits) {
  const std::uint8_t bytes[] = {0x05, 0x10, 0x9A, 0xAB, 0xFF, 0x00, 0x0F, 0xF0, 0x19, 0xC3, 0xDE};
  std::uint16_t reg = 0x0A27;
  for (const std::uint8_t byte : bytes) port->sensor[reg++] = byte;
  EXPECT_EQ(Read(), "05109aabff000ff019c3de");
}

TEST_F(SensorIdentity, ElevenEqualBytesRepeatTheirDigits) {
  for (std::uint16_t reg = 0x0A27; reg <= 0x0A31; ++reg) port->sensor[reg] = 0xAB;
  EXPECT_EQ(Read(), "ababababababababababab");
}

TEST_F(SensorIdentity, NoTerminatorIsWritten) {
  Read();
  EXPECT_EQ(text[22], '#');
  EXPECT_EQ(text[23], '#');
}

TEST_F(SensorIdentity, AByteThatCannotBeReadRepeatsTheOneBefore) {
  for (std::uint16_t reg = 0x0A27; reg <= 0x0A31; ++reg) port->sensor[reg] = static_cast<std::uint8_t>(reg);
  port->refusedRegisters = {{0xD2, 0x0A27}, {0xD2, 0x0A2A}, {0xD2, 0x0A2B}};
  EXPECT_EQ(Read(),
            "002829"
            "2929"
            "2c2d2e2f3031");
  EXPECT_EQ(story.size(), 14U) << "the reads go on";
}

TEST_F(SensorIdentity, ARefusedSelectionDoesNotStopTheReads) {
  port->refusedRequests = {0xD3};
  port->sensor[0x0A27] = 0x12;
  EXPECT_EQ(Read(), "1200000000000000000000");
}

TEST_F(SensorIdentity, NothingIsAskedForNobody) {
  camera.GetIMX582SensorId(nullptr);
  EXPECT_TRUE(port->TakeEvents().empty());
}

}  // namespace
}  // namespace orq::test
