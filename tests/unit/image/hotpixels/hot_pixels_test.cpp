// The corrections of the camera object: what runs when, in which order, and what is rebuilt and logged.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <memory>
#include <vector>

#include "support/LogText.h"
#include "unit/image/CorrectionCamera.h"

namespace orq::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::string AdjustLine(const std::string& message) {
  return Line("AdjustHPCTable", message);
}

class HotPixels : public testing::Test {
 protected:
  CorrectionCamera camera{10, 8};

  void ListDark(std::uint32_t pos) {
    camera.iDarkWidth = 10;
    camera.iDarkHeight = 8;
    camera.pDarkPixList = std::make_unique<std::uint32_t[]>(1);
    camera.pDarkPixList[0] = pos;
    camera.iDarkPixCount = 1;
  }
  std::vector<std::uint8_t> Frame() const {
    return {camera.pImgBuf.get(), camera.pImgBuf.get() + 2 * camera.Pixels()};
  }
};

TEST_F(HotPixels, AreRepairedWhileTheCorrectionIsOn) {
  camera.HotAt(4, 4) = 1;
  camera.AdjustHPCTable();
  camera.FillFrame8(50);
  camera.Frame8(4, 4) = 255;
  camera.HandleHotPixels();
  EXPECT_EQ(camera.Frame8(4, 4), 255);
  camera.HPC = 1;
  camera.HandleHotPixels();
  EXPECT_EQ(camera.Frame8(4, 4), 50);
}

TEST_F(HotPixels, BadRowsAreRepairedWhileTheCorrectionIsOn) {
  for (int x = 0; x < 10; ++x) camera.HotAt(x, 3) = 1;
  camera.AdjustHPCTable();
  camera.FillFrame8(50);
  for (int x = 0; x < 10; ++x) camera.Frame8(x, 3) = 255;
  camera.HandleHotPixels();
  EXPECT_EQ(camera.Frame8(0, 3), 255);
  camera.HPC = 1;
  camera.HandleHotPixels();
  for (int x = 0; x < 10; ++x) EXPECT_EQ(camera.Frame8(x, 3), 50);
}

TEST_F(HotPixels, SamplesHaveTheWidthThatTheFrameArrivedIn) {
  camera.HPC = 1;
  camera.b16Bit = 1;
  camera.iADCBits = 12;
  camera.HotAt(4, 4) = 1;
  camera.HotAt(0, 0) = 1;
  camera.AdjustHPCTable();
  camera.FillFrame16(0x123F);
  camera.Frame16(4, 4) = 0xFFFF;
  camera.Frame16(0, 0) = 0xFFFF;
  camera.HandleHotPixels();
  EXPECT_EQ(camera.Frame16(4, 4), 0x1230);
  EXPECT_EQ(camera.Frame16(0, 0), 0x123F);
}

TEST_F(HotPixels, ColourSensorsUseNeighboursTwoSamplesAway) {
  camera.HPC = 1;
  camera.bIsColor = 1;
  camera.HotAt(4, 4) = 1;
  camera.AdjustHPCTable();
  camera.FillFrame8(200);
  camera.Frame8(4, 2) = 10;
  camera.Frame8(2, 4) = 20;
  camera.Frame8(6, 4) = 30;
  camera.Frame8(4, 6) = 40;
  camera.HandleHotPixels();
  EXPECT_EQ(camera.Frame8(4, 4), 25);
}

TEST_F(HotPixels, RowsComeAfterPixelsAndColumnsAfterRows) {
  camera.HPC = 1;
  camera.HotAt(5, 2) = 1;
  for (int x = 0; x < 10; ++x) camera.HotAt(x, 3) = 1;
  camera.AdjustHPCTable();
  camera.pBadCols = std::make_unique<std::uint32_t[]>(10);
  camera.pBadCols[7] = 1;
  camera.FillFrame8(40);
  camera.Frame8(5, 2) = 240;
  camera.Frame8(6, 4) = 80;
  camera.Frame8(7, 4) = 250;
  camera.HandleHotPixels();
  EXPECT_EQ(camera.Frame8(5, 2), 40);
  EXPECT_EQ(camera.Frame8(5, 3), 40);  // from the repaired pixel above, not from 240
  EXPECT_EQ(camera.Frame8(6, 3), 60);  // (40 + 80) / 2
  EXPECT_EQ(camera.Frame8(7, 3), 50);  // from the repaired row: (60 + 40) / 2, not (40 + 250) / 2
}

