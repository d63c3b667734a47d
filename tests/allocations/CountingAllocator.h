// Counts what is taken from the C++ library's memory, in programs that have it among their sources.
#pragma once

#include <cstdint>

namespace orq::test {

/// How often this thread has taken memory.
std::uint64_t TakenByThisThread();
/// How often any thread has.
std::uint64_t TakenByAll();

}  // namespace orq::test
