// What automatic control measures, beside the least that anybody could do: the same random numbers, a plain sum.
#include <array>
#include <functional>
#include <numeric>
#include <random>

#include "FrameBench.h"
#include "autoctl/AutoFrame.h"
#include "image/frame/Algorithm.h"

namespace orq {
namespace {

using bench::CountBytes;
using bench::Frame;
using bench::Largest;
using bench::Size;
using bench::SizeOf;
using bench::Sizes;

template <SampleForm Form>
void Brightness(benchmark::State& state) {
  const Size size = SizeOf(state);
  const auto frame = Frame<std::uint8_t>({2 * size.width, size.height});
  const AutoFrame measured{.buffer = frame, .size = {size.width, size.height}, .form = Form};
  for (auto _ : state) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): what the measurement draws from
    benchmark::DoNotOptimize(SampleCentre(measured, [] { return std::rand(); }).sum);
  }
}
BENCHMARK(Brightness<SampleForm::EightBit>)->Name("brightness/8")->Apply(Largest);
BENCHMARK(Brightness<SampleForm::HostOrder>)->Name("brightness/16")->Apply(Largest);

// A draw for each of 64 columns, and for each of 48 rows in the 38 of them that lie in the centre.
void Draws(benchmark::State& state) {
  constexpr int kDraws = 64 + 38 * 48;
  const std::function<int()> draw = [] { return std::rand(); };  // NOLINT(concurrency-mt-unsafe)
  for (auto _ : state) {
    int sum = 0;
    for (int i = 0; i < kDraws; ++i) sum += draw() % 2;
    benchmark::DoNotOptimize(sum);
  }
}
BENCHMARK(Draws)->Name("random draws")->Apply(Largest);

template <bool Wide>
void Colours(benchmark::State& state) {
  const Size size = SizeOf(state);
  const auto frame = Frame<std::uint8_t>({Wide ? 2 * size.width : size.width, size.height});
  const CAlgorithm algorithm;
  std::array<int, 3> variances{};
  std::array<int, 3> averages{};
  for (auto _ : state) {
    algorithm.Get_variance_ave_RAW(frame.data(), 0, 0, size.width, size.height, size.width, size.height,
                                   variances.data(), averages.data(), Wide);
    benchmark::DoNotOptimize(averages);
  }
  CountBytes(state, frame.size());
}
BENCHMARK(Colours<false>)->Name("colour statistics/8")->Apply(Sizes);
BENCHMARK(Colours<true>)->Name("colour statistics/16")->Apply(Sizes);

void Sum(benchmark::State& state) {
  const auto frame = Frame<std::uint8_t>(SizeOf(state));
  for (auto _ : state) benchmark::DoNotOptimize(std::accumulate(frame.begin(), frame.end(), std::uint64_t{0}));
  CountBytes(state, frame.size());
}
BENCHMARK(Sum)->Name("sum/8")->Apply(Sizes);

}  // namespace
}  // namespace orq
