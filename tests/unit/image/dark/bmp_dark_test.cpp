#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "support/LogText.h"
#include "support/RecordingCamera.h"
#include "unit/support/TempDirectory.h"

namespace {

using orq::test::BareCamera;
using orq::test::Line;
using orq::test::LogText;
using testing::Each;
using testing::EndsWith;
using Bytes = std::vector<std::uint8_t>;

constexpr const char* kBothSizes = "bmpheader size=14\nbmpinfo size=40\n";

Bytes FileBytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}
void SetFile(const std::string& path, const Bytes& bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  std::copy(bytes.begin(), bytes.end(), std::ostreambuf_iterator<char>(file));
}
std::uint32_t Number(const Bytes& bytes, std::size_t at) {
  return bytes.at(at) + 256U * bytes.at(at + 1) + 65536U * bytes.at(at + 2) + 16777216U * bytes.at(at + 3);
}
int OpenFiles() {
  return static_cast<int>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}
std::string Loading(const std::string& message) {
  return Line("LoadBMPFromFile", message);
}

class BmpDark : public testing::Test {
 protected:
  void SetSensor(int width, int height) {
    camera.iMaxWidth = width;
    camera.iMaxHeight = height;
  }
  std::size_t Pixels() const {
    return static_cast<std::size_t>(camera.iMaxWidth) * static_cast<std::size_t>(camera.iMaxHeight);
  }
  void SetDark(std::uint8_t first) {
    camera.pDarkFull = std::make_unique<std::uint8_t[]>(Pixels());
    for (std::size_t i = 0; i < Pixels(); ++i) camera.pDarkFull[i] = static_cast<std::uint8_t>(first + i * 7);
  }
  Bytes Dark() const { return {camera.pDarkFull.get(), camera.pDarkFull.get() + Pixels()}; }

  /// Loads and remembers what went to standard output and to the log; no file may stay open.
  int Load(const std::string& name) {
    {
      const LogText opensTheLogFile;
      DbgPrint(-1, "Load", "\n");
    }
    const int before = OpenFiles();
    int status = 0;
    {
      testing::internal::CaptureStdout();
      LogText text;
      status = camera.LoadBMPFromFile(name.c_str());
      log = text.Text();
      printed = testing::internal::GetCapturedStdout();
    }
    EXPECT_EQ(OpenFiles(), before);
    return status;
  }
  /// A file of a `width` x `height` dark made elsewhere: other header size fields, pixels at `offset`.
  Bytes MadeElsewhere(int width, int height, int bits, std::uint32_t offset) const {
    Bytes file(offset);
    file[0] = 'B';
    file[1] = 'M';
    const auto put = [&file](std::size_t at, std::uint32_t value) {
      for (std::size_t i = 0; i < 4; ++i) file[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
    };
    put(10, offset);
    put(18, static_cast<std::uint32_t>(width));
    put(22, static_cast<std::uint32_t>(height));
    file[28] = static_cast<std::uint8_t>(bits);
    for (int i = 0; i < width * height; ++i) file.push_back(static_cast<std::uint8_t>(i * 3 + 1));
    return file;
  }

  BareCamera camera;
  const TempDirectory folder;
  const std::string path = (folder.Path() / "dark.bmp").string();
  std::string printed, log;
};

// Writing ------------------------------------------------------------------------------------------------------

TEST_F(BmpDark, AFileIsHeadersPaletteAndTheRowsAsTheyLie) {
  Bytes data(10000);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i % 253);
  ASSERT_TRUE(camera.CreateBMP(1000, 10, data.data(), path.c_str()));
  const Bytes file = FileBytes(path);
  ASSERT_EQ(file.size(), 11078U);
  EXPECT_EQ(file[0], 'B');
  EXPECT_EQ(file[1], 'M');
  EXPECT_EQ(Number(file, 2), 11078U);
  EXPECT_EQ(Number(file, 6), 0U);
  EXPECT_EQ(Number(file, 10), 1078U);
  EXPECT_EQ(Number(file, 14), 40U);
  EXPECT_EQ(Number(file, 18), 1000U);
  EXPECT_EQ(Number(file, 22), 10U);
  EXPECT_EQ(Number(file, 26), 0x00080001U);
  EXPECT_EQ(Number(file, 30), 0U);
  EXPECT_EQ(Number(file, 34), 10000U);
  EXPECT_EQ(Number(file, 38), 0U);
  EXPECT_EQ(Number(file, 42), 0U);
  EXPECT_EQ(Number(file, 46), 256U);
  EXPECT_EQ(Number(file, 50), 0U);
  for (std::uint32_t i = 0; i < 256; ++i) EXPECT_EQ(Number(file, 54 + 4 * i), i * 0x010101U);
  EXPECT_EQ(Bytes(file.begin() + 1078, file.end()), data);
}

