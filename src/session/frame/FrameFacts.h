// What is known about a frame, beside its pixels.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "models/camera/FrameGeometry.h"
#include "models/camera/FrameTypes.h"
#include "session/fits/Keywords.h"
#include "session/frame/ClockState.h"
#include "session/frame/ImageType.h"
#include "support/BayerNames.h"
#include "virtual/replay/RecordedFacts.h"

namespace orq::session {

/// What was done to a frame before it was delivered.
struct CorrectionFacts {
  std::string darkFile;    ///< file of the dark that was subtracted, without directory; empty: none was
  std::string dark;        ///< how that was taken; empty: unknown
  bool hotPixels = false;  ///< hot pixels were repaired
};

/// What all frames of one run have in common.
struct FileContext {
  std::string creator;       ///< program that writes the files, with its version; empty: not told
  std::string instrument;    ///< full model name
  std::string shortModel;    ///< for file names
  std::string serial;        ///< empty when unknown
  double pixelSizeUm = 0.0;  ///< of the sensor, unbinned; 0: unknown
  std::string object;        ///< what the telescope looks at; empty: not told
  std::string observer;      ///< who takes the frames; empty: not told
  ImageType imageType = ImageType::Light;
  RecordedFacts recorded;         ///< of replayed frames: what their file said
  std::vector<Keyword> keywords;  ///< that the user adds
};

/// Everything about one frame. Copied without copying what all frames share.
struct FrameFacts {
  FrameInfo info;                     ///< what the camera said
  std::uint64_t number = 1;           ///< of the frame in its run, from 1
  std::optional<double> sensorC;      ///< temperature of the sensor when the frame had arrived
  std::optional<double> targetC;      ///< of the cooler, when that was on
  std::optional<int> coolerPower;     ///< percent of the full drive, of cooled cameras
  std::optional<int> realExposureMs;  ///< as the camera measured it; of single exposures from 1 s on
  CorrectionFacts corrections;
  std::optional<ClockState> clock;             ///< the computer's, when the frame had arrived
  std::string warning;                         ///< what is wrong with the frame, for its file; empty: nothing
  std::shared_ptr<const FileContext> context;  ///< null: nothing is told
};

/// The context of a frame, empty where it has none.
const FileContext& ContextOf(const FrameFacts& frame);

inline constexpr IMG_TYPE kFormats[] = {ORQ_IMG_RAW8, ORQ_IMG_RGB24, ORQ_IMG_RAW16, ORQ_IMG_Y8};

/// "RGGB" and so on of a raw Bayer frame; empty for every other.
inline std::string_view BayerText(const FrameInfo& info) {
  const IMG_TYPE format = info.region.format;
  const bool raw = format == ORQ_IMG_RAW8 || format == ORQ_IMG_RAW16;
  return raw ? BayerNameOf(info.bayerPattern) : std::string_view{};
}

/// "none", "h", "v" or "both".
inline const char* FlipName(const FrameInfo& info) {
  if (info.flipHorizontal) return info.flipVertical ? "both" : "h";
  return info.flipVertical ? "v" : "none";
}

}  // namespace orq::session
