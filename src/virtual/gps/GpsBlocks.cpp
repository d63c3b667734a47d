#include "virtual/gps/GpsBlocks.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string_view>

namespace orq {
namespace {

constexpr std::uint8_t kValid = 'A';
constexpr std::uint8_t kInvalid = 'V';
constexpr int kEpochYear = 2000;
constexpr int kMostSatellites = 99;

/// A time in the parts that the blocks hold.
struct CivilTime {
  explicit CivilTime(UtcTime time) {
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss clock(time - day);
    yearOfCentury = static_cast<int>(date.year()) - kEpochYear;
    month = static_cast<int>(static_cast<unsigned>(date.month()));
    dayOfMonth = static_cast<int>(static_cast<unsigned>(date.day()));
    hour = static_cast<int>(clock.hours().count());
    minute = static_cast<int>(clock.minutes().count());
    second = static_cast<int>(clock.seconds().count());
    nanoseconds = static_cast<std::uint64_t>(clock.subseconds().count());
  }

  int yearOfCentury;
  int month;
  int dayOfMonth;
  int hour;
  int minute;
  int second;
  std::uint64_t nanoseconds;
};

/// Metres with one decimal in exactly N characters; blanks when they do not fit.
template <std::size_t N>
std::array<char, N> AltitudeText(std::optional<int> tenths) {
  std::array<char, N> text{};
  text.fill(' ');
  if (!tenths) return text;
  std::array<char, 32> digits{};
  const int length =
      std::snprintf(digits.data(), digits.size(), "%s%0*d.%d", *tenths < 0 ? "-" : "",
                    static_cast<int>(N) - (*tenths < 0 ? 3 : 2), std::abs(*tenths) / 10, std::abs(*tenths) % 10);
  if (length == static_cast<int>(N)) std::copy_n(digits.begin(), N, text.begin());
  return text;
}

std::array<char, 2> TwoDigits(int number) {
  return {static_cast<char>('0' + number / 10 % 10), static_cast<char>('0' + number % 10)};
}

std::uint8_t Byte(int value) {
  return static_cast<std::uint8_t>(value);
}

/// The last character lowest.
void PutReversed(std::span<const char> text, std::span<std::uint8_t> out) {
  std::transform(
      text.rbegin(), text.rend(), out.begin(), [](char c) { return static_cast<std::uint8_t>(c); });
}

void PutWide(std::uint64_t value, std::span<std::uint8_t> out) {
  for (std::size_t i = 0; i < out.size(); ++i) out[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

/// Fills the block of version 0 in the order in which it is read: words of four, the bytes of each reversed.
class WordWriter {
 public:
  explicit WordWriter(GpsBlockV0& block) : block_(block) {}

  void Put(std::uint8_t byte) {
    block_[4 + at_ / 4 * 4 + 3 - at_ % 4] = byte;
    ++at_;
  }
  void Put(std::span<const char> text) {
    for (const char c : text) Put(static_cast<std::uint8_t>(c));
  }
  /// Most significant byte first.
  void PutBinary(int value) {
    Put(static_cast<std::uint8_t>(value >> 8));
    Put(static_cast<std::uint8_t>(value));
  }
  void Skip() { ++at_; }

 private:
  GpsBlockV0& block_;
  std::size_t at_ = 0;
};

}  // namespace

GpsBlockV1 PackGpsV1(const GpsFix& fix, std::uint32_t ticksPerSecond) {
  constexpr std::uint64_t kNanosecondsPerSecond = 1'000'000'000;
  GpsBlockV1 block{};
  const auto at = [&block](std::size_t first, std::size_t count) {
    return std::span(block).subspan(first, count);
  };
  block[0] = kInvalid;
  if (!fix.valid) return block;
  const CivilTime time(fix.time);
  block[0] = kValid;
  block[1] = Byte(time.dayOfMonth);
  block[2] = Byte(time.month);
  block[3] = Byte(time.yearOfCentury);
  block[7] = Byte(time.second);
  block[8] = Byte(time.minute);
  block[9] = Byte(time.hour);
  PutWide(time.nanoseconds * ticksPerSecond / kNanosecondsPerSecond, at(16, 4));
  PutWide(ticksPerSecond, at(20, 4));
  block[24] = static_cast<std::uint8_t>(fix.latitudeSide);
  PutReversed(fix.latitude, at(25, 10));
  block[35] = static_cast<std::uint8_t>(fix.longitudeSide);
  PutReversed(fix.longitude, at(36, 11));
  PutReversed(AltitudeText<5>(fix.altitude), at(48, 5));
  PutReversed(TwoDigits(std::clamp(fix.satellites, 0, kMostSatellites)), at(53, 2));
  return block;
}

GpsBlockV0 PackGpsV0(const GpsFix& fix) {
  GpsBlockV0 block{};
  WordWriter writer(block);
  writer.Put(fix.valid ? kValid : kInvalid);
  if (!fix.valid) return block;
  const CivilTime time(fix.time);
  const auto tenthsOfMicroseconds = static_cast<int>(time.nanoseconds / 100);

  writer.Put(TwoDigits(time.hour));
  writer.Put(TwoDigits(time.minute));
  writer.Put(TwoDigits(time.second));
  writer.Skip();
  writer.PutBinary(tenthsOfMicroseconds / 10'000);
  writer.Put(TwoDigits(time.dayOfMonth));
  writer.Put(TwoDigits(time.month));
  writer.Put(TwoDigits(time.yearOfCentury));
  writer.Put(static_cast<std::uint8_t>(fix.latitudeSide));
  writer.Put(fix.latitude);
  writer.Skip();
  writer.Put(static_cast<std::uint8_t>(fix.longitudeSide));
  writer.Put(fix.longitude);
  writer.Skip();
  writer.Skip();
  writer.PutBinary(tenthsOfMicroseconds % 10'000);
  writer.Put(AltitudeText<6>(fix.altitude));
  writer.Put(TwoDigits(std::clamp(fix.satellites, 0, kMostSatellites)));
  return block;
}

}  // namespace orq
