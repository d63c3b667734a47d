#include "virtual/gps/NmeaReader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>

namespace orq {
namespace {

using std::chrono::nanoseconds;
using std::chrono::seconds;

constexpr std::size_t kMostFields = 32;
using Fields = std::array<std::string_view, kMostFields>;

// Fields by their place behind the sentence's name.
constexpr std::size_t kTime = 1;  // of both sentences
constexpr std::size_t kRmcStatus = 2;
constexpr std::size_t kRmcPosition = 3;
constexpr std::size_t kRmcDate = 9;
constexpr std::size_t kGgaQuality = 6;
constexpr std::size_t kGgaSatellites = 7;
constexpr std::size_t kGgaAltitude = 9;

constexpr int kCentury = 2000;
constexpr int kFirstYearOf1900s = 80;  // GPS began in 1980
constexpr double kHighestMetres = 1e6;

std::optional<int> HexDigit(char c) {
  if (IsDigit(c)) return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return std::nullopt;
}

/// ddmmyy.
std::optional<std::chrono::sys_days> Date(std::string_view text) {
  const auto day = DigitPair(text, 0, 1, 31);
  const auto month = DigitPair(text, 2, 1, 12);
  const auto year = DigitPair(text, 4, 0, 99);
  if (!day || !month || !year || text.size() != 6) return std::nullopt;
  return CalendarDay(*year < kFirstYearOf1900s ? kCentury + *year : kCentury - 100 + *year, *month, *day);
}

/// An angle such as 4807.038 with as many decimals as `out` has room for: cut, or filled with zeros.
template <std::size_t N>
bool Angle(std::string_view text, int highestDegrees, std::array<char, N>& out) {
  constexpr std::size_t kPoint = N - 6;
  if (text.size() <= kPoint || text[kPoint] != '.') return false;
  const std::string_view decimals = text.substr(kPoint + 1);
  const auto degrees = DecimalDigits(text.substr(0, kPoint - 2));
  const auto minutes = DigitPair(text, kPoint - 2, 0, 59);
  if (!degrees || !minutes || !std::ranges::all_of(decimals, IsDigit)) return false;
  if (!std::ranges::all_of(text.substr(0, kPoint), IsDigit)) return false;
  if (*degrees > highestDegrees ||
      (*degrees == highestDegrees && (*minutes > 0 || decimals.find_first_not_of('0') != std::string_view::npos)))
    return false;
  out.fill('0');
  std::copy_n(text.begin(), std::min(text.size(), N), out.begin());
  return true;
}

bool Side(std::string_view text, char positive, char negative, char& out) {
  if (text.size() != 1 || (text[0] != positive && text[0] != negative)) return false;
  out = text[0];
  return true;
}

std::optional<int> TenthsOfMetres(std::string_view text) {
  double metres = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), metres);
  if (error != std::errc() || end != text.data() + text.size() || !(std::abs(metres) <= kHighestMetres))
    return std::nullopt;
  return static_cast<int>(std::lround(metres * 10.0));
}

/// The sentences of one moment.
struct Moment {
  std::string_view timeText;
  std::optional<Fields> rmc;
  std::optional<Fields> gga;
};

std::optional<UtcTime> UtcOf(const Moment& moment) {
  if (!moment.rmc) return std::nullopt;
  const auto date = Date((*moment.rmc)[kRmcDate]);
  const auto time = TimeOfDay(moment.timeText);
  return date && time ? std::optional<UtcTime>(*date + *time) : std::nullopt;
}