TEST_F(BmpDark, AnImageOfOddRowsIsCopiedAsItLies) {
  Bytes data(10040);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i % 251);
  ASSERT_TRUE(camera.CreateBMP(1001, 10, data.data(), path.c_str()));
  const Bytes file = FileBytes(path);
  ASSERT_EQ(file.size(), 10040U + 1078);
  EXPECT_EQ(Number(file, 34), 10040U);
  EXPECT_EQ(Bytes(file.begin() + 1078, file.end()), data);
}

TEST_F(BmpDark, ADarkOfOddRowsIsFilledUpWithZeros) {
  camera.iMaxWidth = 1001;
  camera.iMaxHeight = 10;
  camera.pDarkFull = std::make_unique<std::uint8_t[]>(10010);
  std::fill_n(camera.pDarkFull.get(), 10010, std::uint8_t{0x5A});
  EXPECT_TRUE(camera.SaveBMPToFile(path.c_str()));
  const Bytes file = FileBytes(path);
  ASSERT_EQ(file.size(), 10040U + 1078);
  EXPECT_EQ(Number(file, 34), 10040U);
  EXPECT_THAT(Bytes(file.begin() + 1078, file.begin() + 1078 + 10010), Each(0x5A));
  EXPECT_THAT(Bytes(file.begin() + 1078 + 10010, file.end()), Each(0));
}

TEST_F(BmpDark, AnExistingFileIsReplaced) {
  SetFile(path, Bytes(50000, 1));
  const Bytes data(16, 2);
  ASSERT_TRUE(camera.CreateBMP(4, 4, data.data(), path.c_str()));
  EXPECT_EQ(FileBytes(path).size(), 16U + 1078);
}

TEST_F(BmpDark, WhatCannotBeWrittenIsNotCreated) {
  const Bytes data(16);
  EXPECT_FALSE(camera.CreateBMP(4, 4, data.data(), (folder.Path() / "no" / "dark.bmp").c_str()));
  EXPECT_FALSE(camera.CreateBMP(4, 4, data.data(), folder.Path().c_str()));
  EXPECT_FALSE(camera.CreateBMP(4, 4, data.data(), nullptr));
  EXPECT_FALSE(camera.CreateBMP(4, 4, nullptr, path.c_str()));
  EXPECT_FALSE(camera.CreateBMP(-4, 4, data.data(), path.c_str()));
  EXPECT_FALSE(camera.CreateBMP(4, -4, data.data(), path.c_str()));
  EXPECT_FALSE(std::filesystem::exists(path));
}

// Saving -------------------------------------------------------------------------------------------------------

TEST_F(BmpDark, SavingWritesTheFullDarkAndKeepsThePath) {
  SetSensor(6, 3);
  SetDark(10);
  LogText text;
  EXPECT_TRUE(camera.SaveBMPToFile(path.c_str()));
  EXPECT_EQ(text.Text(), Line("SaveBMPToFile", "Save file " + path + " --> succeed!\n"));
  EXPECT_EQ(std::string(camera.BMPPATH.data()), path);
  const Bytes file = FileBytes(path);
  ASSERT_EQ(file.size(), 24U + 1078);
  EXPECT_EQ(Number(file, 18), 6U);
  EXPECT_EQ(Number(file, 22), 3U);
  EXPECT_EQ(Bytes(file.begin() + 1078, file.begin() + 1078 + 18), Dark());
}

