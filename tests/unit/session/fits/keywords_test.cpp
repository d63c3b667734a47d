#include "session/fits/Keywords.h"

#include <gtest/gtest.h>

#include "session/Failure.h"

namespace orq::session {
namespace {

using Value = decltype(Keyword::value);

TEST(ParseKeyword, GuessesTheTypeOfTheValue) {
  EXPECT_EQ(ParseKeyword("A=5").value, Value(std::int64_t{5}));
  EXPECT_EQ(ParseKeyword("A=-5").value, Value(std::int64_t{-5}));
  EXPECT_EQ(ParseKeyword("A=+5").value, Value(std::int64_t{5}));
  EXPECT_EQ(ParseKeyword("A=1.5").value, Value(1.5));
  EXPECT_EQ(ParseKeyword("A=1e3").value, Value(1000.0));
  EXPECT_EQ(ParseKeyword("A=T").value, Value(true));
  EXPECT_EQ(ParseKeyword("A=F").value, Value(false));
  EXPECT_EQ(ParseKeyword("A=Ha").value, Value(std::string("Ha")));
  EXPECT_EQ(ParseKeyword("A=").value, Value(std::string()));
  EXPECT_EQ(ParseKeyword("A=nan").value, Value(std::string("nan")));  // FITS has no such number
  EXPECT_EQ(ParseKeyword("A=99999999999999999999").value, Value(1e20));
}

TEST(ParseKeyword, QuotesMakeText) {
  EXPECT_EQ(ParseKeyword("A='5'").value, Value(std::string("5")));
  EXPECT_EQ(ParseKeyword("A='a/b'").value, Value(std::string("a/b")));
  EXPECT_EQ(ParseKeyword("A='it''s'").value, Value(std::string("it's")));
  EXPECT_EQ(ParseKeyword("A=''").value, Value(std::string()));
}

TEST(ParseKeyword, TheNameBecomesUpperCase) {
  EXPECT_EQ(ParseKeyword("my_key-1=5").name, "MY_KEY-1");
}

TEST(ParseKeyword, ASlashAloneIsPartOfTheValue) {
  EXPECT_EQ(ParseKeyword("A=Newton 150/750").value, Value(std::string("Newton 150/750")));
  EXPECT_EQ(ParseKeyword("A=Newton 150/750").comment, "");
  EXPECT_EQ(ParseKeyword("A=f/5 / of the mirror").value, Value(std::string("f/5")));
  EXPECT_EQ(ParseKeyword("A=f/5 / of the mirror").comment, "of the mirror");
  EXPECT_EQ(ParseKeyword("A=5/8").value, Value(std::string("5/8")));
  EXPECT_EQ(ParseKeyword("A=a/ b").value, Value(std::string("a/ b")));
  EXPECT_EQ(ParseKeyword("A=a /b").value, Value(std::string("a /b")));
}

TEST(ParseKeyword, TheCommentFollowsASlashBetweenBlanks) {
  EXPECT_EQ(ParseKeyword("A=5 / how many").value, Value(std::int64_t{5}));
  EXPECT_EQ(ParseKeyword("A=5 / how many / a day").comment, "how many / a day");
  EXPECT_EQ(ParseKeyword("A= / nothing").value, Value(std::string()));
  EXPECT_EQ(ParseKeyword("A= / nothing").comment, "nothing");
  EXPECT_EQ(ParseKeyword("A=5 / ").value, Value(std::int64_t{5}));
  EXPECT_EQ(ParseKeyword("A = 5 / how many ").comment, "how many");
  EXPECT_EQ(ParseKeyword("A='a/b' / where").comment, "where");
  EXPECT_EQ(ParseKeyword("A=5").comment, "");
  EXPECT_EQ(ParseKeyword("A=a=b").value, Value(std::string("a=b")));
}

TEST(ParseKeyword, TakesWhatJustFitsOneCard) {
  EXPECT_NO_THROW(ParseKeyword("A=" + std::string(68, 'x')));
  EXPECT_THROW(ParseKeyword("A=" + std::string(69, 'x')), Failure);
  // Each quote counts twice.
  EXPECT_THROW(ParseKeyword("A=" + std::string(67, 'x') + "'"), Failure);
  // "A       = " and a value of 20 characters and " / " leave 47.
  EXPECT_NO_THROW(ParseKeyword("A=1 / " + std::string(47, 'c')));
  EXPECT_THROW(ParseKeyword("A=1 / " + std::string(48, 'c')), Failure);
}

TEST(ParseKeyword, RefusesWithAUsageError) {
  for (const char* text :
       {"", "A", "=5", "TOOLONGNAME=1", "A B=1", "A.B=1", "A='x", "A='x'y", "A=\x01", "A=\xC3\xA4", "NAXIS=2",
        "NAXIS2=5", "GAIN=3", "OBJECT=x", "IMAGETYP=x", "OBSERVER=x", "HISTORY=x"}) {
    try {
      ParseKeyword(text);
      ADD_FAILURE() << text << " was accepted";
    } catch (const Failure& error) {
      EXPECT_EQ(error.Code(), Status::Invalid) << text;
    }
  }
}

TEST(ParseCard, TakesValuesAndCommentsOfAnyKeyword) {
  const auto parsed = [](std::string card) {
    card.resize(80, ' ');
    return ParseCard(card).value();
  };
  const Keyword gain = parsed("GAIN    =                   50 / gain setting");
  EXPECT_EQ(gain.name, "GAIN");
  EXPECT_EQ(gain.value, KeywordValue(std::int64_t{50}));
  EXPECT_EQ(gain.comment, "gain setting");
  EXPECT_EQ(parsed("EXPTIME =               2.5E-3").value, KeywordValue(0.0025));
  EXPECT_EQ(parsed("CLKSYNC =                    T / it is").value, KeywordValue(true));
  const Keyword text = parsed("OBJECT  = 'O''Neill / 2  '      / a name");
  EXPECT_EQ(text.value, KeywordValue(std::string("O'Neill / 2")));
  EXPECT_EQ(text.comment, "a name");
  EXPECT_EQ(parsed("HISTORY   dark subtracted").value, KeywordValue(std::string("dark subtracted")));
}

TEST(ParseCard, RefusesWhatHasNoValueOrBreaksTheRules) {
  for (const char* const card :
       {"", "END", "COMMENT a remark", "GAIN    =", "GAIN    =           / none", "GAIN    50", "Gain    =  50",
        " GAIN   =  50", "OBJECT  = 'not closed", "OBJECT  = 'caf\xC3\xA9'", "GA IN   =  50"}) {
    std::string whole = card;
    if (!whole.empty()) whole.resize(80, ' ');
    EXPECT_FALSE(ParseCard(whole)) << card;
  }
}

TEST(CheckTextValue, TakesPrintableAsciiOf68Characters) {
  EXPECT_NO_THROW(CheckTextValue("", "--object"));
  EXPECT_NO_THROW(CheckTextValue(std::string(68, 'x'), "--object"));
  EXPECT_THROW(CheckTextValue(std::string(69, 'x'), "--object"), Failure);
  EXPECT_THROW(CheckTextValue("na\xC3\xAFve", "--object"), Failure);
  EXPECT_THROW(CheckTextValue("two\nlines", "--object"), Failure);
}

}  // namespace
}  // namespace orq::session
