// Files of the frames of an open camera.
#pragma once

#include <cstdint>

#include "session/camera/Camera.h"
#include "session/files/FrameSaver.h"

namespace orq::session {

/// What is known of a frame before it is taken, as the camera is set now; its time is the present one.
FrameFacts ExpectedFrame(Camera& camera);

/// Throws Failure when frames 1 to `count`, taken as the camera is set now, could not be saved so; Cancelled when
/// somebody aborts.
void CheckSaving(Camera& camera, const SaveOptions& options, std::uint64_t count);

}  // namespace orq::session
