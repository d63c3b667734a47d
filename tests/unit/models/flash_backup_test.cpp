#include "models/flash/FlashBackup.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "support/VirtualRig.h"
#include "unit/support/TempDirectory.h"

namespace orq::test {
namespace {

using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kArea = 0x40000;
constexpr std::uint32_t kAreaAndSector = 0x40000;
constexpr std::uint32_t kPage = 0x70000;
const FlashWatcher kUnwatched;

class FlashBackups : public testing::Test {
 protected:
  FlashBackups() {
    EXPECT_TRUE(rig.Open());
    std::mt19937 random(3);
    contents.resize(kAreaAndSector);
    for (auto& byte : contents) byte = static_cast<std::uint8_t>(random());
    rig.device->SetFlash(kArea, contents);
    rig.device->ClearRequests();
  }

  Bytes Flash() const { return rig.device->Flash(kArea, kAreaAndSector); }
  int Count(std::uint8_t request) const {
    const auto requests = rig.device->Requests();
    return static_cast<int>(
        std::ranges::count_if(requests, [&](const LoggedRequest& r) { return r.setup.request == request; }));
  }
  void ExpectBusOn() const {
    const auto requests = rig.device->Requests();
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(requests.back().setup.request, 0xD6);
    EXPECT_EQ(requests.back().setup.value, 1);
    EXPECT_EQ(requests.back().result, 0);
  }
  FlashImage Image() {
    FlashImage image;
    EXPECT_TRUE(ReadFlashImage(*rig.camera, image, kUnwatched).Done());
    rig.device->ClearRequests();
    return image;
  }
  std::string Path(const char* name) const { return (folder.Path() / name).string(); }
  static Bytes FileBytes(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  static void SetFile(const std::string& path, const Bytes& bytes) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    std::copy(bytes.begin(), bytes.end(), std::ostreambuf_iterator<char>(file));
  }
  std::size_t FilesInFolder() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder.Path()), {}));
  }

  VirtualRig rig{"k1c", [](VirtualOptions& options) { options.serial = "0123456789abcdef"; }};
  Bytes contents;
  const TempDirectory folder;
};

// Reading ------------------------------------------------------------------------------------------------------

TEST_F(FlashBackups, AnImageIsTheRecordsAreaAndTheParameterSector) {
  const FlashImage image = Image();
  EXPECT_EQ(image.bytes, contents);
  EXPECT_EQ(image.productId, 0x1101);
  EXPECT_THAT(image.serial.id, testing::ElementsAre(0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF));
}

TEST_F(FlashBackups, ReadingTellsHowFarItIs) {
  std::vector<std::uint32_t> done;
  FlashImage image;
  EXPECT_TRUE(ReadFlashImage(*rig.camera, image, [&](const FlashProgress& progress) {
                EXPECT_STREQ(progress.step, "reading");
                EXPECT_EQ(progress.total, 0x40000U);
                done.push_back(progress.done);
                return true;
              }).Done());
  ASSERT_EQ(done.size(), 128U);
  for (std::uint32_t i = 0; i < 128; ++i) EXPECT_EQ(done[i], i * 2048);
  ExpectBusOn();
}

TEST_F(FlashBackups, ReadingStopsBetweenPiecesAndLeavesTheCameraUsable) {
  FlashImage image;
  image.bytes = {1, 2, 3};
  const FlashOutcome outcome =
      ReadFlashImage(*rig.camera, image, [](const FlashProgress& progress) { return progress.done < 5 * 2048; });
  EXPECT_EQ(outcome.result, FlashResult::Cancelled);
  EXPECT_EQ(outcome.reason, "stopped while reading flash");
  EXPECT_EQ(image.bytes, (Bytes{1, 2, 3}));
  EXPECT_EQ(Count(0xC3), 5);
  ExpectBusOn();
  FrameInfo info;
  EXPECT_THAT(rig.Snap(info), testing::Not(IsEmpty()));
}

