#include "support/ser/SerFile.h"

#include <gmock/gmock.h>

#include <fstream>

#include "unit/support/TempDirectory.h"

namespace orq {
namespace {

using testing::ElementsAre;

using Bytes = std::vector<std::uint8_t>;

// Frames of 2 x 1 bytes.
Bytes File(std::int32_t frames, const Bytes& behind) {
  const auto header = EncodeSerHeader({.width = 2, .height = 1, .frames = frames});
  Bytes bytes(header.begin(), header.end());
  bytes.insert(bytes.end(), behind.begin(), behind.end());
  return bytes;
}

class SerFileTest : public testing::Test {
 protected:
  std::optional<SerFile> Open(const Bytes& bytes) {
    const std::string path = directory_.File("a.ser");
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    return SerFile::Open(path, error_);
  }

  TempDirectory directory_;
  std::string error_;
};

TEST_F(SerFileTest, ReadsFramesAndTheirTimes) {
  const auto file = Open(File(2, {1, 2, 3, 4, 5, 0, 0, 0, 0, 0, 0, 0, 6, 1, 0, 0, 0, 0, 0, 0}));
  ASSERT_TRUE(file) << error_;
  EXPECT_TRUE(file->Survey().IsWhole());
  Bytes frame(2);
  ASSERT_TRUE(file->ReadFrame(1, frame));
  EXPECT_THAT(frame, ElementsAre(3, 4));
  EXPECT_FALSE(file->ReadFrame(18, frame));
  EXPECT_FALSE(file->ReadFrame(0, std::span(frame).first(1)));
  EXPECT_THAT(file->ReadStamps(0, 10).value(), ElementsAre(5, 262));
  EXPECT_THAT(file->ReadStamps(1, 1).value(), ElementsAre(262));
  EXPECT_TRUE(file->ReadStamps(2, 1)->empty());
}

TEST_F(SerFileTest, CountsWhatACutFileStillHas) {
  const auto survey = [this](std::int32_t frames, std::size_t behind) {
    return Open(File(frames, Bytes(behind, 1)))->Survey();
  };
  const SerSurvey cut = survey(3, 5);
  EXPECT_EQ(cut.frames, 2U);
  EXPECT_EQ(cut.stamps, 0U);
  EXPECT_EQ(cut.strayBytes, 1U);
  EXPECT_FALSE(cut.IsWhole());
  const SerSurvey half = survey(3, 6 + 8 + 3);
  EXPECT_EQ(half.frames, 3U);
  EXPECT_EQ(half.stamps, 1U);
  EXPECT_EQ(half.strayBytes, 3U);
  EXPECT_FALSE(half.IsWhole());
  EXPECT_TRUE(survey(3, 6).IsWhole()) << "a trailer may be absent";
  EXPECT_TRUE(survey(3, 6 + 24).IsWhole());
  EXPECT_FALSE(survey(3, 6 + 24 + 1).IsWhole());
  const SerSurvey unfinished = survey(0, 9);
  EXPECT_EQ(unfinished.frames, 0U);
  EXPECT_EQ(unfinished.wholeFrames, 4U);
  EXPECT_FALSE(unfinished.IsWhole());
}

TEST_F(SerFileTest, SaysWhyAFileIsNone) {
  EXPECT_FALSE(Open({}));
  EXPECT_EQ(error_, "not a SER file");
  Bytes bytes = File(1, {});
  bytes.resize(100);
  EXPECT_FALSE(Open(bytes));
  EXPECT_EQ(error_, "its SER header is cut off");
  bytes = File(-1, {});
  EXPECT_FALSE(Open(bytes));
  EXPECT_EQ(error_, "its SER header is damaged: -1 frames");
  EXPECT_FALSE(SerFile::Open(directory_.Path().string(), error_));
  EXPECT_EQ(error_, "not a regular file");
  EXPECT_FALSE(SerFile::Open(directory_.File("none"), error_));
  EXPECT_EQ(error_, "No such file or directory");
}

}  // namespace
}  // namespace orq
