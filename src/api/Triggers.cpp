// Camera modes, software triggers and trigger outputs.
#include "session/camera/Triggers.h"

#include "api/Handles.h"
#include "api/Structs.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

orq_status orq_trigger_get_modes(orq_camera* camera, uint32_t* modes) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    uint32_t& bits = DemandResult(modes, "modes");
    uint32_t offered = 0;
    for (const CAM_MODE mode : session::TriggerModes(*opened)) offered |= 1U << mode;
    bits = offered;
  });
}

orq_status orq_trigger_get_mode(orq_camera* camera, int32_t* mode) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandResult(mode, "mode") = session::TriggerMode(*opened);
  });
}

orq_status orq_trigger_set_mode(orq_camera* camera, int32_t mode) {
  return Guarded([&] { session::SetTriggerMode(*CameraOf(camera), mode); });
}

orq_status orq_trigger_send(orq_camera* camera) {
  return Guarded([&] { session::SendTrigger(*CameraOf(camera)); });
}

orq_status orq_trigger_get_output(orq_camera* camera, int32_t output, orq_trigger_output* pulse) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(pulse, "pulse");
    const TriggerPulse now = session::TriggerOutput(*opened, output);
    GiveStruct({sizeof *pulse, now.high ? 1 : 0, now.delayUs, now.lengthUs}, pulse);
  });
}

orq_status orq_trigger_set_output(orq_camera* camera, int32_t output, const orq_trigger_output* pulse) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    const orq_trigger_output wanted = TakeStruct(pulse, "pulse");
    session::SetTriggerOutput(*opened, output, {wanted.active_high != 0, wanted.delay_us, wanted.length_us});
  });
}
