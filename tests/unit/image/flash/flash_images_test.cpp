#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <string>
#include <vector>

#include "support/FlashPort.h"
#include "support/LogText.h"

namespace {

using orq::test::FlashCamera;
using orq::test::Line;
using orq::test::LogText;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;
using Text = std::vector<std::string>;

constexpr const char* kBusOff = "40 D6 00 00 00 00 00 00";
constexpr const char* kBusOn = "40 D6 01 00 00 00 00 00";
constexpr const char* kErase4 = "40 C4 04 00 00 00 00 00";
constexpr const char* kErase5 = "40 C4 05 00 00 00 00 00";
constexpr const char* kErase6 = "40 C4 06 00 00 00 00 00";
constexpr std::uint32_t kArea = 0x40000;
constexpr std::uint32_t kPage = 0x70000;

std::string Saved(const std::string& message) {
  return Line("CompressAndWriteIntoFLASH", message);
}
std::string Loaded(const std::string& message) {
  return Line("ReadFromFLAHAndUnCompress", message);
}

/// Bytes none of which is like its neighbours.
Bytes Counting(std::size_t size) {
  Bytes bytes(size);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i % 251 + 1);
  return bytes;
}

Bytes PlainRecord(const Bytes& body) {
  Bytes record(8 + body.size());
  const std::size_t length = record.size();
  const Bytes header{'O',
                     'R',
                     'Q',
                     'G',
                     0,
                     static_cast<std::uint8_t>(length / 65536),
                     static_cast<std::uint8_t>(length / 256 % 256),
                     static_cast<std::uint8_t>(length % 256)};
  std::copy(header.begin(), header.end(), record.begin());
  std::copy(body.begin(), body.end(), record.begin() + 8);
  return record;
}

class FlashImages : public testing::Test {
 protected:
  FlashImages() {
    camera.iMaxWidth = 128;
    camera.iMaxHeight = 64;  // a bitmap of 1024 bytes
  }
  bool Save(Bytes source, bool bitmap) {
    return camera.CompressAndWriteIntoFLASH(source.data(), static_cast<unsigned>(source.size()), bitmap);
  }
  bool SavePlain(std::size_t length) { return Save(Counting(length - 8), false); }
  bool Load(Bytes& out, bool bitmap) {
    return camera.ReadFromFLAHAndUnCompress(out.data(), static_cast<unsigned>(out.size()), bitmap);
  }

  FlashCamera camera;
  orq::test::FlashPort& flash = *camera.flash;
};

// Compress and Uncompress --------------------------------------------------------------------------------------

TEST_F(FlashImages, CompressingGivesTheRecordAndItsLength) {
  Bytes source(1024);
  source[0x1A3] = 0x80;
  int length = -1;
  const auto record = camera.Compress(source.data(), 1024, &length, true);
  ASSERT_EQ(length, 16);
  EXPECT_THAT(Bytes(record.get(), record.get() + 16),
              ElementsAre('O', 'R', 'Q', 'D', 0, 0, 0, 16, 0, 0, 0x3A, 0x80, 0, 0, 0, 0));
  const auto plain = camera.Compress(source.data(), 3, &length, false);
  ASSERT_EQ(length, 11);
  EXPECT_THAT(Bytes(plain.get(), plain.get() + 11), ElementsAre('O', 'R', 'Q', 'G', 0, 0, 0, 11, 0, 0, 0));
  EXPECT_NE(camera.Compress(source.data(), 3, nullptr, false), nullptr);
  EXPECT_THAT(flash.TakeSetups(), IsEmpty());
}

TEST_F(FlashImages, CompressingNothingMakesAHeader) {
  int length = -1;
  for (const bool bitmap : {true, false}) {
    const auto record = camera.Compress(nullptr, 0, &length, bitmap);
    ASSERT_EQ(length, 8);
    EXPECT_EQ(record[7], 8);
  }
}

TEST_F(FlashImages, WhatCannotBeARecordIsNotCompressed) {
  const unsigned char byte = 1;
  for (const bool bitmap : {true, false}) {
    int length = -1;
    EXPECT_EQ(camera.Compress(&byte, -1, &length, bitmap), nullptr);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(camera.Compress(&byte, INT_MIN, &length, bitmap), nullptr);
    EXPECT_EQ(camera.Compress(&byte, INT_MAX - 7, &length, bitmap), nullptr);
    EXPECT_EQ(camera.Compress(nullptr, 1, &length, bitmap), nullptr);
  }
}

