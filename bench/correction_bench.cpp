// The image corrections at the sizes of the two cameras, beside a plain copy of the same bytes. One core. A USB 3
// link brings about 400 MB/s: what runs on every frame must be well above that.
#include <cstdint>
#include <cstring>
#include <vector>

#include "FrameBench.h"
#include "image/dark/DarkImage.h"
#include "image/frame/Algorithm.h"
#include "image/hotpixels/HotPixelTable.h"
#include "image/hotpixels/PixelRepair.h"

namespace orq {
namespace {

using bench::Cameras;
using bench::CountBytes;
using bench::Frame;
using bench::Memcpy;
using bench::Size;
using bench::SizeOf;

/// Cameras, and one hot pixel in how many.
void CamerasAndDensities(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"x26m", "one in"})->Args({0, 10'000})->Args({0, 1'000})->Args({1, 10'000})->Args({1, 1'000});
}

BENCHMARK(Memcpy<std::uint8_t>)->Apply(Cameras);
BENCHMARK(Memcpy<std::uint16_t>)->Apply(Cameras);

/// Bytes of the frame per second.
template <class Sample>
void SubtractDark(benchmark::State& state) {
  const Size size = SizeOf(state);
  auto frame = Frame<Sample>(size);
  const auto dark = Frame<std::uint8_t>(size);
  const CAlgorithm algorithm;
  for (auto _ : state) {
    algorithm.SubtractDark(reinterpret_cast<std::uint8_t*>(frame.data()), size.width, size.height, 20, dark.data(),
                           sizeof(Sample) == 2);
    benchmark::ClobberMemory();
  }
  CountBytes(state, frame.size() * sizeof(Sample));
}
BENCHMARK(SubtractDark<std::uint8_t>)->Apply(Cameras);
BENCHMARK(SubtractDark<std::uint16_t>)->Apply(Cameras);

void Accumulate(benchmark::State& state) {
  const auto frame = Frame<std::uint8_t>(SizeOf(state));
  std::vector<std::uint8_t> dark(frame.size());
  for (auto _ : state) {
    AccumulateDark(frame, 5, dark);
    benchmark::ClobberMemory();
  }
  CountBytes(state, frame.size());
}
BENCHMARK(Accumulate)->Apply(Cameras);

template <class Sample>
void RepairList(benchmark::State& state) {
  const Size size = SizeOf(state);
  auto frame = Frame<Sample>(size);
  std::vector<std::uint8_t> map(frame.size());
  std::vector<std::uint32_t> list;
  for (std::size_t pos = 7; pos < map.size(); pos += static_cast<std::size_t>(state.range(1)) + pos % 3) {
    map[pos] = 1;
    list.push_back(static_cast<std::uint32_t>(pos));
  }
  const FrameView<Sample> view{frame, size.width, size.height, 2};
  for (auto _ : state) {
    RepairHotPixels(view, list, map, 12);
    benchmark::ClobberMemory();
  }
  CountBytes(state, frame.size() * sizeof(Sample));
  state.counters["pixels"] = static_cast<double>(list.size());
}
BENCHMARK(RepairList<std::uint8_t>)->Apply(CamerasAndDensities);
BENCHMARK(RepairList<std::uint16_t>)->Apply(CamerasAndDensities);

template <class Sample>
void RepairDarkList(benchmark::State& state) {
  const Size size = SizeOf(state);
  auto frame = Frame<Sample>(size);
  std::vector<std::uint32_t> list;
  for (std::size_t pos = 7; pos < frame.size(); pos += static_cast<std::size_t>(state.range(1))) {
    list.push_back(static_cast<std::uint32_t>(pos));
  }
  const FrameView<Sample> view{frame, size.width, size.height, 2};
  for (auto _ : state) {
    RepairDarkPixels(view, list);
    benchmark::ClobberMemory();
  }
  CountBytes(state, frame.size() * sizeof(Sample));
}
BENCHMARK(RepairDarkList<std::uint16_t>)->Apply(CamerasAndDensities);

/// A hundred bad rows and a hundred bad columns.
template <bool Columns>
void RepairLines(benchmark::State& state) {
  const Size size = SizeOf(state);
  auto frame = Frame<std::uint16_t>(size);
  std::vector<std::uint32_t> flags(static_cast<std::size_t>(Columns ? size.width : size.height));
  for (std::size_t i = 0; i < 100; ++i) flags[5 + 10 * i] = 1;
  const FrameView<std::uint16_t> view{frame, size.width, size.height, 2};
  for (auto _ : state) {
    if constexpr (Columns) {
      RepairColumns(view, flags);
    } else {
      RepairRows(view, flags);
    }
    benchmark::ClobberMemory();
  }
  CountBytes(state, frame.size() * 2);
}
BENCHMARK(RepairLines<false>)->Apply(Cameras);
BENCHMARK(RepairLines<true>)->Apply(Cameras);

/// Not on every frame, but whoever changes the region waits for it. Bytes of the sensor per second.
SensorCut WholeSensor(Size size, int bin) {
  return {.sensorWidth = size.width,
          .sensorHeight = size.height,
          .width = size.width / bin,
          .height = size.height / bin,
          .bin = bin,
          .hardwareBin = bin > 1};
}

template <int Bin>
void CutTable(benchmark::State& state) {
  const Size size = SizeOf(state);
  std::vector<std::uint8_t> full(size.Samples());
  for (std::size_t pos = 7; pos < full.size(); pos += 1000) full[pos] = 1;
  std::vector<std::uint8_t> map(full.size());
  const std::vector<BinOffset> offsets(kBinOffsets);
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        CutHotPixelTable(full, WholeSensor(size, Bin), offsets, BinPlacement::SameColour, map).count);
  }
  CountBytes(state, full.size());
}
BENCHMARK(CutTable<1>)->Apply(Cameras);
BENCHMARK(CutTable<2>)->Apply(Cameras);

template <int Bin>
void CutDark(benchmark::State& state) {
  const Size size = SizeOf(state);
  std::vector<std::uint8_t> full = Frame<std::uint8_t>(size);
  for (std::size_t pos = 0; pos < full.size(); ++pos) full[pos] = pos % 1000 == 0 ? 200 : full[pos] % 16;
  std::vector<std::uint8_t> image(full.size());
  const std::vector<BinOffset> offsets(kBinOffsets);
  for (auto _ : state) {
    CutDarkImage(full, WholeSensor(size, Bin), offsets, false, image);
    benchmark::DoNotOptimize(ListDarkPixels(image, MeanOf(image)).count);
  }
  CountBytes(state, full.size());
}
BENCHMARK(CutDark<1>)->Apply(Cameras);
BENCHMARK(CutDark<2>)->Apply(Cameras);

}  // namespace
}  // namespace orq
