// Flash memory and the focus motor.
#include <algorithm>
#include <span>

#include "api/Handles.h"
#include "api/Structs.h"
#include "session/camera/CameraFlash.h"
#include "support/Hex.h"

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

}  // namespace

orq_status orq_flash_save(orq_camera* camera, const char* path, int32_t overwrite, orq_flash_callback callback,
                          void* user) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    session::SaveFlash(*opened, DemandText(path, "path"), overwrite != 0, TellerOf(callback, user));
  });
}

orq_status orq_flash_restore(orq_camera* camera, const char* path, int32_t other_camera, const char* backup_folder,
                             orq_flash_callback callback, void* user) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    session::RestoreFlash(*opened, DemandText(path, "path"), other_camera != 0,
                          SafetyOf(backup_folder, callback, user));
  });
}

orq_status orq_flash_get_backup(orq_camera* camera, orq_path* path) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(path, "path");
    GivePath(opened->LastBackup(), path);
  });
}

orq_status orq_flash_read_file(orq_camera* camera, const char* path, orq_flash_file* file) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(file, "file");
    const session::FlashFile read = session::ReadFlashFile(*opened, DemandText(path, "path"));
    orq_flash_file given{};
    given.bytes = static_cast<uint32_t>(read.image.bytes.size());
    given.is_of_camera = read.isOfCamera ? 1 : 0;
    given.usb_product_id = read.image.productId;
    const std::span<const std::uint8_t> serial(read.image.serial.id);
    if (std::ranges::any_of(
            serial, [](std::uint8_t byte) { return byte != 0; }))
      CopyText(Hex(serial), given.serial);
    GiveStruct(given, file);
  });
}

orq_status orq_flash_compare(orq_camera* camera, const char* path, orq_flash_callback callback, void* user,
                             orq_flash_comparison* comparison) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(comparison, "comparison");
    const std::string difference =
        session::FlashDifference(*opened, DemandText(path, "path"), TellerOf(callback, user));
    orq_flash_comparison given{};
    given.same = difference.empty() ? 1 : 0;
    CopyText(difference, given.difference);
    GiveStruct(given, comparison);
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
