#include "virtual/bus/VirtualOptions.h"

#include <gmock/gmock.h>

#include <map>

#include "virtual/device/DeviceData.h"
#include "virtual/sensor/SensorData.h"

namespace orq {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

VirtualOptions Parsed(std::string_view text) {
  std::string error;
  const auto options = ParseVirtualOptions(text, error);
  EXPECT_TRUE(options.has_value()) << text << ": " << error;
  EXPECT_EQ("", error);
  return options.value_or(VirtualOptions{});
}

std::string ErrorOf(std::string_view text) {
  std::string error;
  EXPECT_FALSE(ParseVirtualOptions(text, error).has_value()) << text;
  EXPECT_THAT(error, Not(HasSubstr("\n")));
  return error;
}

TEST(VirtualOptionsTest, AModelAloneHasTheDefaults) {
  const VirtualOptions options = Parsed("x26m");
  EXPECT_EQ("x26m", options.model);
  EXPECT_EQ(1U, options.seed);
  EXPECT_EQ(1.0, options.timeScale);
  EXPECT_TRUE(options.usb3);
  EXPECT_EQ("", options.file);
  EXPECT_FALSE(options.bayer.has_value());
  EXPECT_EQ(0, options.preRender);
  EXPECT_EQ("", options.serial);
  EXPECT_EQ("", options.state);
  EXPECT_FALSE(options.temperatureC.has_value());
  EXPECT_FALSE(options.ambientC.has_value());
  EXPECT_EQ("stars", options.scene);
  EXPECT_EQ(0.0, options.fluxElectronsPerSecond);
  EXPECT_EQ(6000.0, options.illuminantKelvin);
  EXPECT_EQ(0.0, options.dropRate);
  EXPECT_TRUE(options.frameFaults.empty());
  EXPECT_TRUE(options.flashFaults.empty());
  EXPECT_FALSE(options.gps.has_value());
  EXPECT_FALSE(options.flash.has_value());
  EXPECT_EQ(0, options.flashFail);
  EXPECT_EQ(0, options.flashMs);
  EXPECT_FALSE(options.countLines);
  EXPECT_TRUE(options.refuse.empty());
  EXPECT_FALSE(options.fpgaType.has_value());
  EXPECT_EQ(0, options.triggerPeriodUs);
}

TEST(VirtualOptionsTest, EveryOptionIsRead) {
  const VirtualOptions options = Parsed(
      "k1c,seed=18446744073709551615,timescale=0.01,usb=2,prerender=4,serial=0123456789aBcDeF,state=/tmp/a "
      "b.state,"
      "temp=-12.5,ambient=4.5,scene=flat,flux=1e3,illuminant=3200,drop=0.25,flashfail=2,flashms=30,refuse=0xD4,"
      "refuse=200,"
      "fpga=0xC0,trigger=0.25s");
  EXPECT_EQ(18446744073709551615U, options.seed);
  EXPECT_EQ(0.01, options.timeScale);
  EXPECT_FALSE(options.usb3);
  EXPECT_EQ(4, options.preRender);
  EXPECT_EQ("0123456789aBcDeF", options.serial);
  EXPECT_EQ("/tmp/a b.state", options.state);
  EXPECT_EQ(-12.5, options.temperatureC);
  EXPECT_EQ(4.5, options.ambientC);
  EXPECT_EQ("flat", options.scene);
  EXPECT_EQ(1000.0, options.fluxElectronsPerSecond);
  EXPECT_EQ(3200.0, options.illuminantKelvin);
  EXPECT_EQ(0xC0, options.fpgaType);
  EXPECT_EQ(250'000, options.triggerPeriodUs);
  EXPECT_EQ(0.25, options.dropRate);
  EXPECT_EQ(2, options.flashFail);
  EXPECT_EQ(30, options.flashMs);
  EXPECT_EQ((std::vector<std::uint8_t>{0xD4, 200}), options.refuse);
}

TEST(VirtualOptionsTest, GpsOptionsAreForModelsWithAGps) {
  for (const char* words :
       {"k1c,gps=sim", "x26m,gpsver=1", "k1c,gpspos=1/2/3", "replay,file=a,gpsroute=1/2", "k1c,gpstime=now"})
    EXPECT_THAT(ErrorOf(words), HasSubstr("gps")) << words;
}

TEST(VirtualOptionsTest, TheGpsReceiverIsDescribed) {
  EXPECT_FALSE(Parsed("t46c").gps.has_value());
  const VirtualGps gps =
      Parsed("t46c,gps=a b.log,gpsver=0,gpspos=-36.7/174.4/-12.5,gpsroute=30.5/270,gpstime=2031-12-31T23:59:58.5Z")
          .gps.value();
  EXPECT_EQ("a b.log", gps.source);
  EXPECT_EQ(0, gps.version);
  EXPECT_EQ(-36.7, gps.latitude);
  EXPECT_EQ(174.4, gps.longitude);
  EXPECT_EQ(-12.5, gps.altitudeMetres);
  EXPECT_EQ(30.5, gps.metresPerSecond);
  EXPECT_EQ(270, gps.courseDegrees);
  EXPECT_EQ(ParseUtc("2031-12-31T23:59:58.5"), gps.start);
  const auto before = std::chrono::system_clock::now();
  const UtcTime now = Parsed("t46c,gpstime=now").gps.value().start;
  EXPECT_LE(before, now);
  EXPECT_LE(now, std::chrono::system_clock::now());
}

TEST(VirtualOptionsTest, WrongGpsValuesAreRefused) {
  for (const char* words :
       {"gps=", "gpsver=2", "gpsver=-1", "gpsver=", "gpspos=1/2", "gpspos=1/2/3/4", "gpspos=91/2/3",
        "gpspos=1/181/3", "gpspos=1/2/10000", "gpspos=1/2/x", "gpspos=//", "gpsroute=1", "gpsroute=-1/2",
        "gpsroute=1/361", "gpstime=", "gpstime=2022-01-01T00:00:00", "gpstime=tomorrow"})
    ErrorOf(std::string("t46c,") + words);
}

TEST(VirtualOptionsTest, ReplayTakesFileAndBayer) {
  const VirtualOptions options = Parsed("replay,file=a=b@c.fits,bayer=GRBG");
  EXPECT_EQ("a=b@c.fits", options.file);
  EXPECT_EQ(2, options.bayer);
  EXPECT_EQ(0, Parsed("replay,file=a,bayer=RGGB").bayer);
  EXPECT_EQ(1, Parsed("replay,file=a,bayer=BGGR").bayer);
  EXPECT_EQ(3, Parsed("replay,file=a,bayer=GBRG").bayer);
  EXPECT_EQ(-1, Parsed("replay,file=a,bayer=mono").bayer);
  EXPECT_THAT(ErrorOf("replay"), HasSubstr("file="));
  EXPECT_THAT(ErrorOf("replay,file="), HasSubstr("a file name"));
  EXPECT_THAT(ErrorOf("k1c,file=a"), HasSubstr("virtual:replay only"));
  EXPECT_THAT(ErrorOf("k1c,bayer=RGGB"), HasSubstr("virtual:replay only"));
}

TEST(VirtualOptionsTest, FaultsAreCollectedInOrder) {
  const VirtualOptions options =
      Parsed("k1c,short@1,oversize@2,badheader@3,badtrailer@4,order@5,lose@6,stall@7,error@8,unplug@9,short@10");
  ASSERT_EQ(10U, options.frameFaults.size());
  for (std::size_t i = 0; i < 10; ++i) {
    EXPECT_EQ(static_cast<FrameFault::Kind>(i % 9), options.frameFaults[i].kind);
    EXPECT_EQ(i + 1, options.frameFaults[i].frame);
  }
}

TEST(VirtualOptionsTest, FaultsOfTheFlashStandApart) {
  const VirtualOptions options = Parsed("k1c,flasherase@1,flashread@2,short@9,flashflip@3,flashpower@4");
  EXPECT_EQ(1U, options.frameFaults.size());
  ASSERT_EQ(4U, options.flashFaults.size());
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(static_cast<FlashFault::Kind>(i), options.flashFaults[i].kind);
    EXPECT_EQ(i + 1, options.flashFaults[i].operation);
  }
  EXPECT_THAT(ErrorOf("k1c,flashflip@0"), HasSubstr("an operation's number"));
  EXPECT_THAT(ErrorOf("k1c,short@0"), HasSubstr("a frame number"));
  EXPECT_THAT(ErrorOf("k1c,flashburn@1"), AllOf(HasSubstr("stall@N"), HasSubstr("flashpower@N")));
}

TEST(VirtualOptionsTest, TheLastOfTwoWins) {
  EXPECT_EQ(2U, Parsed("k1c,seed=1,seed=2").seed);
  EXPECT_TRUE(Parsed("k1c,usb=2,usb=3").usb3);
  EXPECT_TRUE(Parsed("k1c,countlines=1").countLines);
}

TEST(VirtualOptionsTest, WrongWordsListTheRightOnes) {
  EXPECT_THAT(ErrorOf("k2c"), HasSubstr("'k2c'"));
  for (const char* wrong : {"k2c", ""}) {
    const std::string error = ErrorOf(wrong);
    for (const DeviceData& right : AllDevices()) EXPECT_THAT(error, HasSubstr(std::string(right.key)));
  }
  EXPECT_THAT(ErrorOf("K1C"), HasSubstr("k1c"));
  EXPECT_THAT(ErrorOf("k1c,sed=1"), AllOf(HasSubstr("'sed=1'"), HasSubstr("seed="), HasSubstr("unplug@N")));
  EXPECT_THAT(ErrorOf("k1c,"), HasSubstr("seed="));
  EXPECT_THAT(ErrorOf("k1c,,seed=1"), HasSubstr("seed="));
  EXPECT_THAT(ErrorOf("k1c,crash@1"), AllOf(HasSubstr("'crash@1'"), HasSubstr("stall@N")));
  EXPECT_THAT(ErrorOf("k1c,bayer=XYZ"), HasSubstr("RGGB, BGGR, GRBG, GBRG or mono"));
  EXPECT_THAT(ErrorOf("k1c,scene=moon"), HasSubstr("stars, planet, flat or dark"));
}

TEST(VirtualOptionsTest, ValuesOutOfRangeAreRefused) {
  for (const char* text : {"seed=-1",
                           "seed=18446744073709551616",
                           "seed=",
                           "seed",
                           "seed=1x",
                           "seed= 1",
                           "timescale=-0.1",
                           "timescale=1001",
                           "timescale=nan",
                           "timescale=inf",
                           "timescale=1e999",
                           "timescale=",
                           "usb=1",
                           "usb=4",
                           "usb=",
                           "prerender=-1",
                           "prerender=65",
                           "prerender=1.5",
                           "serial=123",
                           "serial=0123456789abcdeg",
                           "serial=0123456789abcdef0",
                           "serial=-123456789abcdef",
                           "state=",
                           "temp=-101",
                           "temp=nan",
                           "ambient=100.5",
                           "ambient=",
                           "flux=-1",
                           "flux=inf",
                           "illuminant=999",
                           "illuminant=40001",
                           "illuminant=warm",
                           "drop=1.01",
                           "drop=-0.01",
                           "flashfail=0",
                           "flashms=-1",
                           "flashms=10001",
                           "flashfail=2147483648",
                           "refuse=256",
                           "refuse=-1",
                           "refuse=0x",
                           "refuse=0x100",
                           "refuse=",
                           "short@0",
                           "short@",
                           "short@-1",
                           "short@1.5",
                           "short@18446744073709551616"})
    EXPECT_THAT(ErrorOf(std::string("k1c,") + text), HasSubstr("'" + std::string(text) + "'"));
}

TEST(VirtualOptionsTest, ModelsAreDescribed) {
  std::map<std::string, std::string> models;
  for (const VirtualModelName& model : VirtualModels())
    EXPECT_TRUE(models.emplace(model.name, model.summary).second) << model.name;
  EXPECT_EQ("colour planetary and guide camera, 12 bit, 1936 x 1096", models["k1c"]);
  EXPECT_EQ("cooled monochrome deep-sky camera, 16 bit, 6248 x 4176", models["x26m"]);
  EXPECT_EQ("frames from a FITS, PGM or SER file", models["replay"]);
}

TEST(VirtualOptionsTest, OffersWhatHasADeviceAndASensor) {
  for (const VirtualModelName& model : VirtualModels()) {
    EXPECT_NE(nullptr, FindDevice(model.name)) << model.name;
    EXPECT_TRUE(model.name == "replay" || FindSensor(model.name) != nullptr) << model.name;
  }
}

TEST(VirtualOptionsTest, ATriggerPeriodNeedsItsUnitAndItsRange) {
  EXPECT_EQ(1'000, Parsed("k1c,trigger=1ms").triggerPeriodUs);
  EXPECT_EQ(1'000, Parsed("k1c,trigger=0.001s").triggerPeriodUs);
  EXPECT_EQ(1'500, Parsed("k1c,trigger=1.5ms").triggerPeriodUs);
  EXPECT_EQ(3'600'000'000, Parsed("k1c,trigger=3600s").triggerPeriodUs);
  for (const char* text : {"trigger", "trigger=", "trigger=5", "trigger=ms", "trigger=s", "trigger=0ms",
                           "trigger=0.9ms", "trigger=3601s", "trigger=-1s", "trigger=5us", "trigger=nanms"})
    EXPECT_THAT(ErrorOf(std::string("k1c,") + text), HasSubstr("a period from 1ms to 3600s")) << text;
}

TEST(VirtualOptionsTest, AFlashHasAnInstantAndALength) {
  using namespace std::chrono;
  const VirtualOptions options = Parsed("t46c,flash=2030-01-01T00:00:05.25/500us");
  ASSERT_TRUE(options.flash.has_value());
  EXPECT_EQ(sys_days(2030y / 1 / 1) + 5250ms, options.flash->start);
  EXPECT_DOUBLE_EQ(500e-6, options.flash->seconds);
  EXPECT_DOUBLE_EQ(1.5e-3, Parsed("t46c,flash=2030-01-01T00:00:05/1.5ms").flash->seconds);
  EXPECT_DOUBLE_EQ(1000, Parsed("t46c,flash=2030-01-01T00:00:05/1000s").flash->seconds);
  for (const char* text : {"flash", "flash=", "flash=2030-01-01T00:00:05", "flash=2030-01-01T00:00:05/",
                           "flash=2030-01-01T00:00:05/5", "flash=2030-01-01T00:00:05/0.5us", "flash=now/1ms",
                           "flash=2030-01-01T00:00:05/1001s", "flash=2030-13-01T00:00:05/1ms"})
    EXPECT_THAT(ErrorOf(std::string("t46c,") + text), HasSubstr("UTC/DURATION")) << text;
}

TEST(VirtualOptionsTest, AFlashNeedsASimulatedTimeAndFramesOfTheMoment) {
  const std::string flash = ",flash=2030-01-01T00:00:05/1ms";
  for (const char* text : {"k1c", "t46c,gps=nofix", "t46c,gps=log.nmea", "t46c,prerender=2"})
    EXPECT_THAT(ErrorOf(text + flash), HasSubstr("flash= needs")) << text;
  EXPECT_TRUE(Parsed("t46c,gpstime=2031-01-01T00:00:00" + flash).flash.has_value());
}

TEST(VirtualOptionsTest, AnOccultationHasAnInstantAndALength) {
  using namespace std::chrono;
  const VirtualOptions options = Parsed("t46c,occult=2030-01-01T00:00:02.5/800ms");
  ASSERT_TRUE(options.occultation.has_value());
  EXPECT_EQ(sys_days(2030y / 1 / 1) + 2500ms, options.occultation->start);
  EXPECT_DOUBLE_EQ(0.8, options.occultation->seconds);
  for (const char* text : {"occult", "occult=", "occult=2030-01-01T00:00:05", "occult=now/1s"})
    EXPECT_THAT(ErrorOf(std::string("t46c,") + text), HasSubstr("UTC/DURATION")) << text;
  const std::string occultation = ",occult=2030-01-01T00:00:05/1s";
  for (const char* text : {"k1c", "t46c,gps=nofix", "t46c,prerender=2", "t46c,scene=flat"})
    EXPECT_THAT(ErrorOf(text + occultation), HasSubstr("occult= needs")) << text;
}

TEST(VirtualOptionsTest, APlanetHasASizeAndAWay) {
  const VirtualOptions options = Parsed("k1m,scene=planet,planet=60.5/12/-3");
  ASSERT_TRUE(options.planet.has_value());
  EXPECT_DOUBLE_EQ(60.5, options.planet->diameter);
  EXPECT_DOUBLE_EQ(12, options.planet->driftX);
  EXPECT_DOUBLE_EQ(-3, options.planet->driftY);
  EXPECT_FALSE(Parsed("k1m,scene=planet").planet.has_value());
  for (const char* text : {"planet", "planet=60", "planet=60/1", "planet=60/1/2/3", "planet=3/0/0",
                           "planet=2001/0/0", "planet=60/10001/0", "planet=60/0/-10001", "planet=60//0"})
    EXPECT_THAT(ErrorOf(std::string("k1m,scene=planet,") + text), HasSubstr("DIAMETER/X/Y")) << text;
  EXPECT_THAT(ErrorOf("k1m,planet=60/0/0"), HasSubstr("scene=planet only"));
}

TEST(VirtualOptionsTest, AnFpgaTypeIsAByte) {
  EXPECT_EQ(0, Parsed("k1c,fpga=0").fpgaType);
  EXPECT_EQ(255, Parsed("k1c,fpga=255").fpgaType);
  for (const char* text : {"fpga", "fpga=", "fpga=256", "fpga=-1", "fpga=0x", "fpga=0x100", "fpga=C0"})
    EXPECT_THAT(ErrorOf(std::string("k1c,") + text), HasSubstr("a type code from 0 to 255")) << text;
}

}  // namespace
}  // namespace orq
