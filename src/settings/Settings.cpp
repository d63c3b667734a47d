// The camera's settings: kept in a file from one run to the next.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <span>

#include "camera/CameraBase.h"
#include "settings/StoredSettings.h"
#include "settings/XmlStore.h"
#include "support/DbgPrint.h"

namespace {

constexpr std::size_t kSubKeyBytes = 256;
constexpr int kBmpPathBytes = 255;

/// The key of a setting and the field that it is loaded into; all but one are saved from it, too.
struct Number {
  const char* key;
  orq::Relaxed<std::int32_t> CCameraBase::*field;
};
struct Byte {
  const char* key;
  orq::Relaxed<std::uint8_t> CCameraBase::*field;
};

constexpr const char* kExposure = "Exposure";
constexpr Number kGain{"Gain", &CCameraBase::gain};
constexpr Number kBrightness{"Brightness", &CCameraBase::Brightness};
constexpr Number kFclk{"Fclk", &CCameraBase::Fclk};
constexpr Number kUsb3Bandwidth{"FPSPercentageUSB3", &CCameraBase::usb3Bandwidth};  // saved from bandwidthPerc
constexpr Number kUsb2Bandwidth{"FPSPercentageUSB2", &CCameraBase::bandwidthPerc};
constexpr const char* kCoolPower = "CoolPowerPctg";
constexpr Number kTargetTemp{"TargetTemp", &CCameraBase::TargetTemp};
constexpr Number kOverClock{"OverCLKPerc", &CCameraBase::OverCLKPerc};
constexpr Number kPattern{"Pattern", &CCameraBase::Pattern};
constexpr Byte kLogLevel{"LibusbLogLever", &CCameraBase::LibusbLogLever};
constexpr Byte kAutoBL{"AutoBL", &CCameraBase::AutoBL};
constexpr Byte kOO{"OO", &CCameraBase::OO};
constexpr Byte kEE{"EE", &CCameraBase::EE};
constexpr Byte kOE{"OE", &CCameraBase::OE};
constexpr Byte kEO{"EO", &CCameraBase::EO};
constexpr Byte kDebugPrint{"DebugPrint", &CCameraBase::DebugPrint};
constexpr Number kAutoGainMax{"AutoGainMax", &CCameraBase::AutoGainMax};
constexpr Number kAutoExpMaxMs{"AutoExpMaxMs", &CCameraBase::AutoExpMaxMs};
constexpr Number kAutoExpMaxSeconds{"AutoExpMax", &CCameraBase::AutoExpMaxMs};  // an older key, in seconds
constexpr Number kDestBrightness{"DestBrightness", &CCameraBase::DestBrightness};
constexpr Byte kFlipRow{"FlipRow", &CCameraBase::FlipRow};
constexpr Byte kFlipColumn{"FlipColumn", &CCameraBase::FlipColumn};
constexpr Number kRed{"WB_Red", &CCameraBase::WB_Red};
constexpr Number kBlue{"WB_Blue", &CCameraBase::WB_Blue};
constexpr Byte kAutoExp{"AutoExp", &CCameraBase::AutoExp};
constexpr Byte kAutoGain{"AutoGain", &CCameraBase::AutoGain};
constexpr Byte kAutoFPS{"AutoFPS", &CCameraBase::AutoFPS};
constexpr Byte kRawOutput{"RawOutput", &CCameraBase::RawOutput};
constexpr Byte kHighSpeed{"HighSpeed", &CCameraBase::HighSpeed};
constexpr Byte kAutoWB{"AutoWB", &CCameraBase::autoWB};
constexpr Byte kHPC{"HPC", &CCameraBase::HPC};
constexpr Byte kHardwareBin{"HardwareBin", &CCameraBase::HardwareBin};
constexpr Byte kCutDark{"CutDark", &CCameraBase::CutDark};
constexpr const char* kBmpPath = "BMPPATH";

/// Cut toward zero; bounded, and 0 for what is no number.
std::int32_t Truncated(float value) {
  if (std::isnan(value)) return 0;
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(std::clamp<double>(value, Limits::min(), Limits::max()));
}

std::int32_t Thousandfold(std::int32_t value) {
  using Limits = std::numeric_limits<std::int32_t>;
  return static_cast<std::int32_t>(
      std::clamp<std::int64_t>(std::int64_t{value} * 1000, Limits::min(), Limits::max()));
}

/// Stores settings under an open key. A value that cannot be stored is nobody's trouble.
class Writer {
 public:
  Writer(const CCameraBase& camera, xmlHandle key) : camera_(camera), key_(key) {}

