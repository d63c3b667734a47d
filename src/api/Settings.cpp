// What is kept from one run to the next.
#include <memory>
#include <optional>
#include <variant>

#include "api/Handles.h"
#include "api/Structs.h"
#include "session/camera/CameraSettings.h"
#include "session/settings/KeptSettings.h"

using namespace orq;       // NOLINT(google-build-using-namespace): the functions of the interface are global
using namespace orq::api;  // NOLINT(google-build-using-namespace)

namespace {

orq_setting SettingOf(const session::KeptSetting& kept) {
  orq_setting setting{};
  CopyText(kept.owner, setting.owner);
  CopyText(kept.name, setting.name);
  CopyText(kept.unit, setting.unit);
  if (const auto* const text = std::get_if<std::string>(&kept.value)) {
    setting.is_text = 1;
    CopyText(*text, setting.text);
  } else {
    setting.number = std::get<std::int64_t>(kept.value);
  }
  return setting;
}

}  // namespace

orq_status orq_settings_keep(orq_camera* camera) {
  return Guarded([&] { session::KeepSettings(*CameraOf(camera)); });
}

orq_status orq_settings_path(orq_path* path) {
  return Guarded([&] {
    DemandStruct(path, "path");
    GivePath(session::SettingsPath(), path);
  });
}

orq_status orq_settings_get_owner(const char* camera_name, orq_settings_owner* owner) {
  return Guarded([&] {
    DemandStruct(owner, "owner");
    orq_settings_owner given{};
    CopyText(session::SettingsOwner(camera_name == nullptr ? "" : camera_name), given.name);
    GiveStruct(given, owner);
  });
}

orq_status orq_settings_list(orq_setting_list** list) {
  return Guarded([&] {
    orq_setting_list*& result = DemandResult(list, "list");
    auto made = std::make_unique<orq_setting_list>();
    made->settings = session::KeptSettings();
    result = made.release();
  });
}

orq_status orq_setting_list_count(const orq_setting_list* list, int32_t* count) {
  return Guarded(
      [&] { DemandResult(count, "count") = static_cast<int32_t>(Demand(list, "list").settings.size()); });
}

orq_status orq_setting_list_get(const orq_setting_list* list, int32_t index, orq_setting* setting) {
  return Guarded([&] {
    const auto& settings = Demand(list, "list").settings;
    DemandStruct(setting, "setting");
    if (index < 0 || static_cast<std::size_t>(index) >= settings.size())
      throw session::Failure(session::Status::Range,
                             "the list has " + std::to_string(settings.size()) + " settings, counted from 0");
    GiveStruct(SettingOf(settings[static_cast<std::size_t>(index)]), setting);
  });
}

void orq_setting_list_release(orq_setting_list* list) {
  Guarded([&] {
    if (list == nullptr) return;
    Demand(list, "list").mark = 0;
    delete list;
  });
}

orq_status orq_settings_forget(const char* owner) {
  return Guarded(
      [&] { session::ForgetSettings(owner == nullptr ? std::nullopt : std::optional<std::string>(owner)); });
}
