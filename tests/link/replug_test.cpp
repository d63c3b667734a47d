// A hundred unplugs: nothing hangs, nothing is left behind, the camera is always found again.
#include <filesystem>
#include <iterator>

#include "OpenLink.h"

namespace orq::test {
namespace {

/// What this process holds.
struct Holdings {
  std::ptrdiff_t threads = 0;
  std::ptrdiff_t descriptors = 0;

  static Holdings Now() {
    const auto entries = [](const char* folder) {
      return std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator());
    };
    return {entries("/proc/self/task"), entries("/proc/self/fd")};
  }
};

template <typename Door>
class Replug : public LinkTest<Door> {
 protected:
  /// One life of the camera on the bus: found, read, unplugged at one of four moments, plugged in again.
  void LiveOnce(int cycle) {
    CCameraFX3 opened;
    ASSERT_TRUE(Open(opened, this->door.MakePort())) << opened.LinkError();
    ASSERT_TRUE(opened.GetFirmwareVer(nullptr)) << opened.LinkError();
    CirBuf ring(64 * 32 * 2, 2);
    ring.StartInstBufThr();
    const bool streaming = cycle % 4 >= 2;
    if (streaming) ASSERT_TRUE(opened.StartStream(ring, {64, 32, 1, wire::kFormat16Bit})) << opened.LinkError();
    if (cycle % 4 == 3) ASSERT_TRUE(TakeFrame(ring));
    if (cycle % 4 == 0) opened.CloseDevice();  // unplugged while nobody uses it
    this->door.Unplug(this->number);
    if (streaming) {
      while (opened.StreamAlive()) TakeFrame(ring, 5);
      opened.StopStream();
      EXPECT_TRUE(opened.DeviceLost());
    }
    opened.CloseDevice();
    this->door.Replug(this->number);
  }
};
TYPED_TEST_SUITE(Replug, BothDoors, DoorNames);

TYPED_TEST(Replug, AHundredTimes) {
  this->Plug();
  constexpr int kCycles = 100;
  constexpr int kWarmUp = 4;
  Holdings before;
  for (int cycle = 0; cycle < kCycles + kWarmUp; ++cycle) {
    if (cycle == kWarmUp) before = Holdings::Now();
    ASSERT_NO_FATAL_FAILURE(this->LiveOnce(cycle)) << "cycle " << cycle;
  }
  // The node of the last unplug is cleared away by the next plug-in: within one of what there was.
  const Holdings after = Holdings::Now();
  EXPECT_LE(after.threads, before.threads + 1);
  EXPECT_LE(after.descriptors, before.descriptors + 4);
  ASSERT_TRUE(Open(this->link, this->door.MakePort())) << this->link.LinkError();
  EXPECT_TRUE(this->link.GetFirmwareVer(nullptr));
}

TYPED_TEST(Replug, AHundredTimesUnderOneOpenList) {
  this->Plug();
  const auto watching = this->door.MakePort();
  for (int cycle = 0; cycle < 100; ++cycle) {
    ASSERT_EQ(watching->List(wire::kVendorId).size(), 1U) << "cycle " << cycle;
    this->door.Unplug(this->number);
    ASSERT_EQ(watching->List(wire::kVendorId).size(), 0U) << "cycle " << cycle;
    this->door.Replug(this->number);
  }
}

}  // namespace
}  // namespace orq::test
