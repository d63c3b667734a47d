// What a frame is taken for.
#pragma once

#include <optional>
#include <string_view>

namespace orq::session {

enum class ImageType { Light, Dark, Bias, Flat };

/// "light" and so on.
const char* ImageTypeName(ImageType type);
/// As files say it: "Light Frame", "Flat Field".
const char* ImageTypeText(ImageType type);
/// By its name in any case; nothing for others.
std::optional<ImageType> FindImageType(std::string_view name);

/// Whether no light is to fall on the sensor.
inline bool IsWithoutLight(ImageType type) {
  return type == ImageType::Dark || type == ImageType::Bias;
}

}  // namespace orq::session
