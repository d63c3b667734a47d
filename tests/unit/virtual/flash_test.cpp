#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "TestCamera.h"

namespace orq::test {
namespace {

using testing::Each;
using testing::HasSubstr;
using Bytes = std::vector<std::uint8_t>;

int Program(VirtualCamera& camera, std::uint32_t address, Bytes data) {
  return camera.Control({kVendorOut, 0xC2, static_cast<std::uint16_t>(address >> 16),
                         static_cast<std::uint16_t>(address), static_cast<std::uint16_t>(data.size())},
                        data);
}

int ReadFlash(VirtualCamera& camera, std::uint32_t address, Bytes& data) {
  return camera.Control({kVendorIn, 0xC3, static_cast<std::uint16_t>(address >> 16),
                         static_cast<std::uint16_t>(address), static_cast<std::uint16_t>(data.size())},
                        data);
}

std::shared_ptr<Firmware> CameraWithFlashBus(const VirtualOptions& options = Untimed()) {
  auto camera = MakeCamera(options);
  EXPECT_EQ(0, Out(*camera, 0xD6, 0));
  return camera;
}

TEST(VirtualFlash, IsErasedAtTheFactory) {
  auto camera = CameraWithFlashBus();
  Bytes data(2048);
  EXPECT_EQ(2048, ReadFlash(*camera, 0x7FF800, data));
  EXPECT_THAT(data, Each(0xFF));
}

TEST(VirtualFlash, ProgrammingOnlyClearsBits) {
  auto camera = CameraWithFlashBus();
  EXPECT_EQ(2, Program(*camera, 0x40000, {0xF0, 0x0F}));
  EXPECT_EQ(2, Program(*camera, 0x40000, {0x3C, 0xFF}));
  Bytes data(3);
  EXPECT_EQ(3, ReadFlash(*camera, 0x40000, data));
  EXPECT_EQ((Bytes{0x30, 0x0F, 0xFF}), data);
}

TEST(VirtualFlash, ErasesOneSector) {
  auto camera = CameraWithFlashBus();
  for (const std::uint32_t address : {0x3FFFFU, 0x40000U, 0x4FFFFU, 0x50000U})
    EXPECT_EQ(1, Program(*camera, address, {0}));
  EXPECT_EQ(0, Out(*camera, 0xC4, 4));
  EXPECT_EQ(Bytes{0}, camera->Flash(0x3FFFF, 1));
  EXPECT_THAT(camera->Flash(0x40000, 0x10000), Each(0xFF));
  EXPECT_EQ(Bytes{0}, camera->Flash(0x50000, 1));
}

TEST(VirtualFlash, APageProgramWrapsAtThePagesEnd) {
  auto camera = CameraWithFlashBus();
  Bytes data(256, 0x11);
  data[255] = 0x22;
  EXPECT_EQ(256, Program(*camera, 0x401F0, data));  // 16 bytes to the page's end, 240 to its beginning
  Bytes expected(256, 0x11);
  expected[0xEF] = 0x22;
  EXPECT_EQ(expected, camera->Flash(0x40100, 256));
  EXPECT_THAT(camera->Flash(0x40200, 256), Each(0xFF));
}

TEST(VirtualFlash, LongWritesProgramPageByPage) {
  auto camera = CameraWithFlashBus();
  Bytes data(2048);
  for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<std::uint8_t>(i / 256 * 16 + i % 16);
  EXPECT_EQ(2048, Program(*camera, 0x40800, data));
  EXPECT_EQ(data, camera->Flash(0x40800, 2048));
}

TEST(VirtualFlash, IsOutOfReachWhileTheImageBusIsOn) {
  auto camera = CameraWithFlashBus();
  EXPECT_EQ(0, Out(*camera, 0xD6, 1));
  Bytes data(1);
  EXPECT_EQ(kUsbPipe, ReadFlash(*camera, 0, data));
  EXPECT_EQ(kUsbPipe, Program(*camera, 0, {0}));
  EXPECT_EQ(kUsbPipe, Out(*camera, 0xC4, 0));
  EXPECT_EQ(Bytes{0xFF}, camera->Flash(0, 1));
  EXPECT_EQ(kUsbPipe, Out(*camera, 0xD6, 2));
}

TEST(VirtualFlash, RefusesAddressesBeyondItsEnd) {
  auto camera = CameraWithFlashBus();
  Bytes two(2);
  EXPECT_EQ(kUsbPipe, ReadFlash(*camera, 0x7FFFFF, two));
  EXPECT_EQ(kUsbPipe, ReadFlash(*camera, 0xFFFFFFFF, two));
  EXPECT_EQ(kUsbPipe, Program(*camera, 0x800000, {0}));
  EXPECT_EQ(kUsbPipe, Program(*camera, 0, {}));
  EXPECT_EQ(kUsbPipe, Program(*camera, 0, Bytes(2049)));
  EXPECT_EQ(kUsbPipe, Out(*camera, 0xC4, 128));
  EXPECT_EQ(0, Out(*camera, 0xC4, 127));
  EXPECT_TRUE(camera->Flash(0x7FFFFF, 2).empty());
  camera->SetFlash(0x7FFFFF, two);
  EXPECT_EQ(Bytes{0xFF}, camera->Flash(0x7FFFFF, 1));
}

TEST(VirtualFlash, RefusesTheChosenOperation) {
  VirtualOptions options = Untimed();
  options.flashFail = 2;
  auto camera = CameraWithFlashBus(options);
  Bytes data(1);
  EXPECT_EQ(1, ReadFlash(*camera, 0, data));
  EXPECT_EQ(kUsbPipe, Program(*camera, 0, {0}));
  EXPECT_EQ(Bytes{0xFF}, camera->Flash(0, 1));
  EXPECT_EQ(0, Out(*camera, 0xC4, 0));
  EXPECT_EQ(1, Program(*camera, 0, {0}));
}

TEST(VirtualFlash, RefusesTheChosenErase) {
  VirtualOptions options = Untimed();
  options.flashFaults = {{FlashFault::Kind::Erase, 2}};
  auto camera = CameraWithFlashBus(options);
  EXPECT_EQ(1, Program(*camera, 0, {0x12}));
  EXPECT_EQ(0, Out(*camera, 0xC4, 5));
  EXPECT_EQ(kUsbPipe, Out(*camera, 0xC4, 0));
  EXPECT_EQ(Bytes{0x12}, camera->Flash(0, 1));
  EXPECT_EQ(0, Out(*camera, 0xC4, 0));
  EXPECT_EQ(Bytes{0xFF}, camera->Flash(0, 1));
}

TEST(VirtualFlash, RefusesTheChosenRead) {
  VirtualOptions options = Untimed();
  options.flashFaults = {{FlashFault::Kind::Read, 1}, {FlashFault::Kind::Read, 3}};
  auto camera = CameraWithFlashBus(options);
  Bytes data(4);
  EXPECT_EQ(kUsbPipe, ReadFlash(*camera, 0, data));
  EXPECT_EQ(4, ReadFlash(*camera, 0, data));
  EXPECT_EQ(kUsbPipe, ReadFlash(*camera, 0, data));
  EXPECT_EQ(4, ReadFlash(*camera, 0, data));
}

TEST(VirtualFlash, AFaultAddedLaterCountsFromThenOn) {
  auto camera = CameraWithFlashBus();
  Bytes data(4);
  EXPECT_EQ(4, ReadFlash(*camera, 0, data));
  EXPECT_EQ(0, Out(*camera, 0xC4, 0));
  EXPECT_EQ(1, Program(*camera, 0, {0x12}));
  camera->AddFlashFault({FlashFault::Kind::Read, 2});
  camera->AddFlashFault({FlashFault::Kind::Erase, 1});
  camera->AddFlashFault({FlashFault::Kind::WeakWrite, 1});
  EXPECT_EQ(4, ReadFlash(*camera, 0, data));
  EXPECT_EQ(kUsbPipe, ReadFlash(*camera, 0, data));
  EXPECT_EQ(kUsbPipe, Out(*camera, 0xC4, 0));
  EXPECT_EQ(1, Program(*camera, 8, {0x00}));
  EXPECT_EQ(Bytes{0x01}, camera->Flash(8, 1));
}

TEST(VirtualFlash, AWeakWriteLeavesOneBitSetUntilTheNext) {
  VirtualOptions options = Untimed();
  options.flashFaults = {{FlashFault::Kind::WeakWrite, 2}};
  for (options.seed = 1; options.seed < 20; ++options.seed) {
    auto camera = CameraWithFlashBus(options);
    EXPECT_EQ(256, Program(*camera, 0x70000, Bytes(256, 0xFF)));
    Bytes data(256, 0xFF);
    data[17] = 0x0F;
    data[200] = 0xF0;
    EXPECT_EQ(256, Program(*camera, 0x70000, data));
    const Bytes stored = camera->Flash(0x70000, 256);
    Bytes oneWrong = data;
    oneWrong[17] = 0x1F;
    Bytes otherWrong = data;
    otherWrong[200] = 0xF1;
    EXPECT_TRUE(stored == oneWrong || stored == otherWrong);
    EXPECT_EQ(256, Program(*camera, 0x70000, data));
    EXPECT_EQ(data, camera->Flash(0x70000, 256));
  }
}

TEST(VirtualFlash, AWeakWriteOfNothingToClearIsHarmless) {
  VirtualOptions options = Untimed();
  options.flashFaults = {{FlashFault::Kind::WeakWrite, 1}};
  auto camera = CameraWithFlashBus(options);
  EXPECT_EQ(4, Program(*camera, 0, Bytes(4, 0xFF)));
  EXPECT_THAT(camera->Flash(0, 4), Each(0xFF));
}

TEST(VirtualFlash, APowerLossLeavesThePageHalfProgrammedAndTheCameraGone) {
  VirtualOptions options = Untimed();
  options.flashFaults = {{FlashFault::Kind::PowerLoss, 1}};
  auto camera = CameraWithFlashBus(options);
  EXPECT_EQ(0, Out(*camera, 0xD1, 0xFA, 77));
  EXPECT_EQ(kUsbNoDevice, Program(*camera, 0x40000, Bytes(2048, 0)));
  EXPECT_THAT(camera->Flash(0x40000, 3 * 256 + 128), Each(0));
  EXPECT_THAT(camera->Flash(0x40000 + 3 * 256 + 128, 2048 - 3 * 256 - 128), Each(0xFF));
  EXPECT_EQ(kUsbNoDevice, Out(*camera, 0xD6, 0));
  camera->PowerCycle();
  EXPECT_EQ(0, camera->FpgaRegister(0xFA));
  EXPECT_EQ(0, Out(*camera, 0xD6, 0));
  EXPECT_EQ(256, Program(*camera, 0x50000, Bytes(256, 0))) << "only once";
}

TEST(VirtualFlash, APowerLossInOnePageProgramsHalfOfIt) {
  for (const auto& [bytes, programmed] :
       {std::pair{256U, 128U}, {100U, 50U}, {1U, 0U}, {257U, 128U}, {513U, 384U}}) {
    VirtualOptions options = Untimed();
    options.flashFaults = {{FlashFault::Kind::PowerLoss, 1}};
    auto camera = CameraWithFlashBus(options);
    EXPECT_EQ(kUsbNoDevice, Program(*camera, 0, Bytes(bytes, 0)));
    const Bytes stored = camera->Flash(0, bytes);
    EXPECT_EQ(programmed, std::count(stored.begin(), stored.end(), 0)) << bytes;
  }
}

TEST(VirtualFlash, TakesItsTime) {
  VirtualOptions options;
  options.timeScale = 0.5;
  options.flashMs = 40;
  auto camera = CameraWithFlashBus(options);
  const auto start = std::chrono::steady_clock::now();
  Bytes data(1);
  EXPECT_EQ(1, ReadFlash(*camera, 0, data));
  EXPECT_EQ(0, Out(*camera, 0xC4, 0));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(40));
}

class VirtualState : public testing::Test {
 protected:
  void SetUp() override {
    std::string name = (std::filesystem::temp_directory_path() / "orqstateXXXXXX").string();
    ASSERT_NE(nullptr, ::mkdtemp(name.data()));
    folder_ = name;
    options_.timeScale = 0;
    options_.state = (folder_ / "camera.state").string();
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::shared_ptr<Firmware> Make(std::string& error) {
    return Firmware::Make(options_, std::make_unique<PatternSource>(8, 8), error);
  }
  Bytes File() const {
    std::ifstream file(options_.state, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void SetFile(const Bytes& bytes) const {
    std::ofstream file(options_.state, std::ios::binary | std::ios::trunc);
    std::copy(bytes.begin(), bytes.end(), std::ostreambuf_iterator<char>(file));
  }
  std::size_t FilesInFolder() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder_), {}));
  }

