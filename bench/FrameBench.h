// What the benchmarks of frames share: the sizes of the two cameras, frames to work on, a plain copy to compare
// with.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace orq::bench {

struct Size {
  int width;
  int height;
  std::size_t Samples() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(height); }
};
inline constexpr Size kK1C{1936, 1096};
inline constexpr Size kX26M{6248, 4176};

inline Size SizeOf(const benchmark::State& state) {
  return state.range(0) == 0 ? kK1C : kX26M;
}

inline void Cameras(benchmark::internal::Benchmark* bench) {
  bench->ArgName("x26m")->Arg(0)->Arg(1);
}

template <class Sample>
std::vector<Sample> Frame(Size size) {
  std::vector<Sample> samples(size.Samples());
  std::uint32_t value = 1;
  for (Sample& sample : samples) sample = static_cast<Sample>((value = value * 1664525U + 1013904223U) >> 16);
  return samples;
}

/// Bytes of input per second.
inline void CountBytes(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(bytes) * static_cast<std::int64_t>(state.iterations()));
}

template <class Sample>
void Memcpy(benchmark::State& state) {
  const auto in = Frame<Sample>(SizeOf(state));
  auto out = in;
  for (auto _ : state) {
    std::memcpy(out.data(), in.data(), in.size() * sizeof(Sample));
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  CountBytes(state, in.size() * sizeof(Sample));
}

}  // namespace orq::bench
