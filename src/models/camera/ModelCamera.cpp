#include "models/camera/ModelCamera.h"

#include <algorithm>

#include "controls/ElectronsPerAdu.h"
#include "link/WireProtocol.h"
#include "models/camera/ModelWorker.h"
#include "models/camera/Overdue.h"
#include "models/camera/RegisterBatch.h"
#include "models/table/FieldLimits.h"
#include "support/DbgPrint.h"

namespace orq {
namespace {

constexpr int kNeutralGamma = 50;
constexpr int kUsb2Bandwidth = 50;  // the catalogue's default
// Before the model's name: what was tried on a virtual camera is nothing that the real one was set to.
constexpr const char* kVirtualSettings = "virtual ";

RegisterBatch GainRegisters(const Sensor& sensor, int gain) {
  RegisterBatch batch;
  sensor.AddGain(batch, gain);
  return batch;
}

RegisterBatch BlackLevelRegisters(const Sensor& sensor, int offset) {
  RegisterBatch batch;
  sensor.AddBlackLevel(batch, offset);
  return batch;
}

RegisterBatch BandwidthRegisters(int percent) {
  RegisterBatch batch;
  batch.Fpga(wire::kFpgaBandwidth, static_cast<std::uint64_t>(percent));
  return batch;
}

RegisterBatch HighSpeedRegisters(bool on) {
  RegisterBatch batch;
  batch.Fpga(wire::kFpgaHighSpeed, on ? 1 : 0);
  return batch;
}

RegisterBatch GeometryRegisters(const FrameSetup& setup) {
  const StreamFormat format = setup.WireFormat();
  RegisterBatch batch;
  batch.Fpga(wire::kFpgaFormat, format.format);
  batch.Fpga(wire::kFpgaBin, format.bin);
  batch.Fpga(wire::kFpgaStartX, static_cast<std::uint64_t>(setup.region.startX), 2);
  batch.Fpga(wire::kFpgaStartY, static_cast<std::uint64_t>(setup.region.startY), 2);
  batch.Fpga(wire::kFpgaWidth, format.width, 2);
  batch.Fpga(wire::kFpgaHeight, format.height, 2);
  return batch;
}

// Four frames of the whole sensor in the widest format: one in work, one that waits, two that somebody holds.
std::size_t FrameMemory(const ModelData& model) {
  constexpr std::size_t kFrames = 4;
  constexpr std::size_t kMostBytesPerPixel = 3;
  return kFrames * kMostBytesPerPixel * static_cast<std::size_t>(model.maxWidth) *
         static_cast<std::size_t>(model.maxHeight);
}

}  // namespace

CModelCamera::CModelCamera(const ModelData& model, const SettingsChoice& settings)
    : model_(UsablePart(model)), worker_(std::make_unique<Worker>(FrameMemory(model_))) {
  settingsUse = settings.use;
  settingsFolder = settings.folder;
  DescribeModel();
  if (model_.cooled) cooler_ = std::make_unique<Cooler>(*this, model_.cooler, model_.timeScale);
  if (model_.gps) worker_->gps.emplace(*this);
  worker_->converter.RGBYUV_Init();
  InitVariable();
  SetGamma(kNeutralGamma);
  if (settings.use != SettingsUse::Off) LoadSetting();
  AdoptFields();
  captureThr.InitFuncPt(&CModelCamera::RunCapture);
  exposureThr.InitFuncPt(&CModelCamera::RunTriggeredExposure);
  GetNumOfControls();
}

CModelCamera::~CModelCamera() {
  StopAutoControlThr();
  CloseCamera();  // NOLINT(clang-analyzer-optin.cplusplus.VirtualCall): what is derived from it has closed itself
  StopWorkers();
}

// A camera whose reopening failed is closed while its worker may still be there; stopping its capture is refused.
void CModelCamera::StopWorkers() {
  captureThr.Stop();
  exposureThr.Stop();
}

void CModelCamera::DescribeModel() {
  const ControlLimits& range = model_.limits;
  iVID = wire::kVendorId;
  iPID = model_.productId;
  modelName = model_.name;
  settingsName = std::string(model_.isVirtual ? kVirtualSettings : "") + modelName;
  pixelSizeUm = model_.pixelSizeUm;
  iADCBits = model_.adcBits;
  binList = model_.bins;
  hasGuidePort = model_.guidePort;
  isUsb3Camera = model_.usb3Camera;
  iMaxWidth = model_.maxWidth;
  iMaxHeight = model_.maxHeight;
  bayerPattern = model_.bayerPattern;
  bIsColor = model_.colour;
  limits = range;

  hasGain = range.gainMax != range.gainMin;
  hasExposure = 1;
  hasGamma = range.gammaMax != range.gammaMin;
  hasOffset = range.offsetMax != range.offsetMin;
  hasBandwidth = range.bandwidthMax != range.bandwidthMin;
  hasWB_R = hasWB_B = model_.colour && range.wbMax != range.wbMin;
  supportImgType0 = model_.formats[ORQ_IMG_RAW8];
  supportImgType1 = model_.formats[ORQ_IMG_RGB24];
  supportImgType2 = model_.formats[ORQ_IMG_RAW16];
  supportImgType3 = model_.formats[ORQ_IMG_Y8];
  bandwidthAutoSupported = model_.bandwidthAuto;
  hasOverCLK = model_.overClock;
  hasPatternAdjust = model_.patternAdjust;
  hasHighSpeed = model_.highSpeed;
  hasTemperature = model_.thermometer != Thermometer::None;
  tempSensorType = std::max(static_cast<int>(model_.thermometer), 0);
  isCooled = model_.cooled;
  hasAntiDewHeater = model_.antiDewHeater;
  normalModeFPGATrigger = model_.normalModeFPGATrigger;

  hasHardwareBin = model_.hardwareBin;
  fpgaBin = model_.fpgaBin;
  bBin4By2x2 = model_.hardwareBin || model_.fpgaBin;
  bHardBinSum = bBin4By2x2;  // the sensor adds charge
  std::ranges::copy(model_.binOffsets, pBinOffsets.get());

  exposureUs = static_cast<std::uint64_t>(range.exposureDefault);
  gain = range.gainDefault;
  Brightness = range.offsetDefault;
  WB_Red = range.wbRedDefault;
  WB_Blue = range.wbBlueDefault;
  usb3Bandwidth = model_.usb3Bandwidth;
  bandwidthPerc = kUsb2Bandwidth;
  baseElectronsPerAdu = model_.baseElectronsPerAdu;
  RoundToSensor();
  StoreGeometry(FullRegion(model_), false);
}

int CModelCamera::OpenCamera(int index) {
  if (IsOpen()) return 1;
  // Opening programs what is stored; a set that failed on the way to a lost camera is to be tried again.
  lastSetExp = -1;
  lastSetExpAuto = 0;
  if (cooler_) cooler_->Abandon();
  StopWorkers();  // of the time before a reconnect: it works on a frame of the geometry that there was
  AdoptFields();
  if (CCameraBase::OpenCamera(index) == 0) return 0;
  worker_->mailbox.Discard();
  GetNumOfControls();  // some controls only the device can tell of
  if (ProgramAll()) {
    if (HPC != 0) SetHPCStates(true);  // kept with the settings; the table is in the camera's flash
    return 1;
  }
  DbgPrint(-1, "OpenCamera", "Failed to initialise the sensor, close camera\n");
  CloseCamera();
  return 0;
}

// Fields are public and the settings file may have been edited: whatever they hold, the camera is given only what
// it can do.
void CModelCamera::AdoptFields() {
  const std::lock_guard lock(worker_->registers);
  LimitFields(*this);
  RoundToSensor();
  FrameRegion region = worker_->setup.region;
  const bool changed = iWidth != region.width || iHeight != region.height || iBin != region.bin;
  if (changed) region = FullRegion(model_);  // loading a dark reference asks for the whole sensor
  const bool otherBin =
      StagesOf(region.bin, HardwareBin != 0 || model_.fpgaBin).hardware != worker_->setup.stages.hardware;
  if (!changed && !otherBin) return;
  StoreGeometry(region, HardwareBin != 0);
  AdjustCorrections(true);
}

void CModelCamera::CloseCamera() {
  if (cooler_) cooler_->Leave();
  if (IsOpen() && !model_.sensor->Standby().empty()) {
    StopCapture();
    RunSteps(*this, model_.sensor->Standby());  // a sensor that refuses stays awake; it does no harm
  }
  CCameraBase::CloseCamera();
  // Stopping a video keeps the settings; one whose stream died left nothing to stop.
  if (worker_->videoDied.exchange(false) && settingsUse == SettingsUse::LoadAndKeep) SaveSetting();
}

// Another program may have died at any moment. Each step on its own: one that is refused must not keep the camera
// from the others. Trigger modes are left by programming the stored one; the frames that the camera still holds
// are drained when a stream starts.
bool CModelCamera::EnterKnownState() {
  bool known = FPGAStop();  // first: it goes on sending
  known = EnableGPIF32DQ(true) && known;
  known = ReleaseHold(*this) && known;
  known = WriteFPGAREG(wire::kFpgaSingle, 0) && known;
  TellFpgaCaptureMode(false);
  if (hasGuidePort != 0)
    for (const GuideD line : {GUIDE_NORTH, GUIDE_SOUTH, GUIDE_EAST, GUIDE_WEST}) PulseGuideOff(line);
  std::uint32_t tag = 0;
  known = ReadTag(*this, tag) && known;
  Tag().StartAwayFrom(tag);
  return known;
}

bool CModelCamera::ProgramAll() {
  const std::lock_guard lock(worker_->registers);
  if (!EnterKnownState()) return false;
  TellFpgaUsbHostType(usb3Host != 0);
  if (StartSensorCLK() == 0) return false;
  if (cooler_ && !cooler_->Adopt()) return false;
  if (hasHighSpeed == 0)
    HighSpeed = 0;
  else if (const RegisterBatch mode = HighSpeedRegisters(HighSpeed != 0); !WriteHeld(*this, mode, mode))
    return false;
  if (!RunSteps(*this, model_.sensor->PowerUp())) return false;
  RoundToSensor();
  if (fpgaBin != 0) SetFPGABinType(monoBin != 0);
  const Sensor& sensor = *model_.sensor;
  const RegisterBatch batches[] = {ModeRegisters(worker_->readoutMode), ExposureRegisters(exposureUs),
                                   GainRegisters(sensor, gain),         BlackLevelRegisters(sensor, Brightness),
                                   BandwidthRegisters(bandwidthPerc),   GeometryRegisters(worker_->setup)};
  if (!ProgramTriggers()) return false;
  const auto write = [&](const RegisterBatch& batch) {
    return batch.Writes().empty() || WriteTogether(batch, batch);
  };
  if (!std::ranges::all_of(batches, write) || !RunSteps(*this, sensor.Wake())) return false;
  MoveGpsLines();
  return true;
}

// What is set from here on is what the sensor does. With `registers` held, or before any thread runs.
void CModelCamera::RoundToSensor() {
  const Sensor& sensor = *model_.sensor;
  exposureUs = sensor.NearestExposure(exposureUs, LineTimeNs());
  expReg = sensor.ExposureLines(exposureUs, LineTimeNs());
  gain = sensor.NearestGain(gain);
  DescribeGain();
}

// The property record divides this by what a gain in tenths of a decibel ought to be.
void CModelCamera::DescribeGain() {
  if (model_.sensor->Modes().empty()) return;
  const double perAdc = ElectronsPerAdc(model_, worker_->readoutMode, gain);
  baseElectronsPerAdu = static_cast<float>(perAdc * GainFactor(model_.name, gain));
}

RegisterBatch CModelCamera::ExposureRegisters(std::uint64_t us) const {
  RegisterBatch batch;
  model_.sensor->AddExposure(batch, us, LineTimeNs());
  return batch;
}

// Empty for a sensor with one mode.
RegisterBatch CModelCamera::ModeRegisters(int mode) const {
  RegisterBatch batch;
  model_.sensor->AddMode(batch, mode);
  return batch;
}

bool CModelCamera::WriteTogether(const RegisterBatch& batch, const RegisterBatch& previous) {
  return WriteHeld(*this, batch, previous, *model_.sensor);
}

int CModelCamera::ReservedModelOp1() {
  return 0;
}
int CModelCamera::ReservedModelOp2() {
  return 0;
}
int CModelCamera::ReservedModelOp3() {
  return 0;
}

bool CModelCamera::SetGain(int newGain, bool autoGain) {
  const Sensor& sensor = *model_.sensor;
  const int nearest = sensor.NearestGain(std::clamp(newGain, limits.gainMin, limits.gainMax));
  const std::lock_guard lock(worker_->registers);
  if (IsOpen() && !WriteTogether(GainRegisters(sensor, nearest), GainRegisters(sensor, gain))) return false;
  if (gain != nearest) CloseAutoGate();
  gain = nearest;
  DescribeGain();
  AutoGain = autoGain;
  return true;
}

bool CModelCamera::SetBrightness(int offset) {
  const int clamped = std::clamp(offset, limits.offsetMin, limits.offsetMax);
  const Sensor& sensor = *model_.sensor;
  const std::lock_guard lock(worker_->registers);
  if (IsOpen() && !WriteTogether(BlackLevelRegisters(sensor, clamped), BlackLevelRegisters(sensor, Brightness)))
    return false;
  Brightness = clamped;
  return true;
}

bool CModelCamera::SetFPSPerc(int percent, bool autoFPS) {
  const int clamped = std::clamp(percent, limits.bandwidthMin, limits.bandwidthMax);
  const std::lock_guard lock(worker_->registers);
  if (IsOpen() && !WriteHeld(*this, BandwidthRegisters(clamped), BandwidthRegisters(bandwidthPerc))) return false;
  bandwidthPerc = clamped;
  AutoFPS = autoFPS;
  return true;
}

bool CModelCamera::SetExp(unsigned long long newExposureUs, bool autoExp) {
  const std::uint64_t clamped =
      std::clamp<std::uint64_t>(newExposureUs, static_cast<std::uint64_t>(limits.exposureMin),
                                static_cast<std::uint64_t>(limits.exposureMax));
  const std::lock_guard lock(worker_->registers);
  const std::uint64_t nearest = model_.sensor->NearestExposure(clamped, LineTimeNs());
  if (IsOpen() && !WriteTogether(ExposureRegisters(nearest), ExposureRegisters(exposureUs))) return false;
  if (exposureUs != nearest) CloseAutoGate();
  exposureUs = nearest;
  expReg = model_.sensor->ExposureLines(nearest, LineTimeNs());
  AutoExp = autoExp;
  return true;
}

// The camera has no white balance of its own: the frame path applies it.
bool CModelCamera::SetWB(int red, int blue, bool autoWhiteBalance) {
  if (hasWB_R == 0) return false;
  // Somebody who sets one colour keeps the other as it is, and this must not change it meanwhile.
  const std::scoped_lock lock(worker_->controls, worker_->registers);
  const int newRed = std::clamp(red, limits.wbMin, limits.wbMax);
  const int newBlue = std::clamp(blue, limits.wbMin, limits.wbMax);
  if (WB_Red != newRed || WB_Blue != newBlue) autoGateLimit = 0;
  WB_Red = newRed;
  WB_Blue = newBlue;
  autoWB = autoWhiteBalance;
  return true;
}

bool CModelCamera::SetHardwareBin(bool on) {
  if (hasHardwareBin == 0) return false;
  std::string reason;
  return ChangeGeometry(Region(), on, reason);
}

// What a frame was read out with shows in its geometry nowhere: none of the old mode may follow.
bool CModelCamera::SetHighSpeedMode(bool on) {
  if (hasHighSpeed == 0) return false;
  const auto change = [&] {
    const std::lock_guard lock(worker_->registers);
    if (IsOpen() && !WriteHeld(*this, HighSpeedRegisters(on), HighSpeedRegisters(HighSpeed != 0))) return false;
    HighSpeed = on;
    RoundToSensor();
    return true;
  };
  std::string reason;
  return ChangeFrames(change, reason);
}

bool CModelCamera::SetReadoutMode(int mode) {
  if (mode < 0 || static_cast<std::size_t>(mode) >= model_.sensor->Modes().size()) return false;
  const auto change = [&] {
    const std::lock_guard lock(worker_->registers);
    const int before = worker_->readoutMode;
    if (IsOpen() && !ProgramMode(mode)) {
      ProgramMode(before);
      return false;
    }
    worker_->readoutMode = mode;
    RoundToSensor();
    CloseAutoGate();
    return true;
  };
  std::string reason;
  return ChangeFrames(change, reason);
}

int CModelCamera::GetReadoutMode() const {
  return worker_->readoutMode;
}

// Its exposure in lines of that mode. The sensor takes a mode up when it wakes.
bool CModelCamera::ProgramMode(int mode) {
  const Sensor& sensor = *model_.sensor;
  RegisterBatch batch;
  sensor.AddMode(batch, mode);
  const std::uint32_t lineNs = ReadoutModeOf(model_, mode).lineTimeNs;
  sensor.AddExposure(batch, sensor.NearestExposure(exposureUs, lineNs), lineNs);
  return RunSteps(*this, sensor.Standby()) && WriteTogether(batch, batch) && RunSteps(*this, sensor.Wake());
}

bool CModelCamera::IsHardBinRun() {
  return StagesOf(iBin, HardwareBin != 0 || model_.fpgaBin).hardware > 1;
}

bool CModelCamera::FitRegion(const FrameRegion& wanted, FrameRegion& fitted, std::string& reason) const {
  if (wanted.format == ORQ_IMG_RGB24 && wanted.bin > 1 && monoBin != 0) {
    reason = "rgb24 frames have no colours while mono bin is on; choose raw8, raw16 or y8, or switch mono bin off";
    return false;
  }
  return FitRegionTo(model_, wanted, fitted, reason);
}

bool CModelCamera::SetRegion(const FrameRegion& wanted, FrameRegion& applied, std::string& reason) {
  FrameRegion fitted;
  if (!FitRegion(wanted, fitted, reason)) return false;
  if (!ChangeGeometry(fitted, HardwareBin != 0, reason)) return false;
  applied = fitted;
  return true;
}

bool CModelCamera::ChangeGeometry(const FrameRegion& region, bool hardwareBin, std::string& reason) {
  const auto change = [&] {
    const std::lock_guard lock(worker_->registers);
    const FrameSetup next = SetupFor(model_, region, hardwareBin);
    if (IsOpen() && !WriteHeld(*this, GeometryRegisters(next), GeometryRegisters(worker_->setup))) return false;
    const bool otherBin = hardwareBin != (HardwareBin != 0);
    StoreGeometry(region, hardwareBin);
    AdjustCorrections(otherBin);
    if (IsOpen()) MoveGpsLines();
    return true;
  };
  return ChangeFrames(change, reason);
}

// Called with `registers` held, or before any thread runs, after the change has been written.
void CModelCamera::CloseAutoGate() {
  worker_->measurableTag = Tag().Newest();
  autoGateLimit = 0;
}

// While no frame is under way, so that none is corrected with tables of another geometry.
void CModelCamera::AdjustCorrections(bool otherBin) {
  if (otherBin) {
    // The table's own comparison does not know who bins.
    const std::scoped_lock lock(HPCMutex);
    bHPCForce = true;
  }
  AdjustHPCTable();
  AdjustDarkBuff();
  // Without a dark that could be cut anew, the pixels that it listed lie where they did in the old geometry.
  const std::scoped_lock lock(DarkBufMutex, DarkListMutex);
  if (!pDarkBuf) {
    pDarkPixList.reset();
    iDarkPixCount = 0;
  }
}

// Stops a running capture around `change`, so that no frame from before it is delivered after it.
bool CModelCamera::ChangeFrames(const std::function<bool()>& change, std::string& reason) {
  Worker& worker = *worker_;
  const bool snap = snapMode != 0;
  bool restart = false;
  if (IsCaptureRunning()) {
    // A worker that has done its work and is about to end is not started again.
    worker.mailbox.Notify([&] { worker.restarting = restart = captureStartMark != 0 || !worker.ended; });
    if (StopCapture() == 0) StopWorkers();
  }
  const bool applied = change();
  if (applied)
    worker.mailbox.Discard();
  else
    reason = "the camera refused the region: " + LinkError();
  if (restart) {
    const bool started = StartCapture(snap) != 0;
    worker.mailbox.Notify([&] { worker.restarting = false; });
    if (applied && !started) reason = "the region was applied, but capture did not start again: " + LinkError();
    return applied && started;
  }
  return applied;
}

std::uint32_t CModelCamera::LineTimeNs() const {
  const std::uint32_t lineNs = ReadoutModeOf(model_, worker_->readoutMode).lineTimeNs;
  return HighSpeed != 0 ? lineNs / 2 : lineNs;
}

// Called with `registers` held, or before any thread runs.
void CModelCamera::StoreGeometry(const FrameRegion& region, bool hardwareBin) {
  const FrameSetup setup = SetupFor(model_, region, hardwareBin);
  worker_->setup = setup;
  CloseAutoGate();  // the frame in `autoBuf` lies there in the old geometry
  algorithm.SetBayer(setup.rawPattern);
  HardwareBin = hardwareBin;
  iStartX = region.startX;
  iStartY = region.startY;
  iWidth = region.width;
  iHeight = region.height;
  iBin = region.bin;
  b16Bit = setup.wide;
}

FrameRegion CModelCamera::Region() const {
  const std::lock_guard lock(worker_->registers);
  return worker_->setup.region;
}

int CModelCamera::FrameBytes() const {
  const std::lock_guard lock(worker_->registers);
  return static_cast<int>(worker_->setup.OutputBytes());
}

std::chrono::microseconds CModelCamera::FrameTimeLimit() const {
  const std::lock_guard lock(worker_->registers);
  return LongestFrameTime(exposureUs, worker_->setup.WireBytes());
}

}  // namespace orq
