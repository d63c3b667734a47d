#include "virtual/device/DeviceData.h"

#include <algorithm>

#include "link/ProductIds.h"

namespace orq {
namespace {

constexpr DeviceData kDevices[] = {
    {.key = "k1c",
     .summary = "colour planetary and guide camera",
     .productId = pid::kK1C,
     .fpgaType = 0xA5,
     .thermometer = ThermometerKind::Tmp100,
     .guidePort = true},
    {.key = "k1m",
     .summary = "monochrome planetary and guide camera",
     .productId = pid::kK1M,
     .fpgaType = 0xA5,
     .thermometer = ThermometerKind::Adc081,
     .guidePort = true},
    {.key = "k2m",
     .summary = "monochrome lunar and solar camera",
     .productId = pid::kK2M,
     .boardType = 2,
     .fpgaType = 0xA5,
     .thermometer = ThermometerKind::Ad7142,
     .guidePort = true},
    {.key = "x26m",
     .summary = "cooled monochrome deep-sky camera",
     .productId = pid::kX26M,
     .boardType = 6,
     .fpgaType = 0xC0,
     .thermometer = ThermometerKind::Tmp100,
     .adjustable = true,
     .cooler = true},
    {.key = "t46c",
     .summary = "colour camera with GPS for timing",
     .productId = pid::kT46C,
     .boardType = 5,
     .fpgaType = 0xC0,
     .thermometer = ThermometerKind::Sensor,
     .ticksPerMs = 20'000,
     .gpsVersion = 1,
     .gpsTicksPerSecond = 20'000'173,  // the oscillator runs a little fast
     .gpsLeadUs = 131.2,               // eight lines
     .adjustable = true},
    {.key = "h53m",
     .summary = "monochrome high-speed camera with focus motor",
     .productId = pid::kH53M,
     .boardType = 3,
     .fpgaType = 6,
     .thermometer = ThermometerKind::Tmp451,
     .ticksPerMs = 74'250,
     .focusMotor = true},
    {.key = "b29m",
     .summary = "cooled monochrome deep-sky camera, bins in its FPGA",
     .productId = pid::kB29M,
     .boardType = 4,
     .fpgaType = 0xB0,
     .thermometer = ThermometerKind::Ad7142,
     .ticksPerMs = 37'125,
     .cooler = true},
    {.key = "l3m",
     .summary = "monochrome guide camera whose sensor counts lines",
     .productId = 0x3101,
     .fpgaType = 0xA5,
     .thermometer = ThermometerKind::Tmp100,
     .guidePort = true},
    {.key = "d6m",
     .summary = "monochrome camera with two conversion gains and two readout modes",
     .productId = 0x6201,
     .boardType = 2,
     .fpgaType = 0xB0,
     .thermometer = ThermometerKind::Tmp100},
    {.key = "replay",
     .summary = "frames from a FITS, PGM or SER file",
     .productId = pid::kReplay,
     .guidePort = true},
};

}  // namespace

std::span<const DeviceData> AllDevices() {
  return kDevices;
}

const DeviceData* FindDevice(std::string_view key) {
  const auto* found = std::ranges::find(kDevices, key, &DeviceData::key);
  return found != std::end(kDevices) ? found : nullptr;
}

}  // namespace orq
