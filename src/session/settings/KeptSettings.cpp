#include "session/settings/KeptSettings.h"

#include <cstring>

#include "session/Failure.h"
#include "session/camera/OpenTrouble.h"
#include "settings/StoredSettings.h"
#include "settings/XmlStore.h"

namespace orq::session {

namespace {

constexpr std::string_view kAllOwners = "software";
constexpr std::string_view kOwnerPrefix = kSettingsKeyPrefix;

struct SettingUnit {
  std::string_view name;
  const char* unit;
};
constexpr SettingUnit kUnits[] = {{"Exposure", "us"},     {"FPSPercentageUSB3", "%"}, {"FPSPercentageUSB2", "%"},
                                  {"CoolPowerPctg", "%"}, {"TargetTemp", "C"},        {"OverCLKPerc", "%"},
                                  {"AutoExpMaxMs", "ms"}, {"AutoExpMax", "s"}};

std::string UnitOf(std::string_view name) {
  for (const SettingUnit& unit : kUnits)
    if (unit.name == name) return unit.unit;
  return "";
}

std::variant<std::int64_t, std::string> ValueOf(const XmlValue& stored) {
  std::int32_t number = 0;
  if (stored.type == kXmlInteger && stored.data.size() == sizeof number) {
    std::memcpy(&number, stored.data.data(), sizeof number);
    return number;
  }
  if (stored.data.size() == 1) return std::int64_t{stored.data[0]};
  return std::string(stored.data.begin(), stored.data.end());
}

}  // namespace

std::string SettingsPath() {
  if (UserConfigDirectory().empty())
    throw Failure(Status::File, "there is no place for settings: set HOME or XDG_CONFIG_HOME");
  return SettingsFileIn(UserConfigDirectory());
}

std::vector<KeptSetting> KeptSettings() {
  std::string trouble;
  const std::vector<XmlKey> keys = ListXmlKeys(SettingsPath(), trouble);
  if (!trouble.empty()) throw Failure(Status::File, trouble);
  std::vector<KeptSetting> kept;
  for (const XmlKey& key : keys) {
    if (!key.path.starts_with(kOwnerPrefix)) continue;
    for (const auto& [name, value] : key.values)
      kept.push_back({key.path.substr(kOwnerPrefix.size()), name, ValueOf(value), UnitOf(name)});
  }
  return kept;
}

void ForgetSettings(const std::optional<std::string>& owner) {
  const std::string key(owner ? std::string(kOwnerPrefix) + *owner : std::string(kAllOwners));
  std::string trouble;
  if (!RemoveXmlKey(SettingsPath(), key, trouble)) throw Failure(Status::File, trouble);
}

std::string SettingsOwner(std::string_view cameraName) {
  return FindCamera(cameraName, SettingsUse::Off).camera->settingsName;
}

}  // namespace orq::session
