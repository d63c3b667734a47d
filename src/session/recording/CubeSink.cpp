#include "session/recording/CubeSink.h"

#include <algorithm>
#include <numeric>
#include <string_view>
#include <utility>

#include "session/fits/FitsTable.h"
#include "session/frame/FrameTime.h"
#include "session/text/Units.h"

namespace orq::session {
namespace {

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

// What only one of the frames has is told by the table.
std::vector<FitsCard> CardsOf(const FrameFacts& facts) {
  std::vector<FitsCard> cards = HeaderCards(facts);
  std::erase_if(cards, [](const FitsCard& card) { return card.name == "FRAMENO" || card.name == "CAMSEQ"; });
  return cards;
}

std::string Upper(std::string_view text) {
  std::string upper(text);
  std::ranges::transform(upper, upper.begin(), [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return upper;
}

}  // namespace

void AddTimesRow(const RecordedFrame& frame, std::vector<std::uint8_t>& rows) {
  FitsRow(rows)
      .Integer(static_cast<std::int64_t>(frame.frame))
      .Integer(static_cast<std::int64_t>(frame.number))
      .Integer(frame.sequence)
      .Text(IsoUtcTenths(frame.begin), kUtcChars)
      .Real(ModifiedJulianDate(frame.begin))
      .Real(static_cast<double>(frame.uncertainty) / kTenthsPerSecond)
      .Text(Upper(frame.source), kSourceChars)
      .Integer(frame.startX, sizeof frame.startX)
      .Integer(frame.startY, sizeof frame.startY);
}

std::vector<std::uint8_t> TimesTable(std::span<const std::uint8_t> rows) {
  return FitsTable("TIMES", kColumns, TextCard("TIMESYS", "UTC", "time scale of UTC and MJD"), rows);
}

CubeSink::CubeSink(const std::string& path, Existing existing, const FrameFacts& expected,
                   std::function<int()> beforeWrite)
    : shape_(CubeShapeOf(expected.info.region)), facts_(expected), file_(path, existing, std::move(beforeWrite)) {
  const std::vector<std::uint8_t> header = CubeHeader(shape_, 0, CardsOf(facts_));
  headerBytes_ = header.size();
  file_.Append(header);
  Flush();
}

std::uint64_t CubeSink::Frames() const {
  return rows_.size() / kTimesRowBytes;
}

int CubeSink::Put(std::span<const std::uint8_t> pixels, const RecordedFrame& frame, const Facts& facts) {
  if (rows_.empty()) facts_ = facts();
  facts_.info.times.end = frame.end;
  AddTimesRow(frame, rows_);
  CubeSamples(pixels, facts_.info.region.format, samples_);
  return file_.Append(samples_);
}

int CubeSink::FillUp() {
  const std::uint64_t end = headerBytes_ + Frames() * shape_.FrameBytes();
  return file_.WriteAt(end, std::vector<std::uint8_t>(WholeBlocks(end) - end, 0));
}

int CubeSink::Announce(std::uint64_t frames) {
  announced_ = frames;
  return file_.WriteAt(0, CubeHeader(shape_, frames, CardsOf(facts_), headerBytes_));
}

int CubeSink::Flush() {
  if (const int error = file_.Flush(); error != 0) return error;
  if (announced_ == Frames()) return 0;
  if (const int error = FillUp(); error != 0) return error;
  return Announce(Frames());
}

// The disk has the frames before it has a header that announces them.
int CubeSink::Sync() {
  if (const int error = file_.Flush(); error != 0) return error;
  if (const int error = FillUp(); error != 0) return error;
  if (const int error = file_.Sync(); error != 0) return error;
  if (const int error = Announce(Frames()); error != 0) return error;
  return file_.Sync();
}

int CubeSink::Keep(std::uint64_t& frames) {
  const std::uint64_t written = file_.Written() - std::min(file_.Written(), headerBytes_);
  frames = std::min({frames, Frames(), written / shape_.FrameBytes()});
  rows_.resize(static_cast<std::size_t>(frames * kTimesRowBytes));
  // At no moment does the header announce what is not there.
  if (announced_ > frames) {
    if (const int error = Announce(frames); error != 0) return error;
  }
  return file_.Cut(headerBytes_ + frames * shape_.FrameBytes());
}

int CubeSink::Finish() {
  const std::uint64_t end = headerBytes_ + Frames() * shape_.FrameBytes();
  if (const int error = FillUp(); error != 0) return error;
  if (const int error = file_.WriteAt(WholeBlocks(end), TimesTable(rows_)); error != 0) return error;
  if (const int error = file_.Sync(); error != 0) return error;
  if (const int error = Announce(Frames()); error != 0) return error;
  return file_.Sync();
}

std::uint64_t CubeSink::BytesOf(std::uint64_t frames) const {
  static const std::uint64_t kTableHeader = TimesTable({}).size();
  return headerBytes_ + WholeBlocks(frames * shape_.FrameBytes()) + kTableHeader +
         WholeBlocks(frames * kTimesRowBytes);
}

}  // namespace orq::session
