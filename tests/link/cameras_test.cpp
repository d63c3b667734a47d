// Whole cameras on the bus: told apart, delivering every image format, reconnected.
#include <array>

#include "OpenLink.h"
#include "image/frame/Algorithm.h"
#include "session/CameraList.h"

namespace orq::test {
namespace {

constexpr int kWidth = 1936;
constexpr int kHeight = 1096;

VirtualOptions WithSerial(const std::string& serial) {
  VirtualOptions options = Untimed();
  options.serial = serial;
  return options;
}

constexpr const char* kFirst = "1111111111111111";
constexpr const char* kSecond = "2222222222222222";

template <typename Door>
class Cameras : public ::testing::Test {
 protected:
  void PlugTwo() {
    first = door.Attach(firstDevice = MakeCamera(WithSerial(kFirst), kWidth, kHeight));
    second = door.Attach(secondDevice = MakeCamera(WithSerial(kSecond), kWidth, kHeight));
  }
  PortMaker Maker() {
    return [this] { return door.MakePort(); };
  }
  NamedCamera Open(const std::string& name) {
    NamedCamera named = orq::MakeCamera(name, Maker());
    EXPECT_NE(named.camera, nullptr) << named.error;
    if (named.camera != nullptr)
      EXPECT_EQ(named.camera->OpenCamera(named.openIndex), 1) << named.camera->LinkError();
    return named;
  }
  /// The requests of a device that come from using an open camera and not from looking for one.
  static bool Answers(CModelCamera& camera, VirtualCamera& device) {
    device.ClearRequests();
    return camera.GetFirmwareVer(nullptr) && device.Requests().size() == 1;
  }
  static std::vector<std::uint8_t> Snap(CModelCamera& camera, FrameInfo& info) {
    std::vector<std::uint8_t> frame(static_cast<std::size_t>(camera.FrameBytes()));
    EXPECT_EQ(camera.StartCapture(true), 1) << camera.LinkError();
    EXPECT_EQ(camera.GetFrame(frame.data(), static_cast<int>(frame.size()), kPatienceMs, info), 1)
        << camera.CaptureTrouble();
    camera.StopCapture();
    return frame;
  }

