#include <climits>

#include "unit/devices/DeviceTest.h"

namespace orq::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class RealExposure : public DeviceTest {
 protected:
  void Counter(std::uint64_t ticks) {
    for (std::uint16_t reg = 0xD0; reg <= 0xD4; ++reg, ticks /= 256)
      camera.port->fpga[reg] = static_cast<std::uint8_t>(ticks % 256);
  }
};

TEST_F(RealExposure, BelowOneSecondItIsTheSetExposure) {
  const struct {
    std::uint64_t us;
    int ms;
  } cases[] = {{0, 0}, {999, 0}, {1000, 1}, {1999, 1}, {999'999, 999}};
  for (const auto& c : cases) {
    camera.exposureUs = c.us;
    EXPECT_EQ(camera.GetRealExpTime(1000), c.ms);
    EXPECT_EQ(camera.GetRealExpTime(0), c.ms) << "no tick rate is needed";
    EXPECT_THAT(Sent(), IsEmpty());
  }
}

TEST_F(RealExposure, FromOneSecondOnTheCounterIsRead) {
  camera.exposureUs = 1'000'000;
  Counter(1'000'000);
  EXPECT_EQ(camera.port->fpga[0xD0], 0x40);
  EXPECT_EQ(camera.port->fpga[0xD1], 0x42);
  EXPECT_EQ(camera.port->fpga[0xD2], 0x0F);
  EXPECT_EQ(camera.GetRealExpTime(1000), 1000);
  EXPECT_THAT(Sent(), ElementsAre("C0 D0 D0 00 00 00 01 00", "C0 D0 D1 00 00 00 01 00", "C0 D0 D2 00 00 00 01 00",
                                  "C0 D0 D3 00 00 00 01 00", "C0 D0 D4 00 00 00 01 00"));
  EXPECT_EQ(camera.GetRealExpTime(999), 1001) << "cut";
  EXPECT_EQ(camera.GetRealExpTime(1), 1'000'000);
  EXPECT_EQ(camera.GetRealExpTime(INT_MAX), 0);
}

TEST_F(RealExposure, TheCounterHasFortyBitsAndOnlyTheResultIsCut) {
  camera.exposureUs = 2'000'000;
  Counter(0xFF'FFFF'FFFF);
  EXPECT_EQ(camera.GetRealExpTime(1'000'000), 1'099'511);
  LogText log;
  EXPECT_EQ(camera.GetRealExpTime(3), static_cast<int>(366'503'875'925 - 85LL * 4'294'967'296));
  EXPECT_EQ(log.Text(), Line("GetRealExpTime", "REAL EXP_TIME: 366503875925 ms\n"));
}

TEST_F(RealExposure, AResultBeyond31BitsIsCutToItsLow32) {
  camera.exposureUs = 2'000'000;
  Counter(0xFF'FFFF'FFFF);
  EXPECT_EQ(camera.GetRealExpTime(1), -1);
  Counter(0x1'8000'0000);
  EXPECT_EQ(camera.GetRealExpTime(1), INT_MIN);
}

TEST_F(RealExposure, BothWaysAreLogged) {
  LogText log;
  camera.exposureUs = 12'345;
  camera.GetRealExpTime(1000);
  camera.exposureUs = 5'000'000;
  Counter(5'000'123);
  camera.GetRealExpTime(1000);
  EXPECT_EQ(log.Text(),
            Line("GetRealExpTime", "REAL EXP_TIME: 12 ms\n") + Line("GetRealExpTime", "REAL EXP_TIME: 5000 ms\n"));
}

TEST_F(RealExposure, ANegativeRateIsRefusedWithoutAWord) {
  LogText log;
  for (const std::uint64_t us : {std::uint64_t{5}, std::uint64_t{5'000'000}}) {
    camera.exposureUs = us;
    EXPECT_EQ(camera.GetRealExpTime(-1), -1);
    EXPECT_EQ(camera.GetRealExpTime(INT_MIN), -1);
  }
  EXPECT_EQ(log.Text(), "");
  EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(RealExposure, ALongExposureWithoutARateIsUnknown) {
  camera.exposureUs = 1'000'000;
  Counter(1'000'000);
  LogText log;
  EXPECT_EQ(camera.GetRealExpTime(0), -1);
  EXPECT_EQ(log.Text(), "");
  EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(RealExposure, AByteThatCannotBeReadRepeatsTheOneBefore) {
  camera.exposureUs = 1'000'000;
  Counter(0x05'0403'0201);
  camera.port->refusedRegisters = {{0xD0, 0xD2}};
  LogText log;
  camera.GetRealExpTime(1);
  EXPECT_EQ(log.Text(), Line("GetRealExpTime", "REAL EXP_TIME: " + std::to_string(0x05'0402'0201) + " ms\n"));
  EXPECT_EQ(Sent().size(), 5U);
}

TEST_F(RealExposure, ACounterThatCannotBeReadAtAllIsZero) {
  camera.exposureUs = 1'000'000;
  Counter(1'000'000);
  camera.port->refusedRequests = {0xD0};
  EXPECT_EQ(camera.GetRealExpTime(1000), 0);
  EXPECT_EQ(Sent().size(), 5U);
}

TEST_F(RealExposure, AnExposureBeyond32BitsIsCounted) {
  camera.exposureUs = 0x1'0000'0000;
  Counter(7000);
  EXPECT_EQ(camera.GetRealExpTime(1000), 7);
}

TEST_F(RealExposure, SensorTimingIsUnknownByDefault) {
  int interval = 42;
  EXPECT_EQ(camera.GetRollingInterval(interval), 0);
  EXPECT_EQ(interval, 42);
  float time = 4.5F;
  EXPECT_EQ(camera.GetSHR0Time(time), 0);
  EXPECT_EQ(time, 4.5F);
  EXPECT_THAT(Sent(), IsEmpty());
}

}  // namespace
}  // namespace orq::test
