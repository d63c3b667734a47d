#include "support/TickCount.h"

#include <chrono>

std::uint32_t GetTickCount() {
  using std::chrono::duration_cast;
  using std::chrono::milliseconds;
  const auto sinceBoot = std::chrono::steady_clock::now().time_since_epoch();
  return static_cast<std::uint32_t>(duration_cast<milliseconds>(sinceBoot).count());
}
