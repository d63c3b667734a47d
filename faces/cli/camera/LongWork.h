// Calls of the library that take long.
#pragma once

#include <functional>

#include "camera/Device.h"

namespace orq::cli {

/// Runs `work`, which blocks, on a thread of its own, and aborts it when the user asks to stop; `look` is called
/// again and again meanwhile, and may be empty. Throws what `work` throws.
void RunAbortably(Device& camera, const std::function<void()>& work, const std::function<void()>& look = {});

}  // namespace orq::cli