  Door door;
  std::shared_ptr<VirtualCamera> firstDevice;
  std::shared_ptr<VirtualCamera> secondDevice;
  std::size_t first = 0;
  std::size_t second = 0;
};
TYPED_TEST_SUITE(Cameras, BothDoors, DoorNames);

TYPED_TEST(Cameras, TwoOfOneModelAreToldApartByTheirSerialNumbers) {
  this->PlugTwo();
  const NamedCamera one = this->Open(std::string("serial:") + kFirst);
  const NamedCamera two = this->Open(std::string("serial:") + kSecond);
  ASSERT_TRUE(one.camera && two.camera);
  EXPECT_NE(one.openIndex, two.openIndex);
  EXPECT_TRUE(this->Answers(*one.camera, *this->firstDevice));
  EXPECT_TRUE(this->Answers(*two.camera, *this->secondDevice));
}

TYPED_TEST(Cameras, ASerialNumberStaysWithItsCameraWhenPlacesChange) {
  this->PlugTwo();
  this->door.Unplug(this->first);
  {
    const NamedCamera two = this->Open(std::string("serial:") + kSecond);
    ASSERT_TRUE(two.camera);
    EXPECT_EQ(two.openIndex, 0) << "it is the only one";
    EXPECT_TRUE(this->Answers(*two.camera, *this->secondDevice));
  }
  EXPECT_EQ(orq::MakeCamera(std::string("serial:") + kFirst, this->Maker()).trouble, NameTrouble::NoSuchCamera);
  this->door.Replug(this->first);
  const NamedCamera one = this->Open(std::string("serial:") + kFirst);
  ASSERT_TRUE(one.camera);
  EXPECT_TRUE(this->Answers(*one.camera, *this->firstDevice));
}

TYPED_TEST(Cameras, AListNamesThemAll) {
  this->PlugTwo();
  const auto entries = ListCameras(this->Maker());
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_EQ(entries[0].serial, kFirst);
  EXPECT_EQ(entries[1].serial, kSecond);
  EXPECT_EQ(entries[0].speed, "USB 3");
  EXPECT_EQ(entries[0].trouble, "");
}

TYPED_TEST(Cameras, AListSaysWhichOneIsInUse) {
  this->PlugTwo();
  const NamedCamera one = this->Open(std::string("serial:") + kFirst);
  const auto entries = ListCameras(this->Maker());
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_NE(entries[0].trouble.find("in use"), std::string::npos) << entries[0].trouble;
  EXPECT_EQ(entries[1].trouble, "");
  EXPECT_TRUE(this->Answers(*one.camera, *this->firstDevice)) << "it is not disturbed";
}

TYPED_TEST(Cameras, EveryImageFormatShowsWhatTheSensorSent) {
  this->PlugTwo();
  const NamedCamera named = this->Open(std::string("serial:") + kFirst);
  ASSERT_TRUE(named.camera);
  CAlgorithm converter;
  converter.RGBYUV_Init();
  for (const IMG_TYPE format : {ORQ_IMG_RAW8, ORQ_IMG_RAW16, ORQ_IMG_RGB24, ORQ_IMG_Y8}) {
    SCOPED_TRACE(static_cast<int>(format));
    FrameRegion applied;
    std::string reason;
    ASSERT_TRUE(named.camera->SetRegion({100, 50, 640, 480, 1, format}, applied, reason)) << reason;
    FrameInfo info;
    const std::vector<std::uint8_t> frame = this->Snap(*named.camera, info);
    std::vector<std::uint8_t> sent = this->firstDevice->SentPayload(info.sequence);
    std::vector<std::uint8_t> expected(frame.size());
    ASSERT_EQ(sent.size(), std::size_t{640} * 480 * (format == ORQ_IMG_RAW16 ? 2 : 1));
    switch (format) {
      case ORQ_IMG_RAW8:
        expected = sent;
        break;
      case ORQ_IMG_RAW16:  // most significant byte first on the wire, in this machine's order here
        for (std::size_t i = 0; i < sent.size(); i += 2) {
          const auto sample = static_cast<std::uint16_t>(sent[i] << 8 | sent[i + 1]);
          std::memcpy(&expected[i], &sample, sizeof sample);
        }
        break;
      case ORQ_IMG_RGB24:
        converter.SetBayer(info.bayerPattern < 0 ? 0 : info.bayerPattern);
        converter.BayerToRGB24(sent.data(), 640, 480, expected.data());
        break;
      case ORQ_IMG_Y8:
        converter.SetBayer(info.bayerPattern < 0 ? 0 : info.bayerPattern);
        converter.BayerToY8(sent.data(), 640, 480, expected.data());
        break;
    }
    EXPECT_TRUE(frame == expected);
  }
}

TYPED_TEST(Cameras, ReconnectAfterAReplugAndWorkOn) {
  this->PlugTwo();
  const NamedCamera named = this->Open(std::string("serial:") + kFirst);
  ASSERT_TRUE(named.camera);
  FrameInfo info;
  this->Snap(*named.camera, info);
  this->door.Unplug(this->second);  // so that the index stays with the camera, wherever it comes back
  this->door.Unplug(this->first);
  EXPECT_FALSE(named.camera->GetFirmwareVer(nullptr));
  EXPECT_TRUE(named.camera->DeviceLost());
  this->door.Replug(this->first);
  ASSERT_EQ(named.camera->ReConnectCamera(), 1) << named.camera->LinkError();
  EXPECT_FALSE(named.camera->DeviceLost());
  const std::vector<std::uint8_t> frame = this->Snap(*named.camera, info);
  EXPECT_FALSE(frame.empty());
  EXPECT_TRUE(this->Answers(*named.camera, *this->firstDevice));
}

TYPED_TEST(Cameras, ReconnectingWithoutACameraFailsAndLeavesItClosed) {
  this->PlugTwo();
  const NamedCamera named = this->Open("0");
  ASSERT_TRUE(named.camera);
  this->door.Unplug(this->first);
  this->door.Unplug(this->second);
  EXPECT_EQ(named.camera->ReConnectCamera(), 0);
  EXPECT_EQ(named.camera->bOpened, 0);
  EXPECT_EQ(named.camera->usbHandle, nullptr);
  EXPECT_EQ(named.camera->ReConnectCamera(), 0) << "there is nothing to reconnect";
  this->door.Replug(this->first);
  EXPECT_EQ(named.camera->OpenCamera(0), 1) << "opening is how to go on";
}

}  // namespace
}  // namespace orq::test
