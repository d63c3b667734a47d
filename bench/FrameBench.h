// What the benchmarks of frames share: the sizes of three cameras, frames to work on.
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "models/table/ModelData.h"

namespace orq::bench {

struct Size {
  int width;
  int height;
  std::size_t Samples() const { return static_cast<std::size_t>(width) * static_cast<std::size_t>(height); }
};

/// The model whose sensor has about as many megapixels as a benchmark's first argument says.
inline const ModelData& ModelOf(const benchmark::State& state) {
  const auto megapixels = state.range(0);
  return *FindModel(megapixels == 2 ? "k1c" : megapixels == 12 ? "t46c" : "x26m");
}

inline Size SizeOf(const benchmark::State& state) {
  return {ModelOf(state).maxWidth, ModelOf(state).maxHeight};
}

inline constexpr auto kSizes = {2, 12, 26};

inline void Sizes(benchmark::internal::Benchmark* bench) {
  bench->ArgName("mp")->Unit(benchmark::kMillisecond);
  for (const int megapixels : kSizes) bench->Arg(megapixels);
}

/// The largest alone: for what stands in no proportion to a frame.
inline void Largest(benchmark::internal::Benchmark* bench) {
  bench->ArgName("mp")->Unit(benchmark::kMillisecond)->Arg(26);
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

}  // namespace orq::bench
