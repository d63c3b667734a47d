#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/RecordingCamera.h"

namespace orq::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kReadState = "C0 D0 27 00 00 00 01 00";

class MonoBin : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(camera.OpenCamera(0), 1);
    Sent();
  }
  std::vector<std::string> Sent() { return camera.port->TakeEvents(); }

  BareCamera camera;
};

TEST_F(MonoBin, WithoutAnFpgaThatBinsItIsAFlagOfTheHost) {
  EXPECT_FALSE(camera.GetMonoBin());
  camera.SetMonoBin(true);
  EXPECT_EQ(camera.monoBin, 1);
  EXPECT_TRUE(camera.GetMonoBin());
  camera.SetMonoBin(false);
  EXPECT_EQ(camera.monoBin, 0);
  EXPECT_FALSE(camera.GetMonoBin());
  EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(MonoBin, AnFpgaThatBinsIsTold) {
  camera.fpgaBin = 1;
  camera.port->fpga[0x27] = 0xFF;
  camera.SetMonoBin(true);
  EXPECT_THAT(Sent(), ElementsAre(kReadState, "40 D1 27 00 7F 00 00 00"));
  EXPECT_EQ(camera.monoBin, 1);
  camera.SetMonoBin(false);
  EXPECT_THAT(Sent(), ElementsAre(kReadState, "40 D1 27 00 FF 00 00 00"));
  EXPECT_EQ(camera.monoBin, 0);
}

TEST_F(MonoBin, TheFlagIsKeptEvenWhenTheFpgaRefuses) {
  camera.fpgaBin = 1;
  camera.port->refusedRequests = {0xD0, 0xD1};
  camera.SetMonoBin(true);
  EXPECT_EQ(camera.monoBin, 1);
}

TEST_F(MonoBin, AnFpgaThatBinsIsAsked) {
  camera.fpgaBin = 1;
  const struct {
    std::uint8_t state;
    bool mono;
  } cases[] = {{0x7F, true}, {0x80, false}, {0x00, true}, {0xFF, false}};
  for (const auto& c : cases) {
    camera.port->fpga[0x27] = c.state;
    camera.monoBin = c.mono ? 0 : 1;
    EXPECT_EQ(camera.GetMonoBin(), c.mono) << int{c.state};
    EXPECT_EQ(camera.monoBin, c.mono ? 1 : 0) << int{c.state};
    EXPECT_THAT(Sent(), ElementsAre(kReadState));
  }
}

TEST_F(MonoBin, AnUnreadableStateCountsAsZero) {
  camera.fpgaBin = 1;
  camera.port->fpga[0x27] = 0x80;
  camera.port->refusedRequests = {0xD0};
  EXPECT_TRUE(camera.GetMonoBin());
  EXPECT_EQ(camera.monoBin, 1);
}

TEST_F(MonoBin, TheControlSetsAndReadsIt) {
  const struct {
    long set;
    long read;
  } cases[] = {{1, 1}, {0, 0}, {5, 1}, {-3, 0}};
  for (const bool fpga : {false, true}) {
    camera.fpgaBin = fpga ? 1 : 0;
    for (const auto& c : cases) {
      EXPECT_EQ(camera.SetControlValue(ORQ_MONO_BIN, c.set, true), 0);
      EXPECT_EQ(camera.monoBin, c.read);
      long value = -1;
      ORQ_BOOL automatic = 9;
      EXPECT_EQ(camera.GetControlValue(ORQ_MONO_BIN, &value, &automatic), 0);
      EXPECT_EQ(value, c.read) << c.set << " with FPGA " << fpga;
      EXPECT_EQ(automatic, 0);
    }
  }
}

TEST_F(MonoBin, TheControlNeverFails) {
  camera.fpgaBin = 1;
  camera.port->unplugged = true;
  EXPECT_EQ(camera.SetControlValue(ORQ_MONO_BIN, 1, false), 0);
}

}  // namespace
}  // namespace orq::test