  std::filesystem::path folder_;
  VirtualOptions options_;
};

constexpr std::size_t kWarmth = 2 * 4 + 8;  // two temperatures and the time

TEST_F(VirtualState, SurvivesTheProcess) {
  options_.serial = "00000000000000ff";
  {
    auto camera = CameraWithFlashBus(options_);
    EXPECT_EQ(3, Program(*camera, 0x70000, {0x49, 0x44, 7}));
    EXPECT_EQ(1, Program(*camera, 0x7FFFFF, {0x55}));
    EXPECT_EQ(2U * (65536 + 2) + 282 + kWarmth + 8, File().size());  // at once, not only at the end
  }
  options_.serial.clear();
  options_.seed = 99;
  auto camera = CameraWithFlashBus(options_);
  EXPECT_EQ((Bytes{0x49, 0x44, 7, 0xFF}), camera->Flash(0x70000, 4));
  EXPECT_EQ(Bytes{0x55}, camera->Flash(0x7FFFFF, 1));
  Bytes serial(8);
  EXPECT_EQ(8, camera->Control({kVendorIn, 0xC8, 0, 0, 8}, serial));
  EXPECT_EQ(0xFF, serial[7]);
  EXPECT_EQ(0, Out(*camera, 0xC4, 7));
  EXPECT_EQ(1U * (65536 + 2) + 282 + kWarmth + 8, File().size());
  EXPECT_EQ(1U, FilesInFolder());
}