TEST_F(FlashImages, ABitmapExpandsToOneBitPerSensorPixel) {
  const Bytes record{'O', 'R', 'Q', 'D', 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0xFF, 0x42};  // the last byte of 1024
  const auto bitmap = camera.Uncompress(record.data(), 16, true);
  ASSERT_NE(bitmap, nullptr);
  Bytes expected(1024);
  expected[1023] = 0x42;
  EXPECT_EQ(Bytes(bitmap.get(), bitmap.get() + 1024), expected);
}

TEST_F(FlashImages, AnEntryOutsideTheSensorIsAnOverflow) {
  camera.iMaxHeight = 63;                                                    // 1008 bytes
  Bytes record{'O', 'R', 'Q', 'D', 0, 0, 0, 16, 0, 0, 0, 0, 0, 0, 0xFE, 1};  // byte 768 + 239
  EXPECT_NE(camera.Uncompress(record.data(), 16, true), nullptr);
  record[14] = 0x0F;  // byte 768 + 240
  LogText log;
  EXPECT_EQ(camera.Uncompress(record.data(), 16, true), nullptr);
  EXPECT_EQ(log.Text(), Line("Uncompress", "Uncompress over flow,block768,x0,y15\n"));
}

TEST_F(FlashImages, ASensorWithoutPixelsHasNoRoomForEntries) {
  const Bytes record{'O', 'R', 'Q', 'D', 0, 0, 0, 10, 0, 1};
  camera.iMaxWidth = -128;
  EXPECT_EQ(camera.Uncompress(record.data(), 10, true), nullptr);
  EXPECT_NE(camera.Uncompress(record.data(), 8, true), nullptr);
}

TEST_F(FlashImages, APlainRecordExpandsToItsLengthWithZerosBehindTheBody) {
  const Bytes record = PlainRecord({1, 2, 3});
  const auto body = camera.Uncompress(record.data(), 11, false);
  EXPECT_THAT(Bytes(body.get(), body.get() + 11), ElementsAre(1, 2, 3, 0, 0, 0, 0, 0, 0, 0, 0));
  const auto cut = camera.Uncompress(record.data(), 5, false);
  EXPECT_THAT(Bytes(cut.get(), cut.get() + 5), Each(0));
}

TEST_F(FlashImages, RecordsOfNoLengthExpandToNothingOrZeros) {
  const Bytes record{'O', 'R', 'Q', 'D', 0, 0, 0, 10, 0, 1};
  const auto bitmap = camera.Uncompress(record.data(), -5, true);
  ASSERT_NE(bitmap, nullptr);
  EXPECT_THAT(Bytes(bitmap.get(), bitmap.get() + 1024), Each(0));
  EXPECT_NE(camera.Uncompress(record.data(), 0, false), nullptr);
  EXPECT_NE(camera.Uncompress(nullptr, 10, true), nullptr);
}

// Saving -------------------------------------------------------------------------------------------------------

TEST_F(FlashImages, ASmallRecordIsErasedWrittenAndReadBackInWholePages) {
  Bytes source(1024);
  source[0x1A3] = 0x80;
  flash.SetBytes(kArea, Bytes(300, 0x77));
  LogText log;
  EXPECT_TRUE(Save(source, true));
  EXPECT_EQ(log.Text(), Saved("SaveHPC: Compressed length: 16 :\n"));
  EXPECT_THAT(flash.TakeSetups(),
              ElementsAre(kBusOff, kErase4, "40 C2 04 00 00 00 00 01", "C0 C3 04 00 00 00 00 01", kBusOn));
  Bytes page{'O', 'R', 'Q', 'D', 0, 0, 0, 16, 0, 0, 0x3A, 0x80};
  page.resize(256);
  EXPECT_EQ(flash.Bytes(kArea, 256), page);
  EXPECT_THAT(flash.Bytes(kArea + 256, 256), Each(0xFF));
}

