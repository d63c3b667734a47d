// Reading the camera's thermometer, whichever it has.
#include <array>
#include <cstdint>
#include <optional>

#include "camera/CameraBase.h"
#include "devices/TemperatureCorrection.h"
#include "devices/Thermistor.h"
#include "devices/Thermometers.h"
#include "link/WireProtocol.h"
#include "support/DbgPrint.h"

namespace wire = orq::wire;

namespace {

/// Values of `tempSensorType`; all others mean a TMP100.
enum SensorType : std::int32_t {
  kAdc081 = 1,
  kAd7142 = 2,
  kTmp451 = 3,
  kInside = 4,
};

using Word = std::array<unsigned char, 2>;

bool ReadWord(CCameraBase& camera, unsigned char request, Word& word) {
  return camera.SendCMD(request, 0, 0, true, word.data(), static_cast<long>(word.size()));
}

/// The converter's word; zeros, which no thermistor gives, when it cannot be read.
Word ReadConverter(CCameraBase& camera) {
  Word word{};
  ReadWord(camera, wire::kReqTemperatureAdc, word);
  return word;
}

/// Keeps a thermistor temperature within the accepted range; answers the last one kept.
float KeepThermistor(CCameraBase& camera, std::optional<float> celsius) {
  if (!celsius || !(*celsius >= static_cast<float>(camera.ntcTempMin)) ||
      !(*celsius <= static_cast<float>(camera.ntcTempMax)))
    return camera.ntcTemp;
  camera.ntcTemp = *celsius;
  return *celsius;
}

float ReadThermometer(CCameraBase& camera) {
  switch (camera.tempSensorType) {
    case kAdc081:
      return camera.GetADC081Temp();
    case kAd7142:
      return camera.GetAD7142Temp();
    case kTmp451:
      return camera.GetTMP451Temp();
    case kInside:
      return camera.GetSensorTempInside();
    default:
      return camera.GetTMP100Temp();
  }
}

}  // namespace

float CCameraBase::GetTemp() {
  return GetSensorTemp();
}

float CCameraBase::GetSensorTempInside() {
  return 0.0F;
}

float CCameraBase::GetSensorTemp() {
  const float celsius = ReadThermometer(*this);
  sensorTemp = celsius;
  return celsius;
}

float CCameraBase::GetTMP100Temp() {
  Word word{};
  if (!ReadWord(*this, wire::kReqBoardTemperature, word)) return sensorTemp;
  const std::optional<float> celsius = orq::Tmp100Celsius(word[0], word[1]);
  if (!celsius) return sensorTemp;
  sensorTemp = *celsius;
  return *celsius;
}

float CCameraBase::GetTMP451Temp() {
  Word word{};
  if (!ReadWord(*this, wire::kReqBoardTemperature, word)) return sensorTemp;
  const float celsius = orq::Tmp451Celsius(word[0], word[1]);
  sensorTemp = celsius;
  DbgPrint(-1, "GetTMP451Temp", "Temp:%2.2f.\n", static_cast<double>(celsius));
  return celsius;
}

float CCameraBase::GetADC081Temp() {
  const Word word = ReadConverter(*this);
  return CalculTempuature(orq::Adc081Count(word[0], word[1]), orq::kThermistorReferenceKiloOhm);
}

float CCameraBase::GetAD7142Temp() {
  const Word word = ReadConverter(*this);
  return CalculTempuature(orq::Ad7142Count(word[0], word[1]), orq::kThermistorReferenceKiloOhm);
}

float CCameraBase::CalculTempuature(int adc, int rref) {
  return KeepThermistor(*this, orq::ThermistorCelsius(adc, orq::kThermistorCounts12, rref));
}

float CCameraBase::CalculTempuature(unsigned char adc, int rref) {
  return KeepThermistor(*this, orq::ThermistorCelsius(adc, orq::kThermistorCounts8, rref));
}

float CCameraBase::RemedyTemp(float t) {
  return orq::CorrectedTemperature(t);
}

float CCameraBase::GetADS1014ADC() {
  Word word{};
  if (!ReadWord(*this, wire::kReqAdcChannel, word)) return 0.0F;
  DbgPrint(-1, "GetADS1014ADC", "ADC bytes: 0x%02x 0x%02x\n", word[0], word[1]);
  const int count = orq::Ads1014Count(word[0], word[1]);
  const float volts = orq::Ads1014Volts(count);
  DbgPrint(-1, "GetADS1014ADC", "ADC count: %d, voltage: %f\n", count, static_cast<double>(volts));
  return volts;
}
