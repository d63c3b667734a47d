// Single exposures.
#pragma once

#include <optional>

#include "camera/Device.h"

namespace orq::cli {

/// One exposure as the controls say, and its frame; nothing when the user asked to stop. Throws Error.
std::optional<orq::Frame> Expose(Device& camera);

}  // namespace orq::cli
