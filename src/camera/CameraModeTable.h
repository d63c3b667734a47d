// Which camera modes an FPGA offers, and what each programs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "camera/CameraModeTypes.h"
#include "camera/CameraState.h"

namespace orq {

/// The groups of trigger modes that a camera offers.
struct TriggerSupport {
  bool any = false;        ///< the FPGA has a trigger unit
  bool modes1to3 = false;  ///< on edges
  bool modes4to6 = false;  ///< on levels
  bool operator==(const TriggerSupport&) const = default;
};

/// By the FPGA's type code.
constexpr TriggerSupport TriggerSupportOf(std::uint8_t fpgaType) {
  constexpr std::uint8_t kFirstWithEdges = 0xA0;
  constexpr std::uint8_t kFirstWithLevels = 0xC0;
  if (fpgaType >= kFirstWithLevels) return {true, true, true};
  if (fpgaType >= kFirstWithEdges) return {true, true, false};
  return {};
}

/// As an open camera's flags say.
inline TriggerSupport TriggerSupportOf(const CaptureState& camera) {
  return {camera.supportTrigger != 0, camera.supportModes1to3 != 0, camera.supportModes4to6 != 0};
}

/// Whether the camera may be switched to `mode`. A trigger unit that names neither group is taken at its word:
/// every mode passes.
constexpr bool IsModeOffered(const TriggerSupport& support, CAM_MODE mode) {
  if (mode < 0 || mode > kLastCameraMode) return false;
  if (mode == 0) return true;
  if (!support.any) return false;
  if (support.modes1to3 == support.modes4to6) return true;
  return support.modes1to3 == (mode <= 3);
}

/// The modes for a listing, ended by -1; entries behind that stay as they are. Unlike `IsModeOffered`, only groups
/// that are named.
constexpr void ListModes(const TriggerSupport& support, _ORQ_SUPPORTED_MODE& list) {
  std::size_t count = 0;
  list.modes[count++] = 0;
  for (CAM_MODE mode = 1; mode <= kLastCameraMode; ++mode)
    if (support.any && (mode <= 3 ? support.modes1to3 : support.modes4to6)) list.modes[count++] = mode;
  list.modes[count] = -1;
}

/// The trigger input of one mode.
struct TriggerInput {
  bool onTriggerOnly = false;  ///< false in mode 0; the model may want it on there, too
  bool external = false;       ///< the input line; else software requests
  bool ignoresInput = false;
  std::optional<bool> edge;        ///< edge or level; nothing: left as it is
  std::optional<bool> activeHigh;  ///< rising edge or high level; nothing: left as it is
};

inline constexpr std::array<TriggerInput, kLastCameraMode + 1> kTriggerInputs{{
    {.ignoresInput = true, .edge = {}, .activeHigh = {}},
    {.onTriggerOnly = true, .external = false, .edge = true, .activeHigh = true},
    {.onTriggerOnly = true, .external = true, .edge = true, .activeHigh = true},
    {.onTriggerOnly = true, .external = true, .edge = true, .activeHigh = false},
    {.onTriggerOnly = true, .external = false, .edge = false, .activeHigh = true},
    {.onTriggerOnly = true, .external = true, .edge = false, .activeHigh = true},
    {.onTriggerOnly = true, .external = true, .edge = false, .activeHigh = false},
}};

/// Whether exposures begin by software requests.
constexpr bool IsSoftwareTriggered(CAM_MODE mode) {
  return mode > 0 && mode <= kLastCameraMode && !kTriggerInputs[static_cast<std::size_t>(mode)].external;
}

}  // namespace orq
