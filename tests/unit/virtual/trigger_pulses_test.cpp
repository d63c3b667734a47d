#include "virtual/stream/TriggerPulses.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>

#include "support/Bounded.h"

namespace orq {
namespace {

TEST(TriggerPulsesTest, BeginsWithARiseAndSwitchesUpAndDown) {
  std::atomic<int> changes{0};
  std::atomic<int> wrong{0};
  const TriggerPulses pulses(std::chrono::milliseconds(2), [&](bool high) {
    if (high != (changes % 2 == 0)) ++wrong;
    ++changes;
    changes.notify_all();
  });
  for (int seen = 0; seen < 5; seen = changes) changes.wait(seen);
  EXPECT_EQ(wrong, 0);
}

TEST(TriggerPulsesTest, EndsInTheMiddleOfALongPeriod) {
  auto pulses = std::make_unique<TriggerPulses>(std::chrono::hours(24), [](bool) {});
  std::this_thread::sleep_for(std::chrono::milliseconds(100));  // it waits by now; if not, it ends the sooner
  test::MustReturn([&] { pulses.reset(); });
}

}  // namespace
}  // namespace orq