TEST_F(BmpDark, SavingWithoutADarkWritesNothingAndSucceeds) {
  SetSensor(6, 3);
  SetFile(path, {1, 2, 3});
  LogText text;
  EXPECT_TRUE(camera.SaveBMPToFile(path.c_str()));
  EXPECT_EQ(text.Text(), Line("SaveBMPToFile", "Save file " + path + " --> succeed!\n"));
  EXPECT_EQ(std::string(camera.BMPPATH.data()), path);
  EXPECT_EQ(FileBytes(path), (Bytes{1, 2, 3}));
}

TEST_F(BmpDark, SavingWhereNothingCanBeWrittenSucceedsAllTheSame) {
  SetSensor(6, 3);
  SetDark(10);
  const std::string nowhere = (folder.Path() / "no" / "dark.bmp").string();
  EXPECT_TRUE(camera.SaveBMPToFile(nowhere.c_str()));
  EXPECT_EQ(std::string(camera.BMPPATH.data()), nowhere);
  EXPECT_TRUE(camera.SaveBMPToFile(nullptr));
  EXPECT_EQ(camera.BMPPATH[0], '\0');
}

TEST_F(BmpDark, ALongPathIsKeptCutWithItsEndMark) {
  std::fill(camera.BMPPATH.begin(), camera.BMPPATH.end(), 'x');
  EXPECT_TRUE(camera.SaveBMPToFile(std::string(300, 'p').c_str()));
  EXPECT_EQ(std::string(camera.BMPPATH.data()), std::string(255, 'p'));
  EXPECT_TRUE(camera.SaveBMPToFile("q"));
  EXPECT_EQ(std::string(camera.BMPPATH.data()), "q");
}

// Loading ------------------------------------------------------------------------------------------------------

TEST_F(BmpDark, LoadingGivesTheSavedDarkAndSwitchesSubtractionOn) {
  SetSensor(7, 5);
  SetDark(10);
  const Bytes dark = Dark();
  camera.SaveBMPToFile(path.c_str());
  SetDark(99);
  camera.BMPPATH[0] = '\0';
  EXPECT_EQ(Load(path), 1);
  EXPECT_EQ(Dark(), dark);
  EXPECT_EQ(camera.CutDark, 1);
  EXPECT_NE(camera.pDarkBuf, nullptr);
  EXPECT_EQ(std::string(camera.BMPPATH.data()), path);
  EXPECT_EQ(printed, kBothSizes);
  EXPECT_THAT(log, EndsWith(Loading("Open file " + path + " --> succeed!\n")));
}

TEST_F(BmpDark, LoadingCutsTheDarkToTheGeometry) {
  SetSensor(6, 4);
  camera.iWidth = 2;
  camera.iHeight = 2;
  camera.iBin = 1;
  camera.iStartX = 3;
  camera.iStartY = 1;
  SetFile(path, MadeElsewhere(6, 4, 8, 54));  // pixel i holds 3 i + 1
  EXPECT_EQ(Load(path), 1);
  EXPECT_EQ(camera.iDarkWidth, 2);
  EXPECT_EQ(camera.iDarkHeight, 2);
  EXPECT_EQ(Bytes(camera.pDarkBuf.get(), camera.pDarkBuf.get() + 4), (Bytes{28, 31, 46, 49}));
}

TEST_F(BmpDark, PixelsAreReadFromWhereTheHeaderSaysWithoutSkipping) {
  SetSensor(5, 3);
  SetFile(path, MadeElsewhere(5, 3, 8, 333));
  EXPECT_EQ(Load(path), 1);
  Bytes expected(15);
  for (std::size_t i = 0; i < 15; ++i) expected[i] = static_cast<std::uint8_t>(i * 3 + 1);
  EXPECT_EQ(Dark(), expected);
}

TEST_F(BmpDark, AShortFileLeavesTheRestAsItWas) {
  SetSensor(5, 3);
  SetDark(100);
  Bytes expected = Dark();
  Bytes file = MadeElsewhere(5, 3, 8, 54);
  file.resize(54 + 4);
  SetFile(path, file);
  EXPECT_EQ(Load(path), 1);
  for (std::size_t i = 0; i < 4; ++i) expected[i] = static_cast<std::uint8_t>(i * 3 + 1);
  EXPECT_EQ(Dark(), expected);
}