TEST_F(FlashBackups, APieceIsReadThreeTimesAtMost) {
  rig.device->AddFlashFault({FlashFault::Kind::Read, 2});
  rig.device->AddFlashFault({FlashFault::Kind::Read, 3});
  EXPECT_EQ(Image().bytes, contents);
  for (const std::uint64_t attempt : {2U, 3U, 4U}) rig.device->AddFlashFault({FlashFault::Kind::Read, attempt});
  FlashImage image;
  const FlashOutcome outcome = ReadFlashImage(*rig.camera, image, kUnwatched);
  EXPECT_EQ(outcome.result, FlashResult::CameraFailed);
  EXPECT_EQ(outcome.reason, "cannot read flash at 0x40800");
  EXPECT_THAT(image.bytes, IsEmpty());
  EXPECT_EQ(Count(0xC3), 4);
  ExpectBusOn();
}

TEST_F(FlashBackups, NothingIsTouchedWhileCaptureRunsOrTheCameraIsClosed) {
  FlashImage image = Image();
  const auto expectRefused = [&](const char* reason) {
    rig.device->ClearRequests();
    FlashBackup backup;
    for (const FlashOutcome& outcome :
         {ReadFlashImage(*rig.camera, image, kUnwatched), RestoreFlashImage(*rig.camera, image, kUnwatched),
          CompareFlashImage(*rig.camera, image, kUnwatched), StoreUserId(*rig.camera, {}, image, kUnwatched),
          BackUpFlash(*rig.camera, folder.Path().string(), backup, kUnwatched)}) {
      EXPECT_EQ(outcome.result, FlashResult::Refused);
      EXPECT_THAT(outcome.reason, HasSubstr(reason));
    }
    EXPECT_EQ(Count(0xC2) + Count(0xC3) + Count(0xC4) + Count(0xD6), 0);
    EXPECT_EQ(FilesInFolder(), 0U);
  };
  ASSERT_EQ(rig.camera->StartCapture(false), 1);
  ASSERT_TRUE(rig.Fetch()) << "its start takes the image bus";
  expectRefused("capture runs");
  rig.camera->StopCapture();
  rig.camera->CloseCamera();
  expectRefused("not open");
}

// Files --------------------------------------------------------------------------------------------------------

TEST_F(FlashBackups, AFileGivesTheImageBack) {
  const FlashImage image = Image();
  ASSERT_TRUE(SaveFlashImage(Path("a"), image, Existing::Keep).Done());
  const Bytes file = FileBytes(Path("a"));
  ASSERT_EQ(file.size(), 28U + 0x40000 + 8);
  const Bytes head{'O',  'R',  'Q',  'F',  'L',  'A',  'S', 'H', 1, 0, 0x01, 0x11, 0x01, 0x23,
                   0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF, 0,   0,   4, 0, 0,    0,    4,    0};
  EXPECT_EQ(Bytes(file.begin(), file.begin() + 28), head);
  EXPECT_EQ(Bytes(file.begin() + 28, file.end() - 8), contents);
  FlashImage loaded;
  ASSERT_TRUE(LoadFlashImage(Path("a"), loaded).Done());
  EXPECT_EQ(loaded.bytes, contents);
  EXPECT_EQ(loaded.productId, image.productId);
  EXPECT_TRUE(std::ranges::equal(loaded.serial.id, image.serial.id));
}

TEST_F(FlashBackups, AnExistingFileIsKeptUnlessItMayGo) {
  SetFile(Path("a"), {1});
  const FlashImage image = Image();
  EXPECT_EQ(SaveFlashImage(Path("a"), image, Existing::Keep).result, FlashResult::FileFailed);
  EXPECT_EQ(FileBytes(Path("a")), Bytes{1});
  EXPECT_TRUE(SaveFlashImage(Path("a"), image, Existing::Overwrite).Done());
  EXPECT_EQ(FilesInFolder(), 1U);
}

TEST_F(FlashBackups, ADamagedFileIsRefused) {
  ASSERT_TRUE(SaveFlashImage(Path("a"), Image(), Existing::Keep).Done());
  const Bytes good = FileBytes(Path("a"));
  std::vector<Bytes> damaged{{}, Bytes(good.begin(), good.begin() + 8), Bytes(good.begin(), good.end() - 1)};
  damaged.push_back(good);
  damaged.back().push_back(0);
  for (const std::size_t at : {std::size_t{0}, std::size_t{8}, std::size_t{10}, std::size_t{12}, std::size_t{20},
                               std::size_t{24}, good.size() / 2, good.size() - 1}) {
    damaged.push_back(good);
    damaged.back()[at] ^= 0x04U;
  }
  for (const Bytes& bytes : damaged) {
    SetFile(Path("b"), bytes);
    FlashImage image;
    image.bytes = {9};
    const FlashOutcome outcome = LoadFlashImage(Path("b"), image);
    EXPECT_EQ(outcome.result, FlashResult::FileFailed);
    EXPECT_THAT(outcome.reason, HasSubstr("cannot use '" + Path("b") + "'"));
    EXPECT_EQ(image.bytes, Bytes{9});
  }
}

