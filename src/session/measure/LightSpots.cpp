#include "session/measure/LightSpots.h"

#include <algorithm>
#include <cmath>

namespace orq::session {
namespace {

constexpr double kPixelVariance = 1.0 / 12.0;  // of light that is even within a pixel: no spot is narrower

/// The picture as it is and smoothed; beyond its edge it is dark.
class Picture {
 public:
  Picture(std::span<const float> light, int width)
      : light_(light), width_(width), height_(static_cast<int>(light.size() / static_cast<std::size_t>(width))) {}

  int Width() const { return width_; }
  int Height() const { return height_; }
  std::size_t Index(int x, int y) const {
    return static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) + static_cast<std::size_t>(x);
  }
  float At(int x, int y) const { return light_[Index(x, y)]; }
  float Smoothed(int x, int y) const {
    return (Column(x - 1, y) + 2.0F * Column(x, y) + Column(x + 1, y)) / 16.0F;
  }

 private:
  float Column(int x, int y) const {
    if (x < 0 || x >= width_) return 0.0F;
    const float above = y > 0 ? At(x, y - 1) : 0.0F;
    const float below = y + 1 < height_ ? At(x, y + 1) : 0.0F;
    return above + 2.0F * At(x, y) + below;
  }

  std::span<const float> light_;
  int width_;
  int height_;
};

/// What is summed over the pixels of a spot, from its first pixel on, so that no digits are lost far from the
/// corner.
struct Moments {
  double weight = 0.0;
  double x = 0.0;
  double y = 0.0;
  double xx = 0.0;
  double yy = 0.0;
  double xy = 0.0;

  void Add(double dx, double dy, double value) {
    weight += value;
    x += value * dx;
    y += value * dy;
    xx += value * dx * dx;
    yy += value * dy * dy;
    xy += value * dx * dy;
  }
  /// The larger eigenvalue of the covariance.
  double LongestVariance() const {
    const double varianceX = xx / weight - x / weight * (x / weight);
    const double varianceY = yy / weight - y / weight * (y / weight);
    const double covariance = xy / weight - x / weight * (y / weight);
    return (varianceX + varianceY) / 2.0 + std::hypot((varianceX - varianceY) / 2.0, covariance);
  }
};

class Finder {
 public:
  Finder(const Picture& picture, float threshold)
      : picture_(picture),
        threshold_(threshold),
        seen_(static_cast<std::size_t>(picture.Width()) * static_cast<std::size_t>(picture.Height())) {}

  /// Whether a spot that was not seen yet begins there.
  bool Begins(int x, int y) const { return !seen_[picture_.Index(x, y)] && picture_.Smoothed(x, y) > threshold_; }

  LightSpot Follow(int firstX, int firstY) {
    LightSpot spot;
    spot.left = spot.right = firstX;
    spot.top = spot.bottom = firstY;
    Moments moments;
    Push(firstX, firstY);
    while (!next_.empty()) {
      const auto [x, y] = next_.back();
      next_.pop_back();
      Take(x, y, spot);
      moments.Add(x - firstX, y - firstY, static_cast<double>(picture_.Smoothed(x, y)));
      for (int row = std::max(y - 1, 0); row <= std::min(y + 1, picture_.Height() - 1); ++row) {
        for (int column = std::max(x - 1, 0); column <= std::min(x + 1, picture_.Width() - 1); ++column)
          if (Begins(column, row)) Push(column, row);
      }
    }
    spot.x = firstX + moments.x / moments.weight;
    spot.y = firstY + moments.y / moments.weight;
    spot.spread = std::sqrt(std::max(moments.LongestVariance(), kPixelVariance));
    spot.cutOff = spot.left == 0 || spot.top == 0 || spot.right == picture_.Width() - 1 ||
                  spot.bottom == picture_.Height() - 1;
    return spot;
  }

 private:
  struct Place {
    int x;
    int y;
  };

  void Push(int x, int y) {
    seen_[picture_.Index(x, y)] = true;
    next_.push_back({x, y});
  }
  void Take(int x, int y, LightSpot& spot) const {
    const float value = picture_.At(x, y);
    spot.flux += static_cast<double>(value);
    spot.peak = std::max(spot.peak, value);
    spot.left = std::min(spot.left, x);
    spot.right = std::max(spot.right, x);
    spot.top = std::min(spot.top, y);
    spot.bottom = std::max(spot.bottom, y);
    ++spot.pixels;
    if (value > threshold_) ++spot.brightPixels;
  }

  const Picture& picture_;
  const float threshold_;
  std::vector<bool> seen_;
  std::vector<Place> next_;
};

}  // namespace

std::vector<LightSpot> FindLightSpots(std::span<const float> light, int width, float threshold, int leastPixels) {
  std::vector<LightSpot> spots;
  const Picture picture(light, width);
  Finder finder(picture, threshold);
  for (int y = 0; y < picture.Height(); ++y) {
    for (int x = 0; x < picture.Width(); ++x) {
      if (!finder.Begins(x, y)) continue;
      const LightSpot spot = finder.Follow(x, y);
      if (spot.pixels >= leastPixels) spots.push_back(spot);
    }
  }
  return spots;
}

}  // namespace orq::session
