// A simulated image sensor: light and dark charge in electrons, noise, full well, gain and ADC.
#pragma once

#include <array>
#include <memory>
#include <optional>
#include <vector>

#include "virtual/sensor/BinGrid.h"
#include "virtual/sensor/FixedPattern.h"
#include "virtual/sensor/FrameSource.h"
#include "virtual/sensor/NoiseGenerator.h"
#include "virtual/sensor/SensorData.h"
#include "virtual/sky/Planet.h"
#include "virtual/sky/Sky.h"

namespace orq {

enum class Scene : std::uint8_t { Stars, Planet, Flat, Dark };

/// Light of a flat scene when none is given, e-/s under the green (or no) filter.
inline constexpr double kDefaultFlatFlux = 1000.0;

/// Light of a flash, e-/s in each pixel under the green (or no) filter.
inline constexpr double kFlashFlux = 5.0e7;

/// Frames of one sensor. A frame is decided by the seed, the settings and the frame number; a pixel's charge and
/// noise depend on its place on the sensor, not on the region. `docs/sensor-model.md` has the formulae.
///
/// Hardware binning adds the charge of `bin` x `bin` pixels (of one colour, or two apart as if they were) and
/// reads the sum once. Thread rule: one `Expose` at a time.
class SensorModel final : public FrameSource {
 public:
  /// `sensor` must outlive the model. `flatFlux` in e-/s and the light's colour temperature count for
  /// `Scene::Flat` only.
  SensorModel(const SensorData& sensor, Scene scene, double flatFlux, std::uint64_t seed,
              double illuminantKelvin = kWhiteKelvin);

  /// Before the first exposure: the telescope points at the first star, which then stands in the middle.
  void AimAtStar();
  /// Likewise: a planet in the sky.
  void Show(const Planet& planet) { planet_ = planet; }

  int Width() const override { return sensor_.width; }
  int Height() const override { return sensor_.height; }
  int AdcBits() const override { return sensor_.adcBits; }
  int BayerPattern() const override { return sensor_.bayerPattern; }
  std::uint64_t LineTimeNs() const override { return sensor_.lineTimeNs; }
  void Expose(const ExposureSettings& settings, std::span<std::uint16_t> adu) override;

  const FixedPattern& Pattern() const { return pattern_; }
  /// Null unless the scene has stars. Those of the last exposure; another object when the focus changes.
  const StarField* Stars() const { return stars_.get(); }

 private:
  struct Exposure;
  struct RowLight;

  void Focus(double defocusSteps);
  void MeanCharge(const Exposure& exposure, int y, int startX, const RowLight& light,
                  std::span<float> electrons) const;
  std::span<const float> CollectRow(const Exposure& exposure, int y, int startX, const RowLight& light,
                                    int columns);
  std::span<const float> CollectSamples(const Exposure& exposure, const ExposureSettings& settings, int sampleRow,
                                        Overlap columns);

  const SensorData& sensor_;
  const std::uint64_t seed_;
  const GaussianTable& gaussian_ = GaussianTable::Get();
  const PoissonTable& poisson_ = PoissonTable::Get();
  const FixedPattern pattern_;
  std::unique_ptr<const StarField> stars_;
  std::optional<Planet> planet_;
  const Scene scene_;
  const double flatFlux_;
  std::array<double, 3> filters_{};  ///< what of even light passes each filter
  std::vector<float> row_;           ///< charge of one sensor row
  std::vector<float> sums_;          ///< binned charge of one output row
};

}  // namespace orq