TEST_F(FlashImages, ALongRecordGoesInChunksAndWholePages) {
  EXPECT_TRUE(SavePlain(4096 + 257));
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, kErase4,                                                //
                                              "40 C2 04 00 00 00 00 08", "C0 C3 04 00 00 00 00 08",            //
                                              "40 C2 04 00 00 08 00 08", "C0 C3 04 00 00 08 00 08",            //
                                              "40 C2 04 00 00 10 00 02", "C0 C3 04 00 00 10 00 02", kBusOn));  //
  Bytes record = PlainRecord(Counting(4096 + 257 - 8));
  record.resize(4096 + 512);
  EXPECT_EQ(flash.Bytes(kArea, 4096 + 512), record);
  EXPECT_THAT(flash.Bytes(kArea + 4096 + 512, 256), Each(0xFF));
}

TEST_F(FlashImages, ARecordOfWholeChunksIsStoredButReportedAsNotSaved) {
  for (const std::size_t length : {2048U, 4096U}) {
    LogText log;
    EXPECT_FALSE(SavePlain(length));
    EXPECT_EQ(log.Text(), Saved("SaveHPC: Compressed length: " + std::to_string(length) + " :\n"));
    EXPECT_EQ(flash.Bytes(kArea, length), PlainRecord(Counting(length - 8)));
  }
  flash.TakeSetups();
  EXPECT_FALSE(SavePlain(2048));
  EXPECT_THAT(flash.TakeSetups(),
              ElementsAre(kBusOff, kErase4, "40 C2 04 00 00 00 00 08", "C0 C3 04 00 00 00 00 08", kBusOn));
}

TEST_F(FlashImages, AsManySectorsAreErasedAsTheRecordTouches) {
  const auto erases = [this](std::size_t length) {
    SavePlain(length);
    Text setups = flash.TakeSetups();
    std::erase_if(setups, [](const std::string& setup) { return setup.substr(3, 2) != "C4"; });
    return setups;
  };
  EXPECT_THAT(erases(8), ElementsAre(kErase4));
  EXPECT_THAT(erases(0x10000), ElementsAre(kErase4));
  EXPECT_THAT(erases(0x10001), ElementsAre(kErase4, kErase5));
  EXPECT_THAT(erases(0x20001), ElementsAre(kErase4, kErase5, kErase6));
  EXPECT_THAT(erases(0x30000), ElementsAre(kErase4, kErase5, kErase6));
}

TEST_F(FlashImages, TheLargestRecordFillsTheAreaAndALargerOneIsRefused) {
  EXPECT_FALSE(SavePlain(0x30000));  // whole chunks
  EXPECT_EQ(flash.Bytes(kArea, 0x30000), PlainRecord(Counting(0x30000 - 8)));
  EXPECT_THAT(flash.Bytes(0x70000, 256), Each(0xFF));
  flash.TakeSetups();
  LogText log;
  EXPECT_FALSE(SavePlain(0x30001));
  EXPECT_EQ(log.Text(),
            Saved("SaveHPC: Compressed length: 196609 :\n") + Saved("SaveHPC: Compressed length too big\n"));
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, kBusOn));
}

TEST_F(FlashImages, ARefusedEraseEndsTheSaveAtOnce) {
  flash.refusedErases = {2};
  flash.SetBytes(kArea, {1, 2, 3});
  LogText log;
  EXPECT_FALSE(SavePlain(0x20001));
  EXPECT_EQ(log.Text(),
            Saved("SaveHPC: Compressed length: 131073 :\n") + Saved("Erase SPI FLASH sector 5 failed :\n"));
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, kErase4, kErase5, kBusOn));
  EXPECT_THAT(flash.Bytes(kArea, 3), Each(0xFF)) << "sectors already erased stay so";
}

