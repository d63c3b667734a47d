// Where a virtual camera's pixels come from: a simulated sensor, or recorded frames.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "virtual/bus/VirtualOptions.h"
#include "virtual/replay/RecordedFacts.h"
#include "virtual/sensor/SensorData.h"

namespace orq {

/// What the sensor is set to for one exposure.
struct ExposureSettings {
  int startX = 0;  ///< region, sensor pixels
  int startY = 0;
  int width = 0;   ///< samples per row after hardware binning
  int height = 0;  ///< rows after hardware binning
  int bin = 1;     ///< hardware bin factor, 1 to 4 (same-colour samples are binned on a Bayer sensor)
  std::uint64_t exposureUs = 0;
  int gain = 0;        ///< gain setting
  int blackLevel = 0;  ///< offset setting
  /// What a pixel reads; none: by gain and offset setting.
  std::optional<PixelReadout> readout = std::nullopt;
  double temperatureC = 20.0;
  double defocusSteps = 0.0;   ///< how far the lens is from the best focus, steps of a focus motor
  double rowSeconds = 0.0;     ///< from the start of one output row's exposure to that of the next
  double flashStart = 0.0;     ///< of a flash of light, s after the start of the first row's exposure
  double flashSeconds = 0.0;   ///< its length; 0: none
  double hiddenStart = 0.0;    ///< of an occultation of the first star, likewise
  double hiddenSeconds = 0.0;  ///< its length; 0: none
  double seconds = 0.0;        ///< the camera's time when the exposure is half over, for what moves
  std::optional<double> flatFlux = std::nullopt;  ///< light of a flat scene, e-/s; none: as the source was made
  std::uint64_t frameNumber = 0;                  ///< counts exposures from 0; with the seed it decides all noise
};

/// The sensor as the firmware sees it. `Expose` is for one thread at a time; the rest is constant.
class FrameSource {
 public:
  virtual ~FrameSource() = default;

  virtual int Width() const = 0;   ///< sensor columns
  virtual int Height() const = 0;  ///< sensor rows
  virtual int AdcBits() const = 0;
  virtual int BayerPattern() const = 0;  ///< -1: monochrome
  /// Time to read one row at full rate, ns.
  virtual std::uint64_t LineTimeNs() const = 0;
  /// Of recorded frames.
  virtual RecordedFacts Recorded() const { return {}; }
  /// One exposure as ADC counts (0 to 2^AdcBits - 1), row by row, `width * height` of them. Settings outside the
  /// sensor read as black level; never writes past `adu`.
  virtual void Expose(const ExposureSettings& settings, std::span<std::uint16_t> adu) = 0;
};

/// The source that `options` asks for; null with a one-line reason in `error` (a replay file that cannot be used,
/// say).
std::unique_ptr<FrameSource> MakeFrameSource(const VirtualOptions& options, std::string& error);

}  // namespace orq
