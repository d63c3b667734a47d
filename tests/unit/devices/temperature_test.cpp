#include "unit/devices/DeviceTest.h"

namespace orq::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* kReadBoard = "C0 B3 00 00 00 00 02 00";
constexpr const char* kReadConverter = "C0 C7 00 00 00 00 02 00";
constexpr const char* kReadAdc = "C0 E9 00 00 00 00 02 00";

class Temperature : public DeviceTest {
 protected:
  void Board(std::uint8_t first, std::uint8_t second) { camera.port->answers[0xB3] = {first, second}; }
  void Converter(std::uint8_t first, std::uint8_t second) { camera.port->answers[0xC7] = {first, second}; }
};

TEST_F(Temperature, ATmp100IsReadWithOneRequestAndRemembered) {
  Board(0x80, 0xE7);  // 0xE78: 4096 - 3704 = 392 sixteenths below zero
  EXPECT_EQ(camera.GetTMP100Temp(), -24.5F);
  EXPECT_EQ(camera.sensorTemp, -24.5F);
  EXPECT_THAT(Sent(), ElementsAre(kReadBoard));
}

TEST_F(Temperature, ATmp100ThatReadsZeroOrDoesNotAnswerKeepsTheLastTemperature) {
  EXPECT_EQ(camera.GetTMP100Temp(), 0.0F) << "none yet";
  camera.sensorTemp = 12.25F;
  Board(0x0F, 0x00);
  EXPECT_EQ(camera.GetTMP100Temp(), 12.25F);
  Board(0x00, 0x19);
  camera.port->refusedRequests.insert(0xB3);
  EXPECT_EQ(camera.GetTMP100Temp(), 12.25F);
  EXPECT_EQ(camera.sensorTemp, 12.25F);
  camera.port->refusedRequests.clear();
  EXPECT_EQ(camera.GetTMP100Temp(), 25.0F);
}

TEST_F(Temperature, AnAnswerOfOneByteIsNone) {
  camera.sensorTemp = 12.25F;
  camera.port->answers[0xB3] = {0x10};
  EXPECT_EQ(camera.GetTMP100Temp(), 12.25F);
  EXPECT_EQ(camera.GetTMP451Temp(), 12.25F);
}

TEST_F(Temperature, ATmp451IsReadLoggedAndRemembered) {
  Board(0x80, 25);
  LogText log;
  EXPECT_EQ(camera.GetTMP451Temp(), 33.0F);
  EXPECT_EQ(log.Text(), Line("GetTMP451Temp", "Temp:33.00.\n"));
  EXPECT_EQ(camera.sensorTemp, 33.0F);
  EXPECT_THAT(Sent(), ElementsAre(kReadBoard));
}

TEST_F(Temperature, ATmp451LogsTwoDecimals) {
  Board(1, 25);  // 25.0625
  LogText log;
  camera.GetTMP451Temp();
  EXPECT_EQ(log.Text(), Line("GetTMP451Temp", "Temp:25.06.\n"));
}

TEST_F(Temperature, ATmp451ThatReadsZeroMeansZero) {
  camera.sensorTemp = 12.25F;
  EXPECT_EQ(camera.GetTMP451Temp(), 0.0F);
  EXPECT_EQ(camera.sensorTemp, 0.0F);
}

TEST_F(Temperature, ATmp451ThatDoesNotAnswerKeepsTheLastTemperatureSilently) {
  camera.sensorTemp = 12.25F;
  camera.port->refusedRequests.insert(0xB3);
  LogText log;
  EXPECT_EQ(camera.GetTMP451Temp(), 12.25F);
  EXPECT_EQ(log.Text(), "");
  EXPECT_EQ(camera.sensorTemp, 12.25F);
}

TEST_F(Temperature, TheNarrowConverterIsReadAtTenKiloOhm) {
  Converter(0x0F, 0x08);  // 0x80F without the low bits: eight bits of 0x080
  EXPECT_EQ(camera.GetADC081Temp(), 25.0F);
  EXPECT_EQ(camera.ntcTemp, 25.0F);
  EXPECT_EQ(camera.sensorTemp, 0.0F) << "only the dispatch stores it there";
  EXPECT_THAT(Sent(), ElementsAre(kReadConverter));
  Converter(0x00, 0xF8);
  EXPECT_EQ(camera.GetADC081Temp(), 25.0F) << "the upper four bits do not count";
}

