// Camera modes and trigger outputs as callers see them.
#pragma once

#include <cstdint>

/// Camera mode: 0 free-running; 1 software trigger, 2 rising edge, 3 falling edge, 4 software level, 5 high level,
/// 6 low level.
using CAM_MODE = std::int32_t;
inline constexpr CAM_MODE kLastCameraMode = 6;

/// The modes that a camera offers, ended by -1.
struct _ORQ_SUPPORTED_MODE {
  CAM_MODE modes[16];
};

/// A trigger output.
enum Trig_Output_Pin : std::int32_t { TRIG_OUTPUT_PINA = 0, TRIG_OUTPUT_PINB = 1 };

/// Result codes of the camera modes.
enum CameraModeResult : int {
  MODE_OK = 0,
  MODE_CAPTURE_RUNNING = 12,
  MODE_BAD_PIN = 16,
  MODE_NOT_OFFERED = 17,
};
