// Naming, listing and making cameras: the one place that knows every camera there is.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "models/camera/ModelCamera.h"
#include "virtual/replay/RecordedFacts.h"

namespace orq {

class VirtualBus;
class VirtualCamera;

/// Makes a port to look for cameras on; each call a new one.
using PortMaker = std::function<std::shared_ptr<UsbPort>()>;

/// One camera as a listing shows it.
struct CameraEntry {
  int index = 0;      ///< its name as a number
  std::string model;  ///< full model name
  std::uint16_t productId = 0;
  std::string serial;   ///< 16 hex digits, empty when it could not be read
  std::string userId;   ///< the id in flash as text, empty when there is none
  std::string speed;    ///< "USB 2" or "USB 3"
  std::string trouble;  ///< why it could not be opened, empty when it could
};

/// What `MakeCamera` takes for it wherever it is plugged in: its serial number, or its index when it has none.
std::string NameOf(const CameraEntry& entry);

/// The id in flash as a listing shows it: without the zeros that fill it up; bytes that no terminal should see
/// become question marks.
std::string IdText(const _ORQ_ID& id);

/// The devices that are cameras of ours, in index order.
std::vector<UsbDeviceEntry> ConnectedCameras(const PortMaker& makePort);
/// Opens one of them for a moment.
CameraEntry Describe(const UsbDeviceEntry& device, int index, const PortMaker& makePort);

/// The cameras that are plugged in (USB only), in index order. Each is opened for a moment to read its serial
/// number and id; one that cannot be opened is listed with its trouble.
std::vector<CameraEntry> ListCameras();
/// The same on another port than libusb's.
std::vector<CameraEntry> ListCameras(const PortMaker& makePort);

/// Why a name led to no camera.
enum class NameTrouble { None, BadName, NoSuchCamera };

struct NamedCamera {
  std::unique_ptr<CModelCamera> camera;   ///< made, not yet opened; null on trouble
  int openIndex = 0;                      ///< what to give to OpenCamera
  PortMaker makePort;                     ///< of the ports on which it is found
  std::shared_ptr<VirtualBus> bus;        ///< of a virtual camera: to unplug and replug it
  std::shared_ptr<VirtualCamera> device;  ///< the virtual device itself
  RecordedFacts recorded;                 ///< what the recording says that a virtual camera replays
  NameTrouble trouble = NameTrouble::None;
  std::string error;  ///< one line: what is wrong and what would be right
};

/// Makes the camera called `name`: an index ("0"), "serial:HEX" (any case), "id:TEXT" (the id in flash), or
/// "virtual:<model>[,option=value…]". Two cameras of one serial or id: the first in index order. `settings`: what
/// becomes of the camera's kept settings.
NamedCamera MakeCamera(std::string_view name, const SettingsChoice& settings = SettingsUse::LoadAndKeep);
/// The same on another port than libusb's.
NamedCamera MakeCamera(std::string_view name, const PortMaker& makePort,
                       const SettingsChoice& settings = SettingsUse::LoadAndKeep);

/// Where the camera of this model with this serial number is plugged in now: what to give to OpenCamera. An empty
/// serial number is any camera's. Nothing when it is not there, or cannot be asked. The camera must be closed.
std::optional<int> FindAgain(const NamedCamera& named, std::string_view serial);

/// Makes the one camera that is connected; with several of them the error names each (a bad name: none was given).
NamedCamera MakeOnlyCamera(const SettingsChoice& settings = SettingsUse::LoadAndKeep);
NamedCamera MakeOnlyCamera(const PortMaker& makePort, const SettingsChoice& settings = SettingsUse::LoadAndKeep);

}  // namespace orq
