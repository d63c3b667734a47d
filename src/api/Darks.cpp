#include "api/Darks.h"

#include "api/Handles.h"
#include "api/Structs.h"
#include "session/camera/CameraControls.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace orq::api {

orq_dark_info InfoOf(const session::DarkDescription& description) {
  const DarkFacts& facts = description.facts;
  orq_dark_info info{};
  info.frames = facts.frames;
  info.exposure_us = facts.exposureUs;
  info.taken_unix_ns = facts.takenUnixUs * 1000;
  info.gain = facts.gain;
  info.offset = facts.offset;
  info.sensor_c = OrUnknown(facts.sensorC);
  info.average = static_cast<int32_t>(facts.average);
  info.hot_pixels = static_cast<int32_t>(facts.hotPixels);
  info.bad_rows = static_cast<int32_t>(facts.badRows);
  info.readout_mode = facts.readout ? facts.readout->mode : -1;
  CopyText(description.model, info.model);
  CopyText(description.serial, info.serial);
  return info;
}

std::function<void(const DarkProgress&)> TellerOf(orq_dark_callback callback, void* user) {
  if (callback == nullptr) return {};
  return [callback, user](const DarkProgress& at) {
    const orq_dark_progress progress{sizeof progress, at.frame, at.frames, 0, at.elapsedUs, at.exposureUs};
    callback(user, &progress);
  };
}

}  // namespace orq::api

namespace {

session::DarkTarget TargetOf(const char* path, bool overwrite) {
  return {path == nullptr ? std::nullopt : std::optional<std::string>(path), overwrite};
}

}  // namespace

orq_status orq_dark_take(orq_camera* camera, const char* path, const orq_dark_options* options,
                         orq_dark_callback callback, void* user, orq_dark_info* info) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    const orq_dark_options wanted = options == nullptr ? orq_dark_options{} : TakeStruct(options, "options");
    if (info != nullptr) DemandStruct(info, "info");
    const session::DarkDescription taken =
        session::TakeDark(*opened, TargetOf(path, wanted.overwrite != 0), wanted.frames, TellerOf(callback, user));
    if (info != nullptr) GiveStruct(InfoOf(taken), info);
  });
}

orq_status orq_dark_check(orq_camera* camera, const char* path, int32_t overwrite) {
  return Guarded([&] { session::CheckDarkTarget(*CameraOf(camera), TargetOf(path, overwrite != 0)); });
}

orq_status orq_dark_read(orq_camera* camera, const char* path, orq_dark_info* info) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    if (path == nullptr) throw session::Failure(session::Status::Invalid, "path is null");
    DemandStruct(info, "info");
    const session::DarkFile dark = session::ReadDark(*opened, path);
    orq_dark_info given = dark.description ? InfoOf(*dark.description) : orq_dark_info{};
    CopyText(dark.trouble, given.trouble);
    GiveStruct(given, info);
  });
}

orq_status orq_dark_copy(orq_camera* camera, const char* from, const char* to, int32_t overwrite) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    if (from == nullptr) throw session::Failure(session::Status::Invalid, "from is null");
    session::CopyDark(*opened, from, TargetOf(to, overwrite != 0));
  });
}

orq_status orq_dark_use(orq_camera* camera, const char* path) {
  return Guarded([&] {
    session::UseDark(*CameraOf(camera), path == nullptr ? std::nullopt : std::optional<std::string>(path));
  });
}

orq_status orq_dark_get_state(orq_camera* camera, orq_dark_state* state) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(state, "state");
    const session::DarkState now = session::DarkInUse(*opened);
    orq_dark_state given{};
    given.in_use = now.inUse ? 1 : 0;
    CopyText(now.trouble, given.trouble);
    CopyText(now.differences, given.differences);
    GiveStruct(given, state);
  });
}

orq_status orq_dark_choice_get(orq_camera* camera, orq_dark_choice* choice) {
  return Guarded([&] {
    const auto opened = CameraOf(camera);
    DemandStruct(choice, "choice");
    const session::DarkStore store = session::DarkStoreOf(*opened);
    orq_dark_choice given{};
    given.is_kept = store.HasKept() ? 1 : 0;
    CopyText(store.KeptPath(), given.kept);
    try {
      CopyText(store.Chosen(), given.chosen);
    } catch (const session::Failure& failure) {
      CopyText(failure.what(), given.trouble);
    }
    GiveStruct(given, choice);
  });
}

orq_status orq_dark_choice_set(orq_camera* camera, const char* path) {
  return Guarded([&] {
    const session::DarkStore store = session::DarkStoreOf(*CameraOf(camera));
    if (path == nullptr) return store.ChooseNone();
    store.Choose(path);
  });
}
