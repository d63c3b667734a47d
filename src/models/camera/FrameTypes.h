// What a frame shows and what is known about it.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "controls/ControlTypes.h"
#include "models/frametime/RowTimes.h"

namespace orq {

/// Which part of the sensor a frame shows and how. Start in sensor pixels, size in output pixels.
struct FrameRegion {
  int startX = 0;
  int startY = 0;
  int width = 0;
  int height = 0;
  int bin = 1;
  IMG_TYPE format = ORQ_IMG_RAW16;
  bool operator==(const FrameRegion&) const = default;
};

/// What came of asking the camera's GPS for a frame's time.
enum class GpsState : std::uint8_t {
  None,           ///< the camera has no GPS, or nobody asked
  Fix,            ///< the frame has GPS time
  Predicted,      ///< its latch was missed: it has the time of another frame's latch, carried on by the cadence
  NoFix,          ///< the receiver had no valid time and position
  NoLatch,        ///< the frame's region does not hold both GPS lines
  Missed,         ///< a later frame's latch had replaced that of this one, and it could not be predicted
  Unsettled,      ///< the GPS lines or the readout had just been changed: which ones hold is not known
  Contradictory,  ///< the times of the two lines do not fit one readout
  Uncertain,      ///< the computer's time is the more certain one
  Unreadable      ///< the camera did not answer
};

/// Whether a frame has a time of the receiver, be it carried on from another frame.
constexpr bool HasGpsTimes(GpsState state) {
  return state == GpsState::Fix || state == GpsState::Predicted;
}

/// How many of a capture's frames had a predicted time, and what later latches said of it. The rest is not judged
/// yet, or never: the last frames, and those before a change of settings.
struct GpsPredictions {
  std::uint64_t predicted = 0;
  std::uint64_t confirmed = 0;
  std::uint64_t wrong = 0;  ///< further off than they said: the camera did not keep its pace
};

/// A frame's GPS reading.
struct FrameGps {
  GpsState state = GpsState::None;
  LatchedLines latched;             ///< lines: of all but None and Unreadable; times: of Fix and Predicted only
  UtcTenths predictionError = 0;    ///< of Predicted: beyond that of a latch
  GpsPredictions predictions = {};  ///< of the capture up to this frame
  int satellites = 0;               ///< of Fix and Predicted only, in use
  /// Position, of Fix and Predicted only. Degrees, north and east positive; nothing in records whose angles have
  /// another scale.
  std::optional<double> latitude;
  std::optional<double> longitude;
  std::optional<double> altitude;  ///< metres; nothing when the receiver's did not fit its field
};

/// What delivered pixel values mean. Empty where it is not known, or not the same for all colours.
struct PixelLevels {
  /// What a pixel without any charge reads: the offset. Dark current comes on top, also when a dark was
  /// subtracted, because that gives back its average.
  std::optional<double> black;
  /// What a full pixel reads, give or take the read noise.
  std::optional<double> saturated;
};

/// What the camera's own instruments said about when a frame was taken; empty where they did not, or were not
/// asked.
struct FrameReadings {
  std::optional<float> sensorC;       ///< temperature of the sensor, degrees Celsius
  std::optional<int> targetC;         ///< of the cooler, while that is on
  std::optional<int> coolerPower;     ///< percent of the full drive, of cooled cameras
  std::optional<int> realExposureMs;  ///< as the camera measured it; of single exposures from 1 s on
};

/// What is known about a delivered frame. The settings are those the frame was taken with.
struct FrameInfo {
  FrameRegion region;
  std::uint32_t sequence = 0;     ///< the camera's own frame number
  std::uint32_t settingsTag = 0;  ///< in force when its exposure began
  std::uint64_t exposureUs = 0;
  int gain = 0;
  int offset = 0;
  int readoutMode = 0;             ///< of the sensor
  std::string_view readoutName{};  ///< its name; empty for a sensor with one mode
  bool flipHorizontal = false;
  bool flipVertical = false;
  /// Start of the exposure of the first row that was read out by the computer's clock, µs since 1970 UTC: the
  /// arrival of the frame's first bytes minus the exposure.
  std::int64_t startUnixUs = 0;
  /// Largest error of `startUnixUs`, µs: the time that the first transfer took to fill, plus 1 ms for the
  /// computer.
  std::int64_t uncertaintyUs = 0;
  /// By GPS when `gps.state` is Fix or Predicted; else by the computer's clock, the row interval 0 (unknown).
  RowTimes times;
  FrameGps gps;
  int bayerPattern = -1;  ///< of the delivered raw frame (after region and flips); -1: none
  /// Electrons per unit of the delivered pixel values (of green ones in a colour frame with a white balance); 0:
  /// unknown.
  double electronsPerAdu = 0.0;
  /// White balance of red and blue, 1 to 99, 50 neutral. Colour and luminance frames were multiplied by it, raw
  /// ones were not.
  int whiteBalanceRed = 50;
  int whiteBalanceBlue = 50;
  int gamma = 50;          ///< brightness curve that was applied; 50: none
  bool highSpeed = false;  ///< read out in the fast mode
  PixelLevels levels;
  bool darkSubtracted = false;
  bool hotPixelsRepaired = false;
  FrameReadings readings;
};

}  // namespace orq
