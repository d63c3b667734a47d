// The hot-pixel table's way from the dark image to the flash and back.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "support/FlashPort.h"
#include "support/LogText.h"

namespace orq::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kArea = 0x40000;

/// A sensor of 64 x 40 pixels: the bitmap has 320 bytes, in a block of 256 and one of 64.
class HotPixelFlash : public testing::Test {
 protected:
  HotPixelFlash() { Resize(64, 40); }

  void Resize(int columns, int rows) {
    camera.iMaxWidth = columns;
    camera.iMaxHeight = rows;
    camera.InitVariable();
    camera.iWidth = columns;
    camera.iHeight = rows;
    pixels = static_cast<std::size_t>(columns * rows);
  }
  void MakeDark(std::uint8_t value, std::uint32_t average) {
    camera.pDarkFull = std::make_unique<std::uint8_t[]>(pixels);
    std::fill_n(camera.pDarkFull.get(), pixels, value);
    camera.iDarkAverage = average;
  }
  Bytes FullMap() const { return {camera.pHPCFullMap.get(), camera.pHPCFullMap.get() + pixels}; }
  std::vector<std::uint32_t> List() const {
    return {camera.pHPCList.get(), camera.pHPCList.get() + static_cast<std::size_t>(camera.iHPCCount)};
  }
  /// Pixels 3 and 2559.
  void StoreTable() {
    camera.flash->SetBytes(kArea, {'O', 'R', 'Q', 'D', 0, 0, 0, 14, 0x00, 0x08, 0x00, 0x00, 0xF3, 0x80});
  }

  FlashCamera camera;
  std::size_t pixels = 0;
};

TEST_F(HotPixelFlash, ATableIsMadeFromTheDarkImageAndStored) {
  MakeDark(20, 20);
  camera.pDarkFull[3] = 51;      // 31 above the average: bit 3 of byte 0
  camera.pDarkFull[4] = 50;      // 30 above
  camera.pDarkFull[2559] = 255;  // bit 7 of byte 319, the 63rd of its block: row 3, column 15
  camera.pHPCFullMap[100] = 1;   // of an older table
  EXPECT_TRUE(camera.SaveHPCTable());
  EXPECT_EQ(camera.flash->Bytes(kArea, 14),
            (Bytes{'O', 'R', 'Q', 'D', 0, 0, 0, 14, 0x00, 0x08, 0x00, 0x00, 0xF3, 0x80}));
  Bytes expected(2560);
  expected[3] = 1;
  expected[2559] = 1;
  EXPECT_EQ(FullMap(), expected);
}

TEST_F(HotPixelFlash, AFailedSaveIsReported) {
  MakeDark(20, 20);
  camera.flash->refusedErases = {1};
  EXPECT_FALSE(camera.SaveHPCTable());
}

TEST_F(HotPixelFlash, NothingIsSavedWithoutAMapOrADarkImage) {
  camera.pHPCFullMap[7] = 1;
  EXPECT_FALSE(camera.SaveHPCTable());
  EXPECT_EQ(camera.pHPCFullMap[7], 1);
  MakeDark(20, 20);
  camera.pHPCFullMap.reset();
  EXPECT_FALSE(camera.SaveHPCTable());
  EXPECT_THAT(camera.flash->TakeEvents(), IsEmpty());
}

TEST_F(HotPixelFlash, PixelsBehindTheLastWholeByteAreNotStored) {
  Resize(25, 25);  // 625 pixels: 78 bytes and a bit
  MakeDark(0, 0);
  camera.pDarkFull[623] = 200;
  camera.pDarkFull[624] = 200;
  EXPECT_TRUE(camera.SaveHPCTable());
  EXPECT_EQ(camera.pHPCFullMap[624], 1);
  EXPECT_EQ(camera.flash->Bytes(kArea + 4, 6), (Bytes{0, 0, 0, 10, 0xD4, 0x80}));  // byte 77
  camera.pHPCFullMap[0] = 1;
  EXPECT_TRUE(camera.LoadHPCTable());
  EXPECT_EQ(camera.pHPCFullMap[0], 0);
  EXPECT_EQ(camera.pHPCFullMap[623], 1);
  EXPECT_EQ(camera.pHPCFullMap[624], 1);  // as it was
}

TEST_F(HotPixelFlash, ALoadedTableIsExpandedAndCut) {
  StoreTable();
  std::fill_n(camera.pHPCFullMap.get(), pixels, std::uint8_t{1});
  LogText log;
  EXPECT_TRUE(camera.LoadHPCTable());
  EXPECT_EQ(log.Text(), Line("ReadFromFLAHAndUnCompress", "LoadHPC: Compressed length: 14 :\n") +
                            Line("AdjustHPCTable", "AdjustHPCTable >\n") +
                            Line("AdjustHPCTable", "HPC Dead pixel:2\n"));
  Bytes expected(2560);
  expected[3] = 1;
  expected[2559] = 1;
  EXPECT_EQ(FullMap(), expected);
  EXPECT_THAT(List(), ElementsAre(3, 2559));
  EXPECT_FALSE(camera.bHPCForce);
}