TEST_F(HotPixels, MissingListsAndMapsTurnTheirPassIntoNothing) {
  camera.HPC = 1;
  camera.CutDark = 1;
  camera.FillFrame8(40);
  camera.Frame8(5, 3) = 240;
  const auto before = Frame();
  camera.HandleHotPixels();
  EXPECT_EQ(Frame(), before);

  // Flags without a list are still in force.
  camera.iHPCWidth = 10;
  camera.iHPCHeight = 8;
  camera.pBadRows = std::make_unique<std::uint32_t[]>(8);
  camera.pBadRows[3] = 1;
  camera.HandleHotPixels();
  EXPECT_EQ(camera.Frame8(5, 3), 40);

  // A list without a map repairs the border only.
  camera.pBadRows.reset();
  camera.pHPCList = std::make_unique<std::uint32_t[]>(2);
  camera.pHPCList[0] = 0;
  camera.pHPCList[1] = 35;
  camera.iHPCCount = 2;
  camera.pHPCMap.reset();
  camera.Frame8(0, 0) = 240;
  camera.Frame8(5, 3) = 240;
  camera.HandleHotPixels();
  EXPECT_EQ(camera.Frame8(0, 0), 40);
  EXPECT_EQ(camera.Frame8(5, 3), 240);
}

TEST_F(HotPixels, NothingHappensWithoutAFrame) {
  camera.HPC = 1;
  camera.CutDark = 1;
  camera.HotAt(4, 4) = 1;
  camera.AdjustHPCTable();
  ListDark(44);
  camera.pImgBuf.reset();
  camera.HandleHotPixels();
  camera.b16Bit = 1;
  camera.HandleHotPixels();
  EXPECT_TRUE(camera.DeNoiseHPC(4, 4, 44));  // there is a map
}

TEST_F(HotPixels, DarkPixelsAreRepairedWhileDarkCorrectionIsOn) {
  ListDark(44);
  camera.FillFrame8(10);
  camera.Frame8(3, 4) = 50;
  camera.Frame8(4, 4) = 255;
  camera.Frame8(5, 4) = 71;
  camera.HPC = 1;
  camera.HandleHotPixels();
  EXPECT_EQ(camera.Frame8(4, 4), 255);
  camera.HPC = 0;
  camera.CutDark = 1;
  camera.HandleHotPixels();
  EXPECT_EQ(camera.Frame8(4, 4), 60);
}

TEST_F(HotPixels, APixelInBothListsIsRepairedTwice) {
  camera.HPC = 1;
  camera.CutDark = 1;
  camera.HotAt(4, 4) = 1;
  camera.HotAt(5, 4) = 1;
  camera.AdjustHPCTable();
  ListDark(44);
  camera.FillFrame8(0);
  camera.Frame8(4, 3) = 100;
  camera.Frame8(3, 4) = 40;
  camera.Frame8(4, 4) = 255;
  camera.Frame8(5, 4) = 255;
  camera.HandleHotPixels();
  // First the means over four neighbours: (100 + 40 + 0) / 3 = 46, then to its right (0 + 46 + 0 + 0) / 4 = 11;
  // then the mean of left and right.
  EXPECT_EQ(camera.Frame8(5, 4), 11);
  EXPECT_EQ(camera.Frame8(4, 4), 25);  // (40 + 11) / 2
}

TEST_F(HotPixels, ListsBeyondTheBufferDoNoHarm) {
  camera.HPC = 1;
  camera.CutDark = 1;
  camera.iHPCWidth = 1000;
  camera.iHPCHeight = 1000;
  camera.iDarkWidth = 1000;
  camera.iDarkHeight = 1000;
  for (auto* list : {&camera.pHPCList, &camera.pDarkPixList}) {
    *list = std::make_unique<std::uint32_t[]>(3);
    (*list)[0] = 1;
    (*list)[1] = 159;
    (*list)[2] = 500'500;
  }
  camera.iHPCCount = 3;
  camera.iDarkPixCount = 3;
  camera.pBadRows = std::make_unique<std::uint32_t[]>(1000);
  camera.pBadCols = std::make_unique<std::uint32_t[]>(1000);
  std::fill_n(camera.pBadRows.get(), 1000, 1U);
  std::fill_n(camera.pBadCols.get(), 1000, 1U);
  camera.FillFrame8(7);
  camera.HandleHotPixels();
  camera.b16Bit = 1;
  camera.HandleHotPixels();
  EXPECT_EQ(camera.Frame8(9, 7), 7);
  camera.iDarkWidth = 0;
  camera.iHPCWidth = 0;
  camera.HandleHotPixels();
  camera.iHPCCount = -1;
  camera.iDarkPixCount = -1;
  camera.HandleHotPixels();
  EXPECT_EQ(camera.Frame8(9, 7), 7);
}

TEST_F(HotPixels, ASinglePixelIsDenoisedOnRequest) {
  camera.iHPCWidth = 10;
  camera.iHPCHeight = 8;
  camera.FillFrame8(30);
  camera.Frame8(4, 4) = 200;
  EXPECT_TRUE(camera.DeNoiseHPC(4, 4, 44));
  EXPECT_EQ(camera.Frame8(4, 4), 30);
  camera.pHPCMap.reset();
  camera.Frame8(4, 4) = 200;
  EXPECT_FALSE(camera.DeNoiseHPC(4, 4, 44));
  EXPECT_EQ(camera.Frame8(4, 4), 200);
}

