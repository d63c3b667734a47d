// Flash memory and the focus motor.
#include "api/Handles.h"
#include "api/Structs.h"
#include "session/camera/CameraFlash.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

session::FlashTeller TellerOf(orq_flash_callback callback, void* user) {
  if (callback == nullptr) return {};
  return [callback, user](const FlashProgress& at) {
    orq_flash_progress progress{};
    progress.size = sizeof progress;
    progress.done = at.done;
    progress.total = at.total;
    CopyText(at.step, progress.step);
    callback(user, &progress);
  };
}

session::FlashSafety SafetyOf(const char* folder, orq_flash_callback callback, void* user) {
  return {folder == nullptr ? "" : folder, TellerOf(callback, user)};
}

const char* DemandText(const char* text, const char* name) {
  if (text == nullptr) throw session::Failure(session::Status::Invalid, std::string(name) + " is null");
  return text;
}

}  // namespace

orq_status orq_flash_save(orq_camera* camera, const char* path, int32_t overwrite, orq_flash_callback callback,
                          void* user) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    session::SaveFlash(*opened, DemandText(path, "path"), overwrite != 0, TellerOf(callback, user));
  });
}

orq_status orq_flash_restore(orq_camera* camera, const char* path, const char* backup_folder,
                             orq_flash_callback callback, void* user) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    session::RestoreFlash(*opened, DemandText(path, "path"), SafetyOf(backup_folder, callback, user));
  });
}

orq_status orq_user_id_get(orq_camera* camera, orq_user_id* id) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(id, "id");
    orq_user_id given{};
    CopyText(session::UserId(*opened), given.id);
    GiveStruct(given, id);
  });
}

orq_status orq_user_id_set(orq_camera* camera, const char* id, const char* backup_folder,
                           orq_flash_callback callback, void* user) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    session::StoreUserId(*opened, DemandText(id, "id"), SafetyOf(backup_folder, callback, user));
  });
}

orq_status orq_hot_pixels_save(orq_camera* camera, const char* backup_folder, orq_flash_callback callback,
                               void* user) {
  return Guarded([&] { session::StoreHotPixels(*CameraOf(camera), SafetyOf(backup_folder, callback, user)); });
}

orq_status orq_focus_get(orq_camera* camera, orq_focus_state* state) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(state, "state");
    const session::FocusState now = session::Focus(*opened);
    GiveStruct({sizeof *state, now.position, now.moving ? 1 : 0, now.lowerMark.value_or(-1),
                now.upperMark.value_or(-1), now.driverId},
               state);
  });
}

orq_status orq_focus_move(orq_camera* camera, int32_t position) {
  return Guarded([&] { session::MoveFocus(*CameraOf(camera), position); });
}
