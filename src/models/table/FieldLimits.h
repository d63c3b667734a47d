// What a camera's public fields may hold before they reach its hardware.
#pragma once

class CCameraBase;

namespace orq {

/// Brings the fields that the settings file sets within the limits of the control catalogue, and its flags to 0 or
/// 1; switches off what the model does not have. Before the camera is opened.
void LimitFields(CCameraBase& camera);

}  // namespace orq