TEST_F(HotPixels, TheReplacementAtTheBorderKnowsTheListsEnd) {
  std::array<unsigned, 4> list{0, 2, 20, 22};
  camera.iHPCCount = 4;
  EXPECT_EQ(camera.GetSuitableReplacePos(0, list.data(), 2, 10, 8, false), 22);  // right and down are hot
  camera.iHPCCount = 2;
  EXPECT_EQ(camera.GetSuitableReplacePos(0, list.data(), 2, 10, 8, false), 20);
  camera.iHPCCount = 1;
  EXPECT_EQ(camera.GetSuitableReplacePos(0, list.data(), 2, 10, 8, false), 2);
  EXPECT_EQ(camera.GetSuitableReplacePos(0, list.data(), 2, 10, 8, true), 0);
  EXPECT_EQ(camera.GetSuitableReplacePos(1, list.data(), 2, 10, 8, false), 0);  // not in the list
  EXPECT_EQ(camera.GetSuitableReplacePos(-1, list.data(), 2, 10, 8, false), 0);
  EXPECT_EQ(camera.GetSuitableReplacePos(0, nullptr, 2, 10, 8, false), 0);
}

TEST_F(HotPixels, TheFirstAdjustmentBuildsAndLogs) {
  camera.HotAt(1, 1) = 1;
  camera.HotAt(9, 7) = 1;
  LogText log;
  camera.AdjustHPCTable();
  EXPECT_EQ(log.Text(), AdjustLine("AdjustHPCTable >\n") + AdjustLine("HPC Dead pixel:2\n"));
  EXPECT_THAT(camera.HotList(), ElementsAre(11, 79));
  EXPECT_EQ(camera.iHPCWidth, 10);
  EXPECT_EQ(camera.iHPCHeight, 8);
  EXPECT_EQ(camera.hpcLastBin, 1);
  EXPECT_FALSE(camera.hpcLastBin4By2x2);
  EXPECT_EQ(camera.hpcLastWidth, 10);
  EXPECT_EQ(camera.hpcLastHeight, 8);
  EXPECT_EQ(camera.hpcLastStartX, 0);
  EXPECT_EQ(camera.hpcLastStartY, 0);
  EXPECT_FALSE(camera.bHPCForce);
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("IsHardBinRun"));
}

TEST_F(HotPixels, AnUnchangedGeometryIsLoggedAndLeavesTheList) {
  camera.HotAt(1, 1) = 1;
  camera.AdjustHPCTable();
  camera.HotAt(2, 2) = 1;
  camera.TakeCalls();
  LogText log;
  camera.AdjustHPCTable();
  EXPECT_EQ(log.Text(), Line("IsHPCChange", "not changed, return\n"));
  EXPECT_THAT(camera.HotList(), ElementsAre(11));
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
}

TEST_F(HotPixels, EachPartOfTheGeometryCountsAsAChange) {
  const auto changed = [this](auto change) {
    camera.SetRegion(1, 4, 4, 0, 0);
    camera.bBin4By2x2 = 0;
    camera.bHPCForce = true;
    camera.AdjustHPCTable();
    EXPECT_FALSE(camera.IsHPCChange());
    change();
    return camera.IsHPCChange();
  };
  EXPECT_TRUE(changed([this] { camera.iBin = 2; }));
  EXPECT_TRUE(changed([this] { camera.bBin4By2x2 = 1; }));
  EXPECT_TRUE(changed([this] { camera.iWidth = 5; }));
  EXPECT_TRUE(changed([this] { camera.iHeight = 5; }));
  EXPECT_TRUE(changed([this] { camera.iStartX = 1; }));
  EXPECT_TRUE(changed([this] { camera.iStartY = 1; }));
  EXPECT_TRUE(changed([this] { camera.bHPCForce = true; }));
  EXPECT_FALSE(changed([this] { camera.hardBinRun = true; }));  // the caller forces what is not geometry
}

TEST_F(HotPixels, AskingForAChangeLogsOnlyWithoutOne) {
  LogText log;
  EXPECT_TRUE(camera.IsHPCChange());
  EXPECT_EQ(log.Text(), "");
}

TEST_F(HotPixels, AChangeOfTheStartAloneRebuilds) {
  camera.HotAt(5, 5) = 1;
  camera.SetRegion(1, 4, 4, 2, 2);
  camera.AdjustHPCTable();
  EXPECT_THAT(camera.HotList(), ElementsAre(15));
  camera.iStartX = 4;
  camera.AdjustHPCTable();
  EXPECT_THAT(camera.HotList(), ElementsAre(13));
  EXPECT_EQ(camera.hpcLastStartX, 4);
}

