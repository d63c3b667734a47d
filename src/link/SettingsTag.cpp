#include "link/SettingsTag.h"

#include <sys/random.h>

namespace orq {
namespace {

constexpr std::uint32_t kLeastDistance = 1U << 30U;

/// 0 where the system has no random numbers: the distance is then the least one.
std::uint32_t RandomNumber() {
  std::uint32_t number = 0;
  return ::getrandom(&number, sizeof number, GRND_NONBLOCK) == static_cast<ssize_t>(sizeof number) ? number : 0;
}

}  // namespace

void SettingsTag::StartAwayFrom(std::uint32_t held) {
  newest_ = held + kLeastDistance + RandomNumber() % (2 * kLeastDistance);
}

}  // namespace orq
