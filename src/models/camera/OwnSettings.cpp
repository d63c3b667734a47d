#include "models/camera/OwnSettings.h"

#include <array>
#include <cstring>
#include <string>

#include "settings/StoredSettings.h"
#include "settings/XmlStore.h"

namespace orq {
namespace {

struct OwnSetting {
  ORQ_CONTROL_TYPE control;
  const char* key;
};
constexpr OwnSetting kOwnSettings[] = {
    {ORQ_GAMMA, "Gamma"}, {ORQ_MONO_BIN, "MonoBin"}, {ORQ_READOUT_MODE, kReadoutModeName}};

bool Has(const CModelCamera& camera, const OwnSetting& setting) {
  if (setting.control == ORQ_READOUT_MODE) return !camera.Model().sensor->Modes().empty();
  return setting.control != ORQ_MONO_BIN || camera.bIsColor != 0;
}

std::string PathOf(const CModelCamera& camera) {
  return kSettingsKeyPrefix + camera.settingsName;
}

using Bytes = std::array<unsigned char, sizeof(std::int32_t)>;

}  // namespace

void LoadOwnSettings(CModelCamera& camera) {
  xmlHandle key{};
  if (XMLOpenKey(SettingsFileIn(camera.settingsFolder).c_str(), PathOf(camera).c_str(), &key) == 0) return;
  for (const OwnSetting& setting : kOwnSettings) {
    if (!Has(camera, setting)) continue;
    Bytes bytes{};
    int type = 0;
    int length = sizeof bytes;
    if (XMLQueryValueEx(key, setting.key, nullptr, &type, bytes.data(), &length) == 0) continue;
    std::int32_t value = 0;
    std::memcpy(&value, bytes.data(), sizeof value);
    if (type == kXmlInteger) camera.SetControlValue(setting.control, value, false);
  }
  XMLCloseKey(&key);
}

void KeepOwnSettings(CModelCamera& camera) {
  xmlHandle key{};
  if (XMLCreateKey(SettingsFileIn(camera.settingsFolder).c_str(), PathOf(camera).c_str(), &key, nullptr) == 0)
    return;
  for (const OwnSetting& setting : kOwnSettings) {
    long value = 0;
    if (!Has(camera, setting) || camera.GetControlValue(setting.control, &value, nullptr) != CTRL_OK) continue;
    const auto number = static_cast<std::int32_t>(value);
    Bytes bytes{};
    std::memcpy(bytes.data(), &number, sizeof number);
    XMLSetValueEx(key, setting.key, nullptr, kXmlInteger, bytes.data(), sizeof number);
  }
  XMLCloseKey(&key);
}

}  // namespace orq
