// Frames that the application gets against what the device's sensor sent.
#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "link/WireProtocol.h"
#include "session/CameraList.h"
#include "support/Cameras.h"
#include "support/FrameReference.h"
#include "support/VirtualRig.h"

namespace orq {
namespace {

using test::VirtualRig;

using test::RawFrame;

RawFrame Shape(const CModelCamera& camera, const FrameInfo& info, int hostBin) {
  RawFrame raw;
  raw.width = info.region.width;
  raw.height = info.region.height;
  raw.hostBin = hostBin;
  raw.bayer = camera.Model().colour;
  raw.wide = info.region.format == ORQ_IMG_RAW16;
  raw.msbFirst = camera.Model().msbFirst;
  raw.flipHorizontal = info.flipHorizontal;
  raw.flipVertical = info.flipVertical;
  return raw;
}

bool Apply(CModelCamera& camera, const FrameRegion& region) {
  FrameRegion applied;
  std::string reason;
  const bool done = camera.SetRegion(region, applied, reason);
  EXPECT_TRUE(done) << reason;
  EXPECT_EQ(applied, region);
  return done;
}

TEST(FrameDelivery, EveryFormatBinRegionAndFlipBringsTheSamplesThatWereSent) {
  for (const char* key : test::CameraKeysOfAllBins()) {
    const VirtualRig rig(key);
    ASSERT_TRUE(rig.Open());
    std::set<std::string> different;
    for (const IMG_TYPE format : {ORQ_IMG_RAW8, ORQ_IMG_RAW16}) {
      for (int bin = 1; bin <= 4; ++bin) {
        for (int flips = 0; flips < 4; ++flips) {
          ASSERT_TRUE(Apply(*rig.camera, {2 * flips, 4, 24, 20, bin, format}));
          ASSERT_EQ(rig.camera->SetControlValue(ORQ_FLIP, flips, false), CTRL_OK);
          FrameInfo info;
          const auto frame = rig.Snap(info);
          const std::string what = std::string(key) + " format " + std::to_string(format) + " bin " +
                                   std::to_string(bin) + " flips " + std::to_string(flips);
          ASSERT_FALSE(frame.empty()) << what << ": " << rig.camera->CaptureTrouble();
          const auto sent = rig.device->SentPayload(info.sequence);
          const RawFrame raw = Shape(*rig.camera, info, bin);
          ASSERT_EQ(sent.size(), static_cast<std::size_t>(24 * bin * 20 * bin * (raw.wide ? 2 : 1))) << what;
          EXPECT_EQ(test::Differences(raw, sent, frame), 0) << what;
          EXPECT_EQ(raw.flipHorizontal, flips == 1 || flips == 3);
          EXPECT_EQ(raw.flipVertical, flips >= 2);
          if (raw.wide) different.emplace(frame.begin(), frame.end());
        }
      }
    }
    EXPECT_EQ(different.size(), 16U) << "frames of a noisy sensor are all different";
  }
}

TEST(FrameDelivery, HardwareBinningSendsBinnedSamplesAtEvenFactorsOnly) {
  const VirtualRig rig("x26m");
  ASSERT_TRUE(rig.Open());
  ASSERT_TRUE(rig.camera->SetHardwareBin(true));
  const int hostBin[] = {1, 1, 3, 2};
  for (int bin = 1; bin <= 4; ++bin) {
    ASSERT_TRUE(Apply(*rig.camera, {0, 0, 32, 32, bin, ORQ_IMG_RAW16}));
    EXPECT_EQ(rig.camera->IsHardBinRun(), bin == 2 || bin == 4) << bin;
    EXPECT_EQ(rig.device->FpgaRegister(wire::kFpgaBin), bin % 2 == 0 ? 2 : 1) << bin;
    FrameInfo info;
    const auto frame = rig.Snap(info);
    ASSERT_FALSE(frame.empty()) << rig.camera->CaptureTrouble();
    const RawFrame raw = Shape(*rig.camera, info, hostBin[bin - 1]);
    EXPECT_EQ(test::Differences(raw, rig.device->SentPayload(info.sequence), frame), 0) << bin;
  }
}

TEST(FrameDelivery, AnFpgaThatBinsSendsBinnedSamplesWithoutBeingAsked) {
  const VirtualRig rig("b29m");
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->fpgaBin, 1);
  EXPECT_FALSE(rig.camera->SetHardwareBin(true)) << "nothing to switch";
  EXPECT_EQ(rig.camera->HardwareBin, 0);
  const struct { int bin, fpga, host; } rows[] = {{1, 1, 1}, {2, 2, 1}, {4, 2, 2}};
  for (const auto& row : rows) {
    for (const IMG_TYPE format : {ORQ_IMG_RAW8, ORQ_IMG_RAW16}) {
      ASSERT_TRUE(Apply(*rig.camera, {0, 8, 32, 20, row.bin, format}));
      EXPECT_EQ(rig.camera->IsHardBinRun(), row.bin > 1);
      EXPECT_EQ(rig.device->FpgaRegister(wire::kFpgaBin), row.fpga);
      FrameInfo info;
      const auto frame = rig.Snap(info);
      ASSERT_FALSE(frame.empty()) << rig.camera->CaptureTrouble();
      const RawFrame raw = Shape(*rig.camera, info, row.host);
      EXPECT_EQ(test::Differences(raw, rig.device->SentPayload(info.sequence), frame), 0) << row.bin;
    }
  }
  FrameRegion applied;
  std::string reason;
  EXPECT_FALSE(rig.camera->SetRegion({0, 0, 32, 20, 3, ORQ_IMG_RAW16}, applied, reason));
  EXPECT_NE(reason.find("1, 2, 4"), std::string::npos) << reason;
}

TEST(FrameDelivery, ColourFormatsAreTheConversionOfTheSamplesThatWereSent) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  CAlgorithm algorithm;
  algorithm.RGBYUV_Init();
  for (const IMG_TYPE format : {ORQ_IMG_RGB24, ORQ_IMG_Y8}) {
    ASSERT_TRUE(Apply(*rig.camera, {0, 0, 64, 32, 1, format}));
    rig.camera->SetControlValue(ORQ_FLIP, 0, false);
    FrameInfo info;
    const auto frame = rig.Snap(info);
    ASSERT_EQ(frame.size(), 64U * 32 * (format == ORQ_IMG_RGB24 ? 3 : 1));
    const auto sent = rig.device->SentPayload(info.sequence);
    std::vector<std::uint8_t> expected(frame.size());
    algorithm.SetBayer(0);
    if (format == ORQ_IMG_RGB24)
      algorithm.BayerToRGB24(sent.data(), 64, 32, expected.data());
    else
      algorithm.BayerToY8(sent.data(), 64, 32, expected.data());
    EXPECT_EQ(frame, expected);
  }
}

