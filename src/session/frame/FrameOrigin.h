// What goes with every frame of a camera, and what both together say about one frame.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "models/camera/FramePool.h"
#include "session/darks/DarkDescription.h"
#include "session/frame/FrameFacts.h"

namespace orq::session {

/// Of a camera at one time; never changed once frames have it.
struct FrameOrigin {
  FileContext context;
  CorrectionFacts dark;                              ///< file and description of the dark in use; empty: none
  std::optional<DarkDescription> darkDescription{};  ///< of it, where that is known
  std::string darkTrouble{};                         ///< why it is not
};

/// Everything about a frame whose `Origin` is a FrameOrigin, or null. Its number is that of frames that were
/// published. Of the computer's clock it says what the kernel says now, which changes slowly.
FrameFacts FactsOf(const SharedFrame& frame);

}  // namespace orq::session