TEST_F(Temperature, TheWideConverterIsReadAtTenKiloOhm) {
  Converter(0x0F, 0x80);
  EXPECT_EQ(camera.GetAD7142Temp(), 25.0F);
  EXPECT_EQ(camera.ntcTemp, 25.0F);
  EXPECT_EQ(camera.sensorTemp, 0.0F);
  EXPECT_THAT(Sent(), ElementsAre(kReadConverter));
}

TEST_F(Temperature, AConverterThatDoesNotAnswerKeepsTheLastTemperature) {
  camera.ntcTemp = 7.5F;
  Converter(0x00, 0x80);
  camera.port->refusedRequests.insert(0xC7);
  LogText log;
  EXPECT_EQ(camera.GetADC081Temp(), 7.5F);
  EXPECT_EQ(camera.GetAD7142Temp(), 7.5F);
  EXPECT_EQ(log.Text(), "");
  EXPECT_EQ(camera.ntcTemp, 7.5F);
  EXPECT_THAT(Sent(), ElementsAre(kReadConverter, kReadConverter));
}

TEST_F(Temperature, CountsWithoutATemperatureKeepTheLastOne) {
  EXPECT_EQ(camera.CalculTempuature(100, 10), 0.0F) << "none yet";
  camera.ntcTemp = 7.5F;
  for (const int count : {0, 100, 182, 4017, 4095, 4096, 5000, -1})
    EXPECT_EQ(camera.CalculTempuature(count, 10), 7.5F) << count;
  for (const int count : {0, 11, 252, 255})
    EXPECT_EQ(camera.CalculTempuature(static_cast<unsigned char>(count), 10), 7.5F) << count;
  EXPECT_EQ(camera.ntcTemp, 7.5F);
}

TEST_F(Temperature, TheTwoConversionsDifferInTheirFullScale) {
  EXPECT_EQ(camera.CalculTempuature(2048, 10), 25.0F);
  EXPECT_EQ(camera.CalculTempuature(static_cast<unsigned char>(128), 10), 25.0F);
  EXPECT_NEAR(camera.CalculTempuature(4000, 10), -46.248, 0.001);
  EXPECT_NEAR(camera.ntcTemp, -46.248, 0.001);
  EXPECT_NEAR(camera.CalculTempuature(static_cast<unsigned char>(200), 10), -1.683, 0.001);
  EXPECT_NEAR(camera.ntcTemp, -1.683, 0.001);
}

TEST_F(Temperature, AThermistorOutsideTheAcceptedRangeKeepsTheLastTemperature) {
  camera.ntcTemp = 7.5F;
  camera.ntcTempMin = 26;
  EXPECT_EQ(camera.CalculTempuature(2048, 10), 7.5F);
  camera.ntcTempMin = 25;
  EXPECT_EQ(camera.CalculTempuature(2048, 10), 25.0F);
  camera.ntcTemp = 7.5F;
  camera.ntcTempMax = 24;
  EXPECT_EQ(camera.CalculTempuature(2048, 10), 7.5F);
  EXPECT_EQ(camera.ntcTemp, 7.5F);
  camera.ntcTempMax = 25;
  EXPECT_EQ(camera.CalculTempuature(2048, 10), 25.0F);
}