TEST_F(BmpDark, PixelsSaidToBeFarBehindTheFileAreNone) {
  SetSensor(5, 3);
  Bytes file = MadeElsewhere(5, 3, 8, 54);
  file[10] = file[11] = file[12] = file[13] = 0xFF;
  SetFile(path, file);
  EXPECT_EQ(Load(path), 1);
  EXPECT_THAT(Dark(), Each(0));
}

TEST_F(BmpDark, AMissingFileSwitchesSubtractionOffAndFreesTheDark) {
  SetSensor(5, 3);
  SetDark(1);
  camera.CutDark = 1;
  camera.BMPPATH[0] = 'k';
  EXPECT_EQ(Load(path), 6);
  EXPECT_EQ(camera.CutDark, 0);
  EXPECT_EQ(camera.pDarkFull, nullptr);
  EXPECT_EQ(camera.BMPPATH[0], 'k');
  EXPECT_EQ(printed, "");
  EXPECT_EQ(log, Loading("Open file " + path + " failed!\n"));
  EXPECT_EQ(camera.LoadBMPFromFile(nullptr), 6);
}

TEST_F(BmpDark, AFileTooShortForItsHeadersIsUnreadable) {
  SetSensor(5, 3);
  const Bytes whole = MadeElsewhere(5, 3, 8, 54);
  for (const std::ptrdiff_t length : {0, 13}) {
    SetFile(path, Bytes(whole.begin(), whole.begin() + length));
    EXPECT_EQ(Load(path), 0);
    EXPECT_EQ(printed, "bmpheader size=14\n");
    EXPECT_EQ(log, Loading("Read bmp header failed!\n"));
  }
  for (const std::ptrdiff_t length : {14, 53}) {
    SetFile(path, Bytes(whole.begin(), whole.begin() + length));
    EXPECT_EQ(Load(path), 0);
    EXPECT_EQ(printed, kBothSizes);
    EXPECT_EQ(log, Loading("Read bmp information failed!\n"));
  }
  EXPECT_EQ(camera.pDarkFull, nullptr);
  EXPECT_EQ(Load(folder.Path().string()), 0) << "a folder opens, but does not read";
}

TEST_F(BmpDark, AFileOfAnotherTypeIsRefused) {
  SetSensor(5, 3);
  Bytes file = MadeElsewhere(5, 3, 8, 54);
  std::swap(file[0], file[1]);
  SetFile(path, file);
  EXPECT_EQ(Load(path), 0);
  EXPECT_EQ(printed, "bmpheader size=14\n");
  EXPECT_EQ(log, Loading("bmp header err\n"));
}

TEST_F(BmpDark, AnImageOfAnotherSizeIsRefused) {
  SetSensor(5, 3);
  camera.CutDark = 1;
  SetFile(path, MadeElsewhere(6, 3, 24, 54));
  EXPECT_EQ(Load(path), 7);
  EXPECT_EQ(log, Loading("bmp width err: iMaxWidth=5 Wbmp=6\n"));
  SetFile(path, MadeElsewhere(5, 4, 24, 54));
  EXPECT_EQ(Load(path), 7);
  EXPECT_EQ(log, Loading("bmp height err\n"));
  EXPECT_EQ(camera.CutDark, 1) << "only a missing file switches it off";
  EXPECT_EQ(camera.pDarkFull, nullptr);
}

TEST_F(BmpDark, AnImageOfAnotherDepthIsRefused) {
  SetSensor(5, 3);
  for (const int bits : {1, 4, 16, 24, 32}) {
    SetFile(path, MadeElsewhere(5, 3, bits, 54));
    EXPECT_EQ(Load(path), 0) << bits;
    EXPECT_EQ(printed, kBothSizes);
    EXPECT_EQ(log, Loading("bmp biBitCount err\n"));
  }
}

TEST_F(BmpDark, TheRememberedPathItselfCanBeLoadedAndSaved) {
  SetSensor(4, 4);
  SetDark(3);
  camera.SaveBMPToFile(path.c_str());
  EXPECT_EQ(camera.LoadBMPFromFile(camera.BMPPATH.data()), 1);
  EXPECT_TRUE(camera.SaveBMPToFile(camera.BMPPATH.data()));
  EXPECT_EQ(std::string(camera.BMPPATH.data()), path);
}

