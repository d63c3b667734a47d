#include "session/CameraList.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <optional>

#include "link/WireProtocol.h"
#include "link/usb/LibusbPort.h"
#include "support/Hex.h"
#include "virtual/bus/VirtualBus.h"
#include "virtual/bus/VirtualCamera.h"
#include "virtual/bus/VirtualPort.h"
#include "virtual/sensor/FrameSource.h"

namespace orq {
namespace {

constexpr std::string_view kSerialPrefix = "serial:";
constexpr std::size_t kSerialDigits = 16;
constexpr std::string_view kIdPrefix = "id:";
constexpr std::string_view kVirtualPrefix = "virtual:";
constexpr const char* kNameForms = "a camera is named by its index (0), serial:HEX, id:TEXT or virtual:MODEL";

/// A camera object for a look at what is connected: no image buffers, no sensor.
class CameraProbe final : public CCameraBase {
 public:
  CameraProbe(const UsbDeviceEntry& device, std::shared_ptr<UsbPort> port) {
    iVID = device.vendorId;
    iPID = device.productId;
    UsePort(std::move(port));
  }
  ~CameraProbe() override { CloseCamera(); }

  int ReservedModelOp1() override { return 0; }
  int ReservedModelOp2() override { return 0; }
  int ReservedModelOp3() override { return 0; }
  bool SetGain(int, bool) override { return false; }
  bool SetWB(int, int, bool) override { return false; }
  bool SetExp(unsigned long long, bool) override { return false; }
  int GetImageData(unsigned char*, int, int) override { return 0; }
};

bool EqualAnyCase(std::string_view a, std::string_view b) {
  return std::ranges::equal(
      a, b, [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

const char* SpeedName(UsbSpeed speed) {
  return speed == UsbSpeed::Super || speed == UsbSpeed::SuperPlus ? "USB 3" : "USB 2";
}

NamedCamera Trouble(NameTrouble trouble, std::string error) {
  NamedCamera named;
  named.trouble = trouble;
  named.error = std::move(error);
  return named;
}

NamedCamera MakeConnected(const UsbDeviceEntry& device, const PortMaker& makePort,
                          const SettingsChoice& settings) {
  NamedCamera named;
  named.camera = std::make_unique<CModelCamera>(*FindModel(device.productId), settings);
  named.camera->UsePort(makePort());
  named.openIndex = device.index;
  named.makePort = makePort;
  return named;
}

NamedCamera BadName(std::string_view name) {
  return Trouble(NameTrouble::BadName, "\"" + std::string(name) + "\" names no camera: " + kNameForms);
}

// `text` as it could be a serial number, or why not.
std::optional<std::string> SerialTrouble(std::string_view text) {
  const bool hex = std::ranges::all_of(text, [](unsigned char c) { return std::isxdigit(c) != 0; });
  if (hex && text.size() == kSerialDigits) return std::nullopt;
  return "\"" + std::string(text) + "\" is no serial number: one has " + std::to_string(kSerialDigits) +
         " hexadecimal digits, as the list of cameras shows it" +
         (hex ? ", not " + std::to_string(text.size()) : std::string());
}

NamedCamera NoneConnected() {
  return Trouble(NameTrouble::NoSuchCamera,
                 "no camera is connected; plug one in, or try a virtual one with virtual:k1c");
}

NamedCamera MakeByIndex(std::string_view name, const PortMaker& makePort, const SettingsChoice& settings) {
  std::size_t index = 0;
  const auto [end, result] = std::from_chars(name.data(), name.data() + name.size(), index);
  if (result != std::errc{} || end != name.data() + name.size()) return BadName(name);
  const auto devices = ConnectedCameras(makePort);
  if (index < devices.size()) return MakeConnected(devices[index], makePort, settings);
  if (devices.empty()) return NoneConnected();
  return Trouble(NameTrouble::NoSuchCamera, "there is no camera " + std::string(name) + "; connected: 0 to " +
                                                std::to_string(devices.size() - 1));
}

/// How `text` of a listing is written as a name.
std::string Listed(std::string_view prefix, const std::vector<std::string>& texts) {
  std::string list;
  for (const std::string& text : texts)
    if (!text.empty()) list += (list.empty() ? "" : ", ") + std::string(prefix) + text;
  return list.empty() ? "none that can be read" : list;
}

/// Looks for the first camera whose `fact` fits.
template <class Fits>
NamedCamera MakeByFact(std::string_view prefix, std::string_view wanted, std::string CameraEntry::*fact, Fits fits,
                       const PortMaker& makePort, const SettingsChoice& settings) {
  if (wanted.empty()) return BadName(prefix);
  const auto devices = ConnectedCameras(makePort);
  if (devices.empty()) return NoneConnected();
  std::vector<std::string> seen;
  std::string trouble;
  for (std::size_t i = 0; i < devices.size(); ++i) {
    const CameraEntry entry = Describe(devices[i], static_cast<int>(i), makePort);
    if (fits(entry.*fact, wanted)) return MakeConnected(devices[i], makePort, settings);
    seen.push_back(entry.*fact);
    if (!entry.trouble.empty()) trouble += "; camera " + std::to_string(i) + ": " + entry.trouble;
  }
  return Trouble(NameTrouble::NoSuchCamera, "no connected camera is " + std::string(prefix) + std::string(wanted) +
                                                "; connected: " + Listed(prefix, seen) + trouble);
}

std::string VirtualNames() {
  std::string list;
  for (const VirtualModelName& model : VirtualModels())
    list += (list.empty() ? "" : ", ") + std::string(kVirtualPrefix) + model.name;
  return list;
}

/// The row of the model, with what the frames to be replayed decide.
std::optional<ModelData> VirtualModelData(const VirtualOptions& options, RecordedFacts& recorded,
                                          std::string& error) {
  const ModelData* row = FindModel(options.model);
  if (row == nullptr) {
    error = "there is no virtual model " + options.model + "; choose one of " + VirtualNames();
    return std::nullopt;
  }
  ModelData model = *row;
  model.timeScale = options.timeScale;
  model.isVirtual = true;
  if (model.maxWidth != 0) return model;
  const auto source = MakeFrameSource(options, error);
  if (!source) return std::nullopt;
  recorded = source->Recorded();
  model.maxWidth = source->Width();
  model.maxHeight = source->Height();
  model.adcBits = source->AdcBits();
  model.lineTimeNs = static_cast<std::uint32_t>(source->LineTimeNs());
  model.colour = source->BayerPattern() >= 0;
  model.bayerPattern = std::max(source->BayerPattern(), 0);
  model.formats = {true, model.colour, true, model.colour};
  return model;
}

NamedCamera MakeVirtual(std::string_view text, const SettingsChoice& settings) {
  std::string error;
  const auto options = ParseVirtualOptions(text, error);
  if (!options) return Trouble(NameTrouble::BadName, error);
  NamedCamera named;
  const auto model = VirtualModelData(*options, named.recorded, error);
  if (!model) return Trouble(NameTrouble::NoSuchCamera, error);

  named.device = VirtualCamera::Make(*options, error);
  if (!named.device) return Trouble(NameTrouble::NoSuchCamera, error);
  named.bus = std::make_shared<VirtualBus>();
  named.bus->Attach(named.device);
  named.makePort = [bus = named.bus] { return MakeVirtualPort(bus); };
  named.camera = std::make_unique<CModelCamera>(*model, settings);
  named.camera->UsePort(named.makePort());
  return named;
}

}  // namespace

std::vector<UsbDeviceEntry> ConnectedCameras(const PortMaker& makePort) {
  std::vector<UsbDeviceEntry> devices = makePort()->List(wire::kVendorId);
  std::erase_if(devices, [](const UsbDeviceEntry& device) {
    const ModelData* model = FindModel(device.productId);
    return model == nullptr || model->maxWidth == 0;  // recordings are not plugged in
  });
  return devices;
}

CameraEntry Describe(const UsbDeviceEntry& device, int index, const PortMaker& makePort) {
  CameraEntry entry;
  entry.index = index;
  entry.model = FindModel(device.productId)->name;
  entry.productId = device.productId;
  entry.speed = SpeedName(device.speed);
  CameraProbe probe(device, makePort());
  if (probe.OpenCamera(device.index) == 0) {
    entry.trouble = probe.LinkError();
    if (entry.trouble.empty()) entry.trouble = "the camera does not answer";
    return entry;
  }
  _ORQ_ID id{};
  if (probe.GetSerialNumber(&id)) entry.serial = Hex(id.id);
  if (probe.GetIDFromSPI(&id)) entry.userId = IdText(id);
  return entry;
}

std::string IdText(const _ORQ_ID& id) {
  std::string text(id.id, id.id + sizeof(id.id));
  text.resize(text.find_last_not_of('\0') + 1);
  std::ranges::replace_if(
      text, [](unsigned char c) { return std::isprint(c) == 0; }, '?');
  return text;
}

std::string NameOf(const CameraEntry& entry) {
  return entry.serial.empty() ? std::to_string(entry.index) : std::string(kSerialPrefix) + entry.serial;
}

std::vector<CameraEntry> ListCameras() {
  return ListCameras(MakeLibusbPort);
}

std::vector<CameraEntry> ListCameras(const PortMaker& makePort) {
  const auto devices = ConnectedCameras(makePort);
  std::vector<CameraEntry> entries;
  for (std::size_t i = 0; i < devices.size(); ++i)
    entries.push_back(Describe(devices[i], static_cast<int>(i), makePort));
  return entries;
}

NamedCamera MakeCamera(std::string_view name, const SettingsChoice& settings) {
  return MakeCamera(name, MakeLibusbPort, settings);
}

NamedCamera MakeCamera(std::string_view name, const PortMaker& makePort, const SettingsChoice& settings) {
  if (name.starts_with(kVirtualPrefix)) return MakeVirtual(name.substr(kVirtualPrefix.size()), settings);
  if (name.starts_with(kSerialPrefix)) {
    const std::string_view serial = name.substr(kSerialPrefix.size());
    if (const auto trouble = SerialTrouble(serial)) return Trouble(NameTrouble::BadName, *trouble);
    return MakeByFact(kSerialPrefix, serial, &CameraEntry::serial, EqualAnyCase, makePort, settings);
  }
  if (name.starts_with(kIdPrefix)) {
    return MakeByFact(kIdPrefix, name.substr(kIdPrefix.size()), &CameraEntry::userId,
                      std::equal_to<std::string_view>(), makePort, settings);
  }
  return MakeByIndex(name, makePort, settings);
}

std::optional<int> FindAgain(const NamedCamera& named, std::string_view serial) {
  int index = 0;
  for (const UsbDeviceEntry& device : named.makePort()->List(wire::kVendorId)) {
    if (device.productId != static_cast<std::uint16_t>(named.camera->iPID)) continue;
    const CameraEntry entry = Describe(device, index++, named.makePort);
    if (entry.trouble.empty() && (serial.empty() || entry.serial == serial)) return device.index;
  }
  return std::nullopt;
}

NamedCamera MakeOnlyCamera(const SettingsChoice& settings) {
  return MakeOnlyCamera(MakeLibusbPort, settings);
}

NamedCamera MakeOnlyCamera(const PortMaker& makePort, const SettingsChoice& settings) {
  const auto devices = ConnectedCameras(makePort);
  if (devices.empty()) return NoneConnected();
  if (devices.size() == 1) return MakeConnected(devices.front(), makePort, settings);
  std::string names;
  for (const CameraEntry& entry : ListCameras(makePort)) {
    names += (names.empty() ? "" : ", ") + std::to_string(entry.index) + " (" + entry.model +
             (entry.serial.empty() ? "" : ", serial:" + entry.serial) + ")";
  }
  return Trouble(NameTrouble::BadName,
                 std::to_string(devices.size()) + " cameras are connected; name one of them: " + names);
}

}  // namespace orq
