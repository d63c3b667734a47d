// Structs that may grow: the caller's size decides what is read and written.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "api/Guard.h"

namespace orq::api {

/// A size beyond this is no newer header's but memory that nobody has set.
inline constexpr std::uint32_t kMostStructBytes = 16384;

/// Throws Failure (Invalid) for null and for a size that cannot be.
template <class Struct>
void DemandStruct(const Struct* from, const char* name) {
  static_assert(std::is_trivially_copyable_v<Struct>);
  static_assert(offsetof(Struct, size) == 0);
  if (from == nullptr) throw session::Failure(session::Status::Invalid, std::string(name) + " is null");
  if (from->size < sizeof from->size || from->size > kMostStructBytes) {
    throw session::Failure(session::Status::Invalid,
                           std::string(name) + ".size is not set: it must be the size of the struct");
  }
}

/// The caller's struct; what it does not have is zero.
template <class Struct>
Struct TakeStruct(const Struct* from, const char* name) {
  DemandStruct(from, name);
  Struct taken{};
  std::memcpy(&taken, from, std::min<std::size_t>(from->size, sizeof taken));
  taken.size = sizeof taken;
  return taken;
}

/// Fills the caller's struct, which has passed `DemandStruct`, as far as it goes; what is not known here becomes
/// zero.
template <class Struct>
void GiveStruct(const Struct& value, Struct* to) {
  const std::size_t size = to->size;
  const std::size_t known = std::min(size, sizeof value);
  auto* const bytes = reinterpret_cast<unsigned char*>(to);
  constexpr std::size_t kAfterSize = sizeof to->size;
  if (known > kAfterSize) {
    std::memcpy(bytes + kAfterSize, reinterpret_cast<const unsigned char*>(&value) + kAfterSize,
                known - kAfterSize);
  }
  if (size > known) std::memset(bytes + known, 0, size - known);
}

/// A text of a caller's struct. Throws Failure (Invalid) when it has no end.
template <std::size_t kBytes>
std::string TextOf(const char (&text)[kBytes], const char* name) {
  const std::size_t length = ::strnlen(text, kBytes);
  if (length == kBytes)
    throw session::Failure(session::Status::Invalid, std::string(name) + " must end with a zero byte");
  return {text, length};
}

/// A wait that is no number, or negative, is over at once.
inline double Seconds(double seconds) {
  return seconds > 0.0 ? seconds : 0.0;
}

/// NaN for nothing.
template <class Number>
double OrUnknown(const std::optional<Number>& number) {
  return number ? static_cast<double>(*number) : std::numeric_limits<double>::quiet_NaN();
}

/// Cut to fit, never within a character of UTF-8.
template <std::size_t kBytes>
void CopyText(std::string_view text, char (&to)[kBytes]) {
  std::size_t length = std::min(text.size(), kBytes - 1);
  if (length < text.size())
    while (length != 0 && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U) --length;
  std::memcpy(to, text.data(), length);
  std::memset(to + length, 0, kBytes - length);
}

/// Fills the caller's struct, which has passed `DemandStruct`.
inline void GivePath(std::string_view text, orq_path* path) {
  orq_path given{};
  CopyText(text, given.path);
  GiveStruct(given, path);
}

}  // namespace orq::api
