#include "session/recording/SerRepair.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "session/Failure.h"
#include "session/recording/RecordingFiles.h"
#include "session/recording/SerSink.h"
#include "unit/support/TempDirectory.h"

namespace orq::session {
namespace {

constexpr int kFrames = 6;
constexpr std::size_t kFrameBytes = 4 * 3 * 2;
constexpr UtcTenths kTime = 17'000'000'000'000'000;

std::vector<std::uint8_t> Pixels(int frame) {
  return std::vector<std::uint8_t>(kFrameBytes, static_cast<std::uint8_t>(10 + frame));
}

// A recording, finished or not.
class Repair : public testing::Test {
 protected:
  void Record(bool finish) {
    RecordingFiles files(path_, Existing::Overwrite, [this](std::function<int()> before) {
      const SerHeader header{.width = 4, .height = 3, .depth = 16};
      return std::make_unique<SerSink>(path_, Existing::Overwrite, header, std::move(before));
    });
    for (int i = 0; i < kFrames; ++i) {
      const RecordedFrame line{.frame = static_cast<std::uint64_t>(i + 1),
                               .number = static_cast<std::uint64_t>(i + 1),
                               .begin = kTime + i * 1000,
                               .source = "computer"};
      ASSERT_EQ(files.Put(Pixels(i), line, {}), 0);
    }
    std::uint64_t frames = kFrames;
    if (finish) {
      ASSERT_EQ(files.Finish(frames, [] { return std::vector<std::string>{"end = all frames"}; }), 0);
      return;
    }
    ASSERT_EQ(files.Flush(), 0);
  }

  void ExpectWhole(std::uint64_t frames, std::uint64_t timed) {
    const SerFindings found = CheckSer(path_);
    EXPECT_TRUE(found.troubles.empty()) << found.troubles.front();
    EXPECT_TRUE(found.survey.IsWhole());
    ASSERT_EQ(found.survey.frames, frames);
    EXPECT_EQ(found.survey.stamps, timed == 0 ? 0 : frames);
    EXPECT_EQ(found.unstamped, timed == 0 ? 0 : frames - timed);
    std::string error;
    const auto file = SerFile::Open(path_, error);
    ASSERT_TRUE(file) << error;
    for (std::uint64_t i = 0; i < frames; ++i) {
      std::vector<std::uint8_t> pixels(kFrameBytes);
      ASSERT_TRUE(file->ReadFrame(i, pixels));
      EXPECT_EQ(pixels, Pixels(static_cast<int>(i)));
      if (i < timed)
        EXPECT_EQ(file->ReadStamps(i, 1)->at(0), SerTimeOf(kTime) + static_cast<std::int64_t>(i) * 1000);
    }
  }

