// Quantities as users read them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orq::session {

/// The largest unit that shows `us` as a whole number: "5s", "200ms", "1500us".
std::string ExposureText(std::uint64_t us);

/// UTC of a Unix time in units of 0.1 µs as "YYYY-MM-DDThh:mm:ss.fffffff".
std::string IsoUtcTenths(std::int64_t unixTenths);
/// And back. Nothing when `text` is not written in just this way.
std::optional<std::int64_t> ParseIsoUtcTenths(std::string_view text);
/// UTC of a Unix time in µs as "YYYY-MM-DDThh:mm:ss.ffffff".
std::string IsoUtc(std::int64_t unixUs);

}  // namespace orq::session