TEST_F(FlashImages, AChunkThatReadsBackWrongIsWrittenAgain) {
  flash.flippedWrites = {2, 3};
  LogText log;
  EXPECT_TRUE(SavePlain(4096 + 8));
  EXPECT_EQ(log.Text(), Saved("SaveHPC: Compressed length: 4104 :\n") + Saved("fail 1 try again :1\n") +
                            Saved("fail 1 try again :2\n"));
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, kErase4,                                                //
                                              "40 C2 04 00 00 00 00 08", "C0 C3 04 00 00 00 00 08",            //
                                              "40 C2 04 00 00 08 00 08", "C0 C3 04 00 00 08 00 08",            //
                                              "40 C2 04 00 00 08 00 08", "C0 C3 04 00 00 08 00 08",            //
                                              "40 C2 04 00 00 08 00 08", "C0 C3 04 00 00 08 00 08",            //
                                              "40 C2 04 00 00 10 00 01", "C0 C3 04 00 00 10 00 01", kBusOn));  //
}

TEST_F(FlashImages, AChunkThatReadsBackWrongThreeTimesEndsTheSave) {
  flash.flippedWrites = {1, 2, 3};
  LogText log;
  EXPECT_FALSE(SavePlain(4096 + 8));
  EXPECT_EQ(log.Text(), Saved("SaveHPC: Compressed length: 4104 :\n") + Saved("fail 0 try again :1\n") +
                            Saved("fail 0 try again :2\n") + Saved("fail 0 try again :3\n"));
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, kErase4,                                      //
                                              "40 C2 04 00 00 00 00 08", "C0 C3 04 00 00 00 00 08",  //
                                              "40 C2 04 00 00 00 00 08", "C0 C3 04 00 00 00 00 08",  //
                                              "40 C2 04 00 00 00 00 08", "C0 C3 04 00 00 00 00 08", kBusOn));
}

TEST_F(FlashImages, ARestThatReadsBackWrongIsWrittenAgain) {
  flash.flippedWrites = {2, 3};
  LogText log;
  EXPECT_TRUE(SavePlain(2048 + 8));
  EXPECT_EQ(log.Text(), Saved("SaveHPC: Compressed length: 2056 :\n") + Saved("last fail 1 try again :1\n") +
                            Saved("last fail 1 try again :2\n"));
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, kErase4,                                                //
                                              "40 C2 04 00 00 00 00 08", "C0 C3 04 00 00 00 00 08",            //
                                              "40 C2 04 00 00 08 00 01", "C0 C3 04 00 00 08 00 01",            //
                                              "40 C2 04 00 00 08 00 01", "C0 C3 04 00 00 08 00 01",            //
                                              "40 C2 04 00 00 08 00 01", "C0 C3 04 00 00 08 00 01", kBusOn));  //
}

TEST_F(FlashImages, ARestThatReadsBackWrongThreeTimesEndsTheSave) {
  flash.flippedWrites = {1, 2, 3};
  LogText log;
  EXPECT_FALSE(SavePlain(100));
  EXPECT_EQ(log.Text(), Saved("SaveHPC: Compressed length: 100 :\n") + Saved("last fail 0 try again :1\n") +
                            Saved("last fail 0 try again :2\n") + Saved("last fail 0 try again :3\n"));
  EXPECT_EQ(flash.TakeSetups().back(), kBusOn);
}

TEST_F(FlashImages, TheFillUpBytesOfTheLastPageAreVerifiedToo) {
  flash.forgottenWrites = {1, 2, 3};
  flash.erasesNothing = true;
  Bytes stored = PlainRecord(Counting(92));
  flash.SetBytes(kArea, stored);  // what a write left, but 0xFF behind it
  EXPECT_FALSE(SavePlain(100));
}

TEST_F(FlashImages, AReadBackThatFailsIsNoMatch) {
  flash.refusedReads = {1};
  LogText log;
  EXPECT_TRUE(SavePlain(100));
  EXPECT_EQ(log.Text(), Saved("SaveHPC: Compressed length: 100 :\n") + Saved("last fail 0 try again :1\n"));
  flash.refusedReads = {3, 4, 5};
  EXPECT_FALSE(SavePlain(100));
}

TEST_F(FlashImages, OnlyReadingBackTellsWhetherAWriteSucceeded) {
  flash.refusesWritesAfterStoring = true;
  LogText log;
  EXPECT_TRUE(SavePlain(2048 + 100));
  EXPECT_EQ(log.Text(), Saved("SaveHPC: Compressed length: 2148 :\n"));
}