TEST_F(VirtualState, RegistersAreTakenUpByTheNextProgramButNotByAReplug) {
  std::string error;
  {
    auto camera = Make(error);
    ASSERT_NE(nullptr, camera);
    camera->PowerCycle();
    EXPECT_EQ(0, Out(*camera, 0xD1, 0xFA, 77));    // fan speed
    EXPECT_EQ(0, Out(*camera, 0xD3, 0x0204, 33));  // sensor gain
    EXPECT_EQ(0, Out(*camera, 0xD3, 0xFFFF, 9));
    EXPECT_EQ(0, Out(*camera, 0xD1, 0x00, 1));  // frame output
    EXPECT_EQ(0, Out(*camera, 0xD1, 0x01, 1));  // update hold
  }
  auto camera = Make(error);
  ASSERT_NE(nullptr, camera);
  camera->PowerCycle();
  EXPECT_EQ(77, camera->FpgaRegister(0xFA));
  EXPECT_EQ(33, camera->SensorRegister(0x0204));
  EXPECT_EQ(9, camera->SensorRegister(0xFFFF));
  EXPECT_EQ(0, camera->FpgaRegister(0x00)) << "what was under way has ended with the program";
  EXPECT_EQ(0, camera->FpgaRegister(0x01));
  camera->PowerCycle();
  EXPECT_EQ(0, camera->FpgaRegister(0xFA));
  EXPECT_EQ(0, camera->SensorRegister(0x0204));
}

