#include "session/frame/ImageType.h"

#include <array>
#include <cstddef>

#include "support/Text.h"

namespace orq::session {
namespace {

struct Words {
  const char* name;
  const char* text;
};
constexpr std::array<Words, 4> kWords{
    {{"light", "Light Frame"}, {"dark", "Dark Frame"}, {"bias", "Bias Frame"}, {"flat", "Flat Field"}}};

}  // namespace

const char* ImageTypeName(ImageType type) {
  return kWords[static_cast<std::size_t>(type)].name;
}

const char* ImageTypeText(ImageType type) {
  return kWords[static_cast<std::size_t>(type)].text;
}

std::optional<ImageType> FindImageType(std::string_view name) {
  for (std::size_t i = 0; i < kWords.size(); ++i)
    if (Lower(name) == kWords[i].name) return static_cast<ImageType>(i);
  return std::nullopt;
}

}  // namespace orq::session
