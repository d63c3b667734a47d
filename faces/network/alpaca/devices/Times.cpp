#include "alpaca/devices/Times.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace orq::network::alpaca {

std::int64_t unixNow() {
  const auto since = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::nanoseconds>(since).count();
}

std::string utcText(std::int64_t unixNs) {
  constexpr std::int64_t kSecond = 1'000'000'000;
  constexpr std::int64_t kMillisecond = 1'000'000;
  const auto seconds = static_cast<std::time_t>(unixNs / kSecond);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  std::array<char, 40> text{};
  const std::size_t size = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &utc);
  std::snprintf(text.data() + size, text.size() - size, ".%03d",
                static_cast<int>(unixNs % kSecond / kMillisecond));
  return text.data();
}

}  // namespace orq::network::alpaca