TEST_F(VirtualState, RegistersSurviveAProgramThatNeverPlugsTheCameraIn) {
  std::string error;
  {
    auto camera = Make(error);
    ASSERT_NE(nullptr, camera);
    camera->PowerCycle();
    EXPECT_EQ(0, Out(*camera, 0xD1, 0xFA, 77));
  }
  Make(error);
  auto camera = Make(error);
  ASSERT_NE(nullptr, camera);
  camera->PowerCycle();
  EXPECT_EQ(77, camera->FpgaRegister(0xFA));
}

TEST_F(VirtualState, APowerLossIsKeptAsItHappened) {
  options_.flashFaults = {{FlashFault::Kind::PowerLoss, 2}};
  {
    auto camera = CameraWithFlashBus(options_);
    EXPECT_EQ(0, Out(*camera, 0xD1, 0xFA, 77));
    EXPECT_EQ(4, Program(*camera, 0x40000, {1, 2, 3, 4}));
    EXPECT_EQ(kUsbNoDevice, Program(*camera, 0x70000, Bytes(256, 0)));
    options_.flashFaults.clear();
    auto next = CameraWithFlashBus(options_);  // what is in the file at this moment
    EXPECT_THAT(next->Flash(0x70000, 128), Each(0));
  }
  auto camera = CameraWithFlashBus(options_);
  EXPECT_EQ((Bytes{1, 2, 3, 4}), camera->Flash(0x40000, 4));
  EXPECT_THAT(camera->Flash(0x70000, 128), Each(0));
  EXPECT_THAT(camera->Flash(0x70080, 128), Each(0xFF));
  EXPECT_EQ(0, camera->FpgaRegister(0xFA)) << "registers do not survive a loss of power";
}

