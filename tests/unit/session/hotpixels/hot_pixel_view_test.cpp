#include "session/hotpixels/HotPixelView.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>

#include "support/RecordingCamera.h"
#include "unit/support/TempDirectory.h"

namespace orq::session {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

HotPixelMarks Marked(std::size_t pixels, const std::set<std::size_t>& hot) {
  HotPixelMarks marks(pixels);
  for (const std::size_t pos : hot) marks[pos] = 1;
  return marks;
}

std::string Text(const std::vector<std::uint8_t>& bytes) {
  return {bytes.begin(), bytes.end()};
}

TEST(HotPixelView, ListsWhatIsRepairedByItselfAndWhatAsARow) {
  const HotPixelView view = ViewOf(Marked(5 * 4, {0, 5, 6, 13, 19}), 5, 4);
  ASSERT_EQ(view.pixels.size(), 3U) << "row 1 has two of five, which is half rounded down";
  EXPECT_EQ(view.pixels[0].x, 0);
  EXPECT_EQ(view.pixels[0].y, 0);
  EXPECT_EQ(view.pixels[1].x, 3);
  EXPECT_EQ(view.pixels[1].y, 2);
  EXPECT_THAT(view.badRows, ElementsAre(1));
  EXPECT_EQ(view.leftOut, 0U);
}

TEST(HotPixelView, ATableWithoutMarksIsEmpty) {
  const HotPixelView view = ViewOf(HotPixelMarks(20), 5, 4);
  EXPECT_THAT(view.pixels, IsEmpty());
  EXPECT_THAT(view.badRows, IsEmpty());
  EXPECT_EQ(Text(EncodeCsv(view)), "x_px,y_px,value\n");
}

TEST(HotPixelView, CountsWhatIsTooMuchToBeRepaired) {
  constexpr int kSide = 1000;
  HotPixelMarks marks(kSide * kSide);
  for (std::size_t pos = 0; pos < marks.size(); pos += 8) marks[pos] = 1;
  const HotPixelView view = ViewOf(std::move(marks), kSide, kSide);
  EXPECT_EQ(view.pixels.size(), 100'000U);
  EXPECT_EQ(view.leftOut, 25'000U);
  EXPECT_EQ(view.pixels.back().y, 799);
  EXPECT_EQ(view.pixels.back().x, 992);
}

TEST(HotPixelView, ACsvFileHasEveryMarkAndItsKind) {
  const HotPixelView view = ViewOf(Marked(5 * 4, {4, 5, 6, 13}), 5, 4);
  EXPECT_EQ(Text(EncodeCsv(view)), "x_px,y_px,value\n4,0,1\n0,1,2\n1,1,2\n3,2,1\n");
}

TEST(HotPixelView, ABmpFileIsWhatTheCameraMakesOfADark) {
  const TempDirectory folder;
  const std::string path = (folder.Path() / "dark.bmp").string();
  for (const int width : {8, 5}) {
    const HotPixelView view = ViewOf(Marked(static_cast<std::size_t>(width) * 3, {1, 7}), width, 3);
    const auto pixels = static_cast<std::size_t>(width) * 3;
    test::BareCamera camera;
    camera.iMaxWidth = width;
    camera.iMaxHeight = 3;
    camera.pDarkFull = std::make_unique<std::uint8_t[]>(pixels);
    camera.pDarkFull[1] = camera.pDarkFull[7] = 255;
    ASSERT_TRUE(camera.SaveBMPToFile(path.c_str()));
    std::ifstream file(path, std::ios::binary);
    const std::vector<std::uint8_t> expected{std::istreambuf_iterator<char>(file), {}};
    EXPECT_EQ(expected.size(), 1078U + 24);
    EXPECT_EQ(EncodeBmp(view), expected) << width;
  }
}

}  // namespace
}  // namespace orq::session