TEST_F(FlashBackups, AFileThatCannotBeReadIsNamed) {
  FlashImage image;
  FlashOutcome outcome = LoadFlashImage(Path("none"), image);
  EXPECT_EQ(outcome.result, FlashResult::FileFailed);
  EXPECT_THAT(outcome.reason, HasSubstr("none': No such file"));
  outcome = LoadFlashImage(folder.Path().string(), image);
  EXPECT_EQ(outcome.result, FlashResult::FileFailed);
}

TEST_F(FlashBackups, ABackupGetsANameOfItsOwn) {
  const std::string directory = Path("deep/down");
  FlashBackup first, second;
  ASSERT_TRUE(BackUpFlash(*rig.camera, directory, first, kUnwatched).Done());
  ASSERT_TRUE(BackUpFlash(*rig.camera, directory, second, kUnwatched).Done());
  EXPECT_NE(first.path, second.path);
  for (const FlashBackup& backup : {first, second}) {
    EXPECT_THAT(backup.path, HasSubstr(directory + "/flash-0123456789abcdef-2"));
    EXPECT_EQ(backup.image.bytes, contents);
    FlashImage loaded;
    EXPECT_TRUE(LoadFlashImage(backup.path, loaded).Done());
    EXPECT_EQ(loaded.bytes, contents);
  }
}

TEST_F(FlashBackups, WithoutAReadableFlashThereIsNoBackup) {
  for (const std::uint64_t attempt : {128U, 129U, 130U})
    rig.device->AddFlashFault({FlashFault::Kind::Read, attempt});
  FlashBackup backup;
  EXPECT_EQ(BackUpFlash(*rig.camera, folder.Path().string(), backup, kUnwatched).result,
            FlashResult::CameraFailed);
  EXPECT_EQ(FilesInFolder(), 0U);
  EXPECT_EQ(backup.path, "");
}

TEST_F(FlashBackups, ABackupThatCannotBeWrittenIsAFailure) {
  SetFile(Path("file"), {1});
  FlashBackup backup;
  const FlashOutcome outcome = BackUpFlash(*rig.camera, Path("file"), backup, kUnwatched);
  EXPECT_EQ(outcome.result, FlashResult::FileFailed);
  EXPECT_THAT(outcome.reason, HasSubstr("cannot write"));
  EXPECT_EQ(backup.path, "");
}

// Restoring ----------------------------------------------------------------------------------------------------

TEST_F(FlashBackups, RestoringMakesFlashLikeTheImage) {
  const FlashImage image = Image();
  rig.device->SetFlash(kArea, Bytes(kAreaAndSector, 0x00));
  rig.device->SetFlash(0x3FFFF, Bytes{0x5A});
  rig.device->SetFlash(0x80000, Bytes{0x5A});
  rig.device->ClearRequests();
  EXPECT_TRUE(RestoreFlashImage(*rig.camera, image, kUnwatched).Done());
  EXPECT_EQ(Flash(), contents);
  EXPECT_EQ(rig.device->Flash(0x3FFFF, 1), Bytes{0x5A});
  EXPECT_EQ(rig.device->Flash(0x80000, 1), Bytes{0x5A});
  EXPECT_EQ(Count(0xC4), 4);
  ExpectBusOn();
}

TEST_F(FlashBackups, SectorsThatAreLikeTheImageAreNotTouched) {
  const FlashImage image = Image();
  EXPECT_TRUE(RestoreFlashImage(*rig.camera, image, kUnwatched).Done());
  EXPECT_EQ(Count(0xC4), 0);
  EXPECT_EQ(Count(0xC2), 0);
  rig.device->SetFlash(0x5FFFF, Bytes{static_cast<std::uint8_t>(~contents[0x1FFFF])});
  EXPECT_TRUE(RestoreFlashImage(*rig.camera, image, kUnwatched).Done());
  EXPECT_EQ(Count(0xC4), 1);
  EXPECT_EQ(Count(0xC2), 32);
  EXPECT_EQ(Flash(), contents);
}

