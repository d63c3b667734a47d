// What waiting for frames costs: how late who waits wakes up, beside a bare condition variable, and what more
// readers of the same frames take.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "api/Handles.h"
#include "orqcam/orqcam.hpp"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kCamera = "virtual:k1c,scene=flat";
constexpr int kPeriodUs = 10000;  // between two frames: who waits sleeps in earnest

// Latencies of one run.
class Latencies {
 public:
  void Add(benchmark::State& state, Clock::duration late) {
    state.SetIterationTime(std::chrono::duration<double>(late).count());
    microseconds_.push_back(std::chrono::duration<double, std::micro>(late).count());
  }
  void Tell(benchmark::State& state) {
    std::ranges::sort(microseconds_);
    if (microseconds_.empty()) return;
    state.counters["median_us"] = microseconds_[microseconds_.size() / 2];
    state.counters["p99_us"] = microseconds_[microseconds_.size() * 99 / 100];
  }

 private:
  std::vector<double> microseconds_;
};

void WaitForFrame(benchmark::State& state) {
  orq::Camera camera(kCamera);
  auto corner = orq::sized<orq_region>();
  corner.width = corner.height = 64;
  corner.bin = 1;
  camera.region(corner);
  std::atomic<Clock::time_point> published{};
  camera.get()->camera->Frames().SetDoorbell([&](bool waits) {
    if (waits) published = Clock::now();
  });
  Latencies latencies;
  for (auto _ : state) {
    camera.startExposure(std::chrono::microseconds(kPeriodUs));
    const auto began = Clock::now();
    const orq::Frame frame = camera.wait();
    latencies.Add(state, Clock::now() - published.load());
    if (began > published.load()) return state.SkipWithError("a frame was there before it was waited for");
  }
  latencies.Tell(state);
  camera.get()->camera->Frames().SetDoorbell({});
}
BENCHMARK(WaitForFrame)->UseManualTime()->Iterations(300);

void WaitForConditionVariable(benchmark::State& state) {
  std::mutex mutex;
  std::condition_variable changed;
  bool set = false;
  bool ending = false;
  Clock::time_point published;
  std::thread other([&] {
    std::unique_lock lock(mutex);
    while (!ending) {
      lock.unlock();
      std::this_thread::sleep_for(std::chrono::microseconds(kPeriodUs));
      lock.lock();
      set = true;
      published = Clock::now();
      changed.notify_all();
    }
  });
  Latencies latencies;
  for (auto _ : state) {
    std::unique_lock lock(mutex);
    changed.wait(lock, [&] { return set; });
    latencies.Add(state, Clock::now() - published);
    set = false;
  }
  latencies.Tell(state);
  {
    const std::lock_guard lock(mutex);
    ending = true;
  }
  other.join();
}
BENCHMARK(WaitForConditionVariable)->UseManualTime()->Iterations(300);

// Processor time of the whole process for a frame, while so many readers take every one.
void Readers(benchmark::State& state) {
  orq::Camera camera("virtual:k1c,scene=flat");
  auto whole = camera.region();
  whole.format = ORQ_FORMAT_RAW8;
  camera.region(whole);
  camera.exposure(std::chrono::milliseconds(1));
  std::vector<orq::Reader> readers;
  for (int i = 0; i < state.range(0); ++i) readers.push_back(camera.reader(ORQ_READ_EVERY, 4));
  const orq::Video video = camera.video();
  for (orq::Reader& reader : readers) reader.wait();
  std::vector<std::thread> threads;
  std::atomic<bool> ending{false};
  for (std::size_t i = 1; i < readers.size(); ++i) {
    threads.emplace_back([&ending, &reader = readers[i]] {
      while (!ending) reader.wait();
    });
  }
  for (auto _ : state) benchmark::DoNotOptimize(readers.front().wait());
  ending = true;
  for (std::thread& thread : threads) thread.join();
}
BENCHMARK(Readers)->Arg(1)->Arg(4)->MeasureProcessCPUTime()->UseRealTime()->Iterations(300)->Unit(
    benchmark::kMicrosecond);

}  // namespace
