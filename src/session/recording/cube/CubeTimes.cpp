#include "session/recording/cube/CubeTimes.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <numeric>
#include <string>
#include <string_view>

#include "session/fits/FitsTable.h"
#include "session/frame/FrameTime.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::session {
namespace {

constexpr std::string_view kName = "TIMES";
constexpr std::size_t kUtcChars = 27;
constexpr std::size_t kSourceChars = 9;
constexpr double kTenthsPerSecond = 1e7;

constexpr FitsColumn kColumns[] = {
    {"FRAME", "1K", 8, "", "in the cube, from 1"},
    {"NUMBER", "1K", 8, "", "by the camera's count: skips missing frames"},
    {"CAMSEQ", "1K", 8, "", "the camera's own frame number, 32 bits"},
    {"UTC", "27A", kUtcChars, "", "exposure of first row starts"},
    {"MJD", "1D", 8, "d", "the same, modified Julian date"},
    {"TIMEUNC", "1D", 8, "s", "its uncertainty"},
    {"TIMESRC", "9A", kSourceChars, "", "GPS, PREDICTED or COMPUTER"},
    {"STARTX", "1J", 4, "pixel", "first column on the sensor"},
    {"STARTY", "1J", 4, "pixel", "first row on the sensor"},
};
static_assert(std::accumulate(std::begin(kColumns), std::end(kColumns), std::size_t{0},
                              [](std::size_t sum, const FitsColumn& column) { return sum + column.bytes; }) ==
              kTimesRowBytes);

RecordedFrame ReadRow(std::span<const std::uint8_t> row) {
  FitsRowReader from(row);
  RecordedFrame frame;
  frame.frame = static_cast<std::uint64_t>(from.Integer());
  frame.number = static_cast<std::uint64_t>(from.Integer());
  frame.sequence = static_cast<std::uint32_t>(from.Integer());
  frame.begin = ParseIsoUtcTenths(from.Text(kUtcChars)).value_or(0);
  from.Real();  // the same time, less exact
  // Other programs may have written anything.
  constexpr double kMostSeconds = 1e6;
  const double uncertainty = from.Real();
  const bool sound = uncertainty >= 0.0 && uncertainty < kMostSeconds;
  frame.uncertainty = sound ? std::llround(uncertainty * kTenthsPerSecond) : 0;
  frame.source = SourceNamed(Lower(from.Text(kSourceChars)));
  frame.startX = static_cast<int>(from.Integer(sizeof frame.startX));
  frame.startY = static_cast<int>(from.Integer(sizeof frame.startY));
  return frame;
}

}  // namespace

std::string SourceInFits(const RecordedFrame& frame) {
  std::string upper(frame.source);
  std::ranges::transform(upper, upper.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return upper;
}

void AddTimesRow(const RecordedFrame& frame, std::vector<std::uint8_t>& rows) {
  FitsRow(rows)
      .Integer(static_cast<std::int64_t>(frame.frame))
      .Integer(static_cast<std::int64_t>(frame.number))
      .Integer(frame.sequence)
      .Text(IsoUtcTenths(frame.begin), kUtcChars)
      .Real(ModifiedJulianDate(frame.begin))
      .Real(static_cast<double>(frame.uncertainty) / kTenthsPerSecond)
      .Text(SourceInFits(frame), kSourceChars)
      .Integer(frame.startX, sizeof frame.startX)
      .Integer(frame.startY, sizeof frame.startY);
}

std::vector<std::uint8_t> TimesTable(std::span<const std::uint8_t> rows) {
  return FitsTable(kName, kColumns, TextCard("TIMESYS", "UTC", "time scale of UTC and MJD"), rows);
}

std::optional<std::vector<RecordedFrame>> ReadTimesTable(CubeFile& cube, std::uint64_t first,
                                                         std::uint64_t count) {
  constexpr std::size_t kMostHeader = 20 * kFitsBlockBytes;
  const std::uint64_t begin = cube.Facts().EndOf(cube.Facts().frames);
  const auto place = FindFitsTable(cube.ReadAt(begin, kMostHeader), kName, kColumns);
  if (!place || place->rows > cube.Facts().frames) return std::nullopt;
  const std::uint64_t at = begin + place->offset;
  if (cube.Bytes() < at + place->rows * kTimesRowBytes) return std::nullopt;
  first = std::min(first, place->rows);
  count = std::min(count, place->rows - first);
  const std::vector<std::uint8_t> rows =
      cube.ReadAt(at + first * kTimesRowBytes, static_cast<std::size_t>(count) * kTimesRowBytes);
  std::vector<RecordedFrame> frames;
  for (std::size_t row = 0; row + kTimesRowBytes <= rows.size(); row += kTimesRowBytes)
    frames.push_back(ReadRow(std::span(rows).subspan(row, kTimesRowBytes)));
  return frames;
}

}  // namespace orq::session