  TempDirectory directory_;
  const std::string path_ = directory_.File("a.ser");
};

TEST_F(Repair, LeavesAWholeFileAlone) {
  Record(true);
  ExpectWhole(kFrames, kFrames);
  const auto before = std::filesystem::last_write_time(path_);
  EXPECT_FALSE(RepairSer(path_).changed);
  EXPECT_EQ(std::filesystem::last_write_time(path_), before);
}

TEST_F(Repair, FinishesARecordingThatWasNot) {
  Record(false);
  const SerFindings found = CheckSer(path_);
  ASSERT_EQ(found.troubles.size(), 1U);
  EXPECT_EQ(found.troubles[0], "it was not finished: it has 6 whole frames, and its header announces none");
  const SerRepaired repaired = RepairSer(path_);
  EXPECT_TRUE(repaired.changed);
  EXPECT_EQ(repaired.frames, 6U);
  EXPECT_EQ(repaired.timed, 6U);
  ExpectWhole(kFrames, kFrames);
  EXPECT_FALSE(RepairSer(path_).changed);
}

TEST_F(Repair, KeepsTheWholeFramesOfAFileThatIsCutOffAnywhere) {
  Record(false);
  const std::string text = TimesFileOf(path_);
  std::filesystem::copy(path_, path_ + ".all");
  std::filesystem::copy(text, text + ".all");
  for (std::size_t bytes = kSerHeaderBytes; bytes <= kSerHeaderBytes + kFrames * kFrameBytes; bytes += 7) {
    std::filesystem::copy_file(path_ + ".all", path_, std::filesystem::copy_options::overwrite_existing);
    std::filesystem::copy_file(text + ".all", text, std::filesystem::copy_options::overwrite_existing);
    std::filesystem::resize_file(path_, bytes);
    const std::uint64_t whole = (bytes - kSerHeaderBytes) / kFrameBytes;
    if (whole == 0) {
      EXPECT_THROW(RepairSer(path_), Failure);
      continue;
    }
    EXPECT_EQ(RepairSer(path_).frames, whole);
    ExpectWhole(whole, whole);
  }
}

TEST_F(Repair, FinishesAFileWhoseTrailerIsCutOffAnywhere) {
  Record(true);
  const auto all = std::filesystem::file_size(path_);
  std::filesystem::copy(path_, path_ + ".all");
  for (std::size_t missing = 1; missing <= kFrames * kSerTimeBytes; ++missing) {
    for (const bool announced : {true, false}) {
      std::filesystem::copy_file(path_ + ".all", path_, std::filesystem::copy_options::overwrite_existing);
      std::filesystem::resize_file(path_, all - missing);
      if (!announced) {
        std::fstream file(path_, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(38).write("\0\0\0\0", 4);
      }
      EXPECT_EQ(RepairSer(path_).frames, static_cast<std::uint64_t>(kFrames)) << missing;
      ExpectWhole(kFrames, kFrames);
    }
  }
}

TEST_F(Repair, GivesNoTimeToFramesWhoseTimeNobodyTells) {
  Record(false);
  std::filesystem::resize_file(TimesFileOf(path_), 18 + 1 + 2 * 68 + 10);
  const auto told = ReadTimes(TimesFileOf(path_));
  ASSERT_TRUE(told);
  ASSERT_EQ(told->serTimes.size(), 2U);
  EXPECT_EQ(RepairSer(path_).timed, 2U);
  ExpectWhole(kFrames, 2);
}

TEST_F(Repair, WorksWithoutTheText) {
  Record(false);
  std::filesystem::remove(TimesFileOf(path_));
  const SerRepaired repaired = RepairSer(path_);
  EXPECT_EQ(repaired.frames, 6U);
  EXPECT_EQ(repaired.timed, 0U);
  ExpectWhole(kFrames, 0);
}

TEST_F(Repair, KeepsTheTimesOfATrailerOfAnotherProgram) {
  Record(true);
  std::filesystem::remove(TimesFileOf(path_));
  std::filesystem::resize_file(path_, std::filesystem::file_size(path_) - 11);
  const SerRepaired repaired = RepairSer(path_);
  EXPECT_EQ(repaired.frames, 6U);
  EXPECT_EQ(repaired.timed, 4U);
  ExpectWhole(kFrames, 4);
}

TEST_F(Repair, NoticesTimesThatAreNotThoseOfTheText) {
  Record(true);
  std::fstream file(path_, std::ios::binary | std::ios::in | std::ios::out);
  file.seekp(-1, std::ios::end).write("\7", 1);
  file.close();
  const SerFindings found = CheckSer(path_);
  EXPECT_EQ(found.differing, 1U);
  ASSERT_EQ(found.troubles.size(), 1U);
  EXPECT_EQ(found.troubles[0], "1 time stamps are not those of the text beside it");
  RepairSer(path_);
  ExpectWhole(kFrames, kFrames);
}

TEST_F(Repair, LeavesNoFileOfARecordingWithoutFrames) {
  {
    RecordingFiles files(path_, Existing::Keep, [this](std::function<int()> before) {
      const SerHeader header{.width = 4, .height = 3, .depth = 16};
      return std::make_unique<SerSink>(path_, Existing::Keep, header, std::move(before));
    });
    std::uint64_t frames = 0;
    EXPECT_EQ(files.Finish(frames, [] { return std::vector<std::string>(); }), 0);
  }
  EXPECT_TRUE(std::filesystem::is_empty(directory_.Path()));
}

}  // namespace
}  // namespace orq::session