GpsFix FixOf(const Moment& moment, std::optional<UtcTime> time) {
  GpsFix fix;
  if (!time || (*moment.rmc)[kRmcStatus] != "A") return fix;
  const Fields& rmc = *moment.rmc;
  fix.time = *time;
  bool valid =
      Angle(rmc[kRmcPosition], 90, fix.latitude) && Side(rmc[kRmcPosition + 1], 'N', 'S', fix.latitudeSide) &&
      Angle(rmc[kRmcPosition + 2], 180, fix.longitude) && Side(rmc[kRmcPosition + 3], 'E', 'W', fix.longitudeSide);
  if (moment.gga) {
    valid = valid && DecimalDigits((*moment.gga)[kGgaQuality]).value_or(0) > 0;
    fix.satellites = DecimalDigits((*moment.gga)[kGgaSatellites]).value_or(0);
    fix.altitude = TenthsOfMetres((*moment.gga)[kGgaAltitude]);
  }
  fix.valid = valid;
  return valid ? fix : GpsFix();
}

class LogReader {
 public:
  void TakeLine(std::string_view line) {
    if (!ChecksumHolds(line)) return;
    const Fields fields = Split(line.substr(1, line.rfind('*') - 1));
    if (fields[0].size() != 5) return;  // two letters of the talker, three of the sentence
    const std::string_view name = fields[0].substr(2);
    if (name == "RMC")
      Take(&Moment::rmc, fields);
    else if (name == "GGA")
      Take(&Moment::gga, fields);
  }

  std::vector<NmeaEpoch> Finish() {
    Flush();
    return std::move(epochs_);
  }

 private:
  static Fields Split(std::string_view text) {
    Fields fields{};
    for (std::string_view& field : fields) {
      const std::size_t comma = std::min(text.find(','), text.size());
      field = text.substr(0, comma);
      if (comma == text.size()) break;
      text.remove_prefix(comma + 1);
    }
    return fields;
  }

  /// Sentences of one time belong together; without a time, until the kind comes again.
  void Take(std::optional<Fields> Moment::*kind, const Fields& fields) {
    const std::string_view timeText = fields[kTime];
    const bool again = (moment_.*kind).has_value();
    if (timeText != moment_.timeText || (timeText.empty() && again)) {
      Flush();
      moment_.timeText = timeText;
    } else if (again) {
      return;
    }
    moment_.*kind = fields;
  }

  void Flush() {
    if (moment_.rmc || moment_.gga) {
      const std::optional<UtcTime> utc = UtcOf(moment_);
      NmeaEpoch epoch{.fix = FixOf(moment_, utc)};
      if (!epochs_.empty()) epoch.at = epochs_.back().at + Step(utc);
      lastUtc_ = utc;
      epochs_.push_back(epoch);
    }
    moment_ = {};
  }

  nanoseconds Step(std::optional<UtcTime> utc) const {
    if (utc && lastUtc_) {
      const nanoseconds step = *utc - *lastUtc_;
      if (step > nanoseconds(0) && step <= std::chrono::minutes(1)) return step;
    }
    return seconds(1);
  }

  Moment moment_;
  std::optional<UtcTime> lastUtc_;
  std::vector<NmeaEpoch> epochs_;
};

}  // namespace

bool ChecksumHolds(std::string_view sentence) {
  if (sentence.size() < 4 || sentence[0] != '$' || sentence[sentence.size() - 3] != '*') return false;
  const auto high = HexDigit(sentence[sentence.size() - 2]);
  const auto low = HexDigit(sentence[sentence.size() - 1]);
  if (!high || !low) return false;
  unsigned sum = 0;
  for (const char c : sentence.substr(1, sentence.size() - 4)) sum ^= static_cast<std::uint8_t>(c);
  return sum == static_cast<unsigned>(*high * 16 + *low);
}

std::vector<NmeaEpoch> ReadNmea(std::string_view log) {
  LogReader reader;
  while (!log.empty()) {
    const std::size_t end = std::min(log.find('\n'), log.size());
    std::string_view line = log.substr(0, end);
    while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) line.remove_suffix(1);
    reader.TakeLine(line);
    log.remove_prefix(std::min(end + 1, log.size()));
  }
  return reader.Finish();
}

}  // namespace orq
