// Darks as the C interface tells of them.
#pragma once

#include <functional>

#include "orqcam/orqcam.h"
#include "session/darks/DarkDescription.h"

namespace orq::api {

/// How a dark was taken, and what it shows.
orq_dark_info InfoOf(const session::DarkDescription& description);
/// Tells `callback`, which may be null, of progress.
std::function<void(const DarkProgress&)> TellerOf(orq_dark_callback callback, void* user);

}  // namespace orq::api
