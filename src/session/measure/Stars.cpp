#include "session/measure/Stars.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <numbers>
#include <string>

#include "models/camera/FrameGeometry.h"
#include "session/Failure.h"
#include "session/frame/FrameFacts.h"
#include "session/measure/LightSpots.h"

extern "C" {  // which the header itself does not say
#include <sep.h>
}

namespace orq::session {
namespace {

constexpr int kTile = 64;              // the background is followed in tiles of so many pixels
constexpr float kThreshold = 5.0F;     // of the background's noise: fainter light is no star
constexpr int kLeastPixels = 5;        // of a star
constexpr int kLeastBrightPixels = 4;  // beyond the threshold before smoothing: what has fewer is a hot pixel
constexpr double kLeastNoise = 0.3;    // of pixel values that are whole numbers
constexpr double kReach = 6.0;         // light is summed as far as so many times the spread of a star
constexpr double kLeastReach = 4.0;    // pixels
constexpr int kSubpixels = 5;          // along each side, where a circle cuts a pixel
constexpr double kCore = 0.25;         // of the peak: what is brighter tells the width

struct FreeBackground {
  void operator()(sep_bkg* background) const { sep_bkg_free(background); }
};

// The light of an area, one number a pixel.
class Light {
 public:
  Light(std::span<const std::uint8_t> pixels, const FrameInfo& info, const FrameArea& area)
      : pixels_(pixels),
        region_(info.region),
        bytes_(static_cast<std::size_t>(BytesPerPixel(region_.format))),
        area_(area),
        values_(static_cast<std::size_t>(area.width) * static_cast<std::size_t>(area.height)) {
    const std::string_view bayer = BayerText(info);
    for (int y = 0; y < area.height; ++y) {
      float* const row = values_.data() + Index(0, y);
      for (int x = 0; x < area.width; ++x) {
        const int column = area.x + x;
        const int line = area.y + y;
        const int place = 2 * (line & 1) + (column & 1);
        const bool isGreen = bayer.empty() || bayer[static_cast<std::size_t>(place)] == 'G';
        row[x] = isGreen ? static_cast<float>(Raw(column, line)) : GreenAround(column, line);
      }
    }
  }

  float* Data() { return values_.data(); }
  std::span<const float> Values() const { return values_; }
  float At(int x, int y) const { return values_[Index(x, y)]; }
  std::size_t Index(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(area_.width) + static_cast<std::size_t>(x);
  }
  /// The brightest value of a box of the area, whatever its colour.
  int Brightest(int fromX, int toX, int fromY, int toY) const {
    int most = 0;
    for (int y = fromY; y <= toY; ++y)
      for (int x = fromX; x <= toX; ++x) most = std::max(most, Raw(area_.x + x, area_.y + y));
    return most;
  }
  sep_image Image(double noise) {
    sep_image image{};
    image.data = values_.data();
    image.dtype = SEP_TFLOAT;
    image.w = area_.width;
    image.h = area_.height;
    image.noiseval = noise;
    image.noise_type = SEP_NOISE_STDDEV;
    return image;
  }
  const FrameArea& Area() const { return area_; }

 private:
  int Raw(int x, int y) const {
    const std::size_t place =
        static_cast<std::size_t>(y) * static_cast<std::size_t>(region_.width) + static_cast<std::size_t>(x);
    const std::uint8_t* const at = pixels_.data() + place * bytes_;
    if (region_.format == ORQ_IMG_RGB24) return at[1];
    if (region_.format != ORQ_IMG_RAW16) return *at;
    std::uint16_t value = 0;
    std::memcpy(&value, at, sizeof value);
    return value;
  }
  // The four neighbours of a red or blue pixel are green.
  float GreenAround(int x, int y) const {
    int sum = 0;
    int count = 0;
    const auto add = [&](int column, int line) {
      if (column < 0 || line < 0 || column >= region_.width || line >= region_.height) return;
      sum += Raw(column, line);
      ++count;
    };
    add(x - 1, y);
    add(x + 1, y);
    add(x, y - 1);
    add(x, y + 1);
    return count == 0 ? static_cast<float>(Raw(x, y)) : static_cast<float>(sum) / static_cast<float>(count);
  }

