// Real frames played back pixel by pixel; skipped where the folder of real data is absent.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "virtual/sensor/FrameSource.h"

namespace orq {
namespace {

std::vector<std::uint8_t> BytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  return {bytes.begin(), bytes.end()};
}

class RealFile : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    path_ = std::string(ORQ_REALDATA_DIR) + "/" + GetParam();
    if (!std::filesystem::exists(path_)) GTEST_SKIP() << "no real data: " << path_ << " is absent";
    VirtualOptions options;
    options.model = "replay";
    options.file = path_;
    std::string error;
    source_ = MakeFrameSource(options, error);
    ASSERT_NE(source_, nullptr) << error;
  }

  std::vector<std::uint16_t> Shoot() {
    ExposureSettings settings{.width = source_->Width(), .height = source_->Height(), .frameNumber = 3};
    std::vector<std::uint16_t> adu(static_cast<std::size_t>(settings.width) *
                                   static_cast<std::size_t>(settings.height));
    source_->Expose(settings, adu);
    return adu;
  }

  std::string path_;
  std::unique_ptr<FrameSource> source_;
};

class RealSky : public RealFile {};

TEST_P(RealSky, PlaysTheFilesWordsExactly) {
  ASSERT_EQ(source_->Width(), 1024);
  ASSERT_EQ(source_->Height(), 768);
  EXPECT_EQ(source_->AdcBits(), 16);
  EXPECT_EQ(source_->BayerPattern(), -1);
  // One header block, then words with the most significant byte first, 32768 below the value.
  const std::vector<std::uint8_t> raw = BytesOf(path_);
  const std::vector<std::uint16_t> frame = Shoot();
  for (std::size_t i = 0; i < frame.size(); ++i) {
    const int stored = static_cast<std::int8_t>(raw[2880 + 2 * i]) * 256 + raw[2880 + 2 * i + 1];
    ASSERT_EQ(frame[i], stored + 32768) << "sample " << i;
  }
}

TEST_P(RealSky, HasTheKnownExtremes) {
  const std::vector<std::uint16_t> frame = Shoot();
  const auto [least, most] = std::minmax_element(frame.begin(), frame.end());
  const bool alt40 = path_.find("alt40") != std::string::npos;
  EXPECT_EQ(*least, alt40 ? 1824 : 1200);
  EXPECT_EQ(*most, alt40 ? 32544 : 65535);
}

INSTANTIATE_TEST_SUITE_P(Skies, RealSky, testing::Values("sky/starfield-alt40.fits", "sky/starfield-alt60.fits"));

class RealDark : public RealFile {};

TEST_P(RealDark, PlaysTheFilesBytesExactly) {
  ASSERT_EQ(source_->Width(), 408);
  ASSERT_EQ(source_->Height(), 344);
  EXPECT_EQ(source_->AdcBits(), 8);
  const std::vector<std::uint8_t> raw = BytesOf(path_);
  const std::vector<std::uint16_t> frame = Shoot();
  ASSERT_EQ(raw.size(), 15 + frame.size());  // "P5\n408 344\n255\n"
  for (std::size_t i = 0; i < frame.size(); ++i) ASSERT_EQ(frame[i], raw[15 + i]) << "sample " << i;
}

INSTANTIATE_TEST_SUITE_P(Darks, RealDark,
                         testing::Values("dark/dark-2000ms.pgm", "dark/dark-3916ms-a.pgm",
                                         "dark/dark-3916ms-b.pgm", "dark/light-3916ms-same-camera.pgm"));

}  // namespace
}  // namespace orq
