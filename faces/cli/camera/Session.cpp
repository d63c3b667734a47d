#include "camera/Session.h"

#include "models/camera/OwnSettings.h"
#include "session/LinkFailure.h"
#include "session/camera/OpenTrouble.h"
#include "settings/XmlStore.h"
#include "support/Hex.h"

namespace orq::cli {

namespace {

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
    : strict_(context.strict), named_(FindCamera(context)), keptDebug_(Camera().DebugPrint) {
  if (context.debug) Camera().EnableDebugLog(1);
  const bool corrected = named_.camera->HPC != 0;
  if (named_.camera->OpenCamera(named_.openIndex) == 0) {
    throw OpenError(*named_.camera, "cannot open camera '" + context.camera.value_or("0") +
                                        "': " + session::OpenTrouble(*named_.camera));
  }
  if (corrected && named_.camera->HPC == 0) {
    Complain("hot pixels are not repaired: their table cannot be loaded; see orqcam hotpixels show");
  }
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

void Session::Fail(const std::string& what) {
  throw LinkFailure(Camera(), what);
}

}  // namespace orq::cli
