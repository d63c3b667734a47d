// Programming the trigger input and the trigger outputs through the link.
#pragma once

#include <cstdint>

#include "camera/CameraModeTypes.h"

class CCameraFX3;

namespace orq {

/// Programs the trigger input for `mode`; nothing when there is no such mode. `triggerInNormalMode` keeps the
/// trigger unit on in mode 0. False when the link refused a part; the others are programmed all the same.
bool ProgramTriggerInput(CCameraFX3& link, CAM_MODE mode, bool triggerInNormalMode);

/// A pulse on a trigger output.
struct TriggerPulse {
  bool high = true;           ///< active high
  std::int32_t delayUs = 0;   ///< from the start of the exposure; the device takes its bits for an unsigned number
  std::int32_t lengthUs = 0;  ///< 0 or less: output off
};

/// Programs output `pin`. What the link answers is not examined.
void ProgramTriggerOutput(CCameraFX3& link, Trig_Output_Pin pin, const TriggerPulse& pulse);

}  // namespace orq