  std::span<const std::uint8_t> pixels_;
  const FrameRegion& region_;
  const std::size_t bytes_;
  const FrameArea area_;
  std::vector<float> values_;
};

void DemandSep(int status, const char* what) {
  if (status == 0) return;
  char text[64] = {};
  sep_get_errmsg(status, text);
  throw Failure(Status::Internal, std::string("cannot ") + what + ": " + text);
}

// The width of a bell curve: its logarithm falls with the square of the distance, as steeply as it is narrow. A
// straight line through the pixels of the core, each weighed by how well its logarithm is known. What is no bell
// (a star far out of focus is a disc, or a ring) is as wide as a disc of what is brighter than half of its peak.
double WidthOf(const Light& light, const MeasuredStar& star, double x, double y) {
  const int radius = static_cast<int>(std::ceil(3.0 * star.hfr + 1.0));
  const int centreX = static_cast<int>(std::lround(x));
  const int centreY = static_cast<int>(std::lround(y));
  double weights = 0.0;
  double distances = 0.0;
  double logs = 0.0;
  double squares = 0.0;
  double products = 0.0;
  int bright = 0;
  for (int row = std::max(centreY - radius, 0); row <= std::min(centreY + radius, light.Area().height - 1);
       ++row) {
    for (int column = std::max(centreX - radius, 0); column <= std::min(centreX + radius, light.Area().width - 1);
         ++column) {
      const double value = light.At(column, row);
      const double r2 = (column - x) * (column - x) + (row - y) * (row - y);
      if (value < kCore * star.peak || r2 > radius * radius) continue;
      if (value >= 0.5 * star.peak) ++bright;
      const double weight = value * value;
      const double logarithm = std::log(value);
      weights += weight;
      distances += weight * r2;
      logs += weight * logarithm;
      squares += weight * r2 * r2;
      products += weight * r2 * logarithm;
    }
  }
  const double disc = 2.0 * std::sqrt(bright / std::numbers::pi);
  const double spread = weights * squares - distances * distances;
  if (spread <= 0.0) return disc;
  const double slope = (weights * products - distances * logs) / spread;
  if (slope >= 0.0) return disc;
  const double bell = 2.0 * std::sqrt(2.0 * std::numbers::ln2) * std::sqrt(-0.5 / slope);
  return bell < 1.5 * disc ? bell : disc;
}

// The stars, the brightest first: what has few bright pixels is a hot one. SEP's own search is not used: each call
// of version 1.2 that finds something keeps memory, and a server looks for stars all night.
std::vector<LightSpot> FindStars(const Light& light, double noise) {
  std::vector<LightSpot> stars =
      FindLightSpots(light.Values(), light.Area().width, kThreshold * static_cast<float>(noise), kLeastPixels);
  std::erase_if(stars, [](const LightSpot& spot) { return spot.brightPixels < kLeastBrightPixels; });
  std::ranges::sort(stars, std::ranges::greater{}, &LightSpot::flux);
  return stars;
}

std::optional<MeasuredStar> Measure(const Light& light, const sep_image& image, const LightSpot& spot,
                                    double saturatedFrom) {
  const double x = spot.x;
  const double y = spot.y;
  const double reach = std::max(kReach * spot.spread, kLeastReach);
  const double half = 0.5;
  MeasuredStar star;
  double error = 0.0;
  double area = 0.0;
  short flag = 0;
  DemandSep(sep_sum_circle(&image, x, y, reach, 0, kSubpixels, 0, &star.flux, &error, &area, &flag),
            "measure a star");
  if (star.flux <= 0.0) return std::nullopt;
  DemandSep(sep_flux_radius(&image, x, y, reach, 0, kSubpixels, 0, &star.flux, &half, 1, &star.hfr, &flag),
            "measure a star");
  if (!(star.hfr > 0.0)) return std::nullopt;
  star.x = light.Area().x + x;
  star.y = light.Area().y + y;
  star.peak = static_cast<double>(spot.peak);
  star.saturated = light.Brightest(spot.left, spot.right, spot.top, spot.bottom) >= saturatedFrom;
  star.cutOff = spot.cutOff;
  star.fwhm = WidthOf(light, star, x, y);
  return star;
}

double Median(std::vector<double> values) {
  if (values.empty()) return std::numeric_limits<double>::quiet_NaN();
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::ranges::nth_element(values, middle);
  if (values.size() % 2 != 0) return *middle;
  return (*middle + *std::max_element(values.begin(), middle)) / 2.0;
}

void Summarise(StarMeasures& measures) {
  std::vector<double> radii;
  std::vector<double> widths;
  const auto take = [&](const MeasuredStar& star) {
    radii.push_back(star.hfr);
    widths.push_back(star.fwhm);
  };
  for (const MeasuredStar& star : measures.stars) {
    if (star.saturated) ++measures.saturated;
    if (!star.saturated && !star.cutOff) take(star);
  }
  if (radii.empty()) std::ranges::for_each(measures.stars, take);
  measures.measured = static_cast<int>(radii.size());
  measures.hfr = Median(std::move(radii));
  measures.fwhm = Median(std::move(widths));
}

FrameArea Demand(std::span<const std::uint8_t> pixels, const FrameRegion& region,
                 const std::optional<FrameArea>& area) {
  if (pixels.empty() || pixels.size() != static_cast<std::size_t>(region.width) *
                                             static_cast<std::size_t>(region.height) *
                                             static_cast<std::size_t>(BytesPerPixel(region.format)))
    throw Failure(Status::Invalid, "cannot measure the frame: the pixels are not those of the region");
  const FrameArea wanted = area.value_or(FrameArea{0, 0, region.width, region.height});
  if (wanted.x < 0 || wanted.y < 0 || wanted.width < 1 || wanted.height < 1 ||
      wanted.width > region.width - wanted.x || wanted.height > region.height - wanted.y) {
    throw Failure(Status::Invalid, "the area must lie within the frame of " + std::to_string(region.width) +
                                       " x " + std::to_string(region.height) + " pixels");
  }
  return wanted;
}

}  // namespace

StarMeasures MeasureStars(std::span<const std::uint8_t> pixels, const FrameInfo& info,
                          const std::optional<FrameArea>& area) {
  Light light(pixels, info, Demand(pixels, info.region, area));
  sep_bkg* made = nullptr;
  const sep_image bare = light.Image(0.0);
  DemandSep(sep_background(&bare, kTile, kTile, 3, 3, 0.0, &made), "measure the background");
  const std::unique_ptr<sep_bkg, FreeBackground> background(made);
  DemandSep(sep_bkg_subarray(background.get(), light.Data(), SEP_TFLOAT), "measure the background");

  StarMeasures measures;
  measures.background = static_cast<double>(sep_bkg_global(background.get()));
  measures.noise = static_cast<double>(sep_bkg_globalrms(background.get()));
  const double noise = std::max(measures.noise, kLeastNoise);
  const sep_image image = light.Image(noise);
  const double top = info.region.format == ORQ_IMG_RAW16 ? 65535.0 : 255.0;
  const double saturatedFrom = std::min(std::floor(info.levels.saturated.value_or(top)), top);
  const std::vector<LightSpot> stars = FindStars(light, noise);
  measures.count = static_cast<int>(stars.size());
  for (const LightSpot& spot : std::span(stars).first(std::min(stars.size(), kMostStars)))
    if (const auto star = Measure(light, image, spot, saturatedFrom)) measures.stars.push_back(*star);
  Summarise(measures);
  return measures;
}

}  // namespace orq::session
