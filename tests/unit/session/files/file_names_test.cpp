#include "session/files/FileNames.h"

#include <gtest/gtest.h>

#include "session/Failure.h"

namespace orq::session {
namespace {

NameFacts Facts() {
  NameFacts facts;
  facts.number = 7;
  facts.unixUs = 1'000'000'000'123'456;  // 2001-09-09 01:46:40.123456
  facts.camera = "k1c";
  facts.serial = "0123456789abcdef";
  facts.object = "M 42/Orion";
  facts.imageType = "light";
  facts.format = "raw16";
  facts.exposureUs = 200'000;
  facts.gain = 12;
  facts.offset = 8;
  facts.bin = 2;
  return facts;
}

std::string Expand(std::string_view pattern) {
  return FilePattern(pattern).Expand(Facts());
}

std::string Complaint(std::string_view pattern) {
  try {
    const FilePattern parsed(pattern);
  } catch (const Failure& error) {
    EXPECT_EQ(error.Code(), Status::Invalid);
    return error.what();
  }
  ADD_FAILURE() << pattern << " was accepted";
  return {};
}

TEST(FilePattern, PutsEveryFactInItsPlace) {
  EXPECT_EQ(Expand("{n}.fits"), "7.fits");
  EXPECT_EQ(Expand("{n:04}.fits"), "0007.fits");
  EXPECT_EQ(Expand("{date}T{time}.fits"), "2001-09-09T01-46-40.123.fits");
  EXPECT_EQ(Expand("{camera}-{serial}.fits"), "k1c-0123456789abcdef.fits");
  EXPECT_EQ(Expand("{type}_{format}.fits"), "light_raw16.fits");
  EXPECT_EQ(Expand("{exposure}-{gain}-{offset}-{bin}.fits"), "200ms-12-8-2.fits");
}

TEST(FilePattern, KeepsPlainTextAndDirectories) {
  EXPECT_EQ(Expand("a b/c/x.fits"), "a b/c/x.fits");
}

TEST(FilePattern, DoubledBracesArePlainOnes) {
  EXPECT_EQ(Expand("{{n}}{n}.fits"), "{n}7.fits");
}

TEST(FilePattern, ValuesCannotLeaveTheDirectoryOrHideTheFile) {
  EXPECT_EQ(Expand("{object}.fits"), "M_42_Orion.fits");
  NameFacts facts = Facts();
  facts.object = "../../etc";
  EXPECT_EQ(FilePattern("{object}.fits").Expand(facts), "none.._.._etc.fits");
  facts.object = "";
  EXPECT_EQ(FilePattern("{object}.fits").Expand(facts), "none.fits");
}

TEST(FilePattern, NumbersWiderThanTheirPlaceStayWhole) {
  NameFacts facts = Facts();
  facts.number = 123'456;
  EXPECT_EQ(FilePattern("{n:03}.fits").Expand(facts), "123456.fits");
}

TEST(FilePattern, TheExtensionDecidesTheKindInAnyCase) {
  EXPECT_EQ(FilePattern("x.fits").Kind(), FileKind::Fits);
  EXPECT_EQ(FilePattern("x.FIT").Kind(), FileKind::Fits);
  EXPECT_EQ(FilePattern("x.Png").Kind(), FileKind::Png);
  EXPECT_EQ(FilePattern("x.raw").Kind(), FileKind::Raw);
  EXPECT_EQ(FilePattern("x.fits.fz").Kind(), FileKind::CompressedFits);
  EXPECT_EQ(FilePattern("x.FITS.FZ").Kind(), FileKind::CompressedFits);
}

TEST(FilePattern, OtherExtensionsAreRefusedWithTheRightOnes) {
  for (const char* pattern : {"x", "x.jpg", "", ".fits", "dir.fits/x", "x.fits.gz", "x.fz", "x.png.fz"})
    EXPECT_NE(Complaint(pattern).find(".fits, .fit, .png or .raw"), std::string::npos) << pattern;
}

TEST(FilePattern, AnExtensionAloneIsNoName) {
  for (const char* pattern : {".fits.fz", "dir/.fits.fz", "dir/.fits"}) Complaint(pattern);
}

TEST(FilePattern, TheOtherExtensionReplacesBothOfACompressedFile) {
  EXPECT_EQ(WithExtension("a/m42.fits.fz", ".png"), "a/m42.png");
  EXPECT_EQ(WithExtension("a/m42.v2.fits", ".png"), "a/m42.v2.png");
}

TEST(FilePattern, UnknownPlaceholdersAreRefusedWithTheRightOnes) {
  EXPECT_NE(Complaint("{number}.fits").find("{n}, {date}, {time}"), std::string::npos);
  EXPECT_NE(Complaint("{}.fits").find("{n}, {date}, {time}"), std::string::npos);
}

TEST(FilePattern, BadBracesAndWidthsAreRefused) {
  for (const char* pattern : {"{n.fits", "n}.fits", "{n:}.fits", "{n:0}.fits", "{n:10}.fits", "{n:x}.fits",
                              "{gain:3}.fits", "{n:-1}.fits", "{n:99999999999}.fits"})
    Complaint(pattern);
}

TEST(FilePattern, KnowsWhichPlaceholdersItHas) {
  const FilePattern pattern("{camera}-{n:03}.fits");
  EXPECT_TRUE(pattern.Has("n"));
  EXPECT_TRUE(pattern.Has("camera"));
  EXPECT_FALSE(pattern.Has("time"));
}

TEST(WithExtension, ReplacesTheLastOneOnly) {
  EXPECT_EQ(WithExtension("a.b/x.123.fits", ".png"), "a.b/x.123.png");
}

TEST(FilePattern, OfRecordingsSaysWhatTheyAre) {
  const FilePattern pattern("{camera}-{gain}.ser", FileUse::Recording);
  EXPECT_EQ(pattern.Kind(), FileKind::Ser);
  NameFacts facts;
  facts.camera = "k1c";
  facts.gain = 7;
  EXPECT_EQ(pattern.Expand(facts), "k1c-7.ser");
  EXPECT_EQ(FilePattern("a.fits", FileUse::Recording).Kind(), FileKind::Fits);
  EXPECT_EQ(FilePattern("a.Fit", FileUse::Recording).Kind(), FileKind::Fits);
  EXPECT_EQ(FilePattern("{camera}", FileUse::Folder).Expand(facts), "k1c");
  EXPECT_EQ(FilePattern("x/a.b", FileUse::Folder).Kind(), FileKind::Folder);
  EXPECT_THROW(FilePattern("/", FileUse::Folder), Failure);
  EXPECT_THROW(FilePattern("a.fits.fz", FileUse::Recording), Failure);
  EXPECT_THROW(FilePattern("a.ser"), Failure) << "one frame is not saved so";
}

}  // namespace
}  // namespace orq::session
