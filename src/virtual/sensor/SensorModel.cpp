#include "virtual/sensor/SensorModel.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "virtual/sensor/BayerMosaic.h"
#include "virtual/sensor/BinGrid.h"

namespace orq {
namespace {

/// More than any well holds; these keep the arithmetic finite.
constexpr float kMostElectrons = 1.0e7F;
constexpr double kMostFlux = 1.0e9;

/// Even light, e-/s under the green (or no) filter. What is no amount of light is none.
double EvenLight(const SensorData& sensor, Scene scene, double flatFlux) {
  if (scene == Scene::Stars || scene == Scene::Planet) return sensor.skyElectronsPerSecond;
  return scene == Scene::Flat && flatFlux > 0.0 ? std::min(flatFlux, kMostFlux) : 0.0;
}

}  // namespace

/// What of an exposure one row sees.
struct SensorModel::RowLight {
  float flashSeconds = 0.0F;
  float hiddenSeconds = 0.0F;  ///< without the first star
};

/// One exposure's settings as physics.
struct SensorModel::Exposure {
  Exposure(const SensorData& sensor, const ExposureSettings& settings, const PixelReadout& readout, double white,
           const std::array<double, 3>& filters)
      : grid{HeldBin(settings.bin), sensor.bayerPattern >= 0 || sensor.binsTwoApart},
        frame(settings.frameNumber),
        rowSeconds(settings.rowSeconds),
        flashFrom(settings.flashStart),
        flashTo(settings.flashStart + settings.flashSeconds),
        hiddenFrom(settings.hiddenStart),
        hiddenTo(settings.hiddenStart + settings.hiddenSeconds),
        seconds(settings.seconds),
        lightSeconds(static_cast<float>(static_cast<double>(settings.exposureUs) * 1e-6)),
        darkSeconds(lightSeconds * static_cast<float>(DarkScale(settings.temperatureC))),
        fullWell(static_cast<float>(readout.fullWellElectrons)),
        readNoise(static_cast<float>(readout.readNoiseElectrons)),
        aduPerElectron(static_cast<float>(1.0 / readout.electronsPerAdu)),
        blackLevel(static_cast<std::uint16_t>(std::clamp(readout.blackCounts, 0, (1 << sensor.adcBits) - 1))),
        roundedBlackLevel(static_cast<float>(blackLevel) + 0.5F),
        largest(static_cast<float>((1 << sensor.adcBits) - 1)) {
    for (std::size_t i = 0; i < glow.size(); ++i) glow[i] = static_cast<float>(white * filters[i]);
  }

  /// How much of an output row's exposure, which a rolling shutter begins later than that of the one above it,
  /// lies between two times.
  float Between(int row, double begin, double end) const {
    const double from = std::max(row * rowSeconds, begin);
    const double to = std::min(row * rowSeconds + static_cast<double>(lightSeconds), end);
    return static_cast<float>(std::max(to - from, 0.0));
  }
  RowLight LightOf(int row) const {
    return {.flashSeconds = Between(row, flashFrom, flashTo), .hiddenSeconds = Between(row, hiddenFrom, hiddenTo)};
  }