TEST_F(HotPixels, WithoutMapsNothingIsAdjusted) {
  LogText log;
  camera.pHPCMap.reset();
  camera.AdjustHPCTable();
  camera.InitVariable();
  camera.pHPCFullMap.reset();
  camera.AdjustHPCTable();
  EXPECT_EQ(log.Text(), "");
  EXPECT_EQ(camera.pHPCList, nullptr);
  EXPECT_TRUE(camera.bHPCForce);
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
}

TEST_F(HotPixels, FlagsAreMadeAnewByEveryAdjustment) {
  for (int x = 0; x < 5; ++x) camera.HotAt(2 * x, 3) = 1;  // half of the row
  camera.AdjustHPCTable();
  ASSERT_NE(camera.pBadRows, nullptr);
  EXPECT_EQ(std::vector<std::uint32_t>(camera.pBadRows.get(), camera.pBadRows.get() + 8),
            (std::vector<std::uint32_t>{0, 0, 0, 1, 0, 0, 0, 0}));
  EXPECT_THAT(camera.HotList(), IsEmpty());
  EXPECT_NE(camera.pHPCList, nullptr);
  camera.pBadCols = std::make_unique<std::uint32_t[]>(10);
  camera.SetRegion(1, 10, 3, 0, 0);
  camera.AdjustHPCTable();
  EXPECT_EQ(camera.pBadRows, nullptr);
  EXPECT_EQ(camera.pBadCols, nullptr);
}

TEST_F(HotPixels, HardwareBinningIsAskedFromTheModelOnce) {
  camera.hardBinRun = true;
  camera.HotAt(7, 6) = 1;
  camera.SetRegion(2, 4, 4, 0, 0);
  camera.AdjustHPCTable();
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("IsHardBinRun"));
  EXPECT_EQ(camera.iHPCWidth, 4);
  EXPECT_EQ(camera.iHPCHeight, 4);
  EXPECT_THAT(camera.HotList(), ElementsAre(2 * 4 + 3));  // 7 / 4 * 2 + 1, 6 / 4 * 2
}

TEST_F(HotPixels, TheModelsBinOffsetsAreUsed) {
  camera.hardBinRun = true;
  camera.HotAt(0, 0) = 1;
  camera.SetRegion(2, 4, 4, 0, 0);
  camera.pBinOffsets[16] = {4, 0};
  camera.AdjustHPCTable();
  EXPECT_THAT(camera.HotList(), ElementsAre(2));
}

TEST_F(HotPixels, TwoProductsScaleCoordinates) {
  camera.hardBinRun = true;
  camera.HotAt(3, 3) = 1;
  camera.SetRegion(2, 5, 4, 0, 0);
  const auto place = [this](std::int32_t product) {
    camera.iPID = product;
    camera.bHPCForce = true;
    camera.AdjustHPCTable();
    return camera.HotList().at(0);
  };
  EXPECT_EQ(place(0x294A), 2 * 5 + 1U);  // row 1.5 + 0.5, column 1.5 truncated
  EXPECT_EQ(place(0x294E), 2 * 5 + 1U);
  EXPECT_EQ(place(0x1294A), 2 * 5 + 1U);  // ids have 16 bits
  for (const std::int32_t other : {0x294B, 0x2948, 0x294F, 0x2942}) EXPECT_EQ(place(other), 1 * 5 + 1U);
}

TEST(HotPixelCount, OverTheLimitIsLoggedAndCutOff) {
  CorrectionCamera camera(1000, 400);
  std::size_t hot = 0;
  for (std::size_t i = 0; hot < 99'999; ++i)
    if (i % 1000 < 499) ++hot, camera.pHPCFullMap[i] = 1;
  LogText below;
  camera.AdjustHPCTable();
  EXPECT_EQ(below.Text(), AdjustLine("AdjustHPCTable >\n") + AdjustLine("HPC Dead pixel:99999\n"));

  camera.HotAt(0, 300) = 1;
  camera.bHPCForce = true;
  LogText reached;
  camera.AdjustHPCTable();
  EXPECT_EQ(reached.Text(), AdjustLine("AdjustHPCTable >\n") + AdjustLine("HPC number over 100000, quit!\n") +
                                AdjustLine("HPC Dead pixel:100000\n"));
  EXPECT_EQ(camera.iHPCCount, 100'000);
  EXPECT_EQ(camera.pHPCList[99'999], 300'000U);

  camera.HotAt(0, 301) = 1;
  camera.bHPCForce = true;
  camera.AdjustHPCTable();
  EXPECT_EQ(camera.iHPCCount, 100'000);
}

}  // namespace
}  // namespace orq::test
