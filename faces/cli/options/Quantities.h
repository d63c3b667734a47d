// Quantities as users write them. All throw CliError (usage) for what cannot be read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace orq::cli {

/// "5s", "0.2s", "200ms", "1000us" in µs, rounded to the nearest. A unit is required, so that nobody exposes
/// for 5 µs instead of 5 s. Throws CliError (usage).
std::uint64_t ParseExposure(std::string_view text);
/// The same for another time; `what` names it in errors.
std::uint64_t ParseTime(std::string_view text, std::string_view what);
/// A positive number of seconds, fractions allowed, up to 1e9. `what` names it in the error. Throws CliError
/// (usage).
double ParseSeconds(std::string_view text, std::string_view what);

/// A whole number, decimal or 0x…; beyond the range of 64 bits it saturates. `what` names it in the error.
/// Throws CliError (usage).
std::int64_t ParseInteger(std::string_view text, std::string_view what);
/// Exactly `count` whole numbers separated by commas.
std::vector<int> ParseIntegers(std::string_view text, std::size_t count, std::string_view what);

}  // namespace orq::cli
