#include "session/recording/CubeRepair.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "session/Failure.h"
#include "session/recording/CubeSink.h"
#include "session/recording/RecordingFiles.h"
#include "session/recording/cube/CubeFile.h"
#include "session/recording/cube/CubeTimes.h"
#include "unit/support/TempDirectory.h"

namespace orq::session {
namespace {

constexpr int kFrames = 6;
constexpr std::size_t kFrameBytes = 24;  // 4 x 3 samples of 16 bits
constexpr UtcTenths kTime = 17'000'000'000'000'000;
constexpr std::size_t kBlock = 2880;

using Bytes = std::vector<std::uint8_t>;

// As the camera delivers it: the sample 0x0A05 + frame, in this computer's order.
Bytes Pixels(int frame) {
  const auto sample = static_cast<std::uint16_t>(0x0A05 + frame);
  Bytes pixels;
  for (std::size_t i = 0; i < kFrameBytes; i += 2) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&sample);
    pixels.insert(pixels.end(), bytes, bytes + 2);
  }
  return pixels;
}

Bytes ContentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

class CubeRepairTest : public testing::Test {
 protected:
  static FrameFacts Facts() {
    FrameFacts facts;
    facts.info.region = {.width = 4, .height = 3, .format = ORQ_IMG_RAW16};
    return facts;
  }
  static int Put(RecordingFiles& files, int frame) {
    const RecordedFrame line{.frame = static_cast<std::uint64_t>(frame + 1),
                             .number = static_cast<std::uint64_t>(frame + 1),
                             .begin = kTime + UtcTenths{frame} * 1000,
                             .end = kTime + UtcTenths{frame} * 1000 + 500,
                             .source = "computer"};
    return files.Put(Pixels(frame), line, Facts);
  }
  RecordingFiles Files() const {
    return RecordingFiles(
        path_, Existing::Overwrite,
        [this](std::function<int()> before) {
          return std::make_unique<CubeSink>(path_, Existing::Overwrite, Facts(), std::move(before));
        });
  }
  void Record(bool finish) {
    RecordingFiles files = Files();
    for (int i = 0; i < kFrames; ++i) ASSERT_EQ(Put(files, i), 0);
    std::uint64_t frames = kFrames;
    if (finish) {
      ASSERT_EQ(files.Finish(frames, [] { return std::vector<std::string>{"end = all frames"}; }), 0);
      return;
    }
    ASSERT_EQ(files.Flush(), 0);
  }
  std::size_t HeaderBytes() const {
    const Bytes file = ContentOf(path_);
    const std::string text(file.begin(), file.end());
    return (text.find("END" + std::string(77, ' ')) / kBlock + 1) * kBlock;
  }
  std::string Announced() const {
    const Bytes file = ContentOf(path_);
    const std::string text(file.begin(), file.end());
    return text.substr(text.find("NAXIS3  =") + 10, 20);
  }
  // Header, samples with the most significant byte first and 0x8000 less, zeros, and a table of 84 bytes a row.
  void ExpectFrames(std::uint64_t frames, bool table) const {
    const Bytes file = ContentOf(path_);
    ASSERT_EQ(file.size() % kBlock, 0U);
    EXPECT_EQ(Announced(), std::string(19, ' ') + std::to_string(frames));
    const std::size_t begin = HeaderBytes();
    for (std::size_t i = 0; i < frames; ++i) {
      for (std::size_t at = 0; at < kFrameBytes; at += 2) {
        ASSERT_EQ(file[begin + i * kFrameBytes + at], 0x8A);
        ASSERT_EQ(file[begin + i * kFrameBytes + at + 1], 0x05 + i);
      }
    }
    for (std::size_t at = begin + frames * kFrameBytes; at < begin + kBlock; ++at) ASSERT_EQ(file[at], 0);
    ASSERT_EQ(file.size(), begin + kBlock + (table ? 2 * kBlock : 0)) << "the table has a block of header";
    if (!table) return;
    const std::string text(file.begin(), file.end());
    EXPECT_EQ(text.substr(begin + kBlock, 20), "XTENSION= 'BINTABLE'");
    for (std::size_t i = 0; i < frames; ++i) {
      // 2023-11-14T22:13:20 and so many tenths of a millisecond.
      EXPECT_EQ(text.substr(begin + 2 * kBlock + i * 84 + 24, 27),
                "2023-11-14T22:13:20.000" + std::to_string(i) + "000");
      EXPECT_EQ(file[begin + 2 * kBlock + i * 84 + 7], i + 1);
    }
  }

  TempDirectory directory_;
  const std::string path_ = directory_.File("a.fits");
};

TEST_F(CubeRepairTest, LeavesAWholeFileAlone) {
  Record(true);
  ExpectFrames(kFrames, true);
  const Bytes before = ContentOf(path_);
  const SerRepaired repaired = RepairCube(path_);
  EXPECT_FALSE(repaired.changed);
  EXPECT_EQ(repaired.frames, 6U);
  EXPECT_EQ(repaired.timed, 6U);
  EXPECT_EQ(ContentOf(path_), before);
  std::filesystem::remove(TimesFileOf(path_));
  EXPECT_FALSE(RepairCube(path_).changed) << "nobody tells another number";
}