TEST_F(FlashImages, WhatCannotBeARecordIsNotSaved) {
  const unsigned char byte = 1;
  EXPECT_FALSE(camera.CompressAndWriteIntoFLASH(nullptr, 5, true));
  EXPECT_FALSE(camera.CompressAndWriteIntoFLASH(&byte, 0x80000000U, false));
  EXPECT_FALSE(camera.CompressAndWriteIntoFLASH(&byte, UINT_MAX, true));
  EXPECT_THAT(flash.TakeSetups(), IsEmpty());
}

// Loading ------------------------------------------------------------------------------------------------------

TEST_F(FlashImages, ASmallRecordIsReadTwice) {
  Bytes record{'O', 'R', 'Q', 'D', 0, 0, 0, 16, 0, 0, 0x3A, 0x80, 0, 0, 0, 0};
  flash.SetBytes(kArea, record);
  Bytes out(1024, 0xEE);
  LogText log;
  EXPECT_TRUE(Load(out, true));
  EXPECT_EQ(log.Text(), Loaded("LoadHPC: Compressed length: 16 :\n"));
  EXPECT_THAT(flash.TakeSetups(),
              ElementsAre(kBusOff, "C0 C3 04 00 00 00 00 08", "C0 C3 04 00 00 00 00 01", kBusOn));
  Bytes expected(1024);
  expected[0x1A3] = 0x80;
  EXPECT_EQ(out, expected);
}

TEST_F(FlashImages, ALongRecordIsReadInChunksAndWholePages) {
  const Bytes body = Counting(4096 + 257 - 8);
  flash.SetBytes(kArea, PlainRecord(body));
  Bytes out(body.size(), 0xEE);
  EXPECT_TRUE(Load(out, false));
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, "C0 C3 04 00 00 00 00 08", "C0 C3 04 00 00 08 00 08",
                                              "C0 C3 04 00 00 10 00 02", kBusOn));
  EXPECT_EQ(out, body);
}

TEST_F(FlashImages, ARecordOfOneChunkIsReadOnce) {
  const Bytes body = Counting(2040);
  flash.SetBytes(kArea, PlainRecord(body));
  Bytes out(2040);
  EXPECT_TRUE(Load(out, false));
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, "C0 C3 04 00 00 00 00 08", kBusOn));
  EXPECT_EQ(out, body);
}

TEST_F(FlashImages, TheLargestRecordIsReadInFull) {
  const Bytes body = Counting(0x30000 - 8);
  flash.SetBytes(kArea, PlainRecord(body));
  Bytes out(body.size());
  LogText log;
  EXPECT_TRUE(Load(out, false));
  EXPECT_EQ(log.Text(), Loaded("LoadHPC: Compressed length: 196608 :\n"));
  EXPECT_EQ(out, body);
  EXPECT_EQ(flash.TakeSetups().size(), 98U);
}

TEST_F(FlashImages, OnlyAsMuchAsWasAskedForIsCopied) {
  flash.SetBytes(kArea, PlainRecord({1, 2, 3, 4}));
  Bytes out(4, 0xEE);
  EXPECT_TRUE(camera.ReadFromFLAHAndUnCompress(out.data(), 2, false));
  EXPECT_THAT(out, ElementsAre(1, 2, 0xEE, 0xEE));
  EXPECT_TRUE(camera.ReadFromFLAHAndUnCompress(nullptr, 0, false));
}

TEST_F(FlashImages, BehindWhatARecordHoldsTheDestinationIsZero) {
  flash.SetBytes(kArea, PlainRecord({1, 2, 3, 4}));
  Bytes out(4000, 0xEE);
  EXPECT_TRUE(Load(out, false));
  Bytes expected(4000);
  std::copy_n(Bytes{1, 2, 3, 4}.begin(), 4, expected.begin());
  EXPECT_EQ(out, expected);
  flash.SetBytes(kArea, {'O', 'R', 'Q', 'D', 0, 0, 0, 10, 0x10, 9});
  out.assign(4000, 0xEE);
  EXPECT_TRUE(Load(out, true));
  expected.assign(4000, 0);
  expected[1] = 9;
  EXPECT_EQ(out, expected);
}

