#include "session/fits/FitsKeywords.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "session/Failure.h"
#include "session/fits/FitsFile.h"

namespace orq::session {
namespace {

constexpr std::size_t kCard = 80;

// Names of the cards with a value, straight from the bytes of the file.
std::multiset<std::string> Names(const std::vector<std::uint8_t>& file) {
  std::multiset<std::string> names;
  for (std::size_t at = 0; at + kCard <= file.size(); at += kCard) {
    const std::string card(file.begin() + static_cast<std::ptrdiff_t>(at),
                           file.begin() + static_cast<std::ptrdiff_t>(at + kCard));
    std::string name = card.substr(0, 8);
    name.erase(name.find_last_not_of(' ') + 1);
    if (name == "END") return names;
    if (card.substr(8, 2) == "= ") names.insert(name);
  }
  ADD_FAILURE() << "no END";
  return names;
}

FileContext FullContext() {
  return {.creator = "a program 1.0",
          .instrument = "K1C",
          .shortModel = "k1c",
          .serial = "1",
          .pixelSizeUm = 3.75,
          .object = "M 42",
          .observer = "me",
          .recorded = {.file = "old.fits", .dateObs = "2023-01-02", .exposureSeconds = 2.0, .object = "M 43"},
          .keywords = {}};
}

// A raw frame of a colour camera about which all is known.
FrameFacts FullFrame(std::vector<Keyword> keywords = {}) {
  FrameFacts frame;
  FileContext context = FullContext();
  context.keywords = std::move(keywords);
  frame.context = std::make_shared<const FileContext>(std::move(context));
  frame.info.region = {.width = 4, .height = 4};
  frame.info.bayerPattern = 0;
  frame.info.electronsPerAdu = 1.5;
  frame.info.gps = {.state = GpsState::Fix,
                    .latched = {},
                    .satellites = 9,
                    .latitude = 47.0,
                    .longitude = 11.0,
                    .altitude = 500.0};
  frame.info.levels = {.black = 100.0, .saturated = 65520.0};
  frame.sensorC = -10.0;
  frame.targetC = -10.0;
  frame.clock = ClockState{.synchronised = true, .maxErrorUs = 1'500};
  frame.coolerPower = 40;
  frame.warning = "dust";
  frame.corrections = {.darkFile = "dark.orqdark", .dark = "64 frames", .hotPixels = true};
  return frame;
}

// The file of a frame whose pixels are 0.
std::vector<std::uint8_t> Encoded(const FrameFacts& frame) {
  return EncodeFits(std::vector<std::uint8_t>(4 * 4 * 2), frame);
}

TEST(FitsKeywords, WhatIsReservedIsWhatIsWritten) {
  const std::multiset<std::string> written = Names(Encoded(FullFrame()));
  std::multiset<std::string> ours;
  for (const std::string& name : written) {
    const bool format = std::ranges::find(kFormatKeywords, name) != std::end(kFormatKeywords) ||
                        name == "NAXIS1" || name == "NAXIS2";
    if (!format) ours.insert(name);
  }
  std::multiset<std::string> table;
  for (const OwnKeyword& own : kOwnKeywords) table.emplace(own.name);
  EXPECT_EQ(ours, table);
}

TEST(FitsKeywords, AUserGetsWhatNobodyWrites) {
  for (const std::string name : {"CTYPE3", "TELESCOP", "FILTER"}) {
    const Keyword keyword = ParseKeyword(name + "=1");
    EXPECT_EQ(Names(Encoded(FullFrame({keyword}))).count(name), 1u) << name;
  }
}

TEST(FitsKeywords, EveryOwnKeywordIsRefusedOrWrittenOnceAsTheUserStatesIt) {
  for (const OwnKeyword& own : kOwnKeywords) {
    const std::string text = std::string(own.name) + "=12.5";
    if (!own.usersCounts) {
      try {
        ParseKeyword(text);
        ADD_FAILURE() << text << " was accepted";
      } catch (const Failure& error) {
        EXPECT_EQ(error.Code(), Status::Invalid);
        const std::string advice = own.option.empty() ? "reserved: orqcam writes it" : std::string(own.option);
        EXPECT_THAT(error.what(), testing::HasSubstr(advice));
      }
      continue;
    }
    const Keyword keyword = ParseKeyword(text);
    const std::vector<std::uint8_t> file = Encoded(FullFrame({keyword}));
    EXPECT_EQ(Names(file).count(keyword.name), 1u) << keyword.name;
    EXPECT_THAT(std::string(file.begin(), file.end()), testing::HasSubstr("12.5"));
  }
}

TEST(FitsKeywords, WhatTheFormatDefinesIsRefused) {
  for (const std::string_view name : kFormatKeywords)
    EXPECT_THROW(ParseKeyword(std::string(name) + "=1"), Failure) << name;
  EXPECT_THROW(ParseKeyword("NAXIS3=1"), Failure);
  EXPECT_NO_THROW(ParseKeyword("NAXES=1"));
}

}  // namespace
}  // namespace orq::session