TEST_F(VirtualState, DevicesGoOnAsTheirRegistersSay) {
  std::string error;
  options_.model = "x26m";
  {
    auto camera = Make(error);
    ASSERT_NE(nullptr, camera);
    camera->PowerCycle();
    EXPECT_EQ(0, Out(*camera, 0xD1, 0xE2, 30));   // watchdog
    EXPECT_EQ(0, Out(*camera, 0xD1, 0xE0, 120));  // cooler
    EXPECT_EQ(0, Out(*camera, 0xD1, 0xE1, 40));   // heater
    EXPECT_EQ(0, Out(*camera, 0xD1, 0x19, 0));    // fan
    EXPECT_EQ(0, Out(*camera, 0xD1, 0xFA, 77));
    EXPECT_EQ(0, Out(*camera, 0xD1, 0xFC, 0x02));  // hub off
  }
  {
    auto camera = Make(error);
    ASSERT_NE(nullptr, camera);
    camera->PowerCycle();
    const DeviceReadings readings = camera->Readings();
    EXPECT_EQ(120, readings.coolerDrive);
    EXPECT_EQ(40, readings.heaterDrive);
    EXPECT_EQ(77, readings.fanSpeed);
    EXPECT_FALSE(readings.hubOn);
    EXPECT_EQ(0x02, camera->FpgaRegister(0xFC));
    camera->AdvanceTime(31);
  }
  auto camera = Make(error);
  ASSERT_NE(nullptr, camera);
  camera->PowerCycle();
  EXPECT_EQ(0, camera->Readings().coolerDrive) << "the watchdog had struck";
  EXPECT_EQ(0, camera->FpgaRegister(0xE0));
}

TEST_F(VirtualState, AHubIsOnAfterAReset) {
  options_.model = "x26m";
  for (const double secondsLeft : {0.0, 2.0}) {  // the program ends during the reset; after it
    std::string error;
    {
      auto camera = Make(error);
      ASSERT_NE(nullptr, camera);
      camera->PowerCycle();
      EXPECT_EQ(0, Out(*camera, 0xD1, 0xFC, 0x06));
      EXPECT_EQ(0, Out(*camera, 0xD1, 0xFD, 2));
      EXPECT_EQ(0, Out(*camera, 0xD1, 0xFC, 0x02));
      camera->AdvanceTime(secondsLeft);
    }
    auto camera = Make(error);
    ASSERT_NE(nullptr, camera);
    camera->PowerCycle();
    EXPECT_TRUE(camera->Readings().hubOn);
    EXPECT_EQ(0x06, camera->FpgaRegister(0xFC));
    EXPECT_EQ(0, camera->FpgaRegister(0xFD));
  }
}

TEST_F(VirtualState, DamageIsAnErrorAndTheFileStays) {
  std::string error;
  {
    auto camera = Make(error);
    ASSERT_NE(nullptr, camera);
    const std::uint8_t byte[] = {0};
    camera->SetFlash(0x40000, byte);
  }
  const Bytes good = File();
  std::vector<Bytes> damaged{{}, {1, 2, 3}, Bytes(good.begin(), good.end() - 1)};
  Bytes longer = good;
  longer.push_back(0);
  damaged.push_back(longer);
  for (const std::size_t at : {std::size_t{0}, std::size_t{8}, std::size_t{12}, std::size_t{20}, std::size_t{22},
                               good.size() / 2, good.size() - 1}) {
    damaged.push_back(good);
    damaged.back()[at] ^= 0x40U;
  }
  for (const Bytes& bytes : damaged) {
    SetFile(bytes);
    error.clear();
    EXPECT_EQ(nullptr, Make(error));
    EXPECT_THAT(error, HasSubstr("damaged"));
    EXPECT_EQ(bytes, File());
  }
  SetFile(good);
  EXPECT_NE(nullptr, Make(error));
}

TEST_F(VirtualState, OfAnotherModelIsAnError) {
  std::string error;
  ASSERT_NE(nullptr, Make(error));
  options_.model = "x26m";
  EXPECT_EQ(nullptr, Make(error));
  EXPECT_THAT(error, HasSubstr("another camera model"));
}

TEST_F(VirtualState, UnusablePathsAreErrors) {
  std::string error;
  options_.state = (folder_ / "no" / "such").string();
  EXPECT_EQ(nullptr, Make(error));
  EXPECT_THAT(error, HasSubstr("cannot write"));
  options_.state = folder_.string();  // a folder can be opened, not read
  EXPECT_EQ(nullptr, Make(error));
  EXPECT_THAT(error, HasSubstr("cannot read"));
}

TEST_F(VirtualState, AFlashWriteThatCannotBeKeptIsRefused) {
  auto camera = CameraWithFlashBus(options_);
  std::filesystem::remove_all(folder_);
  EXPECT_EQ(kUsbPipe, Program(*camera, 0, {0}));
}

}  // namespace
}  // namespace orq::test
