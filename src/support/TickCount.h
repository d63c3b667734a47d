// The system's millisecond tick.
#pragma once

#include <cstdint>

/// Milliseconds of the monotonic clock, as an unsigned 32-bit count that wraps after 49.7 days: compare
/// two ticks by their difference only. Thread rule: any-thread.
std::uint32_t GetTickCount();