TEST_F(FlashImages, AnErasedAreaHoldsNoRecord) {
  Bytes out(4, 0xEE);
  LogText log;
  EXPECT_FALSE(Load(out, true));
  EXPECT_FALSE(Load(out, false));
  EXPECT_EQ(log.Text(), Loaded("Read SPI Flash get a HPC fail \n") + Loaded("Read SPI Flash get a image fail \n"));
  EXPECT_THAT(out, Each(0xEE));
  EXPECT_THAT(flash.TakeSetups(),
              ElementsAre(kBusOff, "C0 C3 04 00 00 00 00 08", kBusOn, kBusOff, "C0 C3 04 00 00 00 00 08", kBusOn));
}

TEST_F(FlashImages, ARecordOfTheOtherKindIsNone) {
  Bytes out(4, 0xEE);
  flash.SetBytes(kArea, PlainRecord({1, 2, 3, 4}));
  EXPECT_FALSE(Load(out, true));
  flash.SetBytes(kArea, {'O', 'R', 'Q', 'D', 0, 0, 0, 8});
  EXPECT_FALSE(Load(out, false));
  EXPECT_THAT(out, Each(0xEE));
}

TEST_F(FlashImages, AnUnreadableAreaHoldsNoRecord) {
  flash.SetBytes(kArea, PlainRecord({1, 2, 3, 4}));
  flash.refusedReads = {1};
  Bytes out(4, 0xEE);
  LogText log;
  EXPECT_FALSE(Load(out, false));
  EXPECT_EQ(log.Text(), Loaded("Read SPI Flash get a image fail \n"));
  EXPECT_THAT(out, Each(0xEE));
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, "C0 C3 04 00 00 00 00 08", kBusOn));
}

TEST_F(FlashImages, ARecordThatClaimsMoreThanTheAreaIsRefused) {
  Bytes out(4, 0xEE);
  for (const Bytes& length : {Bytes{0, 3, 0, 1}, Bytes{0xFF, 0xFF, 0xFF, 0xFF}, Bytes{0x80, 0, 0, 0}}) {
    flash.SetBytes(kArea, {'O', 'R', 'Q', 'D'});
    flash.SetBytes(kArea + 4, length);
    LogText log;
    EXPECT_FALSE(Load(out, true));
    EXPECT_EQ(log.Text(), Loaded("LoadHPCTable: HPC data length too big\n"));
    EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, "C0 C3 04 00 00 00 00 08", kBusOn));
  }
  EXPECT_THAT(out, Each(0xEE));
}

TEST_F(FlashImages, RecordsShorterThanAnEntryAreAllZero) {
  for (std::uint8_t length = 0; length <= 9; ++length) {
    flash.SetBytes(kArea, {'O', 'R', 'Q', 'D', 0, 0, 0, length, 0x10, 9});
    Bytes out(1024, 0xEE);
    EXPECT_TRUE(Load(out, true)) << int{length};
    EXPECT_THAT(out, Each(0)) << int{length};
  }
  flash.SetBytes(kArea, {'O', 'R', 'Q', 'G', 0, 0, 0, 0, 5, 5, 5, 5});
  Bytes out(4, 0xEE);
  EXPECT_TRUE(Load(out, false));
  EXPECT_THAT(out, Each(0));
}

TEST_F(FlashImages, AChunkIsReadThreeTimesAtMost) {
  const Bytes body = Counting(3 * 2048);
  flash.SetBytes(kArea, PlainRecord(body));
  flash.refusedReads = {3, 4};  // the third chunk, twice
  Bytes out(body.size(), 0xEE);
  {
    LogText log;
    EXPECT_TRUE(Load(out, false));
    EXPECT_EQ(log.Text(),
              Loaded("LoadHPC: Compressed length: 6152 :\n") + Loaded("fail 2\n") + Loaded("fail 2\n"));
  }
  EXPECT_EQ(out, body);
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, "C0 C3 04 00 00 00 00 08", "C0 C3 04 00 00 08 00 08",
                                              "C0 C3 04 00 00 10 00 08", "C0 C3 04 00 00 10 00 08",
                                              "C0 C3 04 00 00 10 00 08", "C0 C3 04 00 00 18 00 01", kBusOn));
}

