// Control identifiers, records and result codes.
#pragma once

#include <array>
#include <cstdint>

/// A 32-bit boolean at the public boundary: 0 false, 1 true.
using ORQ_BOOL = std::int32_t;

/// Public control identifiers.
enum ORQ_CONTROL_TYPE : std::int32_t {
  ORQ_GAIN = 0,
  ORQ_EXPOSURE,
  ORQ_GAMMA,
  ORQ_WB_R,
  ORQ_WB_B,
  ORQ_OFFSET,
  ORQ_BAND_WIDTH,
  ORQ_OVER_CLK,
  ORQ_TEMPERATURE,
  ORQ_FLIP,
  ORQ_AUTO_EXP_MAX_GAIN,
  ORQ_AUTO_EXP_MAX_EXP_MS,
  ORQ_AUTO_EXP_TARGET_BRIGHTNESS,
  ORQ_HARDWARE_BIN,
  ORQ_HIGH_SPEED_MODE,
  ORQ_COOL_POWER_PERC,
  ORQ_TARGET_TEMP,
  ORQ_COOLER_ON,
  ORQ_MONO_BIN,
  ORQ_FAN_ON,
  ORQ_PATTERN_ADJUST,
  ORQ_ANTI_DEW_HEATER,
  ORQ_FAN_SPEED_ADJUST,
  ORQ_POWER_LED_BRIGHT,
  ORQ_USB_HUB_RESET,
  ORQ_GPS_SUPPORT,
  ORQ_GPS_START_LINE,
  ORQ_GPS_END_LINE,
  ORQ_ROLLING_INTERVAL,
};
inline constexpr int kControlTypes = 29;

/// Internal control identifiers, for code that works on a control without the public interface.
enum Control_TYPE : std::int32_t {
  CT_GAIN = 0,
  CT_EXPOSURE,
  CT_GAMMA,
  CT_WB_R,
  CT_WB_B,
  CT_OFFSET,
  CT_BAND_WIDTH,
  CT_OVER_CLK,
  CT_TEMPERATURE,
  CT_HARDWARE_BIN,
  CT_HIGH_SPEED_MODE,
  CT_COOL_POWER_PERC,
  CT_TARGET_TEMP,
  CT_COOLER_ON,
  CT_MONO_BIN,
  CT_FAN_ON,
  CT_PATTERN_ADJUST,
  CT_ANTI_DEW_HEATER,
  CT_GPS_SUPPORT,
  CT_FAN_SPEED_ADJUST,
  CT_POWER_LED_BRIGHT,
  CT_USB_HUB_RESET,
};

/// Image formats. RGB24 and Y8 exist on colour cameras only.
enum IMG_TYPE : std::int32_t {
  ORQ_IMG_RAW8 = 0,   ///< one byte per pixel, as read out
  ORQ_IMG_RGB24 = 1,  ///< three bytes per pixel: blue, green, red
  ORQ_IMG_RAW16 = 2,  ///< two bytes per pixel, host order, left-aligned
  ORQ_IMG_Y8 = 3,     ///< one byte per pixel, luminance
};

/// Result codes of control operations.
enum ControlResult : int {
  CTRL_OK = 0,
  CTRL_NOT_SUPPORTED = 3,
  CTRL_SET_FAILED = 16,
  CTRL_GET_FAILED = 18,
  CTRL_GPS_VER_TOO_LOW = 19,
  CTRL_REG_FAILED = 20,
  CTRL_BAD_LINE = 21,
  CTRL_GPS_DATA_INVALID = 22,
};

/// One control's description, as handed to callers.
struct _ORQ_CONTROL_CAPS {
  char name[64];
  char description[128];
  std::int32_t maxValue;
  std::int32_t minValue;
  std::int32_t defaultValue;
  ORQ_BOOL isAutoSupported;
  ORQ_BOOL isWritable;
  ORQ_CONTROL_TYPE controlType;
};

/// Model limits, filled by the model before the control list is built; exposure in µs.
struct ControlLimits {
  std::int32_t gainDefault = 0, gainMax = 0, gainMin = 0;
  std::int32_t exposureDefault = 0, exposureMax = 0, exposureMin = 0;
  std::int32_t gammaDefault = 0, gammaMax = 0, gammaMin = 0;
  std::int32_t wbRedDefault = 0, wbBlueDefault = 0, wbMax = 0, wbMin = 0;
  std::int32_t offsetDefault = 0, offsetMax = 0, offsetMin = 0;
  std::int32_t bandwidthMin = 0, bandwidthMax = 0;
  std::int32_t patternMax = 0, patternMin = 0;
};
