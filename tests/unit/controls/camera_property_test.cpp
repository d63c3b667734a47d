#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "support/RecordingCamera.h"

namespace {

using orq::test::BareCamera;
using orq::test::RecordingCamera;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class CameraProperty : public testing::Test {
 protected:
  CameraProperty() { std::memset(&info, 0x5A, sizeof info); }
  std::vector<int> Formats() {
    camera.GetCameraProperty(&info);
    const std::int32_t* const begin = info.formatList;
    const std::int32_t* const end = std::find(begin, begin + std::size(info.formatList), -1);
    EXPECT_NE(end, std::end(info.formatList)) << "not ended";
    return std::vector<int>(begin, end);
  }

  BareCamera camera;
  _ORQ_CAMERA_INFO info;
};

TEST_F(CameraProperty, IsFilledFromTheModel) {
  camera.modelName = "Tavix ORQ-X26M";
  camera.iMaxHeight = 4176;
  camera.iMaxWidth = 6248;
  camera.bIsColor = 1;
  camera.bayerPattern = 3;
  camera.pixelSizeUm = 3.76;
  camera.hasGuidePort = 1;
  camera.isCooled = 1;
  camera.usb3Host = 1;
  camera.isUsb3Camera = 1;
  camera.iADCBits = 16;
  camera.supportTrigger = 1;
  info.cameraId = 77;
  camera.GetCameraProperty(&info);
  EXPECT_STREQ(info.name, "Tavix ORQ-X26M");
  EXPECT_EQ(info.cameraId, 77) << "the caller's";
  EXPECT_EQ(info.maxHeight, 4176);
  EXPECT_EQ(info.maxWidth, 6248);
  EXPECT_EQ(info.colourSensor, 1);
  EXPECT_EQ(info.bayerPattern, 3);
  EXPECT_EQ(info.pixelSize, 3.76);
  EXPECT_EQ(info.hasShutter, 0);
  EXPECT_EQ(info.hasGuidePort, 1);
  EXPECT_EQ(info.hasCooler, 1);
  EXPECT_EQ(info.usb3HostPort, 1);
  EXPECT_EQ(info.usb3Camera, 1);
  EXPECT_EQ(info.adcBits, 16);
  EXPECT_EQ(info.hasTriggerModes, 1);
}

TEST_F(CameraProperty, EachFlagHasItsOwnField) {
  BareCamera none;
  none.GetCameraProperty(&info);
  EXPECT_EQ(info.colourSensor, 0);
  EXPECT_EQ(info.hasShutter, 0);
  EXPECT_EQ(info.hasGuidePort, 0);
  EXPECT_EQ(info.hasCooler, 0);
  EXPECT_EQ(info.usb3HostPort, 0);
  EXPECT_EQ(info.usb3Camera, 0);
  EXPECT_EQ(info.hasTriggerModes, 0);
  const auto flags = [this] {
    camera.GetCameraProperty(&info);
    return std::vector<int>{info.colourSensor, info.hasGuidePort, info.hasCooler,
                            info.usb3HostPort, info.usb3Camera,   info.hasTriggerModes};
  };
  camera.bIsColor = 1;
  EXPECT_THAT(flags(), ElementsAre(1, 0, 0, 0, 0, 0));
  camera.bIsColor = 0;
  camera.hasGuidePort = 1;
  EXPECT_THAT(flags(), ElementsAre(0, 1, 0, 0, 0, 0));
  camera.hasGuidePort = 0;
  camera.isCooled = 1;
  EXPECT_THAT(flags(), ElementsAre(0, 0, 1, 0, 0, 0));
  camera.isCooled = 0;
  camera.usb3Host = 1;
  EXPECT_THAT(flags(), ElementsAre(0, 0, 0, 1, 0, 0));
  camera.usb3Host = 0;
  camera.isUsb3Camera = 1;
  EXPECT_THAT(flags(), ElementsAre(0, 0, 0, 0, 1, 0));
  camera.isUsb3Camera = 0;
  camera.supportTrigger = 1;
  camera.supportModes1to3 = camera.supportModes4to6 = 0;
  EXPECT_THAT(flags(), ElementsAre(0, 0, 0, 0, 0, 1));
  camera.supportTrigger = 0;
  camera.supportModes1to3 = camera.supportModes4to6 = 1;
  EXPECT_THAT(flags(), ElementsAre(0, 0, 0, 0, 0, 0)) << "only the first mode flag counts";
}

TEST_F(CameraProperty, ALongNameIsCutWithinItsField) {
  for (const std::size_t length :
       {std::size_t{0}, std::size_t{62}, std::size_t{63}, std::size_t{64}, std::size_t{500}}) {
    std::memset(&info, 0x5A, sizeof info);
    camera.modelName = std::string(length, 'n');
    camera.GetCameraProperty(&info);
    ASSERT_EQ(info.name[std::min<std::size_t>(length, 63)], '\0') << length;
    EXPECT_EQ(std::strlen(info.name), std::min<std::size_t>(length, 63));
    EXPECT_EQ(info.cameraId, 0x5A5A5A5A);
  }
}

TEST_F(CameraProperty, TheConstructorsBinListIsOne) {
  camera.GetCameraProperty(&info);
  EXPECT_EQ(info.binList[0], 1);
  for (int i = 1; i < 16; ++i) EXPECT_EQ(info.binList[i], 0) << i;
}

TEST_F(CameraProperty, EveryBinByteBecomesAnEntry) {
  for (std::size_t i = 0; i < 16; ++i) camera.binList[i] = static_cast<std::uint8_t>(250 - i);
  camera.GetCameraProperty(&info);
  for (int i = 0; i < 16; ++i) EXPECT_EQ(info.binList[i], 250 - i);
}

TEST_F(CameraProperty, FormatsStandInTheirOrderAndEnd) {
  camera.bIsColor = 1;
  camera.supportImgType0 = camera.supportImgType1 = camera.supportImgType2 = camera.supportImgType3 = 1;
  EXPECT_THAT(Formats(), ElementsAre(0, 1, 3, 2));
  camera.bIsColor = 0;
  EXPECT_THAT(Formats(), ElementsAre(0, 2)) << "two formats need colour";
  camera.supportImgType0 = 0;
  EXPECT_THAT(Formats(), ElementsAre(2));
  camera.supportImgType2 = 0;
  EXPECT_THAT(Formats(), IsEmpty());
  camera.bIsColor = 1;
  EXPECT_THAT(Formats(), ElementsAre(1, 3));
  camera.supportImgType1 = 0;
  EXPECT_THAT(Formats(), ElementsAre(3));
  EXPECT_THAT(std::vector<int>(info.formatList + 1, info.formatList + 8), Each(-1));
}

TEST_F(CameraProperty, ElectronsPerAduFollowTheCurrentGain) {
  camera.baseElectronsPerAdu = 8.0F;
  const struct {
    const char* name;
    int gain;
    float electrons;
  } cases[] = {{"ORQ-K1C", 0, 8.0F},     {"ORQ-K1C", 20, 3.2F}, {"ORQ-K1C", 70, 8.0F / 22},
               {"ORQ-K1C", 100, 0.125F}, {"ORQ-X26M", 0, 8.0F}, {"ORQ-X26M", 200, 0.8F},
               {"ORQ-X26M", 400, 0.08F}};
  for (const auto& c : cases) {
    camera.modelName = c.name;
    camera.gain = c.gain;
    camera.GetCameraProperty(&info);
    EXPECT_FLOAT_EQ(info.electronsPerAdu, c.electrons) << c.name << " " << c.gain;
  }
}

TEST_F(CameraProperty, TheNameOfTheModelDecidesEvenWhereItIsCut) {
  camera.baseElectronsPerAdu = 8.0F;
  camera.modelName = std::string(70, 'n') + "K1";
  camera.gain = 100;
  camera.GetCameraProperty(&info);
  EXPECT_FLOAT_EQ(info.electronsPerAdu, 0.125F);
}

TEST(CameraPropertyTable, NothingIsAskedOfModelOrDevice) {
  RecordingCamera camera;
  ASSERT_EQ(camera.OpenCamera(0), 1);
  camera.TakeCalls();
  camera.port->TakeEvents();
  _ORQ_CAMERA_INFO info{};
  camera.GetCameraProperty(&info);
  camera.GetCameraProperty(nullptr);
  EXPECT_THAT(camera.TakeCalls(), IsEmpty());
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
}

}  // namespace