TEST_F(FlashImages, AChunkThatCannotBeReadEndsTheLoad) {
  flash.SetBytes(kArea, PlainRecord(Counting(3 * 2048)));
  flash.refusedReads = {2, 3, 4};
  Bytes out(100, 0xEE);
  LogText log;
  EXPECT_FALSE(Load(out, false));
  EXPECT_EQ(log.Text(), Loaded("LoadHPC: Compressed length: 6152 :\n") + Loaded("fail 1\n") + Loaded("fail 1\n") +
                            Loaded("fail 1\n"));
  EXPECT_THAT(out, Each(0xEE));
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, "C0 C3 04 00 00 00 00 08", "C0 C3 04 00 00 08 00 08",
                                              "C0 C3 04 00 00 08 00 08", "C0 C3 04 00 00 08 00 08", kBusOn));
}

TEST_F(FlashImages, ARestThatCannotBeReadIsLeftZero) {
  const Bytes body = Counting(2048);
  flash.SetBytes(kArea, PlainRecord(body));
  flash.refusedReads = {2};
  Bytes out(2048, 0xEE);
  EXPECT_TRUE(Load(out, false));
  Bytes expected = body;
  std::fill(expected.begin() + 2040, expected.end(), std::uint8_t{0});
  EXPECT_EQ(out, expected);
}

TEST_F(FlashImages, TheRestOfAShortRecordHasBeenReadBefore) {
  flash.SetBytes(kArea, PlainRecord({1, 2, 3, 4}));
  flash.refusedReads = {2};
  Bytes out(4, 0xEE);
  EXPECT_TRUE(Load(out, false));
  EXPECT_THAT(out, ElementsAre(1, 2, 3, 4));
}

TEST_F(FlashImages, ARecordWithAnEntryOutsideTheSensorIsNotCopiedOut) {
  flash.SetBytes(kArea, {'O', 'R', 'Q', 'D', 0, 0, 0, 20, 0x10, 7, 0, 0, 0, 0, 0, 0, 0, 0});
  flash.SetBytes(kArea + 18, {0x21, 7});  // byte 1024 + 18 of 1024
  Bytes out(1024, 0xEE);
  LogText log;
  EXPECT_FALSE(Load(out, true));
  EXPECT_EQ(log.Text(), Loaded("LoadHPC: Compressed length: 20 :\n") +
                            Line("Uncompress", "Uncompress over flow,block1024,x2,y1\n"));
  EXPECT_THAT(out, Each(0xEE));
  EXPECT_EQ(flash.TakeSetups().back(), kBusOn);
}

TEST_F(FlashImages, LoadingIntoNothingIsRefused) {
  flash.SetBytes(kArea, PlainRecord({1, 2, 3, 4}));
  EXPECT_FALSE(camera.ReadFromFLAHAndUnCompress(nullptr, 4, false));
  EXPECT_THAT(flash.TakeSetups(), IsEmpty());
}

TEST_F(FlashImages, WhatWasSavedIsLoaded) {
  Bytes source(1024);
  for (const std::size_t at : {0U, 1U, 255U, 256U, 700U, 1023U})
    source[at] = static_cast<std::uint8_t>(at % 255 + 1);
  EXPECT_TRUE(Save(source, true));
  Bytes out(1024);
  EXPECT_TRUE(Load(out, true));
  EXPECT_EQ(out, source);
}

// Parameter page -----------------------------------------------------------------------------------------------

constexpr const char* kReadPage = "C0 C3 07 00 00 00 00 01";
constexpr const char* kErase7 = "40 C4 07 00 00 00 00 00";
constexpr const char* kWritePage = "40 C2 07 00 00 00 00 01";

class ParameterPage : public FlashImages {
 protected:
  ParameterPage() {
    flash.SetBytes(kPage, Counting(256));
    flash.SetBytes(kPage + 256, {1, 2, 3});
  }
  Bytes With(std::size_t offset, const Bytes& bytes) const {
    Bytes page = Counting(256);
    std::copy(bytes.begin(), bytes.end(), page.begin() + static_cast<std::ptrdiff_t>(offset));
    return page;
  }

  const Bytes news{0xA1, 0xA2, 0xA3};
};