TEST_F(Temperature, TheSensorTypeSelectsTheReader) {
  Board(0x90, 0x19);      // TMP100: 0x199 = 25.5625; TMP451: 25 + 144 / 16 = 34
  Converter(0x00, 0x80);  // 12 bits: half scale, 25; 8 bits: 0
  camera.ntcTemp = 7.5F;
  const struct {
    int type;
    float celsius;
    const char* request;
  } cases[] = {{0, 25.5625F, kReadBoard}, {1, 7.5F, kReadConverter}, {2, 25.0F, kReadConverter},
               {3, 34.0F, kReadBoard},    {5, 25.5625F, kReadBoard}, {7, 25.5625F, kReadBoard},
               {-1, 25.5625F, kReadBoard}};
  for (const auto& c : cases) {
    camera.sensorTemp = -99.0F;
    camera.tempSensorType = c.type;
    EXPECT_EQ(camera.GetSensorTemp(), c.celsius) << c.type;
    EXPECT_EQ(camera.sensorTemp, c.celsius) << c.type;
    EXPECT_THAT(Sent(), ElementsAre(c.request)) << c.type;
  }
  camera.tempSensorType = 4;
  EXPECT_EQ(camera.GetSensorTemp(), 0.0F);
  EXPECT_EQ(camera.sensorTemp, 0.0F);
  EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(Temperature, TheReportedTemperatureIsTheSensorsAndStored) {
  Board(0x80, 0xE7);
  EXPECT_EQ(camera.GetTemp(), -24.5F);
  EXPECT_EQ(camera.sensorTemp, -24.5F);
  EXPECT_THAT(Sent(), ElementsAre(kReadBoard));
}

TEST_F(Temperature, TheControlTellsTenthsCutTowardZero) {
  long value = 0;
  ORQ_BOOL automatic = 9;
  Board(0xA0, 0xF3);  // 0xF3A: 4096 - 3898 = 198 sixteenths below zero, -12.375
  EXPECT_EQ(camera.GetControlValue(ORQ_TEMPERATURE, &value, &automatic), 0);
  EXPECT_EQ(value, -123);
  EXPECT_EQ(automatic, 0);
  camera.port->refusedRequests.insert(0xB3);
  EXPECT_EQ(camera.GetControlValue(ORQ_TEMPERATURE, &value, &automatic), 0);
  EXPECT_EQ(value, -123) << "the last good one";
}

TEST_F(Temperature, TheCorrectionIsThatOfTheTable) {
  EXPECT_EQ(camera.RemedyTemp(20.0F), 16.16F);
  EXPECT_EQ(camera.RemedyTemp(16.94F), 13.1F);
  EXPECT_EQ(camera.RemedyTemp(15.0F), 9.9F);
  EXPECT_EQ(camera.RemedyTemp(-20.0F), -28.35F);
  EXPECT_THAT(Sent(), IsEmpty());
}

TEST_F(Temperature, AnAds1014IsReadInVolts) {
  camera.port->answers[0xE9] = {0x0A, 0x80};  // count 0x800
  LogText log;
  EXPECT_EQ(camera.GetADS1014ADC(), 6.148F);
  EXPECT_EQ(log.Text(), Line("GetADS1014ADC", "ADC bytes: 0x0a 0x80\n") +
                            Line("GetADS1014ADC", "ADC count: 2048, voltage: 6.148000\n"));
  EXPECT_THAT(Sent(), ElementsAre(kReadAdc));
}

TEST_F(Temperature, AnAds1014ThatDoesNotAnswerIsZeroVolts) {
  camera.port->answers[0xE9] = {0xF0, 0x7F};
  camera.port->refusedRequests.insert(0xE9);
  LogText log;
  EXPECT_EQ(camera.GetADS1014ADC(), 0.0F);
  EXPECT_EQ(log.Text(), "");
}

class TemperatureTable : public DeviceTableTest {};

TEST_F(TemperatureTable, OnlyTypeFourAsksTheModelOnce) {
  camera.insideTemperature = -3.5F;
  for (int type = -1; type <= 5; ++type) {
    camera.tempSensorType = type;
    const float celsius = camera.CCameraBase::GetTemp();
    if (type == 4) {
      EXPECT_EQ(celsius, -3.5F);
      EXPECT_EQ(camera.sensorTemp, -3.5F);
      EXPECT_THAT(camera.TakeCalls(), ElementsAre("GetSensorTempInside"));
      EXPECT_THAT(Sent(), IsEmpty());
    } else {
      EXPECT_THAT(camera.TakeCalls(), IsEmpty()) << type;
      EXPECT_EQ(Sent().size(), 1U) << type;
    }
  }
}

TEST_F(TemperatureTable, TheControlAsksTheModelOnce) {
  camera.temperature = 21.59F;
  long value = 0;
  ORQ_BOOL automatic = 0;
  EXPECT_EQ(camera.CCameraBase::GetControlValue(ORQ_TEMPERATURE, &value, &automatic), 0);
  EXPECT_EQ(value, 215);
  EXPECT_THAT(camera.TakeCalls(), ElementsAre("GetTemp"));
  EXPECT_THAT(Sent(), IsEmpty());
}

}  // namespace
}  // namespace orq::test
