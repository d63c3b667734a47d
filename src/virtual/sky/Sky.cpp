#include "virtual/sky/Sky.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "virtual/sensor/BayerMosaic.h"
#include "virtual/sensor/NoiseGenerator.h"
#include "virtual/sensor/SensorData.h"

namespace orq {
namespace {

constexpr std::uint64_t kStarSalt = 0x5354415253ULL;
constexpr double kCountsPerMagnitude = 0.36;
constexpr double kMarginPixels = 8.0;  ///< stars just outside throw their wings onto the sensor
constexpr double kBrightestFaintRatio = 5000.0;
constexpr std::array<double, 4> kBrightStars{200'000.0, 90'000.0, 45'000.0, 25'000.0};  ///< e-/s
/// Images end where their light falls below this, e-/s and pixel.
constexpr double kImageEdgeRate = 0.01;
constexpr double kLargestRadius = 40.0;
constexpr double kBlurPixelsPerStep = 0.02;  ///< of the focus motor

/// Light of a black body at a wavelength (Planck's law), in photons, up to a constant factor.
double PlanckPhotons(double wavelengthNm, double kelvin) {
  constexpr double kHcOverK = 1.438777e7;  // nm K
  return 1.0 / (std::pow(wavelengthNm, 4) * (std::exp(kHcOverK / (wavelengthNm * kelvin)) - 1.0));
}

constexpr std::array<double, 3> kFilterNm{610.0, 530.0, 460.0};

double MoffatScale2(double fwhm) {
  // alpha^2 for exponent 3: FWHM = 2 alpha sqrt(2^(1/3) - 1)
  constexpr double kRootTerm = 0.2599210498948732;
  return fwhm * fwhm / (4.0 * kRootTerm);
}

/// Moffat profile of unit volume at squared distance r2, per square pixel.
double Moffat(double alpha2, double r2) {
  const double term = 1.0 + r2 / alpha2;
  return (kMoffatExponent - 1.0) / (std::numbers::pi * alpha2) / (term * term * term);
}

/// Mean of the profile over the pixel whose centre lies (dx, dy) from the star.
double MoffatPixel(double alpha2, double dx, double dy) {
  const double r2 = dx * dx + dy * dy;
  if (r2 > 36.0) return Moffat(alpha2, r2);
  constexpr int kSub = 5;
  constexpr int kMiddle = kSub / 2;
  double sum = 0.0;
  for (int j = 0; j < kSub; ++j) {
    for (int i = 0; i < kSub; ++i) {
      const double sx = dx + (i - kMiddle) / static_cast<double>(kSub);
      const double sy = dy + (j - kMiddle) / static_cast<double>(kSub);
      sum += Moffat(alpha2, sx * sx + sy * sy);
    }
  }
  return sum / (kSub * kSub);
}

int ImageRadius(double alpha2, double electronsPerSecond) {
  const double peak = electronsPerSecond * Moffat(alpha2, 0.0);
  const double ratio = std::max(peak / kImageEdgeRate, 1.0);
  const double r = std::sqrt(alpha2 * (std::cbrt(ratio) - 1.0));
  return static_cast<int>(std::ceil(std::clamp(r, 3.0, kLargestRadius)));
}

}  // namespace

std::array<double, 3> BlackBodyColour(const SensorData& sensor, double kelvin) {
  std::array<double, 3> colour{};
  for (std::size_t i = 0; i < 3; ++i) {
    const double relative = PlanckPhotons(kFilterNm[i], kelvin) / PlanckPhotons(kFilterNm[1], kelvin);
    const double white = PlanckPhotons(kFilterNm[i], kWhiteKelvin) / PlanckPhotons(kFilterNm[1], kWhiteKelvin);
    colour[i] = sensor.response[i] * relative / white;
  }
  return colour;
}

double StarFwhmAt(double defocusSteps) {
  return std::hypot(kStarFwhmPixels, kBlurPixelsPerStep * defocusSteps);
}

std::vector<Star> MakeStars(const SensorData& sensor, std::uint64_t seed) {
  SplitMix64 random(Mix64(seed ^ kStarSalt));
  std::vector<Star> stars(static_cast<std::size_t>(sensor.starCount));
  for (std::size_t i = 0; i < stars.size(); ++i) {
    Star& star = stars[i];
    star.x = -kMarginPixels + random.Uniform() * (sensor.width + 2.0 * kMarginPixels);
    star.y = -kMarginPixels + random.Uniform() * (sensor.height + 2.0 * kMarginPixels);
    // Number of stars brighter than a magnitude grows as 10^(0.36 m); inverted, with flux = 10^(-0.4 m).
    const double brighter = std::pow(random.Uniform(), -0.4 / kCountsPerMagnitude);
    star.electronsPerSecond = sensor.faintestStar * std::min(brighter, kBrightestFaintRatio);
    const double kelvin = 3000.0 * std::pow(14'000.0 / 3000.0, random.Uniform());
    if (sensor.bayerPattern >= 0) star.colour = BlackBodyColour(sensor, kelvin);
    if (i < kBrightStars.size()) {
      star.electronsPerSecond = kBrightStars[i];
      star.x = sensor.width * (0.1 + 0.8 * random.Uniform());
      star.y = sensor.height * (0.1 + 0.8 * random.Uniform());
    }
  }
  return stars;
}

StarField::StarField(const SensorData& sensor, std::vector<Star> stars, double fwhmPixels)
    : stars_(std::move(stars)), fwhm_(fwhmPixels) {
  for (const Star& star : stars_) Render(sensor, star);
  IndexRows(sensor.height);
}

void StarField::Render(const SensorData& sensor, const Star& star) {
  const double alpha2 = MoffatScale2(fwhm_);
  const int radius = ImageRadius(alpha2, star.electronsPerSecond);
  const int centreX = static_cast<int>(std::lround(star.x));
  const int centreY = static_cast<int>(std::lround(star.y));
  double volume = 0.0;  // of the whole image, so that cutting it at the radius loses no light
  std::vector<double> profile;
  for (int y = centreY - radius; y <= centreY + radius; ++y) {
    for (int x = centreX - radius; x <= centreX + radius; ++x) {
      profile.push_back(MoffatPixel(alpha2, x - star.x, y - star.y));
      volume += profile.back();
    }
  }
  Image image{.x = std::max(centreX - radius, 0), .y = std::max(centreY - radius, 0), .first = rates_.size()};
  image.width = std::min(centreX + radius + 1, sensor.width) - image.x;
  image.height = std::min(centreY + radius + 1, sensor.height) - image.y;
  if (image.width <= 0 || image.height <= 0) return;
  const double scale = star.electronsPerSecond / volume;
  const int side = 2 * radius + 1;
  for (int y = image.y; y < image.y + image.height; ++y) {
    for (int x = image.x; x < image.x + image.width; ++x) {
      const int index = (y - centreY + radius) * side + (x - centreX + radius);
      const auto filter = static_cast<std::size_t>(FilterAt(sensor.bayerPattern, x, y));
      rates_.push_back(static_cast<float>(profile[static_cast<std::size_t>(index)] * scale * star.colour[filter]));
    }
  }
  image.hides = &star == stars_.data();
  images_.push_back(image);
}

void StarField::IndexRows(int height) {
  rowStart_.assign(static_cast<std::size_t>(height) + 1, 0);
  for (const Image& image : images_)
    for (int y = image.y; y < image.y + image.height; ++y) ++rowStart_[static_cast<std::size_t>(y) + 1];
  for (std::size_t y = 1; y < rowStart_.size(); ++y) rowStart_[y] += rowStart_[y - 1];
  rowImages_.resize(rowStart_.back());
  std::vector<std::uint32_t> next(rowStart_.begin(), rowStart_.end() - 1);
  for (std::size_t i = 0; i < images_.size(); ++i)
    for (int y = images_[i].y; y < images_[i].y + images_[i].height; ++y)
      rowImages_[next[static_cast<std::size_t>(y)]++] = static_cast<std::uint32_t>(i);
}

void StarField::AddRow(int y, int startX, float seconds, float hiddenSeconds, std::span<float> electrons) const {
  const int endX = startX + static_cast<int>(electrons.size());
  for (std::uint32_t k = rowStart_[static_cast<std::size_t>(y)]; k < rowStart_[static_cast<std::size_t>(y) + 1];
       ++k) {
    const Image& image = images_[rowImages_[k]];
    const float shown = image.hides ? seconds - hiddenSeconds : seconds;
    const int from = std::max(image.x, startX);
    const int to = std::min(image.x + image.width, endX);
    const std::size_t row =
        image.first + static_cast<std::size_t>(y - image.y) * static_cast<std::size_t>(image.width);
    for (int x = from; x < to; ++x) {
      electrons[static_cast<std::size_t>(x - startX)] +=
          rates_[row + static_cast<std::size_t>(x - image.x)] * shown;
    }
  }
}

}  // namespace orq
