// The camera object's fields of the image subsystem: buffers, gamma, hot pixels, dark frame.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "support/threads/Relaxed.h"

namespace orq {

/// The sensor-pixel offset of one entry of the hardware-bin table; 127 marks an entry not used.
struct BinOffset {
  std::int8_t dx = 127;
  std::int8_t dy = 127;
};
inline constexpr std::size_t kBinOffsets = 40;  ///< 8 per bin value 0..4: index bin * 8 + k
inline constexpr std::size_t kGammaTable16 = 65536;
inline constexpr std::size_t kWorkBufferBytes = 512;

/// Buffers made by InitVariable; null before. Sizes in bytes.
struct FrameBuffers {
  std::unique_ptr<std::uint8_t[]> pImgBuf;  ///< iMaxWidth * iMaxHeight * 2: the frame being corrected; worker-only
  std::unique_ptr<std::uint8_t[]>
      pBinBuf;  ///< iMaxWidth * iMaxHeight * 2: the frame after host binning; worker-only
  std::unique_ptr<std::uint8_t[]>
      autoBuf;  ///< iMaxWidth * iMaxHeight * 2: the frame that automatic control measures
  std::unique_ptr<std::uint8_t[]> workBuf;   ///< kWorkBufferBytes, from construction on
  std::unique_ptr<BinOffset[]> pBinOffsets;  ///< kBinOffsets entries, from construction on; filled by the model
};

/// Gamma tables.
struct GammaState {
  std::unique_ptr<std::uint16_t[]> gammaTable16;  ///< kGammaTable16 entries, made by InitVariable
  std::array<std::uint8_t, 256> gammaTable8{};
};

/// The hot-pixel map and what is cut from it for the current geometry. All guarded by HPCMutex.
struct HotPixelState {
  std::unique_ptr<std::uint8_t[]> pHPCFullMap;  ///< iMaxWidth * iMaxHeight, 1 = hot sensor pixel
  std::unique_ptr<std::uint8_t[]> pHPCMap;      ///< same size, iHPCWidth * iHPCHeight used
  std::int32_t iHPCWidth = 0, iHPCHeight = 0;   ///< geometry of the map, the list and the flags
  std::unique_ptr<std::uint32_t[]> pHPCList;    ///< ascending positions y * iHPCWidth + x
  std::int32_t iHPCCount = 0;                   ///< entries of pHPCList
  std::unique_ptr<std::uint32_t[]> pBadRows;    ///< iHPCHeight flags or absent
  std::unique_ptr<std::uint32_t[]> pBadCols;    ///< iHPCWidth flags or absent
  bool bHPCForce = true;                        ///< the next adjustment rebuilds
  std::int32_t hpcLastBin = 0;                  ///< geometry of the last rebuild
  bool hpcLastBin4By2x2 = false;
  std::int32_t hpcLastWidth = 0, hpcLastHeight = 0;
  std::int32_t hpcLastStartX = -1, hpcLastStartY = -1;
};

/// The dark image and what is cut from it for the current geometry.
struct DarkFrameState {
  std::unique_ptr<std::uint8_t[]> pDarkFull;     ///< iMaxWidth * iMaxHeight or absent; guarded by DarkAccumMutex
  std::unique_ptr<std::uint8_t[]> pDarkBuf;      ///< iMaxWidth * iMaxHeight or absent; guarded by DarkBufMutex
  std::int32_t iDarkWidth = 0, iDarkHeight = 0;  ///< of pDarkBuf and the list; written under both their locks
  std::uint32_t iDarkAverage = 0;  ///< mean of pDarkBuf when it was last adjusted; guarded by DarkBufMutex
  double darkExcess = 0.0;  ///< by how much the good samples' mean exceeds iDarkAverage, which is a whole number
                            ///< and counts hot ones; guarded by DarkBufMutex
  std::unique_ptr<std::uint32_t[]> pDarkPixList;  ///< ascending positions; guarded by DarkListMutex
  std::int32_t iDarkPixCount = 0;                 ///< guarded by DarkListMutex
  Relaxed<std::uint8_t> bGettingDark{0};          ///< a dark frame is being collected
  Relaxed<std::int32_t> iDarkFrames{1};           ///< frames to average
  Relaxed<std::int32_t> iDarkFrameCount{0};       ///< frames collected so far
  std::uint8_t bHardBinSum = 0;  ///< hardware-binned dark values add without scaling; set by the model
};

}  // namespace orq