TEST(FrameDelivery, TheWholeSensorArrivesAtFullSize) {
  for (const char* key : test::CameraKeys()) {
    NamedCamera named = MakeCamera(std::string("virtual:") + key + ",timescale=0.01,scene=dark");
    ASSERT_NE(named.camera, nullptr) << named.error;
    ASSERT_EQ(named.camera->OpenCamera(named.openIndex), 1);
    std::vector<std::uint8_t> frame(static_cast<std::size_t>(named.camera->FrameBytes()));
    FrameInfo info;
    ASSERT_EQ(named.camera->StartExposure(), 1);
    ASSERT_EQ(named.camera->GetFrame(frame.data(), static_cast<int>(frame.size()), VirtualRig::kPatienceMs, info),
              1)
        << named.camera->CaptureTrouble();
    auto sent = named.device->SentPayload(info.sequence);
    ASSERT_EQ(sent.size(), frame.size());
    if (named.camera->Model().msbFirst)
      for (std::size_t i = 0; i < sent.size(); i += 2) std::swap(sent[i], sent[i + 1]);
    EXPECT_TRUE(frame == sent) << key;
    EXPECT_EQ(info.region, named.camera->Region());
    EXPECT_EQ(info.region.width, named.camera->Model().maxWidth);
    EXPECT_EQ(info.region.height, named.camera->Model().maxHeight);
  }
}

// The 16-bit samples of a FITS file with BITPIX 16, read with nothing of the system under test.
std::vector<std::uint16_t> FitsSamples(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(file), {}};
  std::size_t data = 0;
  double zero = 0;
  std::size_t samples = 1;
  for (std::size_t card = 0;; card += 80) {
    const std::string text = bytes.substr(card, 80);
    const auto value = [&] { return std::stod(text.substr(10, 20)); };
    if (text.starts_with("BZERO   =")) zero = value();
    if (text.starts_with("NAXIS1  =") || text.starts_with("NAXIS2  ="))
      samples *= static_cast<std::size_t>(value());
    if (text.starts_with("END ") || text.size() < 80) {
      data = (card / 2880 + 1) * 2880;
      break;
    }
  }
  std::vector<std::uint16_t> out(samples);
  for (std::size_t i = 0; i < samples; ++i) {
    const auto high = static_cast<std::uint8_t>(bytes.at(data + 2 * i));
    const auto low = static_cast<std::uint8_t>(bytes.at(data + 2 * i + 1));
    out[i] = static_cast<std::uint16_t>(static_cast<std::int16_t>(high * 256 + low) + zero);
  }
  return out;
}

