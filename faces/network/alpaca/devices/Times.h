// Points in time as the protocol writes them.
#pragma once

#include <cstdint>
#include <string>

namespace orq::network::alpaca {

/// Nanoseconds since 1970, UTC.
std::int64_t unixNow();
/// "2026-11-22T16:40:01.123", UTC.
std::string utcText(std::int64_t unixNs);

}  // namespace orq::network::alpaca
