// A star field as the light that it throws on each pixel.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace orq {

struct SensorData;

/// One star: where it stands and how much light it gives.
struct Star {
  double x = 0.0;  ///< pixel coordinates; (0, 0) is the centre of the corner pixel
  double y = 0.0;
  double electronsPerSecond = 0.0;              ///< summed over its image, under a green (or no) filter
  std::array<double, 3> colour{1.0, 1.0, 1.0};  ///< light through the red, green, blue filter, green 1
};

/// Temperature of the white light that the filters' responses refer to, kelvins.
inline constexpr double kWhiteKelvin = 6000.0;
/// Light of a black body through the red, green and blue filter of a sensor, relative to white light under the
/// green one.
std::array<double, 3> BlackBodyColour(const SensorData& sensor, double kelvin);

/// Width of a star's image at half its height in focus, pixels; and the exponent of its Moffat profile.
inline constexpr double kStarFwhmPixels = 2.5;
inline constexpr double kMoffatExponent = 3.0;

/// The width where the lens is so many steps away from the best focus: seeing and defocus add as squares.
double StarFwhmAt(double defocusSteps);

/// Stars for a sensor, decided by the seed alone: positions uniform, counts growing by 10^0.36 per magnitude
/// towards the faint end, colour temperatures of 3,000 to 14,000 kelvins, and four bright stars inside the central
/// part.
std::vector<Star> MakeStars(const SensorData& sensor, std::uint64_t seed);

/// The stars' images, rendered once. Constant afterwards: any-thread.
class StarField {
 public:
  StarField(const SensorData& sensor, std::vector<Star> stars, double fwhmPixels = kStarFwhmPixels);

  std::span<const Star> Stars() const { return stars_; }
  double FwhmPixels() const { return fwhm_; }
  /// Adds `seconds` of starlight, in electrons, to the pixels from column `startX` of sensor row `y`; of the first
  /// star `hiddenSeconds` less.
  void AddRow(int y, int startX, float seconds, float hiddenSeconds, std::span<float> electrons) const;

 private:
  /// The part of a star's image that lies on the sensor.
  struct Image {
    int x = 0, y = 0, width = 0, height = 0;
    std::size_t first = 0;  ///< in `rates_`
    bool hides = false;     ///< of the first star
  };
  void Render(const SensorData& sensor, const Star& star);
  void IndexRows(int height);

  std::vector<Star> stars_;
  double fwhm_;
  std::vector<Image> images_;
  std::vector<float> rates_;              ///< electrons per second
  std::vector<std::uint32_t> rowStart_;   ///< of each row in `rowImages_`; one more at the end
  std::vector<std::uint32_t> rowImages_;  ///< images that touch the row
};

}  // namespace orq
