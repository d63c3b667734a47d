// A frame as the tool handles it: pixels and what is known about them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "files/ClockState.h"
#include "models/camera/FrameGeometry.h"
#include "models/camera/FrameTypes.h"
#include "support/BayerNames.h"
#include "virtual/replay/RecordedFacts.h"

namespace orq::cli {

/// What was done to a frame before it was delivered.
struct CorrectionFacts {
  std::string darkFile;    ///< file of the dark that was subtracted, without directory; empty: none was
  std::string dark;        ///< how that was taken; empty: unknown
  bool hotPixels = false;  ///< hot pixels were repaired
};

struct Frame {
  std::vector<std::uint8_t> bytes;  ///< in the region's format, rows top down
  FrameInfo info;
  std::optional<double> sensorC;      ///< temperature of the sensor when the frame had arrived
  std::optional<double> targetC;      ///< of the cooler, when that was on
  std::optional<int> coolerPower;     ///< percent of the full drive, of cooled cameras
  std::optional<int> realExposureMs;  ///< as the camera measured it; of single exposures from 1 s on
  CorrectionFacts corrections;
  std::optional<ClockState> clock;  ///< the computer's, when the frame had arrived
  std::string warning;              ///< what is wrong with the frame, for its file; empty: nothing
};

inline constexpr IMG_TYPE kFormats[] = {ORQ_IMG_RAW8, ORQ_IMG_RGB24, ORQ_IMG_RAW16, ORQ_IMG_Y8};

/// "RGGB" and so on of a raw Bayer frame; empty for every other.
inline std::string_view BayerText(const FrameInfo& info) {
  const IMG_TYPE format = info.region.format;
  const bool raw = format == ORQ_IMG_RAW8 || format == ORQ_IMG_RAW16;
  return raw ? BayerNameOf(info.bayerPattern) : std::string_view{};
}

/// As `--flip` takes it.
inline const char* FlipName(const FrameInfo& info) {
  if (info.flipHorizontal) return info.flipVertical ? "both" : "h";
  return info.flipVertical ? "v" : "none";
}

/// What a file says about the camera and the session beside the frame's own facts.
struct FileContext {
  std::string instrument;
  std::string serial;  ///< empty when unknown
  double pixelSizeUm = 0.0;
  std::string object;
  std::string observer;
  std::string imageType = "light";
  RecordedFacts recorded;  ///< of a replayed frame: what its file said
};

}  // namespace orq::cli
