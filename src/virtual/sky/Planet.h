// A planet: a disc that drifts over the sensor.
#pragma once

#include <array>
#include <span>

namespace orq {

struct SensorData;
struct VirtualPlanet;

/// How far its light falls from the middle to the limb: 1 - kLimbDarkening * (1 - cosine).
inline constexpr double kLimbDarkening = 0.6;
/// Light of its middle when none is given, e-/s in a pixel under the green (or no) filter.
inline constexpr double kDefaultPlanetFlux = 2.0e6;

/// Constant: any-thread.
class Planet {
 public:
  /// `flux`: light of the middle, e-/s in a pixel under the green (or no) filter.
  Planet(const SensorData& sensor, const VirtualPlanet& options, double flux);

  struct Place {
    double x = 0.0;  ///< of its centre; (0, 0) is the centre of the corner pixel
    double y = 0.0;
  };
  /// In the middle of the sensor at time 0. At the sensor's edges it turns back.
  Place At(double seconds) const;
  /// Adds `lightSeconds` of its light, in electrons, to the pixels from column `startX` of sensor row `y`, where
  /// it is at the time `seconds`.
  void AddRow(int y, int startX, float lightSeconds, double seconds, std::span<float> electrons) const;

 private:
  double Brightness(double r) const;

  int width_;
  int height_;
  int bayerPattern_;
  double radius_;
  double driftX_;
  double driftY_;
  std::array<double, 3> rates_{};  ///< of the middle, e-/s under each filter
};

}  // namespace orq
