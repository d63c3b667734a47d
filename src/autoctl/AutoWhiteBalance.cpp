// Automatic white balance on the camera object.
#include <algorithm>
#include <array>

#include "autoctl/WhiteBalanceDecision.h"
#include "camera/AutoFrameAccess.h"
#include "camera/CameraBase.h"
#include "controls/ModelQuirks.h"
#include "support/DbgPrint.h"

namespace {

using Channels = std::array<orq::ChannelBlocks, orq::kChannels>;

/// The frame's rows that `autoBuf` holds in full.
std::int32_t RowsHeld(const CCameraBase& camera, const orq::FrameSize& size, bool sixteenBit) {
  if (size.width <= 0) return 0;
  const std::size_t rowBytes = static_cast<std::size_t>(size.width) * (sixteenBit ? 2 : 1);
  const auto held = static_cast<std::int64_t>(orq::AutoBufferBytes(camera) / rowBytes);
  return static_cast<std::int32_t>(std::min<std::int64_t>(held, size.height));
}

void MeasureBlocks(CCameraBase& camera, unsigned char* frame, Channels& channels) {
  const auto hardBinRuns = [&camera] { return camera.IsHardBinRun(); };
  const orq::FrameSize size = orq::AutoFrameSize(orq::CurrentAutoGeometry(camera, camera), hardBinRuns);
  const bool sixteenBit = camera.b16Bit != 0;
  const std::int32_t rows = RowsHeld(camera, size, sixteenBit);
  camera.algorithm.SetHighByteFirst(orq::quirks::MeasuresHighByteFirst(camera.modelName));
  const std::lock_guard lock(camera.autoBufMutex);
  for (std::size_t block = 0; block < orq::kBlocks; ++block) {
    const orq::BlockPlace place = orq::PlaceOfBlock(block, size);
    std::array<int, orq::kChannels> variances{};
    std::array<int, orq::kChannels> averages{};
    camera.algorithm.Get_variance_ave_RAW(frame, place.x, place.y, place.width, place.height, size.width, rows,
                                          variances.data(), averages.data(), sixteenBit);
    for (std::size_t i = 0; i < orq::kChannels; ++i)
      if (!channels[i].Take(block, variances[i], averages[i])) DbgPrint(-1, "AutoWB_RAW", "err0\n");
  }
}

orq::ColourMeans MeansOf(const Channels& channels) {
  orq::ColourMeans means{};
  for (std::size_t i = 0; i < orq::kChannels; ++i) {
    const float mean = channels[i].Mean();
    if (mean <= 0.0F) DbgPrint(-1, "AutoWB_RAW", "err1\n");
    means[i] = static_cast<std::int32_t>(mean);
  }
  return means;
}

}  // namespace

void CCameraBase::AutoWhiBal(unsigned char* frame) {
  if (bIsColor != 0) AutoWB_RAW(frame);
}

void CCameraBase::AutoWB_RAW(unsigned char* frame) {
  Channels channels;
  MeasureBlocks(*this, frame, channels);
  const orq::ColourMeans means = MeansOf(channels);
  if (orq::TooDarkForColour(means)) return;
  if (orq::ColoursBalanced(means, AutoExp != 0 || AutoGain != 0)) return;
  const orq::WhiteBalanceValues next = orq::NextWhiteBalance(means, {.red = WB_Red, .blue = WB_Blue});
  DbgPrint(-1, "AutoWB_RAW", " IR:%d IB:%d\n", next.red, next.blue);
  SetWB(next.red, next.blue, autoWB != 0);
}
