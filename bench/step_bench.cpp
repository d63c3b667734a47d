// The single steps of the frame path behind the corrections, and a plain copy of the same frame.
#include <algorithm>
#include <cstring>
#include <ctime>
#include <memory>

#include "FrameBench.h"
#include "image/frame/Algorithm.h"
#include "image/frame/Flip.h"
#include "image/frame/FrameKernels.h"
#include "image/frame/HostBin.h"
#include "image/frame/SampleTable.h"
#include "image/timemark/TimeMark.h"
#include "link/stream/PayloadCopy.h"
#include "support/LargeBuffer.h"

namespace orq {
namespace {

using bench::CountBytes;
using bench::Frame;
using bench::Largest;
using bench::Size;
using bench::SizeOf;
using bench::Sizes;

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
BENCHMARK(Memcpy<std::uint8_t>)->Name("memcpy/8")->Apply(Sizes);
BENCHMARK(Memcpy<std::uint16_t>)->Name("memcpy/16")->Apply(Sizes);

// The copy out of the transfers' buffers, of which there are 3.9 MB.
template <bool Swapped>
void Payload(benchmark::State& state) {
  const PayloadCopy copy{.swapped = Swapped, .pastCache = true};
  const auto frame = Frame<std::uint16_t>(SizeOf(state));
  const std::size_t size = frame.size() * 2;
  const std::span from(reinterpret_cast<const std::uint8_t*>(frame.data()), size);
  const auto out = MakeLargeBuffer(size);
  constexpr std::size_t kTransfer = 491'520;
  for (auto _ : state) {
    for (std::size_t at = 0; at < size; at += kTransfer) {
      const std::size_t buffer = at % std::min(8 * kTransfer, size);
      const std::size_t bytes = std::min({kTransfer, size - at, size - buffer});
      copy.Put(from.subspan(buffer, bytes), out.get(), at);
    }
    benchmark::ClobberMemory();
  }
  CountBytes(state, size);
}
BENCHMARK(Payload<false>)->Name("payload/16")->Apply(Sizes);
BENCHMARK(Payload<true>)->Name("payload swapped/16")->Apply(Sizes);

void SwapBytes(benchmark::State& state) {
  auto frame = Frame<std::uint16_t>(SizeOf(state));
  for (auto _ : state) {
    HostToMsbFirst(frame);
    benchmark::ClobberMemory();
  }
  CountBytes(state, frame.size() * 2);
}
BENCHMARK(SwapBytes)->Name("byte order/16")->Apply(Sizes);

template <class Sample>
void Balance(benchmark::State& state) {
  auto frame = Frame<Sample>(SizeOf(state));
  for (auto _ : state) {
    WhiteBalance(std::span<Sample>(frame), SizeOf(state).width, BayerPattern::RG, 60, 40);
    benchmark::ClobberMemory();
  }
  CountBytes(state, frame.size() * sizeof(Sample));
}
BENCHMARK(Balance<std::uint8_t>)->Name("white balance/8")->Apply(Sizes);
BENCHMARK(Balance<std::uint16_t>)->Name("white balance/16")->Apply(Sizes);

template <class Sample, int Factor, bool Bayer>
void Bin(benchmark::State& state) {
  const Size size = SizeOf(state);
  const auto in = Frame<Sample>(size);
  std::vector<Sample> out(in.size());
  const BinShape shape{size.width / Factor / 2 * 2, size.height / Factor / 2 * 2, Factor, Bayer};
  for (auto _ : state) {
    if (!HostBin(std::span<const Sample>(in), shape, std::span<Sample>(out)))
      state.SkipWithError("impossible shape");
    benchmark::ClobberMemory();
  }
  CountBytes(state, in.size() * sizeof(Sample));
}
BENCHMARK(Bin<std::uint8_t, 2, false>)->Name("bin 2/8")->Apply(Sizes);
BENCHMARK(Bin<std::uint8_t, 3, false>)->Name("bin 3/8")->Apply(Largest);
BENCHMARK(Bin<std::uint8_t, 4, false>)->Name("bin 4/8")->Apply(Largest);
BENCHMARK(Bin<std::uint8_t, 2, true>)->Name("bin 2 colour/8")->Apply(Sizes);
BENCHMARK(Bin<std::uint8_t, 3, true>)->Name("bin 3 colour/8")->Apply(Largest);
BENCHMARK(Bin<std::uint8_t, 4, true>)->Name("bin 4 colour/8")->Apply(Largest);
BENCHMARK(Bin<std::uint16_t, 2, false>)->Name("bin 2/16")->Apply(Sizes);
BENCHMARK(Bin<std::uint16_t, 3, false>)->Name("bin 3/16")->Apply(Largest);
BENCHMARK(Bin<std::uint16_t, 4, false>)->Name("bin 4/16")->Apply(Largest);
BENCHMARK(Bin<std::uint16_t, 2, true>)->Name("bin 2 colour/16")->Apply(Sizes);
BENCHMARK(Bin<std::uint16_t, 3, true>)->Name("bin 3 colour/16")->Apply(Largest);
BENCHMARK(Bin<std::uint16_t, 4, true>)->Name("bin 4 colour/16")->Apply(Largest);

template <class Sample, bool Horizontal, bool Vertical>
void Flips(benchmark::State& state) {
  const Size size = SizeOf(state);
  const auto in = Frame<Sample>(size);
  auto out = in;
  for (auto _ : state) {
    FlipCopy(std::span<const Sample>(in), size.width, size.height, Horizontal, Vertical, std::span<Sample>(out));
    benchmark::ClobberMemory();
  }
  CountBytes(state, in.size() * sizeof(Sample));
}
BENCHMARK(Flips<std::uint8_t, false, true>)->Name("flip vertical/8")->Apply(Sizes);
BENCHMARK(Flips<std::uint8_t, true, true>)->Name("flip both/8")->Apply(Sizes);
BENCHMARK(Flips<std::uint16_t, false, true>)->Name("flip vertical/16")->Apply(Sizes);
BENCHMARK(Flips<std::uint16_t, true, true>)->Name("flip both/16")->Apply(Sizes);

void Gamma8(benchmark::State& state) {
  auto frame = Frame<std::uint8_t>(SizeOf(state));
  std::array<std::uint8_t, 256> table{};
  for (std::size_t i = 0; i < table.size(); ++i) table.at(i) = static_cast<std::uint8_t>(i * 7);
  for (auto _ : state) {
    ApplyTable(frame, table);
    benchmark::ClobberMemory();
  }
  CountBytes(state, frame.size());
}
BENCHMARK(Gamma8)->Name("gamma/8")->Apply(Sizes);

enum class Colours : std::uint8_t { Rgb24, Y8 };

template <Colours What>
void Demosaic(benchmark::State& state) {
  const Size size = SizeOf(state);
  const auto in = Frame<std::uint8_t>(size);
  std::vector<std::uint8_t> out(in.size() * 3);
  CAlgorithm algorithm;
  algorithm.RGBYUV_Init();
  for (auto _ : state) {
    if constexpr (What == Colours::Rgb24)
      algorithm.BayerToRGB24(in.data(), size.width, size.height, out.data());
    else
      algorithm.BayerToY8(in.data(), size.width, size.height, out.data());
    benchmark::ClobberMemory();
  }
  CountBytes(state, in.size());
}
BENCHMARK(Demosaic<Colours::Rgb24>)->Name("demosaic/8")->Apply(Sizes);
BENCHMARK(Demosaic<Colours::Y8>)->Name("luminance/8")->Apply(Sizes);

void TimeMark(benchmark::State& state) {
  const Size size = SizeOf(state);
  constexpr int kChannels = 3;
  std::vector<std::uint8_t> pixels(size.Samples() * kChannels);
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  ::localtime_r(&now, &local);
  for (auto _ : state) {
    DrawMark({pixels, size.width, size.height, kChannels}, MarkTextOf(local));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(TimeMark)->Name("time mark/24")->Apply(Largest);

}  // namespace
}  // namespace orq
