// Opening, exposing and closing, again and again.
#include <malloc.h>

#include <cstdlib>
#include <filesystem>

#include "Camera.h"

namespace orq {
namespace {

using test::ApiFrame;
using test::Eventually;
using test::kPatienceMs;

/// ORQ_API_CYCLES asks for more: a thousand takes some minutes on a busy machine.
int Cycles() {
  const char* const asked = std::getenv("ORQ_API_CYCLES");
  const int cycles = asked == nullptr ? 0 : std::atoi(asked);
  return cycles > 0 ? cycles : 100;
}

std::size_t EntriesOf(const char* folder) {
  const std::filesystem::directory_iterator entries(folder);
  return static_cast<std::size_t>(std::distance(begin(entries), end(entries)));
}

std::size_t AllocatedBytes() {
  const struct mallinfo2 now = ::mallinfo2();
  return now.uordblks + now.hblkhd;
}

void Cycle(ApiFrame& frame) {
  const test::ApiCamera camera("virtual:k1c,timescale=0,scene=flat");
  camera.Corner();
  orq_reader* reader = nullptr;
  int32_t fd = -1;
  ASSERT_EQ(orq_reader_open(camera.camera, nullptr, &reader), ORQ_OK);
  ASSERT_EQ(orq_camera_event_fd(camera.camera, &fd), ORQ_OK);
  ASSERT_EQ(orq_exposure_start(camera.camera, 1000), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_frame_wait(camera.camera, kPatienceMs, &frame.frame), ORQ_OK) << orq_last_error();
  ASSERT_EQ(orq_camera_close(camera.camera), ORQ_OK);
  orq_reader_release(reader);
}

TEST(ApiCycles, LeaveNoMemoryNoThreadAndNoDescriptorBehind) {
  ApiFrame kept;
  Cycle(kept);
  const std::vector<std::uint8_t> before = kept.Pixels();
  for (int i = 0; i < 10; ++i) {
    ApiFrame frame;
    Cycle(frame);
  }
  const std::size_t threads = EntriesOf("/proc/self/task");
  const std::size_t descriptors = EntriesOf("/proc/self/fd");
  const std::size_t bytes = AllocatedBytes();
  for (int i = 0; i < Cycles(); ++i) {
    ApiFrame frame;
    Cycle(frame);
    ASSERT_FALSE(HasFatalFailure()) << "cycle " << i;
  }
  EXPECT_TRUE(Eventually([&] { return EntriesOf("/proc/self/task") <= threads; }))
      << EntriesOf("/proc/self/task") << " threads instead of " << threads;
  EXPECT_EQ(EntriesOf("/proc/self/fd"), descriptors);
  // What threads have cached of what they freed counts as allocated: bounded, whatever the number of cycles.
  constexpr std::size_t kSlack = 512'000;
  EXPECT_LE(AllocatedBytes(), bytes + kSlack);
  RecordProperty("growth_bytes", std::to_string(static_cast<long>(AllocatedBytes()) - static_cast<long>(bytes)));
  EXPECT_EQ(kept.Pixels(), before) << "a kept frame was written to";
}

}  // namespace
}  // namespace orq
