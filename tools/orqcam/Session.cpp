#include "Session.h"

#include <cctype>
#include <iterator>

#include "Text.h"
#include "support/XmlStore.h"

namespace orq::cli {

namespace {

std::string HexText(const _ORQ_ID& id) {
  std::string text;
  for (const std::uint8_t byte : id.id) text += Format("%02x", byte);
  return text;
}

// As a listing shows it: without the zeros that fill it up, and with nothing that upsets a terminal.
std::string IdText(const _ORQ_ID& id) {
  std::string text(std::begin(id.id), std::end(id.id));
  text.resize(text.find_last_not_of('\0') + 1);
  for (char& c : text) {
    if (std::isprint(static_cast<unsigned char>(c)) == 0) c = '?';
  }
  return text;
}

std::string OpenTrouble(CModelCamera& camera) {
  const std::string port = camera.Port().LastError();
  if (!port.empty()) return port;
  const std::string link = camera.LinkError();
  return link.empty() ? "the camera does not answer; unplug it and plug it in again" : link;
}

constexpr const char* kWhileKeeping = "while keeping the settings";

void TellSettingsTrouble(const char* when) {
  const std::string trouble = TakeXmlTrouble();
  if (!trouble.empty()) Complain(std::string(when) + ": " + trouble);
}

ExitCode OpenCode(CModelCamera& camera) {
  if (camera.DeviceLost()) return kExitCameraLost;
  const UsbError error = camera.Port().LastErrorCode();
  return error == kUsbNoDevice || error == kUsbNotFound ? kExitNoCamera : kExitFailed;
}

}  // namespace

NamedCamera FindCamera(const Context& context) {
  NamedCamera named = context.camera ? MakeCamera(*context.camera) : MakeOnlyCamera();
  if (!named.camera) {
    throw CliError(named.trouble == NameTrouble::BadName ? kExitUsage : kExitNoCamera, named.error);
  }
  TellSettingsTrouble("going on without kept settings");
  return named;
}

Session::Session(const Context& context) : named_(FindCamera(context)), keptDebug_(Camera().DebugPrint) {
  if (context.debug) Camera().EnableDebugLog(1);
  const bool corrected = named_.camera->HPC != 0;
  if (named_.camera->OpenCamera(named_.openIndex) == 0) {
    throw CliError(OpenCode(*named_.camera),
                   "cannot open camera '" + context.camera.value_or("0") + "': " + OpenTrouble(*named_.camera));
  }
  if (corrected && named_.camera->HPC == 0) {
    Complain("hot pixels are not repaired: their table cannot be loaded; see orqcam hotpixels show");
  }
}

Session::~Session() {
  if (!named_.camera) return;
  StopCapture();
  RunFreely();
  Keep([this] { Camera().CloseCamera(); });
  TellSettingsTrouble(kWhileKeeping);
}

Session::DarkSetting Session::SwapDarkSetting(const DarkSetting& setting) {
  const DarkSetting before{Camera().CutDark, Camera().BMPPATH};
  Camera().CutDark = setting.on;
  Camera().BMPPATH = setting.path;
  return before;
}

// Runs what keeps the settings. The log is switched on for one run only.
template <class Keeper>
void Session::Keep(Keeper&& keeper) {
  const std::uint8_t debug = Camera().DebugPrint;
  Camera().DebugPrint = keptDebug_;
  const auto dark = frozen_ ? std::optional(SwapDarkSetting(*frozen_)) : std::nullopt;
  keeper();
  if (dark) SwapDarkSetting(*dark);
  Camera().DebugPrint = debug;
}

void Session::FreezeDarkSetting() {
  frozen_ = DarkSetting{Camera().CutDark, Camera().BMPPATH};
}

void Session::StopCapture() {
  Keep([this] { Camera().StopCapture(); });
}

void Session::KeepSettings() {
  Keep([this] { Camera().SaveSetting(); });
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
  return Camera().GetSerialNumber(&id) ? HexText(id) : std::string();
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
  if (Camera().DeviceLost()) throw CliError(kExitCameraLost, what + ": the camera was lost; check its cable");
  const std::string reason = Camera().LinkError();
  throw CliError(kExitFailed, reason.empty() ? what : what + ": " + reason);
}

}  // namespace orq::cli
