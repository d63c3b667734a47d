#include "live/picture/PictureRequest.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <orqcam/orqcam.hpp>
#include <string>

namespace orq::network {
namespace {

constexpr int kLargestSide = 16'384;

std::optional<double> shareOf(const Parameters& query, const char* name) {
  const std::optional<std::string> text = query.find(name);
  if (!text) return std::nullopt;
  double share = 0.0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), share);
  if (error == std::errc() && end == text->data() + text->size() && share >= 0.0 && share <= 1.0) return share;
  throw InvalidError(std::string(name) + " must be a number from 0 to 1");
}

}  // namespace

int wholeNumberOf(const Parameters& query, const char* name, int otherwise, int least, int most) {
  const std::optional<std::string> text = query.find(name);
  if (!text) return otherwise;
  int number = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), number);
  if (error == std::errc() && end == text->data() + text->size() && number >= least && number <= most)
    return number;
  throw InvalidError(std::string(name) + " must be a whole number from " + std::to_string(least) + " to " +
                     std::to_string(most));
}

PictureRequest pictureRequestOf(const Parameters& query) {
  PictureRequest wish;
  wish.fitWidth = wholeNumberOf(query, "width", wish.fitWidth, 16, kLargestSide);
  wish.fitHeight = wholeNumberOf(query, "height", wish.fitHeight, 16, kLargestSide);
  wish.x = wholeNumberOf(query, "x", 0, 0, kLargestSide);
  wish.y = wholeNumberOf(query, "y", 0, 0, kLargestSide);
  wish.width = wholeNumberOf(query, "w", 0, 0, kLargestSide);
  wish.height = wholeNumberOf(query, "h", 0, 0, kLargestSide);
  wish.quality = wholeNumberOf(query, "quality", wish.quality, 20, 95);
  const std::optional<double> black = shareOf(query, "black");
  const std::optional<double> white = shareOf(query, "white");
  const std::optional<double> mid = shareOf(query, "mid");
  if (!black && !white && !mid) return wish;
  wish.stretch = {false, black.value_or(0.0), white.value_or(1.0), mid.value_or(0.5)};
  if (wish.stretch.black >= wish.stretch.white) throw InvalidError("black must be below white");
  return wish;
}

}  // namespace orq::network
