// The steps of the frame path, the whole of it, and the whole with every correction on, at the sizes of the two
// cameras, beside a plain copy of the same bytes. One core. A USB 3 link brings about 400 MB/s: what is slower
// than that here would cost frames. Rates are in bytes that come from the wire.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "image/frame/Flip.h"
#include "image/frame/FrameKernels.h"
#include "image/frame/HostBin.h"
#include "link/stream/PayloadCopy.h"
#include "models/camera/FramePath.h"
#include "models/camera/ModelCamera.h"
#include "settings/XmlStore.h"
#include "support/LargeBuffer.h"

namespace orq {
namespace {

struct Size {
  int width;
  int height;
};
constexpr Size kK1C{1936, 1096};
constexpr Size kX26M{6248, 4176};

Size SizeOf(const benchmark::State& state) {
  return state.range(0) == 0 ? kK1C : kX26M;
}

void Cameras(benchmark::internal::Benchmark* bench) {
  bench->ArgName("x26m")->Arg(0)->Arg(1);
}

template <class Sample>
std::vector<Sample> Frame(Size size) {
  std::vector<Sample> samples(static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height));
  std::uint32_t value = 1;
  for (Sample& sample : samples) sample = static_cast<Sample>((value = value * 1664525U + 1013904223U) >> 16);
  return samples;
}

/// Bytes of input per second.
void CountBytes(benchmark::State& state, std::size_t bytes) {
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
BENCHMARK(Memcpy<std::uint8_t>)->Apply(Cameras);
BENCHMARK(Memcpy<std::uint16_t>)->Apply(Cameras);

// The copy out of the transfers' buffers, of which there are 3.9 MB.
void Payload(benchmark::State& state) {
  const PayloadCopy copy{.swapped = state.range(1) != 0, .pastCache = state.range(2) != 0};
  const auto frame = Frame<std::uint8_t>(SizeOf(state));
  const auto out = MakeLargeBuffer(frame.size());
  constexpr std::size_t kTransfer = 491'520;
  for (auto _ : state) {
    for (std::size_t at = 0; at < frame.size(); at += kTransfer) {
      const std::size_t from = at % (8 * kTransfer);
      const std::size_t bytes = std::min({kTransfer, frame.size() - at, frame.size() - from}) / 2 * 2;
      copy.Put(std::span(frame).subspan(from, bytes), out.get(), at);
    }
    benchmark::ClobberMemory();
  }
  CountBytes(state, frame.size());
}
BENCHMARK(Payload)->ArgNames({"x26m", "swapped", "past_cache"})->ArgsProduct({{0, 1}, {0, 1}, {0, 1}});

template <class Sample>
void Balance(benchmark::State& state) {
  auto frame = Frame<Sample>(SizeOf(state));
  for (auto _ : state) {
    WhiteBalance(std::span<Sample>(frame), SizeOf(state).width, BayerPattern::RG, 60, 40);
    benchmark::ClobberMemory();
  }
  CountBytes(state, frame.size() * sizeof(Sample));
}
BENCHMARK(Balance<std::uint8_t>)->Apply(Cameras);
BENCHMARK(Balance<std::uint16_t>)->Apply(Cameras);

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
BENCHMARK(Bin<std::uint8_t, 2, false>)->Apply(Cameras);
BENCHMARK(Bin<std::uint8_t, 3, false>)->Apply(Cameras);
BENCHMARK(Bin<std::uint8_t, 4, false>)->Apply(Cameras);
BENCHMARK(Bin<std::uint8_t, 2, true>)->Apply(Cameras);
BENCHMARK(Bin<std::uint8_t, 3, true>)->Apply(Cameras);
BENCHMARK(Bin<std::uint8_t, 4, true>)->Apply(Cameras);
BENCHMARK(Bin<std::uint16_t, 2, false>)->Apply(Cameras);
BENCHMARK(Bin<std::uint16_t, 3, false>)->Apply(Cameras);
BENCHMARK(Bin<std::uint16_t, 4, false>)->Apply(Cameras);
BENCHMARK(Bin<std::uint16_t, 2, true>)->Apply(Cameras);
BENCHMARK(Bin<std::uint16_t, 3, true>)->Apply(Cameras);
BENCHMARK(Bin<std::uint16_t, 4, true>)->Apply(Cameras);

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
BENCHMARK(Flips<std::uint8_t, true, false>)->Apply(Cameras);
BENCHMARK(Flips<std::uint8_t, false, true>)->Apply(Cameras);
BENCHMARK(Flips<std::uint16_t, true, false>)->Apply(Cameras);
BENCHMARK(Flips<std::uint16_t, true, true>)->Apply(Cameras);

const ModelData& ModelOf(const benchmark::State& state) {
  return *FindModel(state.range(0) == 0 ? "k1c" : "x26m");
}

/// The whole sensor in the format and bin of the arguments; false, and the benchmark skipped, when there is none.
bool WholeSensorOf(benchmark::State& state, FrameRegion& region) {
  const ModelData& model = ModelOf(state);
  region = FullRegion(model);
  std::string reason;
  region.format = static_cast<IMG_TYPE>(state.range(1));
  region.bin = static_cast<int>(state.range(2));
  region.width /= region.bin;
  region.height /= region.bin;
  if (FitRegionTo(model, region, region, reason)) return true;
  state.SkipWithError(reason.c_str());
  return false;
}

/// Everything that happens to a frame: arguments are the camera, the format, the bin and whether it is flipped.
void WholePath(benchmark::State& state) {
  const ModelData& model = ModelOf(state);
  FrameRegion region;
  if (!WholeSensorOf(state, region)) return;
  const FrameSetup setup = SetupFor(model, region, false);
  auto image = Frame<std::uint16_t>(SizeOf(state));
  std::vector<std::uint16_t> scratch(image.size());
  std::vector<std::uint8_t> out(setup.OutputBytes());
  CAlgorithm converter;
  converter.RGBYUV_Init();
  const bool flip = state.range(3) != 0;
  const FramePath path{.setup = setup,
                       .image = reinterpret_cast<std::uint8_t*>(image.data()),
                       .scratch = reinterpret_cast<std::uint8_t*>(scratch.data()),
                       .converter = converter,
                       .flipHorizontal = flip,
                       .flipVertical = flip,
                       .outputPattern = model.colour ? (flip ? 1 : 0) : -1};
  for (auto _ : state) {
    RunFramePath(path, out);
    benchmark::ClobberMemory();
  }
  CountBytes(state, setup.TransferSamples() * (setup.wide ? 2 : 1));
}
BENCHMARK(WholePath)
    ->ArgNames({"x26m", "format", "bin", "flip"})
    ->Args({0, ORQ_IMG_RAW16, 1, 0})
    ->Args({0, ORQ_IMG_RAW16, 1, 1})
    ->Args({0, ORQ_IMG_RAW16, 2, 1})
    ->Args({0, ORQ_IMG_RAW8, 1, 0})
    ->Args({0, ORQ_IMG_RAW8, 2, 1})
    ->Args({0, ORQ_IMG_RGB24, 1, 0})
    ->Args({0, ORQ_IMG_RGB24, 1, 1})
    ->Args({0, ORQ_IMG_Y8, 1, 0})
    ->Args({1, ORQ_IMG_RAW16, 1, 0})
    ->Args({1, ORQ_IMG_RAW16, 1, 1})
    ->Args({1, ORQ_IMG_RAW16, 2, 0})
    ->Args({1, ORQ_IMG_RAW16, 3, 1})
    ->Args({1, ORQ_IMG_RAW16, 4, 0})
    ->Args({1, ORQ_IMG_RAW8, 1, 0})
    ->Args({1, ORQ_IMG_RAW8, 4, 1});

/// A camera whose sensor has a hot pixel among a thousand, as many that the dark shows, four hot rows and four bad
/// columns: more than any camera would be sold with.
std::unique_ptr<CModelCamera> DefectiveCamera(const ModelData& model, const FrameRegion& region) {
  EnableXmlStore(false);
  auto camera = std::make_unique<CModelCamera>(model);
  const auto columns = static_cast<std::size_t>(model.maxWidth);
  const std::size_t pixels = columns * static_cast<std::size_t>(model.maxHeight);
  camera->pDarkFull = std::make_unique<std::uint8_t[]>(pixels);
  camera->pDarkBuf = std::make_unique<std::uint8_t[]>(pixels);
  const auto noise = Frame<std::uint8_t>({model.maxWidth, model.maxHeight});
  for (std::size_t i = 0; i < pixels; ++i) {
    camera->pDarkFull[i] = i % 997 == 0 ? 200 : noise[i] % 16;
    camera->pHPCFullMap[i] = i % 1009 == 0 ? 1 : 0;
  }
  for (const std::size_t row : {100U, 300U, 301U, 600U}) {
    std::fill_n(camera->pHPCFullMap.get() + row * columns, columns, std::uint8_t{1});
  }
  camera->bHPCForce = true;
  camera->HPC = 1;
  camera->UsingDark(true);
  FrameRegion applied;
  std::string reason;
  camera->SetRegion(region, applied, reason);
  camera->AdjustHPCTable();
  camera->AdjustDarkBuff();
  camera->pBadCols = std::make_unique<std::uint32_t[]>(columns);
  for (const std::size_t column : {50U, 51U, 700U, 900U}) camera->pBadCols[column] = 1;
  camera->SetGamma(70);
  return camera;
}

/// The wire's byte order, dark, hot pixels, lines, dark list, white balance on colour sensors, the copy for
/// automatic control, host binning, gamma, both flips, format and time mark: arguments are the camera, the format,
/// the bin.
void EveryCorrection(benchmark::State& state) {
  const ModelData& model = ModelOf(state);
  FrameRegion region;
  if (!WholeSensorOf(state, region)) return;
  const auto camera = DefectiveCamera(model, region);
  const FrameSetup setup = SetupFor(model, region, false);
  const std::size_t bytes = setup.TransferSamples() * (setup.wide ? 2 : 1);
  const auto sent = Frame<std::uint16_t>(SizeOf(state));
  std::vector<std::uint8_t> out(setup.OutputBytes());
  CAlgorithm converter;
  converter.RGBYUV_Init();
  const FramePath path{.setup = setup,
                       .image = camera->pImgBuf.get(),
                       .scratch = camera->pBinBuf.get(),
                       .converter = converter,
                       .whiteBalanceRed = 60,
                       .whiteBalanceBlue = 40,
                       .flipHorizontal = true,
                       .flipVertical = true,
                       .outputPattern = model.colour ? 1 : -1,
                       .gamma16 = camera->gammaTable16.get(),
                       .gamma8 = camera->gammaTable8.data(),
                       .autoFrame = camera->autoBuf.get(),
                       .autoFrameMutex = &camera->autoBufMutex};
  for (auto _ : state) {
    state.PauseTiming();  // the corrections work in place
    std::memcpy(camera->pImgBuf.get(), sent.data(), bytes);
    state.ResumeTiming();
    camera->SubtractDark();
    camera->HandleHotPixels();
    RunFramePath(path, out);
    if (!setup.wide) {
      camera->AddTimeMark(out.data(), region.width,
                          region.format == ORQ_IMG_RGB24 ? IMAGE_THREE_BYTES : IMAGE_ONE_BYTE);
    }
    benchmark::ClobberMemory();
  }
  CountBytes(state, bytes);
}
BENCHMARK(EveryCorrection)
    ->ArgNames({"x26m", "format", "bin"})
    ->Args({0, ORQ_IMG_RAW8, 1})
    ->Args({0, ORQ_IMG_RAW16, 1})
    ->Args({0, ORQ_IMG_RGB24, 1})
    ->Args({0, ORQ_IMG_Y8, 1})
    ->Args({0, ORQ_IMG_RAW8, 2})
    ->Args({0, ORQ_IMG_RAW16, 2})
    ->Args({1, ORQ_IMG_RAW8, 1})
    ->Args({1, ORQ_IMG_RAW16, 1})
    ->Args({1, ORQ_IMG_RAW8, 2})
    ->Args({1, ORQ_IMG_RAW16, 2});

}  // namespace
}  // namespace orq