TEST_F(CubeRepairTest, EveryFlushAnnouncesWhatIsThere) {
  RecordingFiles files = Files();
  EXPECT_EQ(Announced(), std::string(19, ' ') + "0");
  for (int i = 0; i < kFrames; ++i) {
    ASSERT_EQ(Put(files, i), 0);
    ASSERT_EQ(files.Flush(), 0);
    ExpectFrames(static_cast<std::uint64_t>(i) + 1, false);
  }
}

TEST_F(CubeRepairTest, GivesARecordingThatWasNotFinishedItsTable) {
  Record(false);
  ExpectFrames(kFrames, false);
  const SerRepaired repaired = RepairCube(path_);
  EXPECT_TRUE(repaired.changed);
  EXPECT_EQ(repaired.frames, 6U);
  ExpectFrames(kFrames, true);
  EXPECT_FALSE(RepairCube(path_).changed);
}

TEST_F(CubeRepairTest, DoesNotTakeTheZerosBehindFramesForFrames) {
  Record(false);
  // The text has heard of three frames more, which have not come to the file.
  std::ofstream text(TimesFileOf(path_), std::ios::app);
  for (int i = 7; i < 10; ++i) text << i << ' ' << i << " 0 x 638355968000000000 computer 0 0 0\n";
  text.close();
  EXPECT_EQ(RepairCube(path_).frames, 6U);
  ExpectFrames(kFrames, true);
}

TEST_F(CubeRepairTest, KeepsTheWholeFramesOfAFileThatIsCutOffAnywhere) {
  for (const bool finish : {false, true}) {
    Record(finish);
    const Bytes all = ContentOf(path_);
    const Bytes text = ContentOf(TimesFileOf(path_));
    const std::size_t begin = HeaderBytes();
    for (std::size_t bytes = begin; bytes < all.size(); bytes += bytes < begin + 200 ? 5 : 411) {
      std::ofstream(path_, std::ios::binary)
          .write(reinterpret_cast<const char*>(all.data()), static_cast<std::streamsize>(bytes));
      std::ofstream(TimesFileOf(path_), std::ios::binary)
          .write(reinterpret_cast<const char*>(text.data()), static_cast<std::streamsize>(text.size()));
      const std::size_t whole = std::min<std::size_t>((bytes - begin) / kFrameBytes, kFrames);
      if (whole == 0) {
        EXPECT_THROW(RepairCube(path_), Failure);
        continue;
      }
      EXPECT_EQ(RepairCube(path_).frames, whole) << bytes;
      ExpectFrames(whole, true);
    }
  }
}

TEST_F(CubeRepairTest, KeepsFramesThatCameAfterTheLastFlush) {
  Record(false);
  // As after a block of the disk: more frames, which the header does not announce yet, and a part of one.
  Bytes file = ContentOf(path_);
  const std::size_t begin = HeaderBytes();
  file.resize(begin);
  constexpr int kMore = 150;
  std::ofstream text(TimesFileOf(path_), std::ios::app);
  for (int i = 0; i < kMore; ++i) {
    for (std::size_t at = 0; at < kFrameBytes; at += 2) {
      file.push_back(0x8A);
      file.push_back(static_cast<std::uint8_t>(0x05 + i));
    }
    if (i >= kFrames) text << i + 1 << ' ' << i + 1 << " 0 x 638355968000000000 computer 0 0 0\n";
  }
  text.close();
  file.push_back(0x8A);
  std::ofstream(path_, std::ios::binary)
      .write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
  EXPECT_EQ(RepairCube(path_).frames, static_cast<std::uint64_t>(kMore));
  const Bytes mended = ContentOf(path_);
  EXPECT_TRUE(std::equal(file.begin() + static_cast<std::ptrdiff_t>(begin), file.end() - 1,
                         mended.begin() + static_cast<std::ptrdiff_t>(begin)));
  EXPECT_EQ(Announced(), std::string(17, ' ') + "150");
}

