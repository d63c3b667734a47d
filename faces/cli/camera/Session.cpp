#include "camera/Session.h"

#include <chrono>

#include "models/camera/OwnSettings.h"
#include "output/Signals.h"
#include "session/LinkFailure.h"
#include "session/camera/OpenTrouble.h"
#include "session/cooling/CoolerWork.h"
#include "settings/XmlStore.h"
#include "support/Hex.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr std::chrono::milliseconds kReturnLook{250};
constexpr const char* kWhileKeeping = "while keeping the settings";

void TellSettingsTrouble(const char* when) {
  const std::string trouble = TakeXmlTrouble();
  if (!trouble.empty()) Complain(std::string(when) + ": " + trouble);
}

CliError OpenError(CModelCamera& camera, const std::string& what) {
  if (camera.DeviceLost()) return {kExitCameraLost, what};
  const UsbError error = camera.Port().LastErrorCode();
  if (error == kUsbNoDevice || error == kUsbNotFound) return {kExitNoCamera, what};
  return {StatusOf(error), what};
}

}  // namespace

NamedCamera FindCamera(const Context& context) {
  constexpr SettingsUse kUse = SettingsUse::Load;  // an option of one command holds for that command
  NamedCamera named = context.camera ? MakeCamera(*context.camera, kUse) : MakeOnlyCamera(kUse);
  if (!named.camera) {
    throw CliError(named.trouble == NameTrouble::BadName ? kExitUsage : kExitNoCamera, named.error);
  }
  LoadOwnSettings(*named.camera);
  TellSettingsTrouble("going on without kept settings");
  return named;
}

Session::Session(const Context& context)
    : strict_(context.strict),
      usesSettings_(context.settings && !UserConfigDirectory().empty()),
      named_(FindCamera(context)),
      keptDebug_(Camera().DebugPrint) {
  if (context.debug) Camera().EnableDebugLog(1);
  const bool corrected = named_.camera->HPC != 0;
  if (named_.camera->OpenCamera(named_.openIndex) == 0) {
    throw OpenError(*named_.camera, "cannot open camera '" + context.camera.value_or("0") +
                                        "': " + session::OpenTrouble(*named_.camera));
  }
  serial_ = Serial();
  long cools = 0;
  // One that was found on is left on.
  cools_ = keepsCooling_ = Camera().GetControlValue(ORQ_COOLER_ON, &cools, nullptr) == CTRL_OK && cools == 1;
  if (corrected && named_.camera->HPC == 0) {
    Complain("hot pixels are not repaired: their table cannot be loaded; see orqcam hotpixels show");
  }
}

void Session::SwitchCooler(bool on, bool keep) {
  session::SwitchCooler(Camera(), on, keep);
  NoteCooling(on, keep);
}

void Session::NoteCooling(bool on, bool keep) {
  cools_ = on;
  keepsCooling_ = keep;
}

bool Session::Reconnect() {
  CModelCamera& camera = Camera();
  // What opening does not bring back by itself.
  const std::int32_t bandwidth = camera.bandwidthPerc;
  camera.StopCapture();
  camera.CloseCamera();
  Complain("the camera was lost: waiting for it to come back");
  bool told = false;
  while (!WaitForStop(kReturnLook)) {
    const auto index = FindAgain(named_, serial_);
    if (!index) {
      if (!told && FindAgain(named_, {})) {
        Complain("another camera of this model is plugged in: waiting for serial number " + serial_);
        told = true;
      }
      continue;
    }
    if (!Reopen(*index, bandwidth)) continue;
    Complain("the camera is back: going on");
    return true;
  }
  return false;
}

// False when it is gone again, or another one by now.
bool Session::Reopen(int index, std::int32_t bandwidth) {
  CModelCamera& camera = Camera();
  if (camera.OpenCamera(index) == 0) return false;
  if (Serial() != serial_) {
    camera.CloseCamera();
    return false;
  }
  camera.SetFPSPerc(bandwidth, camera.AutoFPS != 0);
  if (cools_) {
    try {
      SwitchCooler(true, keepsCooling_);
    } catch (const Failure&) {
      Complain("the cooler cannot be switched on again");
    }
  }
  return !camera.DeviceLost();
}

Session::~Session() {
  if (!named_.camera) return;
  Camera().StopCapture();
  RunFreely();
  Camera().CloseCamera();
}

int Session::SaveSettings() {
  // The log is switched on for one run only.
  const std::uint8_t debug = Camera().DebugPrint;
  Camera().DebugPrint = keptDebug_;
  const int kept = Camera().SaveSetting();
  Camera().DebugPrint = debug;
  KeepOwnSettings(Camera());
  return kept;
}

void Session::KeepSettings() {
  SaveSettings();
  TellSettingsTrouble(kWhileKeeping);
}

void Session::DemandKept() {
  if (UserConfigDirectory().empty()) {
    throw CliError(Status::File, "set, but not kept: set HOME or XDG_CONFIG_HOME, or give --no-settings");
  }
  if (SaveSettings() != 0) return TellSettingsTrouble(kWhileKeeping);
  const std::string trouble = TakeXmlTrouble();
  throw CliError(Status::File, "set, but not kept: " + (trouble.empty() ? "the file refused it" : trouble));
}

// What is wired to the camera is not to be driven, and the next program not to be kept waiting, when nobody is
// there any more.
void Session::RunFreely() {
  Camera().SetCameraMode(0);
  const auto switchOff = [this](Trig_Output_Pin pin) {
    ORQ_BOOL high = 1;
    long duration = 0;
    Camera().GetTrigOutPinConf(pin, &high, nullptr, &duration);
    if (duration > 0) Camera().SetTrigOutPinConf(pin, high != 0, 0, 0);
  };
  switchOff(TRIG_OUTPUT_PINA);
  switchOff(TRIG_OUTPUT_PINB);
}

std::string Session::Serial() {
  _ORQ_ID id{};
  return Camera().GetSerialNumber(&id) ? Hex(id.id) : std::string();
}

std::string Session::UserId() {
  _ORQ_ID id{};
  return Camera().GetIDFromSPI(&id) ? IdText(id) : std::string();
}

std::string Session::Firmware() const {
  const auto& version = Camera().firmwareVersion;
  return Format("%u.%u.%u", version[0], version[1], version[2]);
}

std::string Session::Speed() const {
  return Camera().usb3Host != 0 ? "USB 3" : "USB 2";
}

void Session::Fail(const std::string& what) {
  throw LinkFailure(Camera(), what);
}

}  // namespace orq::cli
