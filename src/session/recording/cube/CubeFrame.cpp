#include "session/recording/cube/CubeFrame.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "session/frame/FrameTime.h"
#include "session/recording/SerSink.h"
#include "session/recording/cube/CubeTimes.h"
#include "session/text/Units.h"
#include "support/BayerNames.h"

namespace orq::session {
namespace {

// Of the first frame, or of the file. What the camera's GPS says is the first frame's as well.
constexpr std::array<std::string_view, 10> kOfOne = {"DATE",    "DATE-OBS", "DATE-END", "DATE-AVG", "MJD-OBS",
                                                     "TIMESRC", "TIMEUNC",  "FRAMENO",  "CAMSEQ",   "TIMESYS"};

bool IsOfAll(const FitsCard& card) {
  return std::ranges::find(kOfOne, card.name) == kOfOne.end() && !card.name.starts_with("GPS");
}

template <class Value>
const Value* Find(const std::vector<FitsCard>& cards, std::string_view name) {
  const auto found = std::ranges::find(cards, name, &FitsCard::name);
  return found == cards.end() ? nullptr : std::get_if<Value>(&found->value);
}

std::string TextOf(const std::vector<FitsCard>& cards, std::string_view name) {
  const auto* const text = Find<std::string>(cards, name);
  return text == nullptr ? std::string() : *text;
}

// The time in the header has six or seven decimals.
std::optional<std::int64_t> TimeOf(const std::vector<FitsCard>& cards) {
  constexpr std::size_t kAllChars = 27;
  std::string text = TextOf(cards, "DATE-OBS");
  if (!text.empty()) text.resize(kAllChars, '0');
  return ParseIsoUtcTenths(text);
}

// Where the frame's region begins, in the place of the first one's.
void Move(std::vector<FitsCard>& cards, std::string_view start, std::string_view binning, int at) {
  const auto* const bin = Find<std::int64_t>(cards, binning);
  const auto found = std::ranges::find(cards, start, &FitsCard::name);
  if (found == cards.end() || bin == nullptr || *bin < 1) return;
  if (at % *bin == 0)
    found->value = at / *bin;
  else
    found->value = static_cast<double>(at) / static_cast<double>(*bin);
}

}  // namespace

SerHeader CubeHeaderAsSer(const CubeFile& cube) {
  const CubeShape& shape = cube.Facts().shape;
  const std::vector<FitsCard> cards = CubeCards(cube.Header());
  FrameRegion region;
  region.width = static_cast<int>(shape.width);
  region.height = static_cast<int>(shape.height);
  region.format = shape.bytesPerSample == 2 ? ORQ_IMG_RAW16 : ORQ_IMG_RAW8;
  SerHeader header = SerHeaderFor(region, BayerByName(TextOf(cards, "BAYERPAT")).value_or(-1));
  if (shape.planes == 3) header.colour = kSerRgb;
  header.frames = static_cast<std::int32_t>(cube.Facts().frames);
  header.observer = TextOf(cards, "OBSERVER");
  header.instrument = TextOf(cards, "INSTRUME");
  header.telescope = TextOf(cards, "TELESCOP");
  if (const auto time = TimeOf(cards)) header.utcTime = SerTimeOf(*time);
  return header;
}

std::vector<FitsCard> CardsOfCubeFrame(const CubeFile& cube, const RecordedFrame* row) {
  constexpr double kTenthsPerSecond = 1e7;
  constexpr int kAllDigits = 17;
  std::vector<FitsCard> cards = CubeCards(cube.Header());
  std::erase_if(cards, [](const FitsCard& card) { return !IsOfAll(card); });
  if (row == nullptr) return cards;
  const RecordedFrame& frame = *row;
  Move(cards, "XORGSUBF", "XBINNING", frame.startX);
  Move(cards, "YORGSUBF", "YBINNING", frame.startY);
  cards.push_back({"DATE-OBS", IsoUtcTenths(frame.begin), "exposure of first row read out starts"});
  cards.push_back(
      {"MJD-OBS", ModifiedJulianDate(frame.begin), "[d] DATE-OBS as modified Julian date", kAllDigits});
  cards.push_back({"TIMESYS", "UTC", "time scale of DATE-OBS"});
  if (!frame.source.empty()) cards.push_back({"TIMESRC", SourceInFits(frame), "clock behind DATE-OBS"});
  cards.push_back(
      {"TIMEUNC", static_cast<double>(frame.uncertainty) / kTenthsPerSecond, "[s] uncertainty of DATE-OBS"});
  cards.push_back({"CAMSEQ", std::int64_t{frame.sequence}, "the camera's own frame number, 32 bits"});
  return cards;
}

}  // namespace orq::session
