// Quantities as users write and read them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orq::session {

/// "5s", "0.2s", "200ms", "1000us" in µs, rounded to the nearest. A unit is required, so that nobody exposes
/// for 5 µs instead of 5 s. Throws Failure (invalid).
std::uint64_t ParseExposure(std::string_view text);
/// The same for another time; `what` names it in errors.
std::uint64_t ParseTime(std::string_view text, std::string_view what);
/// The largest unit that shows `us` as a whole number: "5s", "200ms", "1500us".
std::string ExposureText(std::uint64_t us);

/// A positive number of seconds, fractions allowed, up to 1e9. `what` names it in the error. Throws Failure
/// (usage).
double ParseSeconds(std::string_view text, std::string_view what);

/// A whole number, decimal or 0x…; beyond the range of 64 bits it saturates. `what` names it in the error.
/// Throws Failure (invalid).
std::int64_t ParseInteger(std::string_view text, std::string_view what);
/// Exactly `count` whole numbers separated by commas.
std::vector<int> ParseIntegers(std::string_view text, std::size_t count, std::string_view what);

/// UTC of a Unix time in units of 0.1 µs as "YYYY-MM-DDThh:mm:ss.fffffff".
std::string IsoUtcTenths(std::int64_t unixTenths);
/// UTC of a Unix time in µs as "YYYY-MM-DDThh:mm:ss.ffffff".
std::string IsoUtc(std::int64_t unixUs);

}  // namespace orq::session