TEST(FrameDelivery, ReplayedSkyFramesEqualTheirFilesInSixteenBit) {
  const std::filesystem::path sky = std::filesystem::path(ORQ_REALDATA_DIR) / "sky";
  if (!std::filesystem::exists(sky)) GTEST_SKIP() << "no recorded frames in " << sky;
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(sky)) {
    if (entry.path().extension() != ".fits") continue;
    NamedCamera named = MakeCamera("virtual:replay,timescale=0,file=" + entry.path().string());
    ASSERT_NE(named.camera, nullptr) << named.error;
    EXPECT_EQ(named.camera->Model().maxWidth, 1024);
    EXPECT_EQ(named.camera->Model().maxHeight, 768);
    EXPECT_EQ(named.camera->Model().adcBits, 16);
    EXPECT_FALSE(named.camera->Model().colour);
    ASSERT_EQ(named.camera->OpenCamera(named.openIndex), 1);
    std::vector<std::uint16_t> frame(1024 * 768);
    ASSERT_EQ(named.camera->FrameBytes(), static_cast<int>(frame.size() * 2));
    ASSERT_EQ(named.camera->StartExposure(), 1);
    FrameInfo info;
    ASSERT_EQ(named.camera->GetFrame(reinterpret_cast<unsigned char*>(frame.data()), named.camera->FrameBytes(),
                                     VirtualRig::kPatienceMs, info),
              1);
    EXPECT_TRUE(frame == FitsSamples(entry.path())) << entry.path();
    EXPECT_EQ(info.electronsPerAdu, 0.0) << "nobody knows what recorded units were worth";
    EXPECT_EQ(info.bayerPattern, -1);
    ++files;
  }
  EXPECT_GE(files, 2);
}

TEST(FrameDelivery, AReplayedColourFrameHasItsPatternAndAllFormats) {
  const std::filesystem::path file =
      std::filesystem::path(ORQ_REALDATA_DIR) / "dark" / "light-3916ms-same-camera.pgm";
  if (!std::filesystem::exists(file)) GTEST_SKIP() << "no recorded frame " << file;
  NamedCamera named = MakeCamera("virtual:replay,timescale=0,bayer=GBRG,file=" + file.string());
  ASSERT_NE(named.camera, nullptr) << named.error;
  EXPECT_EQ(named.camera->Model().bayerPattern, 3);
  for (int format = 0; format < 4; ++format)
    EXPECT_TRUE(named.camera->IsImgTypeSupported(static_cast<IMG_TYPE>(format)));
  ASSERT_EQ(named.camera->OpenCamera(named.openIndex), 1);
  ASSERT_TRUE(Apply(*named.camera, {1, 0, 407, 343, 1, ORQ_IMG_RAW8}));
  std::vector<std::uint8_t> frame(407 * 343);
  FrameInfo info;
  ASSERT_EQ(named.camera->StartExposure(), 1);
  ASSERT_EQ(named.camera->GetFrame(frame.data(), 407 * 343, VirtualRig::kPatienceMs, info), 1);
  EXPECT_EQ(info.bayerPattern, 1) << "GBRG from the second column on is BGGR";

  std::ifstream in(file, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), {}};
  const std::string pixels = bytes.substr(bytes.size() - 408 * 344);
  for (int y = 0; y < 343; ++y) {
    for (int x = 0; x < 407; ++x) {
      ASSERT_EQ(frame[static_cast<std::size_t>(y * 407 + x)],
                static_cast<std::uint8_t>(pixels[static_cast<std::size_t>(y * 408 + x + 1)]))
          << x << "," << y;
    }
  }
}

TEST(FrameDelivery, TheSameSeedBringsTheSameFrames) {
  const auto run = [](std::uint64_t seed) {
    const VirtualRig rig("k1c", [&](VirtualOptions& options) {
      options.seed = seed;
      options.scene = "stars";
    });
    EXPECT_TRUE(rig.Open());
    std::vector<std::vector<std::uint8_t>> frames;
    for (int i = 0; i < 3; ++i) {
      FrameInfo info;
      frames.push_back(rig.Snap(info));
    }
    return frames;
  };
  const auto first = run(5);
  EXPECT_EQ(first, run(5));
  EXPECT_NE(first, run(6));
  EXPECT_NE(first[0], first[1]);
}

