// The image corrections, and what prepares them for a frame's geometry.
#include <cstdint>
#include <cstring>
#include <vector>

#include "FrameBench.h"
#include "image/dark/DarkImage.h"
#include "image/flash/Bitmap.h"
#include "image/frame/Algorithm.h"
#include "image/hotpixels/HotPixelTable.h"
#include "image/hotpixels/PixelRepair.h"

namespace orq {
namespace {

using bench::CountBytes;
using bench::Frame;
using bench::Largest;
using bench::Size;
using bench::SizeOf;
using bench::Sizes;

/// One hot pixel in how many.
void Densities(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"mp", "one_in"})->Unit(benchmark::kMillisecond);
  for (const int oneIn : {100'000, 10'000, 3'000, 1'000, 300, 100}) bench->Args({26, oneIn});
}

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
BENCHMARK(SubtractDark<std::uint8_t>)->Name("dark/8")->Apply(Sizes);
BENCHMARK(SubtractDark<std::uint16_t>)->Name("dark/16")->Apply(Sizes);

void Accumulate(benchmark::State& state) {
  const auto frame = Frame<std::uint8_t>(SizeOf(state));
  std::vector<std::uint8_t> dark(frame.size());
  for (auto _ : state) {
    AccumulateDark(frame, 5, dark);
    benchmark::ClobberMemory();
  }
  CountBytes(state, frame.size());
}
BENCHMARK(Accumulate)->Name("take dark/8")->Apply(Sizes);

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
BENCHMARK(RepairList<std::uint8_t>)->Name("hot pixels/8")->Apply(Densities);
BENCHMARK(RepairList<std::uint16_t>)->Name("hot pixels/16")->Apply(Densities);

template <class Sample>
void RepairDarkList(benchmark::State& state) {
  const Size size = SizeOf(state);
  auto frame = Frame<Sample>(size);
  std::vector<std::uint32_t> list;
  for (std::size_t pos = 7; pos < frame.size(); pos += static_cast<std::size_t>(state.range(1)))
    list.push_back(static_cast<std::uint32_t>(pos));
  const FrameView<Sample> view{frame, size.width, size.height, 2};
  for (auto _ : state) {
    RepairDarkPixels(view, list);
    benchmark::ClobberMemory();
  }
  CountBytes(state, frame.size() * sizeof(Sample));
}
BENCHMARK(RepairDarkList<std::uint16_t>)->Name("dark list/16")->Apply(Densities);

/// A hundred bad rows and a hundred bad columns.
template <bool Columns>
void RepairLines(benchmark::State& state) {
  const Size size = SizeOf(state);
  auto frame = Frame<std::uint16_t>(size);
  std::vector<std::uint32_t> flags(static_cast<std::size_t>(Columns ? size.width : size.height));
  for (std::size_t i = 0; i < 100; ++i) flags[5 + 10 * i] = 1;
  const FrameView<std::uint16_t> view{frame, size.width, size.height, 2};
  for (auto _ : state) {
    if constexpr (Columns)
      RepairColumns(view, flags);
    else
      RepairRows(view, flags);
    benchmark::ClobberMemory();
  }
  CountBytes(state, frame.size() * 2);
}
BENCHMARK(RepairLines<false>)->Name("100 rows/16")->Apply(Largest);
BENCHMARK(RepairLines<true>)->Name("100 columns/16")->Apply(Largest);

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
BENCHMARK(CutTable<1>)->Name("cut hot pixels")->Apply(Sizes);
BENCHMARK(CutTable<2>)->Name("cut hot pixels, bin 2")->Apply(Sizes);

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
BENCHMARK(CutDark<1>)->Name("cut dark")->Apply(Sizes);
BENCHMARK(CutDark<2>)->Name("cut dark, bin 2")->Apply(Sizes);

/// The record of the hot-pixel map that the camera keeps: a bit for a pixel.
void MakeBitmap(benchmark::State& state) {
  const Size size = SizeOf(state);
  std::vector<std::uint8_t> map(size.Samples());
  for (std::size_t pos = 7; pos < map.size(); pos += 1000) map[pos] = 1;
  std::vector<std::uint8_t> bits(map.size() / 8);
  for (auto _ : state) {
    PackBits(map, bits);
    benchmark::ClobberMemory();
  }
  CountBytes(state, map.size());
}
BENCHMARK(MakeBitmap)->Name("make bitmap")->Apply(Sizes);

void ExpandBitmap(benchmark::State& state) {
  const Size size = SizeOf(state);
  const auto bits = Frame<std::uint8_t>({size.width / 8, size.height});
  std::vector<std::uint8_t> map(8 * bits.size());
  for (auto _ : state) {
    UnpackBits(bits, map);
    benchmark::ClobberMemory();
  }
  CountBytes(state, map.size());
}
BENCHMARK(ExpandBitmap)->Name("expand bitmap")->Apply(Sizes);

void Memset(benchmark::State& state) {
  std::vector<std::uint8_t> map(SizeOf(state).Samples());
  for (auto _ : state) {
    std::memset(map.data(), 1, map.size());
    benchmark::ClobberMemory();
  }
  CountBytes(state, map.size());
}
BENCHMARK(Memset)->Name("memset")->Apply(Sizes);

}  // namespace
}  // namespace orq
