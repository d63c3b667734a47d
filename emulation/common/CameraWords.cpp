#include "emulation/common/CameraWords.h"

#include <algorithm>

namespace orq {
namespace {

bool IsModel(std::string_view word) {
  return std::ranges::any_of(
      VirtualModels(), [=](const VirtualModelName& model) { return word == model.name; });
}

}  // namespace

std::optional<std::vector<VirtualOptions>> ParseCameras(std::string_view text, std::string& error) {
  std::vector<std::string> cameras;
  for (std::size_t from = 0; from <= text.size();) {
    const std::size_t end = std::min(text.find(',', from), text.size());
    const std::string_view word = text.substr(from, end - from);
    if (IsModel(word) || cameras.empty())
      cameras.emplace_back(word);
    else
      cameras.back().append(",").append(word);
    from = end + 1;
  }
  std::vector<VirtualOptions> all;
  for (const std::string& camera : cameras) {
    auto options = ParseVirtualOptions(camera, error);
    if (!options) return std::nullopt;
    all.push_back(std::move(*options));
  }
  return all;
}

}  // namespace orq
