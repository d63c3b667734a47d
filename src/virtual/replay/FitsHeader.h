// A FITS header, checked before any library sees the bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "virtual/replay/RecordedFacts.h"

namespace orq {

inline constexpr std::size_t kFitsBlock = 2880;

/// What replay needs of a primary header.
struct FitsHeader {
  int bitpix = 0;  ///< 8 or 16
  int width = 0;
  int height = 0;
  int frames = 1;
  int bayer = -1;  ///< pattern of the image's corner, -1 none
  std::size_t dataOffset = 0;
  RecordedFacts facts{};
};

/// The header of a plain image whose pixels are all present; nothing and a reason in `error` otherwise.
std::optional<FitsHeader> ParseFitsHeader(std::span<const std::uint8_t> bytes, std::string& error);

}  // namespace orq
