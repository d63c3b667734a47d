#include "camera/CameraDevice.h"

#include <indilogger.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <thread>
#include <utility>

#include "panels/ControlPanel.h"
#include "panels/GainPanel.h"
#include "panels/GpsPanel.h"
#include "panels/ServicePanel.h"
#include "panels/TriggerPanel.h"

namespace orq::indi {
namespace {

constexpr int kTickMs = 250;
constexpr auto kBusyPatience = std::chrono::seconds(3);
constexpr auto kBetweenTries = std::chrono::milliseconds(50);
constexpr unsigned kTicksPerLook = 4;
constexpr std::uint32_t kAlways =
    INDI::CCD::CCD_CAN_ABORT | INDI::CCD::CCD_CAN_BIN | INDI::CCD::CCD_CAN_SUBFRAME | INDI::CCD::CCD_HAS_STREAMING;
constexpr unsigned kTicksPerTry = 2;
constexpr const char* kVirtualProperty = "ORQ_VIRTUAL";
constexpr const char* kVirtualElement = "NAME";
constexpr const char* kDefaultVirtual = "k1c";

/// What the switch of capture formats calls the library's.
struct FormatName {
  int format;
  const char* name;
  const char* label;
  std::uint8_t bits;
};
constexpr FormatName kFormats[] = {{ORQ_FORMAT_RAW16, "INDI_RAW16", "Raw 16 bit", 16},
                                   {ORQ_FORMAT_RAW8, "INDI_RAW8", "Raw 8 bit", 8},
                                   {ORQ_FORMAT_RGB24, "INDI_RGB", "RGB 24 bit", 8},
                                   {ORQ_FORMAT_Y8, "INDI_MONO_8", "Luminance 8 bit", 8}};

/// Coolers take no others: INDI would wait for ever for what lies between them, or go in steps that lead nowhere.
void toWholeDegrees(const NumberRequest& request, double values[]) {
  for (std::size_t i = 0; i < request.values.size(); ++i) {
    if (request.property == "CCD_TEMPERATURE") values[i] = std::round(values[i]);
    if (request.values[i].element == "RAMP_SLOPE" && values[i] > 0)
      values[i] = std::max(1.0, std::round(values[i]));
  }
}

/// Brings to the front what a request has of elements that the property has too; returns how many these are.
template <class Value>
int keepKnown(const INDI::Property& property, char* names[], Value values[], int n) {
  int kept = 0;
  for (int i = 0; i < n; ++i) {
    if (!hasElement(property, names[i])) continue;
    names[kept] = names[i];
    values[kept++] = values[i];
  }
  return kept;
}

bool isAnyUnreadable() {
  const std::vector<orq_camera_entry> all = cameras();
  return std::any_of(all.begin(), all.end(), [](const auto& entry) { return entry.trouble[0] != '\0'; });
}

}  // namespace

bool CameraDevice::attempt(const std::function<void()>& work) {
  try {
    work();
    return true;
  } catch (const std::exception& failure) {
    LOGF_ERROR("%s", failure.what());
    return false;
  }
}

CameraDevice::CameraDevice(std::string deviceName, CameraChoice choice)
    : INDI::FocuserInterface(this), deviceName_(std::move(deviceName)), choice_(std::move(choice)) {
  setDeviceName(deviceName_.c_str());
  setVersion(ORQCAM_VERSION_MAJOR, ORQCAM_VERSION_MINOR);
  panels_.push_back(std::make_unique<ControlPanel>(*this));
  panels_.push_back(std::make_unique<GainPanel>(*this, [controls = panels_.back().get()] { controls->tick(); }));
  panels_.push_back(std::make_unique<TriggerPanel>(*this));
  panels_.push_back(std::make_unique<GpsPanel>(*this));
  panels_.push_back(std::make_unique<ServicePanel>(
      *this,
      [this](auto what, auto job, auto told) { runLong(std::move(what), std::move(job), std::move(told)); }));
  ticks_.callOnTimeout([this] { tick(); });
}

CameraDevice::~CameraDevice() {
  release();
  forgetFrame();
}

void CameraDevice::release() {
  if (pump_) pump_->stop();
  ticks_.stop();
  stopListening();
  letGo();
}

/// Ends what other threads do with the camera, and closes it.
void CameraDevice::letGo() {
  if (!camera_) return;
  endPulses();
  longWork_.cancel();
  longWork_.finish([this] { orq_capture_abort(camera_->get()); });
  busyWith_.clear();
  ++opened_;
  camera_.reset();
}

bool CameraDevice::initProperties() {
  if (!INDI::CCD::initProperties()) return false;
  SetCCDCapability(kAlways);
  // Until a camera is known; a configuration that is saved without any would otherwise name no format at all.
  addCaptureFormat({kFormats[0].name, kFormats[0].label, kFormats[0].bits, true});
  pump_ = std::make_unique<VideoPump>(
      *Streamer,
      [this, poster = posts_.poster()](std::string why) {
        poster.post([this, why = std::move(why)] { endStream(why.c_str()); });
      },
      [this, poster = posts_.poster()](std::string why) {
        poster.post([this, why = std::move(why)] { endRecording(why); });
      });
  streamCounts_[0].fill("TARGET_FPS", "Wanted (frames/s)", "%.2f", 0, 1e6, 0, 0);
  streamCounts_[1].fill("CAMERA_FRAMES", "Frames of the camera", "%.f", 0, 1e15, 0, 0);
  streamCounts_[2].fill("DROPPED", "Left out: clients are slower", "%.f", 0, 1e15, 0, 0);
  streamCounts_[3].fill("FAILED", "Lost on the cable", "%.f", 0, 1e15, 0, 0);
  streamCounts_.fill(getDeviceName(), "ORQ_STREAM", "Stream counters", "Streaming", IP_RO, 0, IPS_IDLE);
  addDebugControl();
  addConfigurationControl();
  initClimate();
  initFocus();
  if (choice_.offersVirtual) {
    addSimulationControl();
    virtualName_[0].fill(kVirtualElement, "Model and options", kDefaultVirtual);
    virtualName_.fill(getDeviceName(), kVirtualProperty, "Virtual camera", MAIN_CONTROL_TAB, IP_RW, 0, IPS_IDLE);
  }
  return true;
}

void CameraDevice::ISGetProperties(const char* device) {
  if (device != nullptr && !isMine(device)) return;
  INDI::CCD::ISGetProperties(device);
  if (!choice_.offersVirtual) return;
  defineProperty(virtualName_);
  loadConfig(true, kVirtualProperty);
}

bool CameraDevice::isMine(const char* device) const {
  return device != nullptr && std::strcmp(device, getDeviceName()) == 0;
}

std::string CameraDevice::wantedName() const {
  if (choice_.offersVirtual && isSimulation()) return std::string("virtual:") + virtualName_[0].getText();
  return choice_.name;
}

Camera CameraDevice::openNow() const {
  const std::string name = wantedName();
  if (!name.empty()) return Camera(name);
  std::string trouble;
  for (const orq_camera_entry& entry : cameras()) {
    if (entry.trouble[0] == '\0') return Camera(entry.name);
    trouble = std::string(entry.model) + ": " + entry.trouble;
  }
  if (!trouble.empty()) throw BusyError(trouble);
  throw NotFoundError("no camera is plugged in: plug one in, or switch SIMULATION on for a virtual one");
}

/// Of a camera that has just been plugged in somebody may still be reading the serial number: this driver's own
/// watch, or another program.
Camera CameraDevice::openWanted() const {
  const auto end = std::chrono::steady_clock::now() + kBusyPatience;
  for (;;) {
    try {
      return openNow();
    } catch (const BusyError&) {
      if (std::chrono::steady_clock::now() > end) throw;
    } catch (const NotFoundError&) {
      // Nor does a camera that somebody reads tell whether it is the one with that serial number.
      if (!isAnyUnreadable() || std::chrono::steady_clock::now() > end) throw;
    }
    std::this_thread::sleep_for(kBetweenTries);
  }
}

bool CameraDevice::Connect() {
  return attempt([this] {
    camera_.emplace(openWanted());
    info_ = camera_->info();
    // The first that was free: when the driver's watch tells of it later, it is not to become a device once more.
    if (wantedName().empty() && info_.serial[0] != '\0') choice_.name = std::string("serial:") + info_.serial;
    lost_ = false;
    describeSensor();
    describeFormats();
    LOGF_INFO("%s is open, serial number %s, firmware %s.", info_.model,
              info_.serial[0] != '\0' ? info_.serial : "unknown", info_.firmware);
  });
}

void CameraDevice::describeSensor() {
  std::uint32_t has = kAlways;
  if (info_.bayer != ORQ_BAYER_NONE) has |= CCD_HAS_BAYER;
  BayerTP.p = IP_RO;  // the camera knows it; a configuration must not bring back what was true of another region
  if (can(ORQ_ABILITY_COOLER)) has |= CCD_HAS_COOLER;
  if (can(ORQ_ABILITY_GUIDE_PORT)) has |= CCD_HAS_ST4_PORT;
  SetCCDCapability(has);
  std::uint32_t interfaces = CCD_INTERFACE;
  if (can(ORQ_ABILITY_GUIDE_PORT)) interfaces |= GUIDER_INTERFACE;
  if (can(ORQ_ABILITY_FOCUS_MOTOR)) interfaces |= FOCUSER_INTERFACE;
  setDriverInterface(static_cast<std::uint16_t>(interfaces));
  syncDriverInfo();
  const auto pixel = static_cast<float>(info_.pixel_um);
  SetCCDParams(info_.sensor_width, info_.sensor_height, 8, pixel, pixel);
  int most = 1;
  for (int bin = 1; bin < 32; ++bin)
    if ((info_.bins >> bin & 1U) != 0) most = bin;
  PrimaryCCD.setMinMaxStep("CCD_BINNING", "HOR_BIN", 1, most, 1, false);
  PrimaryCCD.setMinMaxStep("CCD_BINNING", "VER_BIN", 1, most, 1, false);
  const orq_control_info exposure = camera_->control("Exposure");
  PrimaryCCD.setMinMaxStep("CCD_EXPOSURE", "CCD_EXPOSURE_VALUE", static_cast<double>(exposure.minimum) / 1e6,
                           static_cast<double>(exposure.maximum) / 1e6, 0, false);
}

void CameraDevice::describeFormats() {
  formats_.clear();
  m_CaptureFormats.clear();
  CaptureFormatSP.resize(0);
  for (const FormatName& format : kFormats) {
    if ((info_.formats >> format.format & 1U) == 0) continue;
    addCaptureFormat({format.name, format.label, format.bits, formats_.empty()});
    formats_.push_back(format.format);
  }
  int chosen = CaptureFormatSP.findOnSwitchIndex();
  if (chosen < 0) {  // the configuration names a format of another camera
    chosen = 0;
    CaptureFormatSP[0].setState(ISS_ON);
  }
  orq_region region = camera_->region();
  region.format = formats_[static_cast<std::size_t>(chosen)];
  region = camera_->region(region);
  showRegion(region);
  asked_ = region;
  asked_.width *= region.bin;
  asked_.height *= region.bin;
}

bool CameraDevice::Disconnect() {
  endStream(nullptr);
  stopListening();
  ticks_.stop();
  if (exposing_.exchange(false)) PrimaryCCD.setExposureFailed();
  forgetFrame();
  letGo();
  lost_ = false;
  forgetStates();
  if (released_) released_();
  return true;
}

/// INDI keeps the states of its own properties; what was under way with this camera is nothing that the next has
/// to end.
void CameraDevice::forgetStates() {
  for (const char* name : {"CCD_EXPOSURE", "CCD_TEMPERATURE", "ABS_FOCUS_POSITION", "REL_FOCUS_POSITION"}) {
    INDI::Property known = getProperty(name);
    if (known.isValid()) known.setState(IPS_IDLE);
  }
  cooler_.setState(IPS_IDLE);
  power_.setState(IPS_IDLE);
  warmUp_.setState(IPS_IDLE);
  warmUp_.reset();
}

bool CameraDevice::updateProperties() {
  INDI::CCD::updateProperties();
  if (!isConnected()) {
    deleteProperty(streamCounts_);
    deleteClimate();
    if (can(ORQ_ABILITY_FOCUS_MOTOR)) FI::updateProperties();
    for (const auto& panel : panels_) panel->disconnected();
    return true;
  }
  attempt([this] {
    for (const auto& panel : panels_) panel->connected(*camera_);
    applyLabels();
    defineClimate();
  });
  if (can(ORQ_ABILITY_FOCUS_MOTOR)) {
    showFocus();
    FI::updateProperties();
  }
  defineProperty(streamCounts_);
  afterChange();
  startListening();
  ticks_.start(kTickMs);
  loadSettings();
  return true;
}

void CameraDevice::startListening() {
  if (listening_ >= 0) return;
  listening_ = IEAddCallback(
      camera_->eventDescriptor(), [](int, void* self) { static_cast<CameraDevice*>(self)->listen(); }, this);
}

void CameraDevice::stopListening() {
  if (listening_ < 0) return;
  IERmCallback(listening_);
  listening_ = -1;
}

// While a video runs, its pump fetches the frames, and the descriptor is not listened to.
void CameraDevice::listen() {
  attempt([this] {
    while (camera_) {
      const auto event = camera_->nextEvent();
      if (!event) break;
      hear(*event);
    }
    // A frame that nobody expects, of an exposure that was aborted, would keep the descriptor readable.
    if (listening_ >= 0) takeFrame();
  });
}

void CameraDevice::hear(const orq_event& event) {
  switch (event.kind) {
    case ORQ_EVENT_FRAME:
      return pump_->isRunning() ? void() : takeFrame();
    case ORQ_EVENT_LOST:
      return becomeLost(event.text);
    case ORQ_EVENT_RETURNED:
      returned_ = true;
      return comeBack();
    case ORQ_EVENT_EXPOSURE_FAILED:
      endStream(event.text);
      return failExposure(event.text);
    default:
      if (event.text[0] != '\0') LOGF_WARN("%s", event.text);
  }
}

void CameraDevice::tick() {
  if (lost_ || listening_ < 0) listen();
  if (lost_ && returned_ && ++tickCount_ % kTicksPerTry == 0) comeBack();
  if (lost_ || !camera_) return;
  if (pump_->isRunning()) showStream();
  if (exposing_) {
    const auto now = std::chrono::steady_clock::now();
    if (now - countdownTold_ >= std::chrono::milliseconds(900)) {
      countdownTold_ = now;
      attempt([this] {
        const orq_exposure_progress progress = camera_->progress();
        const auto elapsed = static_cast<std::int64_t>(progress.elapsed_us);
        if (exposing_)
          PrimaryCCD.setExposureLeft(static_cast<double>(std::max<std::int64_t>(exposureUs_ - elapsed, 0)) / 1e6);
      });
    }
  }
  if (++tickCount_ % kTicksPerLook != 0) return;
  showClimate();
  for (const auto& panel : panels_) panel->tick();
}

void CameraDevice::becomeLost(const char* text) {
  returned_ = false;
  if (lost_) return;
  lost_ = true;
  stopListening();  // the descriptor stays readable until the camera is open again
  LOGF_ERROR("%s", text[0] != '\0' ? text : "the camera is gone");
  endStream("the camera was unplugged");
  failExposure("the camera was unplugged");
  markClimate(IPS_ALERT);
  for (const auto& panel : panels_) panel->lost();
  setConnected(true, IPS_ALERT);
}

/// Somebody may still be reading the serial number of what has just been plugged in: tried again until it opens.
void CameraDevice::comeBack() {
  if (!lost_) return;
  try {
    camera_->reopen();
  } catch (const Error& failure) {
    if (std::exchange(lastTrouble_, failure.what()) != failure.what())
      LOGF_WARN("The camera is back, but could not be opened yet: %s", failure.what());
    return;
  }
  lastTrouble_.clear();
  lost_ = returned_ = false;
  startListening();
  markClimate(IPS_OK);
  for (const auto& panel : panels_) panel->returned();
  setConnected(true, IPS_OK);
  LOG_INFO("The camera is back, with the settings that it had.");
}

/// What a property cannot take is refused before it reaches anybody: the property shows what holds, and an alert
/// unless it is at work.
template <class Request>
bool CameraDevice::refuse(const Request& request) {
  INDI::Property property = getProperty(std::string(request.property).c_str());
  if (!property.isValid()) return false;
  std::string trouble = troubleWith(request, property);
  if (trouble.empty()) trouble = whyNotNow(request);
  if (trouble.empty()) {
    // INDI leaves the state alone where there is nothing to do: the alert of an earlier request would stay.
    if (property.getState() == IPS_ALERT) property.setState(IPS_IDLE);
    return false;
  }
  if (isConfigLoading()) {  // it was saved with another camera
    LOGF_WARN("%s of the configuration is left out: %s", property.getName(), trouble.c_str());
    return true;
  }
  LOGF_ERROR("%s", trouble.c_str());
  if (property.getState() != IPS_BUSY) property.setState(IPS_ALERT);
  property.apply();
  return true;
}

bool CameraDevice::ISNewNumber(const char* device, const char* name, double values[], char* names[], int n) {
  if (!isMine(device)) return false;
  uploads_.awaitIdle();
  if (isConfigLoading()) n = keepKnown(getProperty(name), names, values, n);
  NumberRequest request{name, {}};
  for (int i = 0; i < n; ++i) request.values.push_back({names[i], values[i]});
  if (refuse(request)) return true;
  if (isConnected()) {
    for (const auto& panel : panels_)
      if (panel->set(request)) return afterChange();
  }
  if (isConnected() && can(ORQ_ABILITY_FOCUS_MOTOR) && FI::processNumber(device, name, values, names, n))
    return true;
  if (isConnected() && request.property == "CCD_FRAME") return setFrame(std::move(request));
  if (isConnected() && request.property == "CCD_BINNING") return setBinning(request);
  toWholeDegrees(request, values);
  const bool done = INDI::CCD::ISNewNumber(device, name, values, names, n);
  if (std::strcmp(name, "STREAMING_EXPOSURE") == 0) applyStreamExposure();
  return done;
}

bool CameraDevice::ISNewSwitch(const char* device, const char* name, ISState* states, char* names[], int n) {
  if (!isMine(device)) return false;
  uploads_.awaitIdle();
  if (isConfigLoading()) n = keepKnown(getProperty(name), names, states, n);
  SwitchRequest request{name, {}};
  for (int i = 0; i < n; ++i) request.values.push_back({names[i], states[i] == ISS_ON});
  settleOnOne(request, getProperty(name));
  if (refuse(request)) return true;
  for (int i = 0; i < n; ++i) states[i] = request.values[static_cast<std::size_t>(i)].on ? ISS_ON : ISS_OFF;
  if (isConnected()) {
    for (const auto& panel : panels_)
      if (panel->set(request)) return afterChange();
    if (can(ORQ_ABILITY_COOLER) && setCooler(request)) return true;
    if (can(ORQ_ABILITY_FOCUS_MOTOR) && FI::processSwitch(device, name, states, names, n)) return true;
  }
  const bool records = request.property == "RECORD_STREAM";
  if (records) awaitRecordingsEnd();  // of the one before, if it has ended by itself
  const bool done = INDI::CCD::ISNewSwitch(device, name, states, names, n);
  if (records && request.chosen() == "RECORD_OFF") {
    pump_->closeRecording();
    awaitRecordingsEnd();
  } else if (records) {
    undoFailedRecording();
  }
  return done;
}

bool CameraDevice::ISNewText(const char* device, const char* name, char* texts[], char* names[], int n) {
  if (!isMine(device)) return false;
  uploads_.awaitIdle();
  TextRequest request{name, {}};
  for (int i = 0; i < n; ++i) request.values.push_back({names[i], texts[i]});
  if (refuse(request)) return true;
  if (choice_.offersVirtual && virtualName_.isNameMatch(name)) {
    virtualName_.update(texts, names, n);
    virtualName_.setState(IPS_OK);
    virtualName_.apply();
    if (!isConfigLoading()) saveConfig(true, kVirtualProperty);
    return true;
  }
  if (isConnected()) {
    for (const auto& panel : panels_)
      if (panel->set(request)) return true;
  }
  const bool done = INDI::CCD::ISNewText(device, name, texts, names, n);
  if (isConnected() && std::strcmp(name, FITSHeaderTP.name) == 0) attempt([this] { applyLabels(); });
  return done;
}

// Region, flips and mixed bins change which colour comes first.
bool CameraDevice::afterChange() {
  if (!camera_ || lost_) return true;
  return attempt([this] {
    const int bayer = camera_->bayer();
    showBayer(bayer);
    pump_->expect(camera_->region(), bayer);
  });
}

}  // namespace orq::indi