TEST(FrameDelivery, FactsTellTheSettingsThatTheFrameWasTakenWith) {
  const VirtualRig rig;
  rig.camera->SetExp(4'000, false);
  rig.camera->SetGain(20, false);
  rig.camera->SetBrightness(30);
  ASSERT_TRUE(rig.Open());
  ASSERT_TRUE(Apply(*rig.camera, {0, 0, 32, 16, 2, ORQ_IMG_RAW16}));
  rig.camera->SetControlValue(ORQ_FLIP, 1, false);
  const auto nowUs = [] {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
  };
  const std::int64_t before = nowUs();
  FrameInfo info;
  ASSERT_FALSE(rig.Snap(info).empty());
  const std::int64_t after = nowUs();
  EXPECT_EQ(info.exposureUs, 4'000U);
  EXPECT_EQ(info.gain, 20);
  EXPECT_EQ(info.offset, 30);
  EXPECT_EQ(info.bayerPattern, 2) << "RGGB mirrored left-right is GRBG";
  // 3.6 e- per 12-bit count, gain factor 2.5, 16 units per count, four samples averaged.
  EXPECT_NEAR(info.electronsPerAdu, 3.6 / 2.5 / 16 * 4, 1e-6);
  EXPECT_GE(info.startUnixUs, before - 4'000);
  EXPECT_LE(info.startUnixUs, after - 4'000);
  EXPECT_GE(info.uncertaintyUs, 1'000);
  EXPECT_LT(info.uncertaintyUs, 10'000);
  EXPECT_EQ(rig.camera->LastFrame().sequence, info.sequence);
}

TEST(FrameDelivery, ASignalDoublesWithTheGainFactor) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  rig.camera->SetBrightness(0);
  const auto mean = [&](int gain) {
    rig.camera->SetGain(gain, false);
    FrameInfo info;
    const auto frame = rig.Snap(info);
    double sum = 0;
    for (std::size_t i = 1; i < frame.size(); i += 2) sum += frame[i] * 256.0 + frame[i - 1];
    return sum;
  };
  EXPECT_NEAR(mean(16) / mean(0), 2.0, 0.05);
}

TEST(FrameDelivery, RawFramesBearTheWhiteBalanceAsWordsOnly) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  EXPECT_EQ(rig.camera->SetControlValue(ORQ_WB_R, 75, false), CTRL_OK);
  EXPECT_EQ(rig.camera->SetControlValue(ORQ_WB_B, 25, false), CTRL_OK);
  for (const IMG_TYPE format : {ORQ_IMG_RAW16, ORQ_IMG_RAW8}) {
    ASSERT_TRUE(Apply(*rig.camera, {0, 0, 32, 16, 1, format}));
    FrameInfo info;
    const auto frame = rig.Snap(info);
    EXPECT_EQ(info.whiteBalanceRed, 75);
    EXPECT_EQ(info.whiteBalanceBlue, 25);
    const auto sent = rig.device->SentPayload(info.sequence);
    EXPECT_EQ(test::Differences(Shape(*rig.camera, info, 1), sent, frame), 0) << format;
  }
}

TEST(FrameDelivery, ColourFramesAreBalanced) {
  const VirtualRig rig;
  ASSERT_TRUE(rig.Open());
  ASSERT_TRUE(Apply(*rig.camera, {0, 0, 32, 16, 1, ORQ_IMG_RGB24}));
  EXPECT_EQ(rig.camera->SetControlValue(ORQ_WB_R, 75, false), CTRL_OK);
  EXPECT_EQ(rig.camera->SetControlValue(ORQ_WB_B, 25, false), CTRL_OK);
  FrameInfo info;
  const auto frame = rig.Snap(info);
  const auto sent = rig.device->SentPayload(info.sequence);
  for (std::size_t y = 0; y < 16; y += 2) {
    for (std::size_t x = 0; x < 32;
         x += 2) {  // RGGB: the top left pixel of a block measured red, the lower right blue
      const std::size_t red = y * 32 + x;
      const std::size_t blue = red + 32 + 1;
      ASSERT_EQ(frame[3 * red + 2], std::min(255, (sent[red] * 75 + 25) / 50)) << x << "," << y;
      ASSERT_EQ(frame[3 * blue], (sent[blue] * 25 + 25) / 50) << x << "," << y;
      ASSERT_EQ(frame[3 * red + 3 + 1], sent[red + 1]) << "green stays";
    }
  }
}

}  // namespace
}  // namespace orq
