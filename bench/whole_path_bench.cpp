// Everything that happens to an assembled frame until it is delivered: dark, hot pixels, lines, dark list, copy
// for automatic control, bin, white balance where colours are wanted, gamma, flips, format, time mark. A frame of
// the wire's byte order is turned round while it is assembled: that is "payload swapped".
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>

#include "FrameBench.h"
#include "models/camera/FramePath.h"
#include "models/camera/ModelCamera.h"
#include "settings/XmlStore.h"

namespace orq {
namespace {

using bench::CountBytes;
using bench::Frame;
using bench::ModelOf;
using bench::SizeOf;
using bench::Sizes;

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
  for (const std::size_t row : {100U, 300U, 301U, 600U})
    std::fill_n(camera->pHPCFullMap.get() + row * columns, columns, std::uint8_t{1});
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

struct Wanted {
  IMG_TYPE format;
  int bin = 1;
  bool corrected = true;   ///< dark, hot pixels, lines
  bool curved = true;      ///< gamma
  bool automatic = false;  ///< a copy for automatic control is due
};

template <Wanted kWanted>
void WholePath(benchmark::State& state) {
  const ModelData& model = ModelOf(state);
  FrameRegion region = FullRegion(model);
  region.format = kWanted.format;
  region.bin = kWanted.bin;
  region.width /= region.bin;
  region.height /= region.bin;
  std::string reason;
  if (!FitRegionTo(model, region, region, reason)) {
    state.SkipWithError(reason.c_str());
    return;
  }
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
                       .gamma16 = kWanted.curved ? camera->gammaTable16.get() : nullptr,
                       .gamma8 = kWanted.curved ? camera->gammaTable8.data() : nullptr,
                       .autoFrame = kWanted.automatic ? camera->autoBuf.get() : nullptr,
                       .autoFrameMutex = &camera->autoBufMutex};
  std::memset(camera->autoBuf.get(), 1, bytes);  // the system's first hand-out of its pages is no part of this
  for (auto _ : state) {
    state.PauseTiming();  // the corrections work in place
    std::memcpy(camera->pImgBuf.get(), sent.data(), bytes);
    state.ResumeTiming();
    if (kWanted.corrected) {
      camera->SubtractDark();
      camera->HandleHotPixels();
    }
    RunFramePath(path, out);
    if (!setup.wide) {
      camera->AddTimeMark(out.data(), region.width,
                          region.format == ORQ_IMG_RGB24 ? IMAGE_THREE_BYTES : IMAGE_ONE_BYTE);
    }
    benchmark::ClobberMemory();
  }
  CountBytes(state, bytes);
}
BENCHMARK(WholePath<Wanted{ORQ_IMG_RAW16}>)->Name("whole path/16")->Apply(Sizes);
BENCHMARK(WholePath<Wanted{.format = ORQ_IMG_RAW16, .curved = false}>)
    ->Name("whole path without gamma/16")
    ->Apply(Sizes);
BENCHMARK(WholePath<Wanted{.format = ORQ_IMG_RAW16, .automatic = true}>)
    ->Name("whole path with copy/16")
    ->Apply(Sizes);
BENCHMARK(WholePath<Wanted{.format = ORQ_IMG_RAW16, .bin = 2}>)->Name("whole path bin 2/16")->Apply(Sizes);
BENCHMARK(WholePath<Wanted{.format = ORQ_IMG_RAW16, .corrected = false, .curved = false}>)
    ->Name("flips alone/16")
    ->Apply(Sizes);
BENCHMARK(WholePath<Wanted{ORQ_IMG_RAW8}>)->Name("whole path/8")->Apply(Sizes);
BENCHMARK(WholePath<Wanted{.format = ORQ_IMG_RAW8, .bin = 2}>)->Name("whole path bin 2/8")->Apply(Sizes);

void ColourSizes(benchmark::internal::Benchmark* bench) {
  bench->ArgName("mp")->Unit(benchmark::kMillisecond)->Arg(2)->Arg(12);
}
BENCHMARK(WholePath<Wanted{ORQ_IMG_RGB24}>)->Name("whole path/24")->Apply(ColourSizes);
BENCHMARK(WholePath<Wanted{ORQ_IMG_Y8}>)->Name("whole path/y8")->Apply(ColourSizes);

void Cameras(benchmark::internal::Benchmark* bench) {
  bench->ArgName("mp")->Unit(benchmark::kMillisecond)->Arg(2)->ThreadRange(1, 4);
}
BENCHMARK(WholePath<Wanted{ORQ_IMG_RAW16}>)->Name("cameras/16")->Apply(Cameras);

}  // namespace
}  // namespace orq