  BinGrid grid;
  std::uint64_t frame;
  double rowSeconds;
  double flashFrom;  ///< seconds after the start of the first row's exposure
  double flashTo;
  double hiddenFrom;  ///< likewise
  double hiddenTo;
  double seconds;  ///< the camera's time in its middle
  float lightSeconds;
  float darkSeconds;  ///< seconds at the reference temperature that give the same dark charge
  float fullWell;
  float readNoise;
  float aduPerElectron;
  std::uint16_t blackLevel;
  float roundedBlackLevel;  ///< half a count more, so that cutting off the fraction rounds
  float largest;
  std::array<float, 3> glow{};  ///< even light under each filter, e-/s
};

SensorModel::SensorModel(const SensorData& sensor, Scene scene, double flatFlux, std::uint64_t seed,
                         double illuminantKelvin)
    : sensor_(sensor),
      seed_(seed),
      pattern_(sensor, seed),
      scene_(scene),
      flatFlux_(flatFlux),
      filters_(scene == Scene::Flat && sensor.bayerPattern >= 0 ? BlackBodyColour(sensor, illuminantKelvin)
                                                                : sensor.response) {
  if (scene == Scene::Stars) stars_ = std::make_unique<const StarField>(sensor, MakeStars(sensor, seed));
  row_.resize(static_cast<std::size_t>(sensor.width));
  sums_.resize(static_cast<std::size_t>(sensor.width) + 1);
}

/// Draws the stars anew when the lens has moved.
void SensorModel::Focus(double defocusSteps) {
  const double fwhm = StarFwhmAt(defocusSteps);
  if (!stars_ || stars_->FwhmPixels() == fwhm) return;
  const std::span<const Star> stars = stars_->Stars();
  stars_ = std::make_unique<const StarField>(sensor_, std::vector<Star>(stars.begin(), stars.end()), fwhm);
}

void SensorModel::AimAtStar() {
  if (!stars_ || stars_->Stars().empty()) return;
  std::vector<Star> stars(stars_->Stars().begin(), stars_->Stars().end());
  stars.front().x = sensor_.width / 2.0;
  stars.front().y = sensor_.height / 2.0;
  stars_ = std::make_unique<const StarField>(sensor_, std::move(stars), stars_->FwhmPixels());
}

/// Expected charge of the pixels from `startX` of row `y`.
void SensorModel::MeanCharge(const Exposure& exposure, int y, int startX, const RowLight& light,
                             std::span<float> electrons) const {
  std::array<float, 2> even{};
  for (int i = 0; i < 2; ++i) {
    const auto filter = static_cast<std::size_t>(FilterAt(sensor_.bayerPattern, startX + i, y));
    even[static_cast<std::size_t>(i)] =
        exposure.glow[filter] * exposure.lightSeconds +
        static_cast<float>(kFlashFlux * sensor_.response[filter]) * light.flashSeconds;
  }
  for (std::size_t i = 0; i < electrons.size(); ++i) electrons[i] = even[i & 1];
  if (stars_) stars_->AddRow(y, startX, exposure.lightSeconds, light.hiddenSeconds, electrons);
  if (planet_) planet_->AddRow(y, startX, exposure.lightSeconds, exposure.seconds, electrons);
  pattern_.AddRow(y, startX, exposure.darkSeconds, electrons);
}

/// The charge that row `y` collects from column `startX` on, photon and dark noise included.
std::span<const float> SensorModel::CollectRow(const Exposure& exposure, int y, int startX, const RowLight& light,
                                               int columns) {
  const std::span<float> row(row_.data(), static_cast<std::size_t>(columns));
  MeanCharge(exposure, y, startX, light, row);
  const RowNoise noise(seed_, exposure.frame, y);
  for (std::size_t i = 0; i < row.size(); ++i) {
    const float mean = std::min(row[i], kMostElectrons);
    const float electrons = poisson_.Sample(noise.Shot(startX + static_cast<int>(i)), mean);
    row[i] = std::clamp(electrons, 0.0F, exposure.fullWell);
  }
  return row;
}

/// The charge of the samples [columns.first, columns.last) of one output row.
std::span<const float> SensorModel::CollectSamples(const Exposure& exposure, const ExposureSettings& settings,
                                                   int sampleRow, Overlap columns) {
  const BinGrid& grid = exposure.grid;
  const int before = std::max(columns.last - 2, columns.first);
  const int reach = std::max(grid.First(columns.last - 1), grid.First(before)) + (grid.bin - 1) * grid.Step() + 1;
  const int left = std::max(settings.startX + grid.First(columns.first), 0);
  const int right = std::min(settings.startX + reach, sensor_.width);
  const int top = settings.startY + grid.First(sampleRow);
  const RowLight light = exposure.LightOf(sampleRow);
  if (grid.bin == 1) return CollectRow(exposure, top, left, light, right - left);

  const std::span<float> sums(sums_.data(), static_cast<std::size_t>(columns.last - columns.first));
  std::fill(sums.begin(), sums.end(), 0.0F);
  for (int j = 0; j < grid.bin; ++j) {
    const int y = top + j * grid.Step();
    if (y < 0 || y >= sensor_.height) continue;
    const std::span<const float> row = CollectRow(exposure, y, left, light, right - left);
    for (int i = columns.first; i < columns.last; ++i) {
      for (int k = 0; k < grid.bin; ++k) {
        const int x = settings.startX + grid.First(i) + k * grid.Step();
        if (x < left || x >= right) continue;
        sums[static_cast<std::size_t>(i - columns.first)] += row[static_cast<std::size_t>(x - left)];
      }
    }
  }
  return sums;
}

void SensorModel::Expose(const ExposureSettings& settings, std::span<std::uint16_t> adu) {
  const double white = EvenLight(sensor_, scene_, settings.flatFlux.value_or(flatFlux_));
  const PixelReadout readout = settings.readout.value_or(ReadoutOf(sensor_, settings.gain, settings.blackLevel));
  const Exposure exposure(sensor_, settings, readout, white, filters_);
  std::fill(adu.begin(), adu.end(), exposure.blackLevel);
  Focus(settings.defocusSteps);
  if (settings.width <= 0 || settings.height <= 0) return;
  const auto width = static_cast<std::size_t>(settings.width);
  const auto height = std::min(static_cast<std::size_t>(settings.height), adu.size() / width);
  if (height == 0) return;
  const Overlap columns = OnSensor(exposure.grid, settings.startX, settings.width, sensor_.width);
  const Overlap rows = OnSensor(exposure.grid, settings.startY, static_cast<int>(height), sensor_.height);
  if (columns.first == columns.last) return;
  for (int r = rows.first; r < rows.last; ++r) {
    const std::span<const float> charge = CollectSamples(exposure, settings, r, columns);
    const RowNoise noise(seed_, exposure.frame, settings.startY + exposure.grid.First(r));
    const std::span<std::uint16_t> out =
        adu.subspan(static_cast<std::size_t>(r) * width + static_cast<std::size_t>(columns.first));
    for (std::size_t i = 0; i < charge.size(); ++i) {
      const int x = settings.startX + exposure.grid.First(columns.first + static_cast<int>(i));
      const float electrons = charge[i] + exposure.readNoise * gaussian_.Sample(noise.Read(x));
      const float counts = electrons * exposure.aduPerElectron + exposure.roundedBlackLevel;
      out[i] = static_cast<std::uint16_t>(std::clamp(counts, 0.0F, exposure.largest));
    }
  }
}

}  // namespace orq
