#include "TestCamera.h"

namespace orq::test {
namespace {

class SingleExposureSwitch : public testing::TestWithParam<std::pair<std::uint8_t, std::uint8_t>> {};

TEST_P(SingleExposureSwitch, TakesOneFramePerStart) {
  auto camera = MakeCamera(Untimed());
  WriteFpga(*camera, GetParam().first, GetParam().second);
  for (std::uint32_t i = 0; i < 3; ++i) {
    RunOutput(*camera);
    const Frame frame = ReadFrame(*camera);
    ASSERT_TRUE(frame.Header());
    EXPECT_EQ(0xFFFFFFF0U + i, frame.Header()->sequence);
    EXPECT_TRUE(Silent(*camera));
    RunOutput(*camera, false);
  }
  EXPECT_EQ(3U, camera->FramesExposed());
}

INSTANTIATE_TEST_SUITE_P(VirtualCaptureModes, SingleExposureSwitch,
                         testing::Values(std::pair{0x37, 0x01}, std::pair{0x45, 0x02}));

TEST(VirtualCaptureModes, RunsFreelyWhenTheTriggerUnitIgnoresItsInput) {
  auto camera = MakeCamera(Untimed());
  WriteFpga(*camera, wire::kFpgaTriggerInput,
            wire::kTriggerEnable | wire::kTriggerExternal | wire::kTriggerEdge | wire::kTriggerSoftMode);
  RunOutput(*camera);
  const Frame frame = ReadFrame(*camera);
  ASSERT_TRUE(frame.Header());
  EXPECT_EQ(0, frame.Header()->flags);
}

}  // namespace
}  // namespace orq::test