TEST_F(BmpDark, LoadingAndSwitchingOffAtTheSameTimeDoNotBlockEachOther) {
  SetSensor(8, 8);
  SetFile(path, MadeElsewhere(8, 8, 8, 54));
  testing::internal::CaptureStdout();
  std::thread other([this] {
    for (int i = 0; i < 300; ++i) camera.UsingDark(false);
  });
  for (int i = 0; i < 300; ++i) EXPECT_EQ(camera.LoadBMPFromFile(path.c_str()), 1);
  other.join();
  testing::internal::GetCapturedStdout();
}

// Files that other programs wrote ------------------------------------------------------------------------------

struct RealFile {
  const char* name;
  int width, height;  ///< of the sensor that it is offered to
  int status;
};

void PrintTo(const RealFile& file, std::ostream* out) {
  *out << file.name << " to " << file.width << " x " << file.height;
}

class RealBmp : public testing::TestWithParam<RealFile> {};

TEST_P(RealBmp, LoadsOrIsRefusedForItsReason) {
  const auto path = std::filesystem::path(ORQ_REALDATA_DIR) / "bmp" / GetParam().name;
  if (!std::filesystem::exists(path)) GTEST_SKIP() << "no real data: " << path << " is absent";
  BareCamera camera;
  camera.iMaxWidth = GetParam().width;
  camera.iMaxHeight = GetParam().height;
  testing::internal::CaptureStdout();
  EXPECT_EQ(camera.LoadBMPFromFile(path.c_str()), GetParam().status);
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(camera.pDarkFull != nullptr, GetParam().status == 1);
  if (GetParam().status != 1) return;
  // What follows the pixel offset, as it stands; nothing behind the end of the file.
  const Bytes file = FileBytes(path.string());
  const auto pixels = static_cast<std::size_t>(camera.iMaxWidth) * static_cast<std::size_t>(camera.iMaxHeight);
  Bytes expected(pixels);
  for (std::size_t i = 0, at = Number(file, 10); i < pixels && at < file.size(); ++i, ++at) expected[i] = file[at];
  EXPECT_EQ(Bytes(camera.pDarkFull.get(), camera.pDarkFull.get() + pixels), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Files, RealBmp,
    testing::Values(
        // 8 bits in every header version, palette size and pixel offset.
        RealFile{"pal8.bmp", 127, 64, 1}, RealFile{"pal8-0.bmp", 127, 64, 1}, RealFile{"pal8gs.bmp", 127, 64, 1},
        RealFile{"pal8badindex.bmp", 127, 64, 1}, RealFile{"pal8offs.bmp", 127, 64, 1},
        RealFile{"pal8oversizepal.bmp", 127, 64, 1}, RealFile{"badpalettesize.bmp", 127, 64, 1},
        RealFile{"pal8v4.bmp", 127, 64, 1}, RealFile{"pal8v5.bmp", 127, 64, 1},
        RealFile{"pal8w125.bmp", 125, 62, 1}, RealFile{"realdark_pillow.bmp", 408, 344, 1},
        RealFile{"realdark_netpbm.bmp", 408, 344, 1},
        // Compression is not looked at: the bytes are taken as they are.
        RealFile{"pal8rle.bmp", 127, 64, 1}, RealFile{"realdark_gm.bmp", 408, 344, 1},
        // Other depths.
        RealFile{"rgb24.bmp", 127, 64, 0}, RealFile{"badbitcount.bmp", 127, 64, 0},
        RealFile{"badfilesize.bmp", 127, 64, 0}, RealFile{"badheadersize.bmp", 127, 64, 0},
        RealFile{"badplanes.bmp", 127, 64, 0}, RealFile{"shortfile.bmp", 127, 64, 0},
        // Other sizes, a top-down image's negative height among them, and a header with 16-bit sizes.
        RealFile{"pal8.bmp", 128, 64, 7}, RealFile{"pal8.bmp", 127, 65, 7},
        RealFile{"pal8topdown.bmp", 127, 64, 7}, RealFile{"badwidth.bmp", 127, 64, 7},
        RealFile{"reallybig.bmp", 127, 64, 7}, RealFile{"pal8os2.bmp", 127, 64, 7}));

}  // namespace