TEST_F(ParameterPage, KeepsTheOtherBytesOfAWrite) {
  LogText log;
  EXPECT_TRUE(camera.WriteSPI(news.data(), 253, 3));
  EXPECT_EQ(log.Text(), "");
  EXPECT_EQ(flash.Bytes(kPage, 256), With(253, news));
  EXPECT_THAT(flash.Bytes(kPage + 256, 3), Each(0xFF)) << "the rest of the sector is erased";
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, kReadPage, kErase7, kWritePage, kReadPage, kBusOn));
}

TEST_F(ParameterPage, AWriteOutsideIsRefusedWithoutARequest) {
  const std::array<std::pair<int, int>, 6> outside{
      {{254, 3}, {257, 0}, {-1, 2}, {0, -1}, {INT_MAX, 1}, {1, INT_MAX}}};
  for (const auto& [offset, len] : outside)
    EXPECT_FALSE(camera.WriteSPI(news.data(), offset, len)) << offset << ", " << len;
  EXPECT_FALSE(camera.WriteSPI(nullptr, 0, 1));
  EXPECT_THAT(flash.TakeSetups(), IsEmpty());
  EXPECT_EQ(flash.Bytes(kPage, 256), Counting(256));
}

TEST_F(ParameterPage, ARefusedEraseAnswersWhatTheReadBeforeItDid) {
  flash.refusedErases = {1, 2};
  LogText log;
  EXPECT_TRUE(camera.WriteSPI(news.data(), 0, 3));
  EXPECT_EQ(log.Text(), Line("WriteSPI", "Erase SPI FLASH sector 7 failed :\n"));
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, kReadPage, kErase7, kBusOn));
  flash.refusedReads = {2};
  EXPECT_FALSE(camera.WriteSPI(news.data(), 0, 3));
  EXPECT_EQ(flash.Bytes(kPage, 256), Counting(256));
}

TEST_F(ParameterPage, IsWrittenAgainWhenItReadsBackWrong) {
  flash.flippedWrites = {1, 2};
  LogText log;
  EXPECT_TRUE(camera.WriteSPI(news.data(), 0, 3));
  EXPECT_EQ(log.Text(), Line("WriteSPI", "fail 1 try again\n") + Line("WriteSPI", "fail 2 try again\n"));
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, kReadPage, kErase7, kWritePage, kReadPage, kWritePage,
                                              kReadPage, kWritePage, kReadPage, kBusOn));
  EXPECT_EQ(flash.Bytes(kPage, 256), With(0, news));
}

TEST_F(ParameterPage, ThatReadsBackWrongThreeTimesIsNotSaved) {
  flash.flippedWrites = {1, 2, 3};
  LogText log;
  EXPECT_FALSE(camera.WriteSPI(news.data(), 0, 3));
  EXPECT_EQ(log.Text(), Line("WriteSPI", "fail 1 try again\n") + Line("WriteSPI", "fail 2 try again\n") +
                            Line("WriteSPI", "fail 3 try again\n"));
  EXPECT_THAT(flash.TakeSetups(), ElementsAre(kBusOff, kReadPage, kErase7, kWritePage, kReadPage, kWritePage,
                                              kReadPage, kWritePage, kReadPage, kBusOn));
}

TEST_F(ParameterPage, ThatCannotBeReadBackIsNotSaved) {
  flash.refusedReads = {2, 3, 4};
  EXPECT_FALSE(camera.WriteSPI(news.data(), 0, 3));
  EXPECT_EQ(flash.TakeSetups().back(), kBusOn);
}

TEST_F(ParameterPage, IsWrittenOnZerosWhenTheOldOneCannotBeRead) {
  flash.refusedReads = {1};
  EXPECT_TRUE(camera.WriteSPI(news.data(), 1, 3));
  Bytes expected(256);
  std::copy(news.begin(), news.end(), expected.begin() + 1);
  EXPECT_EQ(flash.Bytes(kPage, 256), expected);
}

TEST_F(ParameterPage, OnlyReadingBackTellsWhetherAWriteSucceeded) {
  flash.refusesWritesAfterStoring = true;
  EXPECT_TRUE(camera.WriteSPI(news.data(), 0, 3));
}

}  // namespace