TEST_F(FlashBackups, ErasedPiecesAreNotProgrammed) {
  FlashImage image = Image();
  image.bytes.assign(kAreaAndSector, 0xFF);
  image.bytes[0x800] = 0;
  EXPECT_TRUE(RestoreFlashImage(*rig.camera, image, kUnwatched).Done());
  EXPECT_EQ(Flash(), image.bytes);
  EXPECT_EQ(Count(0xC2), 1);
}

TEST_F(FlashBackups, AWeakWriteIsRepaired) {
  const FlashImage image = Image();
  rig.device->SetFlash(kArea, Bytes(100));
  rig.device->AddFlashFault({FlashFault::Kind::WeakWrite, 3});
  rig.device->AddFlashFault({FlashFault::Kind::WeakWrite, 4});
  EXPECT_TRUE(RestoreFlashImage(*rig.camera, image, kUnwatched).Done());
  EXPECT_EQ(Flash(), contents);
}

TEST_F(FlashBackups, FlashThatKeepsNothingIsReported) {
  const FlashImage image = Image();
  rig.device->SetFlash(kArea, Bytes(100));
  for (const std::uint64_t write : {3U, 4U, 5U}) rig.device->AddFlashFault({FlashFault::Kind::WeakWrite, write});
  const FlashOutcome outcome = RestoreFlashImage(*rig.camera, image, kUnwatched);
  EXPECT_EQ(outcome.result, FlashResult::CameraFailed);
  EXPECT_THAT(outcome.reason, HasSubstr("flash does not keep what is written at 0x41000"));
  ExpectBusOn();
}

TEST_F(FlashBackups, ARefusedEraseEndsTheRestore) {
  const FlashImage image = Image();
  rig.device->SetFlash(0x50000, Bytes(100));
  rig.device->AddFlashFault({FlashFault::Kind::Erase, 1});
  const FlashOutcome outcome = RestoreFlashImage(*rig.camera, image, kUnwatched);
  EXPECT_EQ(outcome.result, FlashResult::CameraFailed);
  EXPECT_EQ(outcome.reason, "cannot erase flash at 0x50000");
  EXPECT_EQ(Count(0xC2), 0);
  ExpectBusOn();
}

TEST_F(FlashBackups, AfterALossOfPowerTheRestoreCanBeDoneAgain) {
  const FlashImage image = Image();
  rig.device->SetFlash(kPage, Bytes(100));
  rig.device->AddFlashFault({FlashFault::Kind::PowerLoss, 2});
  EXPECT_EQ(RestoreFlashImage(*rig.camera, image, kUnwatched).result, FlashResult::CameraFailed);
  EXPECT_TRUE(rig.camera->DeviceLost());
  EXPECT_NE(Flash(), contents);
  rig.camera->CloseCamera();
  rig.bus->Attach(rig.device);
  ASSERT_TRUE(rig.Open());
  EXPECT_TRUE(RestoreFlashImage(*rig.camera, image, kUnwatched).Done());
  EXPECT_EQ(Flash(), contents);
}

TEST_F(FlashBackups, AWishToStopIsGrantedBeforeASectorIsErased) {
  const FlashImage image = Image();
  rig.device->SetFlash(kArea, Bytes(kAreaAndSector, 0x33));
  const FlashOutcome outcome =
      RestoreFlashImage(*rig.camera, image, [](const FlashProgress& progress) { return progress.done < 0x10800; });
  EXPECT_EQ(outcome.result, FlashResult::Cancelled);
  EXPECT_EQ(outcome.reason, "stopped while restoring flash");
  const Bytes stored = Flash();
  EXPECT_TRUE(std::equal(stored.begin(), stored.begin() + 0x10000, contents.begin()));
  EXPECT_THAT(Bytes(stored.begin() + 0x10000, stored.end()), Each(0x33));
  ExpectBusOn();
}

