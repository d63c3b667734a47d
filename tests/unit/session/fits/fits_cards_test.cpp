#include "session/fits/FitsCards.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "session/Failure.h"
#include "session/fits/FitsFile.h"

namespace orq::session {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::Not;

/// 2030-01-01T00:00:00 in units of 0.1 microseconds: 10957 days to 2000, 30 years with 8 leap days.
constexpr UtcTenths kNewYear = (10'957 + 30 * 365 + 8) * UtcTenths{864'000'000'000};

FrameFacts RawFrame(void (*tell)(FileContext&) = [](FileContext&) {}) {
  FrameFacts frame;
  frame.info.region = {.startX = 8, .startY = 3, .width = 4, .height = 2, .bin = 2, .format = ORQ_IMG_RAW16};
  frame.info.times.begin = kNewYear;
  frame.info.times.end = kNewYear + 20'000'000;
  frame.info.exposureUs = 1'500'000;
  frame.info.gain = 120;
  frame.info.bayerPattern = -1;
  frame.number = 7;
  FileContext context;
  tell(context);
  frame.context = std::make_shared<const FileContext>(std::move(context));
  return frame;
}

/// The value of the one card of this name.
KeywordValue ValueOf(const FrameFacts& frame, const std::string& name) {
  const std::vector<FitsCard> cards = HeaderCards(frame);
  EXPECT_EQ(std::ranges::count(cards, name, &FitsCard::name), 1) << name;
  const auto card = std::ranges::find(cards, name, &FitsCard::name);
  return card == cards.end() ? KeywordValue() : card->value;
}

TEST(HeaderCards, HaveValuesOfTheirType) {
  FrameFacts frame = RawFrame([](FileContext& context) { context.instrument = "K1M"; });
  frame.clock = ClockState{.synchronised = false, .maxErrorUs = 0};
  EXPECT_EQ(ValueOf(frame, "INSTRUME"), KeywordValue(std::string("K1M")));
  EXPECT_EQ(ValueOf(frame, "EXPTIME"), KeywordValue(1.5));
  EXPECT_EQ(ValueOf(frame, "GAIN"), KeywordValue(std::int64_t{120}));
  EXPECT_EQ(ValueOf(frame, "FRAMENO"), KeywordValue(std::int64_t{7}));
  EXPECT_EQ(ValueOf(frame, "CLKSYNC"), KeywordValue(false));
  EXPECT_EQ(ValueOf(frame, "DATE-OBS"), KeywordValue(std::string("2030-01-01T00:00:00.000000")));
  EXPECT_EQ(ValueOf(frame, "DATE-AVG"), KeywordValue(std::string("2030-01-01T00:00:01.000000")));
  EXPECT_EQ(ValueOf(frame, "MJD-OBS"), KeywordValue(62'502.0));
  EXPECT_EQ(ValueOf(frame, "IMAGETYP"), KeywordValue(std::string("Light Frame")));
  EXPECT_EQ(ValueOf(frame, "XORGSUBF"), KeywordValue(std::int64_t{4}));
  EXPECT_EQ(ValueOf(frame, "YORGSUBF"), KeywordValue(1.5)) << "in the middle of a binned pixel";
}

TEST(HeaderCards, SayNothingThatIsNotKnown) {
  FrameFacts frame = RawFrame();
  frame.context = nullptr;
  const std::vector<FitsCard> cards = HeaderCards(frame);
  for (const char* name :
       {"SWCREATE", "OBJECT", "OBSERVER", "XPIXSZ", "CCD-TEMP", "SET-TEMP", "COOLPOWR", "CLKSYNC", "GPSSTATE",
        "EGAIN", "BAYERPAT", "WB_R", "DARKFILE", "HISTORY", "REPLAYED", "WARNING", "DATE"})
    EXPECT_THAT(cards, Not(Contains(Field(&FitsCard::name, name)))) << name;
}

TEST(HeaderCards, EndWithTheUsersOwn) {
  const std::vector<FitsCard> cards = HeaderCards(RawFrame([](FileContext& context) {
    context.keywords = {{"FILTER", std::string("Ha"), "in the path"}, {"SEEING", 2.5, ""}};
  }));
  ASSERT_GT(cards.size(), 2u);
  const FitsCard& filter = cards[cards.size() - 2];
  EXPECT_EQ(filter.name, "FILTER");
  EXPECT_EQ(filter.value, KeywordValue(std::string("Ha")));
  EXPECT_EQ(filter.comment, "in the path");
  EXPECT_EQ(cards.back().name, "SEEING");
}

TEST(HeaderCards, TakeThePlaceThatTheUserStates) {
  FrameFacts frame = RawFrame([](FileContext& context) { context.keywords = {{"SITELAT", 12.5, ""}}; });
  frame.info.gps.state = GpsState::Fix;
  frame.info.gps.satellites = 9;
  frame.info.gps.latitude = 47.0;
  frame.info.gps.longitude = 11.0;
  EXPECT_EQ(ValueOf(frame, "SITELAT"), KeywordValue(12.5));
  EXPECT_EQ(ValueOf(frame, "SITELONG"), KeywordValue(11.0));
  EXPECT_EQ(ValueOf(frame, "GPSSATS"), KeywordValue(std::int64_t{9}));
}

TEST(HeaderCards, TellTheHistoryLineByLine) {
  FrameFacts frame = RawFrame();
  frame.corrections = {.darkFile = "d\xC3\xA4rk.bmp", .dark = "5 x 1s", .hotPixels = true};
  std::vector<std::string> lines;
  for (const FitsCard& card : HeaderCards(frame))
    if (card.name == "HISTORY") lines.push_back(std::get<std::string>(card.value));
  EXPECT_THAT(lines, ElementsAre("dark subtracted: 5 x 1s", "hot pixels repaired"));
  EXPECT_EQ(ValueOf(frame, "DARKFILE"), KeywordValue(std::string("d??rk.bmp"))) << "FITS is plain ASCII";
}

// Name and value of a card as it stands in the file.
std::string CardText(const std::vector<std::uint8_t>& file, const std::string& name) {
  constexpr std::size_t kCard = 80;
  for (std::size_t at = 0; at + kCard <= file.size(); at += kCard) {
    const std::string card(file.begin() + static_cast<std::ptrdiff_t>(at),
                           file.begin() + static_cast<std::ptrdiff_t>(at + kCard));
    if (card.starts_with(name)) return card.substr(0, card.find_last_not_of(' ') + 1);
  }
  return {};
}

TEST(EncodeFits, WritesTheCards) {
  FrameFacts frame = RawFrame([](FileContext& context) { context.creator = "somebody 2.0"; });
  frame.sensorC = -10.25;
  frame.corrections.hotPixels = true;
  const std::vector<std::uint8_t> file = EncodeFits(std::vector<std::uint8_t>(4 * 2 * 2), frame);
  EXPECT_EQ(CardText(file, "SWCREATE"), "SWCREATE= 'somebody 2.0'       / program that wrote this file");
  EXPECT_EQ(CardText(file, "GAIN"), "GAIN    =                  120 / gain setting");
  EXPECT_EQ(CardText(file, "CCD-TEMP"), "CCD-TEMP=               -10.25 / [Celsius] temperature of the sensor");
  EXPECT_EQ(CardText(file, "HISTORY"), "HISTORY hot pixels repaired");
  EXPECT_NE(CardText(file, "DATE "), "") << "the date of the file itself";
}

TEST(EncodeFits, RefusesPixelsOfAnotherFrame) {
  for (const std::size_t size : {0UL, 15UL, 17UL}) {
    try {
      EncodeFits(std::vector<std::uint8_t>(size), RawFrame());
      ADD_FAILURE() << size << " bytes";
    } catch (const Failure& failure) {
      EXPECT_EQ(failure.Code(), Status::Invalid);
    }
  }
}

}  // namespace
}  // namespace orq::session