  void Put(const char* name, std::int32_t value) const {
    std::array<unsigned char, sizeof value> bytes{};
    std::memcpy(bytes.data(), &value, sizeof value);
    XMLSetValueEx(key_, name, nullptr, orq::kXmlInteger, bytes.data(), sizeof value);
  }
  void Put(const Number& number) const { Put(number.key, camera_.*number.field); }
  void Put(const Byte& byte) const {
    const std::uint8_t value = camera_.*byte.field;
    XMLSetValueEx(key_, byte.key, nullptr, orq::kXmlBytes, &value, sizeof value);
  }
  void Put(const char* name, std::span<const char> text) const {
    const std::size_t length = strnlen(text.data(), text.size());
    XMLSetValueEx(key_, name, nullptr, orq::kXmlBytes, reinterpret_cast<const unsigned char*>(text.data()),
                  static_cast<int>(length));
  }

 private:
  const CCameraBase& camera_;
  xmlHandle key_;
};

/// Reads settings from an open key. One length serves all queries, as the caller sets it or as the value found
/// last had it: a value that is too short limits the next one. No query writes beyond its field.
class Reader {
 public:
  Reader(CCameraBase& camera, xmlHandle key) : camera_(camera), key_(key) {}

  int length = 0;

  /// True when the value is there.
  bool Get(const char* name, std::span<unsigned char> field) {
    const int room = std::min(length, static_cast<int>(field.size()));
    int type = 0;
    int stored = room;
    if (XMLQueryValueEx(key_, name, nullptr, &type, field.data(), &stored) == 0) return false;
    length = stored;
    return true;
  }
  /// A value that is shorter than its field replaces the field's first bytes.
  template <class T>
  bool Get(const char* name, orq::Relaxed<T>& field) {
    T value = field;
    std::array<unsigned char, sizeof(T)> bytes{};
    std::memcpy(bytes.data(), &value, sizeof value);
    if (!Get(name, std::span(bytes))) return false;
    std::memcpy(&value, bytes.data(), sizeof value);
    field = value;
    return true;
  }
  bool Get(const Number& number) { return Get(number.key, camera_.*number.field); }
  bool Get(const Byte& byte) { return Get(byte.key, camera_.*byte.field); }

 private:
  CCameraBase& camera_;
  xmlHandle key_;
};

void LoadExposure(CCameraBase& camera, Reader& in) {
  in.length = 8;
  in.Get(kExposure, camera.exposureUs);
  if (camera.exposureUs > orq::kLongestLoadedExposureUs) camera.exposureUs = orq::kLongestLoadedExposureUs;
}

void LoadNumbers(CCameraBase& camera, Reader& in) {
  for (const Number& number : {kGain, kBrightness, kFclk, kUsb3Bandwidth, kUsb2Bandwidth}) in.Get(number);
  orq::Relaxed<std::int32_t> coolPower{0};  // without the key the power is 0, not what it was
  in.Get(kCoolPower, coolPower);
  camera.coolPowerPerc = static_cast<float>(coolPower);
  for (const Number& number : {kTargetTemp, kOverClock, kPattern, kAutoGainMax, kDestBrightness, kRed, kBlue})
    in.Get(number);
  if (!in.Get(kAutoExpMaxMs) && in.Get(kAutoExpMaxSeconds))
    camera.AutoExpMaxMs = Thousandfold(camera.AutoExpMaxMs);
}

void LoadBytes(Reader& in) {
  in.length = 1;
  in.Get(kLogLevel);
  in.length = 1;
  for (const Byte& byte : {kAutoBL, kOO, kEE, kOE, kEO, kFlipRow, kFlipColumn, kAutoFPS, kAutoExp, kAutoGain,
                           kAutoWB, kRawOutput, kHighSpeed, kHPC, kHardwareBin, kCutDark, kDebugPrint})
    in.Get(byte);
}

/// The file holds the text without its end.
void LoadBmpPath(CCameraBase& camera, Reader& in) {
  std::array<unsigned char, kBmpPathBytes> path{};
  in.length = kBmpPathBytes;
  if (!in.Get(kBmpPath, path)) return;
  camera.BMPPATH.fill('\0');
  std::memcpy(camera.BMPPATH.data(), path.data(), path.size());
}

}  // namespace

