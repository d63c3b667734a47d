#include "models/flash/HotPixelStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <set>

#include "support/VirtualRig.h"

namespace orq::test {
namespace {

using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using Bytes = std::vector<std::uint8_t>;
using Positions = std::set<std::size_t>;

constexpr std::uint32_t kArea = 0x40000;
constexpr std::uint32_t kAreaAndSector = 0x40000;
constexpr std::uint8_t kDark = 10;
const FlashWatcher kUnwatched;

/// The record of a bitmap of `bytes` bytes with these bits set, by the format's own rules.
Bytes Record(std::size_t bytes, const Positions& hot) {
  Bytes record{'O', 'R', 'Q', 'D', 0, 0, 0, 0};
  auto next = hot.begin();
  for (std::size_t i = 0; i < bytes; ++i) {
    int value = 0;
    for (; next != hot.end() && *next / 8 == i; ++next) value |= 1 << (*next % 8);
    if (value != 0) {
      record.push_back(static_cast<std::uint8_t>(i % 16 * 16 + i / 16 % 16));
      record.push_back(static_cast<std::uint8_t>(value));
    }
    if (i % 256 == 255 && i + 1 != bytes) record.insert(record.end(), {0, 0});
  }
  for (std::size_t i = 0; i < 4; ++i) record[7 - i] = static_cast<std::uint8_t>(record.size() >> (8 * i));
  return record;
}

class HotPixelStore : public testing::Test {
 protected:
  explicit HotPixelStore(int side = 128)
      : rig("k1m", {}, side), pixels(static_cast<std::size_t>(side) * static_cast<std::size_t>(side)) {
    EXPECT_TRUE(rig.Open());
    contents.resize(kAreaAndSector);
    for (std::size_t i = 0; i < contents.size(); ++i) contents[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
    rig.device->SetFlash(kArea, contents);
    EXPECT_TRUE(ReadFlashImage(*rig.camera, before, kUnwatched).Done());
    rig.device->ClearRequests();
  }

  /// A dark image that is 31 above the mean at these pixels.
  void TakeDark(const Positions& hot) const {
    const std::scoped_lock locks(rig.camera->DarkAccumMutex, rig.camera->DarkBufMutex);
    rig.camera->pDarkFull = std::make_unique<std::uint8_t[]>(pixels);
    std::fill_n(rig.camera->pDarkFull.get(), pixels, kDark);
    for (const std::size_t pos : hot) rig.camera->pDarkFull[pos] = kDark + 31;
    rig.camera->iDarkAverage = kDark;
  }

  HotPixelMarks Marks(const Positions& hot) const {
    HotPixelMarks marks(pixels);
    for (const std::size_t pos : hot) marks[pos] = 1;
    return marks;
  }

  /// Flash after saving: the record and zeros to the end of its page in erased sectors, all else as it was.
  Bytes Expected(const Positions& hot) const {
    const Bytes record = Record(pixels / 8, hot);
    Bytes flash = contents;
    std::fill_n(flash.begin(), (record.size() + 0xFFFF) / 0x10000 * 0x10000, std::uint8_t{0xFF});
    std::fill_n(flash.begin(), (record.size() + 255) / 256 * 256, std::uint8_t{0});
    std::copy(record.begin(), record.end(), flash.begin());
    return flash;
  }

  Bytes Flash() const { return rig.device->Flash(kArea, kAreaAndSector); }
  int Count(std::uint8_t request) const {
    const auto requests = rig.device->Requests();
    return static_cast<int>(
        std::ranges::count_if(requests, [&](const LoggedRequest& r) { return r.setup.request == request; }));
  }
  void Fault(FlashFault::Kind kind, std::uint64_t first, std::uint64_t last) const {
    for (std::uint64_t n = first; n <= last; ++n) rig.device->AddFlashFault({kind, n});
  }
  FlashOutcome Store() const { return StoreHotPixels(*rig.camera, before, kUnwatched); }
  void ExpectUsable() const {
    FrameInfo info;
    EXPECT_THAT(rig.Snap(info), Not(IsEmpty()));
  }
  void ExpectUntouched() const {
    EXPECT_EQ(Count(0xC2) + Count(0xC4), 0);
    EXPECT_EQ(Flash(), contents);
  }

  VirtualRig rig;
  std::size_t pixels;
  Bytes contents;
  FlashImage before;
  const Positions some{0, 7, 5'000, 128 * 128 - 1};
};

// From the dark image ------------------------------------------------------------------------------------------

TEST_F(HotPixelStore, APixelIsHotFrom31AboveTheMeanOfTheDark) {
  EXPECT_THAT(HotPixelsOfDark(*rig.camera), IsEmpty()) << "no dark";
  TakeDark(some);
  rig.camera->pDarkFull[100] = kDark + 30;
  EXPECT_EQ(HotPixelsOfDark(*rig.camera), Marks(some));
}

// Saving -------------------------------------------------------------------------------------------------------

TEST_F(HotPixelStore, SavingPutsTheRecordIntoFlashAndTheTableIntoForce) {
  TakeDark(some);
  EXPECT_TRUE(Store().Done());
  EXPECT_EQ(Flash(), Expected(some));
  const std::scoped_lock lock(rig.camera->HPCMutex);
  EXPECT_TRUE(std::ranges::equal(Marks(some), std::span(rig.camera->pHPCFullMap.get(), pixels)));
  EXPECT_EQ(rig.camera->iHPCCount, 4);
}

TEST_F(HotPixelStore, ARowThatIsWarmerThanTheOthersIsSavedAsABadRow) {
  constexpr std::size_t kRow = 40;
  const std::size_t side = 128;
  TakeDark(some);
  for (std::size_t x = 0; x < side; ++x) rig.camera->pDarkFull[kRow * side + x] = kDark + 3;
  const auto dark = std::span(rig.camera->pDarkFull.get(), pixels);
  const Bytes before_(dark.begin(), dark.end());
  Positions hot = some;
  for (std::size_t x = 0; x < side; ++x) hot.insert(kRow * side + x);
  EXPECT_EQ(HotPixelsOfDark(*rig.camera), Marks(hot));
  rig.device->ClearRequests();
  EXPECT_TRUE(Store().Done());
  EXPECT_EQ(Flash(), Expected(hot));
  EXPECT_EQ(Count(0xC4), 1) << "the table is written at once";
  EXPECT_TRUE(std::ranges::equal(before_, dark)) << "the dark stays";
  const std::scoped_lock lock(rig.camera->HPCMutex);
  ASSERT_NE(rig.camera->pBadRows, nullptr);
  EXPECT_EQ(rig.camera->pBadRows[kRow], 1U);
  EXPECT_EQ(rig.camera->iHPCCount, 4);
}

TEST_F(HotPixelStore, SavingTellsHowFarItIs) {
  TakeDark(some);
  std::vector<std::uint32_t> done;
  EXPECT_TRUE(StoreHotPixels(*rig.camera, before, [&](const FlashProgress& progress) {
                EXPECT_STREQ(progress.step, "saving");
                EXPECT_EQ(progress.total, 0x40000U);
                done.push_back(progress.done);
                return true;
              }).Done());
  EXPECT_TRUE(std::ranges::is_sorted(done));
  EXPECT_EQ(done.back(), 0x3F800U);
}

TEST_F(HotPixelStore, ASensorWithoutHotPixelsHasATable) {
  TakeDark({});
  EXPECT_TRUE(Store().Done());
  HotPixelMarks marks;
  EXPECT_TRUE(ReadHotPixels(*rig.camera, marks).Done());
  EXPECT_EQ(marks, Marks({}));
}

TEST_F(HotPixelStore, ARefusedEraseIsTriedOnceMore) {
  TakeDark(some);
  Fault(FlashFault::Kind::Erase, 1, 1);
  EXPECT_TRUE(Store().Done());
  EXPECT_EQ(Flash(), Expected(some));
}

TEST_F(HotPixelStore, AnEraseThatStaysRefusedLeavesFlashAsItWas) {
  TakeDark(some);
  Fault(FlashFault::Kind::Erase, 1, 2);
  const FlashOutcome outcome = Store();
  EXPECT_EQ(outcome.result, FlashResult::CameraFailed);
  EXPECT_EQ(outcome.reason, "cannot erase flash at 0x40000");
  EXPECT_EQ(Flash(), contents);
  ExpectUsable();
}

TEST_F(HotPixelStore, WeakWritesAreRepaired) {
  TakeDark(some);
  Fault(FlashFault::Kind::WeakWrite, 1, 5);  // three attempts, and two after the sector was erased again
  EXPECT_TRUE(Store().Done());
  EXPECT_EQ(Flash(), Expected(some));
}

TEST_F(HotPixelStore, FlashThatKeepsNothingIsReportedAndTheBackupPutsItRight) {
  TakeDark(some);
  Fault(FlashFault::Kind::WeakWrite, 1, 6);
  const FlashOutcome outcome = Store();
  EXPECT_EQ(outcome.result, FlashResult::CameraFailed);
  EXPECT_EQ(outcome.reason, "flash does not keep what is written at 0x40000");
  EXPECT_NE(Flash(), Expected(some));
  EXPECT_TRUE(RestoreFlashImage(*rig.camera, before, kUnwatched).Done());
  EXPECT_EQ(Flash(), contents);
  ExpectUsable();
}

TEST_F(HotPixelStore, ATableThatIsThereButCouldNotBeReadBackAtOnceIsSaved) {
  TakeDark(some);
  Fault(FlashFault::Kind::Read, 1, 5);
  EXPECT_TRUE(Store().Done());
  EXPECT_EQ(Flash(), Expected(some));
}

TEST_F(HotPixelStore, ATableThatCannotBeReadBackIsReported) {
  TakeDark(some);
  Fault(FlashFault::Kind::Read, 1, 6);
  const FlashOutcome outcome = Store();
  EXPECT_EQ(outcome.result, FlashResult::CameraFailed);
  EXPECT_EQ(outcome.reason, "cannot read flash at 0x40000");
}

TEST_F(HotPixelStore, ATableThatCannotBeLoadedAfterwardsIsReported) {
  TakeDark(some);
  Fault(FlashFault::Kind::Read, 1 + 128 + 1, 1 + 128 + 1);  // reading back one piece, all of flash, loading
  const FlashOutcome outcome = Store();
  EXPECT_EQ(outcome.result, FlashResult::CameraFailed);
  EXPECT_THAT(outcome.reason, HasSubstr("was saved, but cannot be loaded"));
  EXPECT_EQ(Flash(), Expected(some));
}

TEST_F(HotPixelStore, AfterALossOfPowerTheBackupPutsFlashRight) {
  TakeDark(some);
  Fault(FlashFault::Kind::PowerLoss, 1, 1);
  EXPECT_EQ(Store().result, FlashResult::CameraFailed);
  EXPECT_TRUE(rig.camera->DeviceLost());
  EXPECT_NE(Flash(), contents);
  rig.camera->CloseCamera();
  rig.bus->Attach(rig.device);
  ASSERT_TRUE(rig.Open());
  EXPECT_TRUE(RestoreFlashImage(*rig.camera, before, kUnwatched).Done());
  EXPECT_EQ(Flash(), contents);
}

TEST_F(HotPixelStore, AWishToStopIsGrantedBetweenSectors) {
  TakeDark(some);
  const FlashOutcome outcome =
      StoreHotPixels(*rig.camera, before, [](const FlashProgress& progress) { return progress.done < 0x10800; });
  EXPECT_EQ(outcome.result, FlashResult::Cancelled);
  EXPECT_EQ(outcome.reason, "stopped before all of the table was checked");
  EXPECT_EQ(Flash(), Expected(some));
  ExpectUsable();
}

TEST_F(HotPixelStore, NothingIsTouchedWithoutDarkOrBackup) {
  EXPECT_EQ(Store().result, FlashResult::Refused) << "no dark";
  TakeDark(some);
  FlashImage half = before;
  half.bytes.pop_back();
  EXPECT_EQ(StoreHotPixels(*rig.camera, half, kUnwatched).result, FlashResult::Refused);
  ExpectUntouched();
}

TEST_F(HotPixelStore, NothingIsTouchedWhileCaptureRunsOrTheCameraIsClosed) {
  TakeDark(some);
  HotPixelMarks marks{1, 2, 3};
  const auto expectRefused = [&](const char* reason) {
    for (const FlashOutcome& outcome : {Store(), ReadHotPixels(*rig.camera, marks)}) {
      EXPECT_EQ(outcome.result, FlashResult::Refused);
      EXPECT_THAT(outcome.reason, HasSubstr(reason));
    }
    EXPECT_EQ(marks, (HotPixelMarks{1, 2, 3}));
    EXPECT_EQ(Count(0xC3), 0);
    ExpectUntouched();
  };
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  expectRefused("capture runs");
  rig.camera->StopCapture();
  rig.camera->CloseCamera();
  expectRefused("not open");
}

// A record is cut short rather than longer than the bitmap, which has 2048 bytes here.
TEST_F(HotPixelStore, ATableThatWouldBeCutShortIsRefused) {
  Positions hot;
  for (std::size_t byte = 0; hot.size() < 1012; ++byte) hot.insert(8 * byte);
  TakeDark(hot);
  EXPECT_TRUE(Store().Done()) << "nothing is hot in what is cut off";
  hot.insert(8 * 1500);
  hot.insert(8 * 1700);
  TakeDark(hot);
  rig.device->ClearRequests();
  const FlashOutcome outcome = Store();
  EXPECT_EQ(outcome.result, FlashResult::Refused);
  EXPECT_THAT(outcome.reason, HasSubstr("more hot pixels than"));
  EXPECT_EQ(Count(0xC2) + Count(0xC4), 0);
}

class LargeHotPixelStore : public HotPixelStore {
 protected:
  LargeHotPixelStore() : HotPixelStore(1024) {}

  /// Hot pixels, each in a byte of its own, until the record is this long.
  Positions HotFor(std::size_t recordBytes) const {
    const std::size_t blockEnds = pixels / 8 / 256 - 1;
    Positions hot;
    for (std::size_t byte = 0; 8 + 2 * blockEnds + 2 * hot.size() < recordBytes; byte += 3)
      hot.insert(8 * byte + 5);
    return hot;
  }
};

TEST_F(LargeHotPixelStore, ARecordOfWholePiecesIsSavedThoughTheCoreSaysItIsNot) {
  const Positions hot = HotFor(4096);
  ASSERT_EQ(Record(pixels / 8, hot).size(), 4096U);
  TakeDark(hot);
  EXPECT_FALSE(rig.camera->SaveHPCTable());
  rig.device->SetFlash(kArea, contents);
  EXPECT_TRUE(Store().Done());
  EXPECT_EQ(Flash(), Expected(hot));
}

TEST_F(LargeHotPixelStore, WhenTheSecondSectorFailsTheBackupPutsTheFirstRight) {
  const Positions hot = HotFor(0x10400);
  TakeDark(hot);
  // Sectors 4 and 5; then 4, which was erased only, and 5 once more.
  Fault(FlashFault::Kind::Erase, 2, 2);
  Fault(FlashFault::Kind::Erase, 4, 4);
  const FlashOutcome outcome = Store();
  EXPECT_EQ(outcome.result, FlashResult::CameraFailed);
  EXPECT_EQ(outcome.reason, "cannot erase flash at 0x50000");
  const Bytes half = Flash();
  const Bytes expected = Expected(hot);
  EXPECT_TRUE(std::equal(half.begin(), half.begin() + 0x10000, expected.begin()));
  EXPECT_TRUE(std::equal(half.begin() + 0x10000, half.end(), contents.begin() + 0x10000));
  EXPECT_TRUE(RestoreFlashImage(*rig.camera, before, kUnwatched).Done());
  EXPECT_EQ(Flash(), contents);
}

TEST_F(LargeHotPixelStore, ATableOfTwoSectorsIsSavedAndRead) {
  const Positions hot = HotFor(0x10400);
  TakeDark(hot);
  EXPECT_TRUE(Store().Done());
  EXPECT_EQ(Flash(), Expected(hot));
  HotPixelMarks marks;
  EXPECT_TRUE(ReadHotPixels(*rig.camera, marks).Done());
  EXPECT_EQ(marks, Marks(hot));
}

TEST_F(LargeHotPixelStore, AnEndThatCannotBeReadIsNoTable) {
  TakeDark(HotFor(4000));
  ASSERT_TRUE(Store().Done());
  HotPixelMarks marks{1, 2, 3};
  Fault(FlashFault::Kind::Read, 2, 4);
  const FlashOutcome outcome = ReadHotPixels(*rig.camera, marks);
  EXPECT_EQ(outcome.result, FlashResult::CameraFailed);
  EXPECT_EQ(outcome.reason, "cannot read flash at 0x40800");
  EXPECT_EQ(marks, (HotPixelMarks{1, 2, 3}));
  Fault(FlashFault::Kind::Read, 2, 3);
  EXPECT_TRUE(ReadHotPixels(*rig.camera, marks).Done());
  EXPECT_EQ(marks, Marks(HotFor(4000)));
}

// Reading ------------------------------------------------------------------------------------------------------

TEST_F(HotPixelStore, WhatIsNoTableIsNotRead) {
  for (const Bytes& start : {Bytes(8, 0xFF), Bytes{'O', 'R', 'Q', 'G', 0, 0, 0, 9}, Bytes{'O', 'R', 'Q', 'C'}}) {
    rig.device->SetFlash(kArea, start);
    HotPixelMarks marks{1, 2, 3};
    EXPECT_TRUE(ReadHotPixels(*rig.camera, marks).Done());
    EXPECT_THAT(marks, IsEmpty());
  }
}

TEST_F(HotPixelStore, ADamagedTableIsReported) {
  const Bytes tooLong{'O', 'R', 'Q', 'D', 0, 3, 0, 1};
  Bytes outside{'O', 'R', 'Q', 'D', 0, 0, 0, 26};
  outside.insert(outside.end(), 16, 0);  // eight blocks on: behind the last one
  outside.insert(outside.end(), {0x10, 1});
  for (const Bytes& record : {tooLong, outside}) {
    rig.device->SetFlash(kArea, record);
    HotPixelMarks marks{1, 2, 3};
    const FlashOutcome outcome = ReadHotPixels(*rig.camera, marks);
    EXPECT_EQ(outcome.result, FlashResult::Damaged);
    EXPECT_THAT(outcome.reason, HasSubstr("damaged"));
    EXPECT_EQ(marks, (HotPixelMarks{1, 2, 3}));
  }
}

TEST_F(HotPixelStore, ARecordWithoutABodyIsAnEmptyTable) {
  for (const std::uint8_t length : Bytes{0, 7, 8}) {
    rig.device->SetFlash(kArea, Bytes{'O', 'R', 'Q', 'D', 0, 0, 0, length, 0x10, 1});
    HotPixelMarks marks;
    EXPECT_TRUE(ReadHotPixels(*rig.camera, marks).Done());
    EXPECT_EQ(marks, Marks({}));
  }
}

}  // namespace
}  // namespace orq::test