TEST_F(CubeRepairTest, TellsWhatAWholeCubeHolds) {
  Record(true);
  const SerFindings found = CheckCube(path_);
  EXPECT_THAT(found.troubles, testing::IsEmpty());
  const SerHeader& header = found.survey.header;
  EXPECT_EQ(header.colour, kSerMono);
  EXPECT_EQ(header.width, 4);
  EXPECT_EQ(header.height, 3);
  EXPECT_EQ(header.depth, 16);
  EXPECT_EQ(header.frames, kFrames);
  EXPECT_EQ(found.survey.frames, 6U);
  EXPECT_EQ(found.survey.stamps, 6U);
  EXPECT_EQ(found.survey.fileBytes, ContentOf(path_).size());
  EXPECT_EQ(found.unfinishedFrames, 0U);
  EXPECT_EQ(found.firstTime, 621'355'968'000'000'000 + kTime);
  EXPECT_EQ(found.lastTime, 621'355'968'000'000'000 + kTime + 5000);
  EXPECT_TRUE(found.described);
  EXPECT_EQ(found.unstamped + found.backwards + found.differing, 0U);
}

TEST_F(CubeRepairTest, ReadsFramesAndRowsAsTheyWerePut) {
  Record(true);
  CubeFile cube(path_);
  EXPECT_EQ(SamplesOfCube(cube.ReadFrame(5), cube.Facts().shape), std::vector<std::uint16_t>(12, 0x0A0A));
  EXPECT_THROW(cube.ReadFrame(cube.WholeFrames()), Failure);
  const auto rows = ReadTimesTable(cube, 2, 3);
  ASSERT_TRUE(rows);
  ASSERT_EQ(rows->size(), 3U);
  EXPECT_EQ(rows->front().frame, 3U);
  EXPECT_EQ(rows->front().number, 3U);
  EXPECT_EQ(rows->front().begin, kTime + 2000);
  EXPECT_EQ(rows->front().source, "computer");
  EXPECT_EQ(ReadTimesTable(cube, 6)->size(), 0U);
}

TEST_F(CubeRepairTest, SaysWhatIsMissing) {
  using testing::ElementsAre;
  using testing::HasSubstr;
  Record(false);
  EXPECT_THAT(CheckCube(path_).troubles, ElementsAre("it was not finished: its table of times is missing"));
  RepairCube(path_);
  EXPECT_THAT(CheckCube(path_).troubles, testing::IsEmpty());
  std::filesystem::resize_file(path_, HeaderBytes() + 4 * kFrameBytes + 1);
  const SerFindings cut = CheckCube(path_);
  EXPECT_THAT(cut.troubles, ElementsAre("it is cut off: 4 of 6 frames are whole"));
  EXPECT_EQ(cut.survey.frames, 4U);
  std::filesystem::remove(TimesFileOf(path_));
  EXPECT_EQ(RepairCube(path_).frames, 4U);
  const SerFindings without = CheckCube(path_);
  EXPECT_THAT(without.troubles, testing::IsEmpty()) << "nobody tells times";
  EXPECT_EQ(without.survey.stamps, 0U);
  std::ofstream(path_, std::ios::app) << "stray";
  EXPECT_THAT(CheckCube(path_).troubles, ElementsAre(HasSubstr("no part of a FITS file")));
}

TEST_F(CubeRepairTest, SaysThatTimesAreNotThoseOfTheText) {
  Record(true);
  const Bytes text = ContentOf(TimesFileOf(path_));
  std::string other(text.begin(), text.end());
  const std::string stamp = std::to_string(621'355'968'000'000'000 + kTime + 2000);
  other.replace(other.find(stamp), stamp.size(), std::to_string(621'355'968'000'000'000 + kTime + 2001));
  std::ofstream(TimesFileOf(path_), std::ios::trunc) << other;
  const SerFindings found = CheckCube(path_);
  EXPECT_EQ(found.differing, 1U);
  EXPECT_THAT(found.troubles, testing::ElementsAre("its table of times is not that of the text beside it"));
  EXPECT_TRUE(RepairCube(path_).changed) << "the text counts";
  EXPECT_EQ(CheckCube(path_).differing, 0U);
}

TEST_F(CubeRepairTest, LeavesWhatOtherProgramsHaveAddedBehindTheTable) {
  Record(true);
  Bytes file = ContentOf(path_);
  const auto table = file.end() - static_cast<std::ptrdiff_t>(2 * kBlock);
  const std::string last = "END" + std::string(77, ' ');
  std::string added = "COMMENT by another program";
  added.resize(80, ' ');
  added += last;
  const auto end = std::search(table, file.end(), last.begin(), last.end());
  ASSERT_LT(end, file.end() - static_cast<std::ptrdiff_t>(kBlock + 160));
  std::copy(added.begin(), added.end(), end);
  std::string extension = "XTENSION= 'IMAGE   '";
  extension.resize(kBlock, ' ');
  file.insert(file.end(), extension.begin(), extension.end());
  std::ofstream(path_, std::ios::binary)
      .write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
  EXPECT_FALSE(RepairCube(path_).changed);
  EXPECT_THAT(CheckCube(path_).troubles, testing::IsEmpty());
  EXPECT_EQ(ContentOf(path_), file);
}

TEST_F(CubeRepairTest, RefusesWhatIsNoCube) {
  EXPECT_THROW(RepairCube(path_), Failure);
  std::ofstream(path_) << "SIMPLE  =                    T";
  EXPECT_TRUE(IsFits(path_));
  EXPECT_THROW(RepairCube(path_), Failure);
  std::ofstream(path_) << "LUCAM-RECORDER";
  EXPECT_FALSE(IsFits(path_));
  EXPECT_FALSE(IsFits(path_ + ".none"));
  EXPECT_THROW(CheckCube(path_), Failure);
  ASSERT_EQ(mkfifo((path_ + ".pipe").c_str(), 0600), 0);
  EXPECT_FALSE(IsFits(path_ + ".pipe")) << "nobody will ever write to it";
  EXPECT_THROW(CheckCube(path_ + ".pipe"), Failure);
}

}  // namespace
}  // namespace orq::session
