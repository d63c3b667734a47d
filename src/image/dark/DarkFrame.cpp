// Collecting a dark frame, cutting it for the frame geometry and subtracting it.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <utility>

#include "camera/CameraBase.h"
#include "camera/CorrectionAccess.h"
#include "image/dark/DarkImage.h"
#include "support/DbgPrint.h"

namespace {

/// How many exposures make a dark: short ones are noisier and cheap to repeat.
std::int32_t FramesForExposure(std::uint64_t ms) {
  if (ms <= 100) return 5;
  if (ms <= 325) return 4;
  if (ms <= 550) return 3;
  return ms <= 775 ? 2 : 1;
}

/// Samples of a `width` x `height` frame of which a buffer holds `held`.
std::size_t HeldSamples(std::int32_t width, std::int32_t height, std::size_t held) {
  if (width <= 0 || height <= 0) return 0;
  return std::min(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), held);
}

}  // namespace

int CCameraBase::GettingDark(bool on, [[maybe_unused]] unsigned long long exposure) {
  const std::int32_t frames = FramesForExposure(exposureUs / 1000);
  iDarkFrames = frames;
  bGettingDark = on ? 1 : 0;  // last: the worker may take a frame at once
  return frames;
}

void CCameraBase::DoGetDark() {
  if (bGettingDark == 0 || !pImgBuf) return;
  const std::size_t pixels = orq::SensorPixels(*this);
  const std::int32_t frames = iDarkFrames;
  {
    const std::scoped_lock both(DarkAccumMutex, DarkBufMutex);
    // Switching the dark off in the middle has freed the image and with it the frames so far.
    if (!pDarkFull || !pDarkBuf) iDarkFrameCount = 0;
    if (iDarkFrameCount == 0) {
      if (!pDarkFull) pDarkFull = std::make_unique<std::uint8_t[]>(pixels);
      if (!pDarkBuf) {
        pDarkBuf = orq::MakeNeutralDark(pixels, iDarkAverage);
        darkExcess = 0.0;
      }
      std::fill_n(pDarkFull.get(), pixels, std::uint8_t{0});
    }
    iDarkFrameCount = iDarkFrameCount + 1;
    orq::AccumulateDark(orq::View(pImgBuf, pixels), frames, orq::View(pDarkFull, pixels));
  }
  // The number of frames may have become smaller since the collection began.
  if (iDarkFrameCount < frames) return;
  iDarkFrameCount = 0;
  AdjustDarkBuff();
  bGettingDark = 0;
}

void CCameraBase::AdjustDarkBuff() {
  std::unique_lock buf(DarkBufMutex, std::defer_lock);
  std::unique_lock accum(DarkAccumMutex, std::defer_lock);
  std::lock(buf, accum);
  if (!pDarkBuf || !pDarkFull) return;
  const orq::SensorCut cut = orq::CurrentCut(*this, IsHardBinRun());
  const std::size_t pixels = orq::SensorPixels(*this);
  const std::int32_t width = cut.FrameWidth();
  const std::int32_t height = cut.FrameHeight();
  const auto image = orq::View(pDarkBuf, HeldSamples(width, height, pixels));
  orq::CutDarkImage(orq::View(pDarkFull, pixels), cut, orq::View(pBinOffsets, orq::kBinOffsets), bHardBinSum != 0,
                    image);
  accum.unlock();

  iDarkAverage = orq::MeanOf(image);
  darkExcess = orq::ExcessOf(image, iDarkAverage);
  DbgPrint(-1, "AdjustDarkBuff", "avarage:%d\n", static_cast<int>(iDarkAverage));
  std::int32_t count = 0;
  {
    const std::scoped_lock list(DarkListMutex);
    // The geometry belongs to the image and to the list: it changes under both locks.
    iDarkWidth = width;
    iDarkHeight = height;
    orq::DarkPixelList found = orq::ListDarkPixels(image, iDarkAverage);
    buf.unlock();
    pDarkPixList = std::move(found.positions);
    count = iDarkPixCount = static_cast<std::int32_t>(found.count);
  }
  DbgPrint(-1, "AdjustDarkBuff", "Dead pixel:%d\n", count);
}

void CCameraBase::UsingDark(bool on) {
  CutDark = on ? 1 : 0;
  const std::scoped_lock both(DarkBufMutex, DarkAccumMutex);
  if (on) return;
  pDarkFull.reset();
  pDarkBuf.reset();
}

void CCameraBase::SubtractDark() {
  if (CutDark == 0 || !orq::IsDarkSubtracted(AutoExp != 0, exposureUs)) return;
  const std::scoped_lock lock(DarkBufMutex);
  if (!pImgBuf || !pDarkBuf || iDarkWidth <= 0) return;
  const auto rowsHeld = static_cast<std::int64_t>(orq::SensorPixels(*this)) / iDarkWidth;
  const auto height = static_cast<int>(std::min<std::int64_t>(iDarkHeight, rowsHeld));
  algorithm.SubtractDark(pImgBuf.get(), iDarkWidth, height, iDarkAverage, pDarkBuf.get(), b16Bit != 0);
}
