// Bytes as text for the debug log.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>

namespace orq {

/// Each byte as a blank and two hexadecimal digits.
std::string HexText(std::span<const std::uint8_t> bytes);
/// The same for consecutive groups of the given sizes, with " |" between them. The groups fit in `bytes`.
std::string HexText(std::span<const std::uint8_t> bytes, std::initializer_list<std::size_t> groups);

}  // namespace orq
