// Opening, closing and reconnecting a camera.
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdint>

#include "camera/CameraBase.h"
#include "link/WireProtocol.h"
#include "support/DbgPrint.h"

namespace {

constexpr int kTransferUnitUsb3 = 33;
constexpr int kTransferUnitUsb2 = 97;

/// Numbers the opens of the process, so that log lines of several cameras can be told apart.
int NextHandleNumber() {
  static std::atomic<int> opens{0};
  return opens.fetch_add(1, std::memory_order_relaxed) + 1;
}

void SleepMs(unsigned ms) {
  usleep(ms * 1000);
}

}  // namespace

int CCameraBase::OpenCamera(int index) {
  if (bOpened != 0) return 1;
  cameraIndex = index;
  if (iVID == 0 || iPID == 0) {
    DbgPrint(-1, "OpenCamera", "PID or PID is not assigned\n");  // sic: known to those who read logs
    return 0;
  }

  orq::UsbPort& port = Port();
  usbContext = port.Context();
  port.libusb_set_debug(usbContext, LibusbLogLever);
  usbHandle = port.libusb_open_device_with_vid_pid_index(usbContext, static_cast<std::uint16_t>(iVID),
                                                         static_cast<std::uint16_t>(iPID),
                                                         static_cast<std::uint8_t>(index));
  if (usbHandle == nullptr) {
    DbgPrint(-1, "OpenCamera", "open camera fail\n");
    return 0;
  }
  // A refused configuration or claim shows at once: the version below cannot be read then.
  port.libusb_set_configuration(usbHandle, orq::wire::kConfiguration);
  port.libusb_claim_interface(usbHandle, orq::wire::kInterface);
  bOpened = 1;
  handleNumber = NextHandleNumber();
  DbgPrint(-1, "OpenCamera", "open camera success\n");

  std::array<unsigned char, orq::wire::kFirmwareVersionBytes> version{};
  if (!GetFirmwareVer(version.data())) {
    CloseCamera();
    bOpened = 0;
    DbgPrint(-1, "OpenCamera", "Failed to get firmware version, close camera\n");
    return 0;
  }

  const bool usb3 = IsUSB3Host();
  usb3Host = usb3 ? 1 : 0;
  if (usb3) {
    DbgPrint(-1, "OpenCamera", "***********USB3.0 Host*********** \n");
    bandwidthPerc = usb3Bandwidth;
  } else {
    DbgPrint(-1, "OpenCamera", "***********USB2.0 Host***********\n");
  }
  transferUnit = usb3 ? kTransferUnitUsb3 : kTransferUnitUsb2;
  CameraModeCheck();
  return bOpened;
}

void CCameraBase::CloseCamera() {
  if (bOpened == 0) return;
  // After a video, stopping it has saved them.
  if (snapMode != 0 && settingsUse == orq::SettingsUse::LoadAndKeep) SaveSetting();
  StopCapture();
  CloseDevice();
  DbgPrint(-1, "CloseCamera", "camera closed\n");
}

int CCameraBase::ReConnectCamera() {
  DbgPrint(-1, "ReConnectCamera", "reconnect camera\n");
  if (usbHandle == nullptr) return 0;
  CloseDevice();
  SleepMs(100);
  DbgPrint(-1, "ReConnectCamera", "camera closed\n");
  SleepMs(50);
  if (const int opened = OpenCamera(cameraIndex); opened != 0) return opened;
  SleepMs(1000);
  return OpenCamera(cameraIndex);
}
