#include "controls/ControlCatalogue.h"

#include <algorithm>
#include <string_view>

namespace orq {
namespace {

/// One limit of a control: a number, an entry of the model's limits, or a small rule.
class Limit {
 public:
  using Entry = std::int32_t ControlLimits::*;
  using Rule = std::int32_t (*)(const CatalogueModel&);

  constexpr Limit(std::int32_t number) : number_(number) {}  // NOLINT: a table cell
  constexpr Limit(Entry entry) : entry_(entry) {}            // NOLINT: a table cell
  constexpr Limit(Rule rule) : rule_(rule) {}                // NOLINT: a table cell

  std::int32_t Of(const CatalogueModel& model) const {
    if (rule_ != nullptr) return rule_(model);
    return entry_ != nullptr ? model.limits.*entry_ : number_;
  }

 private:
  std::int32_t number_ = 0;
  Entry entry_ = nullptr;
  Rule rule_ = nullptr;
};

std::int32_t MeanGain(const CatalogueModel& model) {
  const std::int64_t sum = std::int64_t{model.limits.gainMax} + model.limits.gainMin;
  return static_cast<std::int32_t>(sum / 2);  // truncated, on purpose
}

/// Automatic exposure never goes beyond a minute, whatever the sensor can do.
std::int32_t LongestAutoExposureMs(const CatalogueModel& model) {
  constexpr std::int32_t kMinuteUs = 60'000'000;
  return std::min(model.limits.exposureMax, kMinuteUs) / 1000;
}

std::int32_t LastLine(const CatalogueModel& model) {
  return static_cast<std::int32_t>(std::int64_t{model.maxHeight} - 1);
}

enum class Automatic : std::uint8_t { No, Yes, IfBandwidthCan };
enum class Access : std::uint8_t { ReadOnly, Writable };

struct CatalogueRow {
  ORQ_CONTROL_TYPE id;
  std::string_view name;
  std::string_view description;
  Limit max;
  Limit min;
  Limit defaultValue;
  Automatic automatic;
  Access access;
};

using L = ControlLimits;
using enum Automatic;
using enum Access;

// Some rows look wrong and are right, because applications know them as they stand:
//  - the default of the hub reset (255) lies above its maximum (1);
//  - the cooler's power cannot be written: the target temperature drives it;
//  - the grammar of the mono bin's description;
//  - the temperature counts tenths of a degree (-50.0 to 100.0) although its text and default speak of degrees.
constexpr std::array<CatalogueRow, kControlTypes> kCatalogue{{
    {ORQ_GAIN, "Gain", "Gain", &L::gainMax, &L::gainMin, &L::gainDefault, Yes, Writable},
    {ORQ_EXPOSURE, "Exposure", "Exposure Time(us)", &L::exposureMax, &L::exposureMin, &L::exposureDefault, Yes,
     Writable},
    {ORQ_GAMMA, "Gamma", "Gamma", &L::gammaMax, &L::gammaMin, &L::gammaDefault, No, Writable},
    {ORQ_WB_R, "WB_R", "White balance: Red component", &L::wbMax, &L::wbMin, &L::wbRedDefault, Yes, Writable},
    {ORQ_WB_B, "WB_B", "White balance: Blue component", &L::wbMax, &L::wbMin, &L::wbBlueDefault, Yes, Writable},
    {ORQ_OFFSET, "Offset", "offset", &L::offsetMax, &L::offsetMin, &L::offsetDefault, No, Writable},
    {ORQ_BAND_WIDTH, "BandWidth", "The total data transfer rate percentage", &L::bandwidthMax, &L::bandwidthMin,
     50, IfBandwidthCan, Writable},
    {ORQ_OVER_CLK, "OverCLK", "Over clocking percentage", 30, 0, 0, No, Writable},
    {ORQ_TEMPERATURE, "Temperature", "Sensor temperature(degrees Celsius)", 1000, -500, 20, No, ReadOnly},
    {ORQ_FLIP, "Flip", "Flip: 0->None 1->Horiz 2->Vert 3->Both", 3, 0, 0, No, Writable},
    {ORQ_AUTO_EXP_MAX_GAIN, "AutoExpMaxGain", "Auto exposure maximum gain value", &L::gainMax, &L::gainMin,
     MeanGain, No, Writable},
    {ORQ_AUTO_EXP_MAX_EXP_MS, "AutoExpMaxExpMS", "Auto exposure maximum exposure value(unit ms)",
     LongestAutoExposureMs, 1, 100, No, Writable},
    {ORQ_AUTO_EXP_TARGET_BRIGHTNESS, "AutoExpTargetBrightness", "Auto exposure target brightness value", 160, 50,
     100, No, Writable},
    {ORQ_HARDWARE_BIN, "HardwareBin", "Is hardware bin2:0->No 1->Yes", 1, 0, 0, No, Writable},
    {ORQ_HIGH_SPEED_MODE, "HighSpeedMode", "Is high speed mode:0->No 1->Yes", 1, 0, 0, No, Writable},
    {ORQ_COOL_POWER_PERC, "CoolPowerPerc", "Cooler power percent", 100, 0, 0, No, ReadOnly},
    {ORQ_TARGET_TEMP, "TargetTemp", "Target temperature(cool camera only)", 30, -40, 0, No, Writable},
    {ORQ_COOLER_ON, "CoolerOn", "turn on/off cooler(cool camera only)", 1, 0, 0, No, Writable},
    {ORQ_MONO_BIN, "MonoBin", "bin R G G B to one pixel for color camera, color will loss", 1, 0, 0, No, Writable},
    {ORQ_FAN_ON, "FanOn", "turn on/off fan(cool camera only)", 1, 0, 0, No, Writable},
    {ORQ_PATTERN_ADJUST, "PatternAdjust", "make brightness accordant", &L::patternMax, &L::patternMin, 0, No,
     Writable},
    {ORQ_ANTI_DEW_HEATER, "AntiDewHeater", "turn on/off anti dew heater(cool camera only)", 1, 0, 0, No, Writable},
    {ORQ_FAN_SPEED_ADJUST, "FanSpeedAdjust", "adjust fan speed(cool camera only)", 255, 0, 255, No, Writable},
    {ORQ_POWER_LED_BRIGHT, "PowerLedBright", "adjust power led brightness", 255, 0, 255, No, Writable},
    {ORQ_USB_HUB_RESET, "UsbHubReset", "reset the power of usb hub", 1, 0, 255, No, Writable},
    {ORQ_GPS_SUPPORT, "GPSSupport", "the camera has a GPS or not", 1, 0, 0, No, ReadOnly},
    {ORQ_GPS_START_LINE, "GPSStartLine", "set start line number of getting GPS time(GPS camera only)", LastLine, 0,
     0, No, Writable},
    {ORQ_GPS_END_LINE, "GPSEndLine", "set end line number of getting GPS time(GPS camera only)", LastLine, 0, 0,
     No, Writable},
    {ORQ_ROLLING_INTERVAL, "RollingInterval",
     "get the rolling interval of every line(rolling shutter GPS camera only)", 10000, 0, 0, No, ReadOnly},
}};

constexpr bool RowsStandAtTheirIds() {
  for (std::size_t i = 0; i < kCatalogue.size(); ++i)
    if (kCatalogue[i].id != static_cast<std::int32_t>(i)) return false;
  return true;
}
constexpr bool TextsFit() {
  return std::all_of(
      kCatalogue.begin(), kCatalogue.end(),
      [](const CatalogueRow& row) {
        return !row.name.empty() && row.name.size() < sizeof(_ORQ_CONTROL_CAPS::name) &&
               !row.description.empty() && row.description.size() < sizeof(_ORQ_CONTROL_CAPS::description);
      });
}
static_assert(RowsStandAtTheirIds());
static_assert(TextsFit());

template <std::size_t N>
void CopyText(std::string_view text, char (&out)[N]) {
  std::fill(std::copy(text.begin(), text.end(), out), out + N, '\0');
}

bool IsAutomatic(Automatic automatic, const CapabilityFlags& flags) {
  return automatic == Yes || (automatic == IfBandwidthCan && flags.bandwidthAutoSupported != 0);
}

using Available = bool (*)(const ControlAvailability&);

struct ListRow {
  ORQ_CONTROL_TYPE id;
  Available available;
};

template <std::uint8_t CapabilityFlags::*Flag>
bool Has(const ControlAvailability& on) {
  return on.flags.*Flag != 0;
}
template <std::uint8_t CapabilityFlags::*Flag>
bool ColourWith(const ControlAvailability& on) {
  return on.flags.bIsColor != 0 && on.flags.*Flag != 0;
}
bool Always(const ControlAvailability&) {
  return true;
}
bool HighSpeed(const ControlAvailability& on) {
  return on.highSpeed;
}
bool Gps(const ControlAvailability& on) {
  return on.gps;
}
bool FanAdjustable(const ControlAvailability& on) {
  return on.fanAdjustable;
}

using F = CapabilityFlags;

// The order is part of the interface: callers enumerate by index. The fan switch is in the catalogue but is
// never listed.
constexpr std::array<ListRow, kControlTypes - 1> kListOrder{{
    {ORQ_GAIN, Has<&F::hasGain>},
    {ORQ_EXPOSURE, Has<&F::hasExposure>},
    {ORQ_GAMMA, Has<&F::hasGamma>},
    {ORQ_WB_R, ColourWith<&F::hasWB_R>},
    {ORQ_WB_B, ColourWith<&F::hasWB_B>},
    {ORQ_OFFSET, Has<&F::hasOffset>},
    {ORQ_BAND_WIDTH, Has<&F::hasBandwidth>},
    {ORQ_FLIP, Always},
    {ORQ_OVER_CLK, Has<&F::hasOverCLK>},
    {ORQ_AUTO_EXP_MAX_GAIN, Always},
    {ORQ_AUTO_EXP_MAX_EXP_MS, Always},
    {ORQ_AUTO_EXP_TARGET_BRIGHTNESS, Always},
    {ORQ_HARDWARE_BIN, Has<&F::hasHardwareBin>},
    {ORQ_HIGH_SPEED_MODE, HighSpeed},
    {ORQ_MONO_BIN, Has<&F::bIsColor>},
    {ORQ_PATTERN_ADJUST, Has<&F::hasPatternAdjust>},
    {ORQ_TEMPERATURE, Has<&F::hasTemperature>},
    {ORQ_COOL_POWER_PERC, Has<&F::isCooled>},
    {ORQ_TARGET_TEMP, Has<&F::isCooled>},
    {ORQ_COOLER_ON, Has<&F::isCooled>},
    {ORQ_ANTI_DEW_HEATER, Has<&F::hasAntiDewHeater>},
    {ORQ_GPS_SUPPORT, Gps},
    {ORQ_GPS_START_LINE, Gps},
    {ORQ_GPS_END_LINE, Gps},
    {ORQ_ROLLING_INTERVAL, Gps},
    {ORQ_FAN_SPEED_ADJUST, FanAdjustable},
    {ORQ_POWER_LED_BRIGHT, FanAdjustable},
    {ORQ_USB_HUB_RESET, FanAdjustable},
}};

constexpr bool EachListedOnce() {
  std::array<int, kControlTypes> seen{};
  for (const ListRow& row : kListOrder) ++seen[static_cast<std::size_t>(row.id)];
  for (std::size_t i = 0; i < seen.size(); ++i)
    if (seen[i] != (i == ORQ_FAN_ON ? 0 : 1)) return false;
  return true;
}
static_assert(EachListedOnce());

/// By internal id. The controls that only the public interface knows have none.
constexpr std::array kPublicIds{
    ORQ_GAIN,
    ORQ_EXPOSURE,
    ORQ_GAMMA,
    ORQ_WB_R,
    ORQ_WB_B,
    ORQ_OFFSET,
    ORQ_BAND_WIDTH,
    ORQ_OVER_CLK,
    ORQ_TEMPERATURE,
    ORQ_HARDWARE_BIN,
    ORQ_HIGH_SPEED_MODE,
    ORQ_COOL_POWER_PERC,
    ORQ_TARGET_TEMP,
    ORQ_COOLER_ON,
    ORQ_MONO_BIN,
    ORQ_FAN_ON,
    ORQ_PATTERN_ADJUST,
    ORQ_ANTI_DEW_HEATER,
    ORQ_GPS_SUPPORT,
    ORQ_FAN_SPEED_ADJUST,
    ORQ_POWER_LED_BRIGHT,
    ORQ_USB_HUB_RESET,
};
static_assert(kPublicIds.size() == CT_USB_HUB_RESET + 1);

}  // namespace

bool DescribeControl(ORQ_CONTROL_TYPE id, const CatalogueModel& model, _ORQ_CONTROL_CAPS& caps) {
  if (id < 0 || id >= kControlTypes) return false;
  const CatalogueRow& row = kCatalogue[static_cast<std::size_t>(id)];
  CopyText(row.name, caps.name);
  CopyText(row.description, caps.description);
  caps.maxValue = row.max.Of(model);
  caps.minValue = row.min.Of(model);
  caps.defaultValue = row.defaultValue.Of(model);
  caps.isAutoSupported = IsAutomatic(row.automatic, model.flags) ? 1 : 0;
  caps.isWritable = row.access == Writable ? 1 : 0;
  return true;
}

ControlOrder ListControls(const ControlAvailability& available) {
  ControlOrder order;
  for (const ListRow& row : kListOrder)
    if (row.available(available)) order.ids[order.count++] = row.id;
  return order;
}

ORQ_CONTROL_TYPE PublicControl(Control_TYPE type) {
  if (type < 0 || static_cast<std::size_t>(type) >= kPublicIds.size()) return ORQ_GAIN;
  return kPublicIds[static_cast<std::size_t>(type)];
}

}  // namespace orq
