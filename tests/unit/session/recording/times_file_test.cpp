#include "session/recording/TimesFile.h"

#include <gmock/gmock.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <sstream>

#include "session/Failure.h"
#include "unit/support/TempDirectory.h"

namespace orq::session {
namespace {

using testing::ElementsAre;

std::string ContentOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// 2023-11-14T22:13:20 UTC, in units of 0.1 us.
constexpr UtcTenths kTime = 17'000'000'000'000'000;

RecordedFrame Frame(std::uint64_t frame) {
  return {.frame = frame,
          .number = frame + 2,
          .sequence = static_cast<std::uint32_t>(100 + frame),
          .begin = kTime + static_cast<UtcTenths>(frame),
          .uncertainty = 12,
          .source = "gps",
          .startX = 8,
          .startY = 16};
}

class TimesFileTest : public testing::Test {
 protected:
  TempDirectory directory_;
  const std::string path_ = directory_.File("a.ser.txt");
};

TEST_F(TimesFileTest, HasALineForEachFrame) {
  TimesFile file(path_, Existing::Keep);
  file.Frame(Frame(1));
  file.Remark("missing 4: the disk\nwas too slow");
  EXPECT_EQ(ContentOf(path_), "") << "nothing reaches the system before it is flushed";
  ASSERT_EQ(file.Flush(), 0);
  EXPECT_EQ(ContentOf(path_),
            "# orqcam recording\n"
            "1 3 101 2023-11-14T22:13:20.0000001 638355968000000001 gps 1.2 8 16\n"
            "# missing 4: the disk was too slow\n");
}

TEST_F(TimesFileTest, IsReadBack) {
  TimesFile file(path_, Existing::Keep);
  for (std::uint64_t i = 1; i <= 3; ++i) file.Frame(Frame(i));
  ASSERT_EQ(file.Flush(), 0);
  auto times = ReadTimes(path_);
  ASSERT_TRUE(times);
  EXPECT_THAT(times->serTimes, ElementsAre(638355968000000001, 638355968000000002, 638355968000000003));
  EXPECT_FALSE(times->finished);
  file.Remark(FinishedRemark(3));
  ASSERT_EQ(file.Sync(), 0);
  times = ReadTimes(path_);
  ASSERT_TRUE(times);
  EXPECT_EQ(times->finished, 3U);
}

TEST_F(TimesFileTest, LosesTheLinesBehindTheFramesThatAreKept) {
  TimesFile file(path_, Existing::Keep);
  for (std::uint64_t i = 1; i <= 3; ++i) file.Frame(Frame(i));
  file.Remark(FinishedRemark(3));
  ASSERT_EQ(file.Flush(), 0);
  file.Remark("waits");
  ASSERT_EQ(file.CutBehind(2), 0);
  file.Remark(FinishedRemark(2));
  ASSERT_EQ(file.Flush(), 0);
  const auto times = ReadTimes(path_);
  ASSERT_TRUE(times);
  EXPECT_EQ(times->serTimes.size(), 2U);
  EXPECT_EQ(times->finished, 2U);
  EXPECT_EQ(ContentOf(path_).find("waits"), std::string::npos);
}

TEST_F(TimesFileTest, IsWrittenAnewWhenItWasDeleted) {
  TimesFile file(path_, Existing::Keep);
  file.Frame(Frame(1));
  ASSERT_EQ(file.Flush(), 0);
  const std::string before = ContentOf(path_);
  ASSERT_EQ(std::remove(path_.c_str()), 0);
  file.Frame(Frame(2));
  ASSERT_EQ(file.Sync(), 0);
  const std::string after = ContentOf(path_);
  EXPECT_TRUE(after.starts_with(before)) << after;
  EXPECT_NE(after.find("# this text was deleted up to here, and written anew\n"), std::string::npos);
  ASSERT_EQ(file.CutBehind(1), 0);
  EXPECT_EQ(ReadTimes(path_)->serTimes.size(), 1U);
}

TEST_F(TimesFileTest, LeavesTheFileThatHasItsNameNow) {
  TimesFile file(path_, Existing::Keep);
  ASSERT_EQ(file.Sync(), 0);
  ASSERT_EQ(std::remove(path_.c_str()), 0);
  std::ofstream(path_) << "other";
  EXPECT_EQ(file.Sync(), EEXIST);
  EXPECT_EQ(ContentOf(path_), "other");
}

TEST_F(TimesFileTest, LosesTheLinesBehindAlsoWithoutItsName) {
  TimesFile file(path_, Existing::Keep);
  file.Frame(Frame(1));
  file.Frame(Frame(2));
  ASSERT_EQ(file.Flush(), 0);
  ASSERT_EQ(std::remove(path_.c_str()), 0);
  ASSERT_EQ(file.CutBehind(1), 0);
  ASSERT_EQ(file.Sync(), 0);
  EXPECT_EQ(ReadTimes(path_)->serTimes.size(), 1U);
}

TEST(RecordedTimes, DoNotCountALineThatIsCutOff) {
  const std::string head = "# orqcam recording\n1 1 70 2023-11-14T22:13:20.0 638355968000000000 gps 1.2 8 16\n";
  const auto times = ParseTimes(head + "2 2 71 2023-11-14T22:13:20.0 63835596");
  ASSERT_TRUE(times);
  EXPECT_THAT(times->serTimes, ElementsAre(638355968000000000));
  EXPECT_THAT(times->ends, ElementsAre(head.size()));
}

TEST(RecordedTimes, AreNoneInOtherTexts) {
  EXPECT_FALSE(ParseTimes(""));
  EXPECT_FALSE(ParseTimes("1 1 70 t 5 gps 1.2 8 16\n"));
  const std::string title = "# orqcam recording\n";
  EXPECT_TRUE(ParseTimes(title));
  EXPECT_FALSE(ParseTimes(title + "2 1 70 t 5 gps 1.2 8 16\n")) << "frames are counted from 1";
  EXPECT_FALSE(ParseTimes(title + "1 1 70 t x gps 1.2 8 16\n"));
  EXPECT_FALSE(ParseTimes(title + "1 1 70 t 5 gps 1.2 8\n"));
  EXPECT_FALSE(ParseTimes(title + "1 1 70 t 5 gps 1.2 8 16 9\n"));
}

TEST_F(TimesFileTest, KeepsAnotherFile) {
  std::ofstream(path_) << "other";
  EXPECT_THROW(TimesFile(path_, Existing::Keep), Failure);
  EXPECT_EQ(ContentOf(path_), "other");
}

}  // namespace
}  // namespace orq::session