void CCameraBase::InitSubKey() {
  if (subKeyPath) return;
  subKeyPath = std::make_unique<char[]>(kSubKeyBytes);
  std::snprintf(subKeyPath.get(), kSubKeyBytes, "%s%s", orq::kSettingsKeyPrefix, settingsName.c_str());
}

int CCameraBase::SaveSetting() {
  InitSubKey();
  xmlHandle key{};
  const std::string file = orq::SettingsFileIn(settingsFolder);
  if (XMLOpenKey(file.c_str(), subKeyPath.get(), &key) == 0 &&
      XMLCreateKey(file.c_str(), subKeyPath.get(), &key, nullptr) == 0)
    return 0;
  const Writer out(*this, key);
  out.Put(kExposure, static_cast<std::int32_t>(static_cast<std::uint32_t>(exposureUs.Load())));
  for (const Number& number : {kGain, kBrightness, kFclk}) out.Put(number);
  out.Put(usb3Host != 0 ? kUsb3Bandwidth.key : kUsb2Bandwidth.key, bandwidthPerc);
  out.Put(kCoolPower, Truncated(coolPowerPerc));
  for (const Number& number : {kTargetTemp, kOverClock, kPattern}) out.Put(number);
  for (const Byte& byte : {kLogLevel, kAutoBL, kOO, kEE, kOE, kEO, kDebugPrint}) out.Put(byte);
  for (const Number& number : {kAutoGainMax, kAutoExpMaxMs, kDestBrightness}) out.Put(number);
  for (const Byte& byte : {kFlipRow, kFlipColumn}) out.Put(byte);
  for (const Number& number : {kRed, kBlue}) out.Put(number);
  for (const Byte& byte :
       {kAutoExp, kAutoGain, kAutoFPS, kRawOutput, kHighSpeed, kAutoWB, kHPC, kHardwareBin, kCutDark})
    out.Put(byte);
  out.Put(kBmpPath, std::span(BMPPATH));
  XMLCloseKey(&key);
  DbgPrint(-1, "SaveSetting", "save REG\n");
  return 1;
}

int CCameraBase::LoadSetting() {
  InitSubKey();
  xmlHandle key{};
  if (XMLOpenKey(orq::SettingsFileIn(settingsFolder).c_str(), subKeyPath.get(), &key) != 0) {
    Reader in(*this, key);
    LoadExposure(*this, in);
    LoadNumbers(*this, in);
    LoadBytes(in);
    if (!g_bDebugPrint) g_bDebugPrint = DebugPrint != 0;
    LoadBmpPath(*this, in);
    XMLCloseKey(&key);
    DbgPrint(-1, "LoadSetting", "LoadSetting\n");
  }
  if (CutDark != 0) {
    iWidth = iMaxWidth;
    iHeight = iMaxHeight;
    iBin = 1;
    LoadBMPFromFile(BMPPATH.data());
  }
  return 1;
}