TEST_F(FlashBackups, AnImageThatIsNotWholeIsRefused) {
  FlashImage image = Image();
  image.bytes.pop_back();
  EXPECT_EQ(RestoreFlashImage(*rig.camera, image, kUnwatched).result, FlashResult::Refused);
  EXPECT_EQ(CompareFlashImage(*rig.camera, image, kUnwatched).result, FlashResult::Refused);
  EXPECT_EQ(StoreUserId(*rig.camera, {}, image, kUnwatched).result, FlashResult::Refused);
  EXPECT_EQ(SaveFlashImage(Path("a"), image, Existing::Keep).result, FlashResult::Refused);
  EXPECT_EQ(Count(0xC4), 0);
  EXPECT_EQ(Flash(), contents);
}

// Comparing ----------------------------------------------------------------------------------------------------

TEST_F(FlashBackups, ComparingNamesTheFirstDifference) {
  const FlashImage image = Image();
  EXPECT_TRUE(CompareFlashImage(*rig.camera, image, kUnwatched).Done());
  rig.device->SetFlash(0x71234, Bytes{static_cast<std::uint8_t>(~contents[0x31234])});
  const FlashOutcome outcome = CompareFlashImage(*rig.camera, image, kUnwatched);
  EXPECT_EQ(outcome.result, FlashResult::Differs);
  EXPECT_EQ(outcome.reason, "flash differs from the backup at 0x71234");
  EXPECT_EQ(Count(0xC2) + Count(0xC4), 0);
  ExpectBusOn();
  rig.device->SetFlash(kArea, Bytes{static_cast<std::uint8_t>(~contents[0])});
  EXPECT_THAT(CompareFlashImage(*rig.camera, image, kUnwatched).reason, HasSubstr("0x40000"));
}

TEST_F(FlashBackups, ComparingCanBeStopped) {
  const FlashImage image = Image();
  EXPECT_EQ(CompareFlashImage(*rig.camera, image, [](const FlashProgress&) { return false; }).result,
            FlashResult::Cancelled);
  ExpectBusOn();
}

TEST_F(FlashBackups, AnImageKnowsItsCamera) {
  FlashImage image = Image();
  EXPECT_TRUE(IsImageOf(*rig.camera, image));
  image.serial.id[7] ^= 1U;
  EXPECT_FALSE(IsImageOf(*rig.camera, image));
  image.serial = {};
  EXPECT_TRUE(IsImageOf(*rig.camera, image)) << "a camera without a serial number";
  image.productId += 1;
  EXPECT_FALSE(IsImageOf(*rig.camera, image));
}

// The user's id ------------------------------------------------------------------------------------------------

class StoredId : public FlashBackups {
 protected:
  /// What flash must hold once the id is stored.
  Bytes Expected() const {
    Bytes expected = contents;
    const Bytes record{'I', 'D', 'm', 'y', 'c', 'a', 'm', 0, 0, 0};
    std::copy(record.begin(), record.end(), expected.begin() + 0x30000);
    return expected;
  }
  const _ORQ_ID id{{'m', 'y', 'c', 'a', 'm', 0, 0, 0}};
};

TEST_F(StoredId, KeepsEveryOtherByteOfItsSector) {
  EXPECT_TRUE(StoreUserId(*rig.camera, id, Image(), kUnwatched).Done());
  EXPECT_EQ(Flash(), Expected());
  ExpectBusOn();
}

TEST_F(StoredId, IsThereInTheEndWhenStoringItFailed) {
  for (const std::uint64_t write : {1U, 2U, 3U}) rig.device->AddFlashFault({FlashFault::Kind::WeakWrite, write});
  EXPECT_TRUE(StoreUserId(*rig.camera, id, Image(), kUnwatched).Done());
  EXPECT_EQ(Flash(), Expected());
}

TEST_F(StoredId, ThatFlashDoesNotTakeIsReported) {
  const FlashImage before = Image();
  rig.device->AddFlashFault({FlashFault::Kind::Erase, 1});
  rig.device->AddFlashFault({FlashFault::Kind::Erase, 2});
  EXPECT_EQ(StoreUserId(*rig.camera, id, before, kUnwatched).result, FlashResult::CameraFailed);
  EXPECT_EQ(Flash(), contents);
}

TEST_F(StoredId, IsFinishedAlsoWhenSomebodyWishesToStop) {
  int calls = 0;
  EXPECT_TRUE(StoreUserId(*rig.camera, id, Image(), [&](const FlashProgress&) {
                ++calls;
                return false;
              }).Done());
  EXPECT_EQ(Flash(), Expected());
  EXPECT_EQ(calls, 128);
}

}  // namespace
}  // namespace orq::test
