// A camera with a small sensor for the tests of the image corrections.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "support/RecordingCamera.h"

namespace orq::test {

class CorrectionCamera : public RecordingCamera {
 public:
  CorrectionCamera(int columns, int rows) {
    iMaxWidth = columns;
    iMaxHeight = rows;
    iADCBits = 16;
    InitVariable();
    SetRegion(1, columns, rows, 0, 0);
  }

  /// Noted in the calls like all others.
  bool IsHardBinRun() override {
    RecordingCamera::IsHardBinRun();
    return hardBinRun;
  }

  void SetRegion(int bin, int width, int height, int startX, int startY) {
    iBin = bin;
    iWidth = width;
    iHeight = height;
    iStartX = startX;
    iStartY = startY;
  }
  std::size_t Pixels() const { return static_cast<std::size_t>(iMaxWidth) * static_cast<std::size_t>(iMaxHeight); }
  std::uint8_t& HotAt(int x, int y) { return pHPCFullMap[static_cast<std::size_t>(y * iMaxWidth + x)]; }
  std::uint8_t& Frame8(int x, int y) { return pImgBuf[static_cast<std::size_t>(y * iMaxWidth + x)]; }
  std::uint16_t& Frame16(int x, int y) {
    return reinterpret_cast<std::uint16_t*>(pImgBuf.get())[static_cast<std::size_t>(y * iMaxWidth + x)];
  }
  void FillFrame8(std::uint8_t value) { std::fill_n(pImgBuf.get(), Pixels(), value); }
  void FillFrame16(std::uint16_t value) {
    std::fill_n(reinterpret_cast<std::uint16_t*>(pImgBuf.get()), Pixels(), value);
  }
  std::vector<std::uint32_t> HotList() const {
    return {pHPCList.get(), pHPCList.get() + static_cast<std::size_t>(iHPCCount)};
  }
  std::vector<std::uint32_t> DarkList() const {
    return {pDarkPixList.get(), pDarkPixList.get() + static_cast<std::size_t>(iDarkPixCount)};
  }
  /// Both dark images, the full one with `values` in front and 0 behind.
  void MakeDark(const std::vector<std::uint8_t>& values) {
    pDarkFull = std::make_unique<std::uint8_t[]>(Pixels());
    pDarkBuf = std::make_unique<std::uint8_t[]>(Pixels());
    std::copy_n(values.begin(), std::min(values.size(), Pixels()), pDarkFull.get());
  }

  bool hardBinRun = false;
};

}  // namespace orq::test
