// What a program is told without asking.
#include "api/Handles.h"
#include "api/Structs.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

orq_status orq_camera_event_fd(orq_camera* camera, int32_t* fd) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandResult(fd, "fd") = opened->Events().Descriptor();
  });
}

orq_status orq_event_next(orq_camera* camera, orq_event* event) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(event, "event");
    session::Event next;
    if (!opened->Events().Next(next)) throw session::Failure(session::Status::NotFound, "no event waits");
    orq_event given{};
    given.kind = static_cast<int32_t>(next.kind);
    CopyText(next.text, given.text);
    GiveStruct(given, event);
  });
}