TEST_F(HotPixelFlash, LoadingRebuildsAnUnchangedGeometryToo) {
  camera.AdjustHPCTable();
  ASSERT_FALSE(camera.bHPCForce);
  StoreTable();
  EXPECT_TRUE(camera.LoadHPCTable());
  EXPECT_THAT(List(), ElementsAre(3, 2559));
}

TEST_F(HotPixelFlash, AFailedLoadChangesNothing) {
  camera.pHPCFullMap[9] = 1;
  camera.AdjustHPCTable();
  EXPECT_FALSE(camera.LoadHPCTable());  // there is no record
  EXPECT_EQ(camera.pHPCFullMap[9], 1);
  EXPECT_FALSE(camera.bHPCForce);
  EXPECT_THAT(List(), ElementsAre(9));
}

TEST_F(HotPixelFlash, NothingIsLoadedWithoutAMap) {
  StoreTable();
  camera.pHPCFullMap.reset();
  EXPECT_FALSE(camera.LoadHPCTable());
  EXPECT_THAT(camera.flash->TakeEvents(), IsEmpty());
}

TEST_F(HotPixelFlash, WithoutTheFramesMapTheTableIsLoadedAndNotCut) {
  StoreTable();
  camera.pHPCMap.reset();
  camera.bHPCForce = false;
  LogText log;
  EXPECT_TRUE(camera.LoadHPCTable());
  EXPECT_EQ(log.Text(), Line("ReadFromFLAHAndUnCompress", "LoadHPC: Compressed length: 14 :\n"));
  Bytes expected(2560);
  expected[3] = 1;
  expected[2559] = 1;
  EXPECT_EQ(FullMap(), expected);
  EXPECT_TRUE(camera.bHPCForce);
}

TEST_F(HotPixelFlash, SwitchingOnLoadsTheTable) {
  StoreTable();
  LogText log;
  EXPECT_TRUE(camera.SetHPCStates(true));
  EXPECT_EQ(log.Text(), Line("ReadFromFLAHAndUnCompress", "LoadHPC: Compressed length: 14 :\n") +
                            Line("AdjustHPCTable", "AdjustHPCTable >\n") +
                            Line("AdjustHPCTable", "HPC Dead pixel:2\n") +
                            Line("SetHPCStates", "Load HPC table success\n"));
  EXPECT_EQ(camera.HPC, 1);
}

TEST_F(HotPixelFlash, SwitchingOnWithoutATableStaysOff) {
  LogText log;
  EXPECT_FALSE(camera.SetHPCStates(true));
  EXPECT_EQ(log.Text(), Line("ReadFromFLAHAndUnCompress", "Read SPI Flash get a HPC fail \n") +
                            Line("SetHPCStates", "Load HPC table error\n"));
  EXPECT_EQ(camera.HPC, 0);
}

TEST_F(HotPixelFlash, SwitchingOffLoadsNothing) {
  camera.HPC = 1;
  LogText log;
  EXPECT_TRUE(camera.SetHPCStates(false));
  EXPECT_EQ(log.Text(), "");
  EXPECT_EQ(camera.HPC, 0);
  EXPECT_THAT(camera.flash->TakeEvents(), IsEmpty());
}

/// 8 bytes in front, 1005 entries and 15 ends of blocks of 2 bytes each make 2048.
TEST_F(HotPixelFlash, ATableOfWholeChunksIsSavedAndReportedAsFailed) {
  Resize(64, 512);
  MakeDark(20, 20);
  for (std::size_t byte = 0; byte < 1004; ++byte) camera.pDarkFull[8 * byte] = 60;
  camera.pDarkFull[8 * 4095] = 60;
  EXPECT_FALSE(camera.SaveHPCTable());
  EXPECT_EQ(camera.flash->Bytes(kArea, 8), (Bytes{'O', 'R', 'Q', 'D', 0, 0, 0x08, 0x00}));
  const Bytes saved = FullMap();
  std::fill_n(camera.pHPCFullMap.get(), pixels, std::uint8_t{0});
  EXPECT_TRUE(camera.LoadHPCTable());
  EXPECT_EQ(FullMap(), saved);
  EXPECT_EQ(std::count(saved.begin(), saved.end(), 1), 1005);
}

TEST_F(HotPixelFlash, WhatWasSavedComesBack) {
  MakeDark(10, 10);
  for (std::size_t i = 0; i < pixels; i += 37) camera.pDarkFull[i] = 200;
  ASSERT_TRUE(camera.SaveHPCTable());
  const Bytes saved = FullMap();
  std::fill_n(camera.pHPCFullMap.get(), pixels, std::uint8_t{0});
  ASSERT_TRUE(camera.LoadHPCTable());
  EXPECT_EQ(FullMap(), saved);
  EXPECT_EQ(camera.iHPCCount, 70);
}

}  // namespace
}  // namespace orq::test
