// Geometry, exposures, and the way of a frame to the clients.
#include <fitsio.h>
#include <indilogger.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "camera/CameraDevice.h"
#include "camera/FitsHeader.h"

namespace orq::indi {
namespace {

int bytesPerPixel(int format) {
  return format == ORQ_FORMAT_RGB24 ? 3 : format == ORQ_FORMAT_RAW16 ? 2 : 1;
}

/// Blue, green, red of a pixel side by side become three planes, red first, as FITS has colours.
void toPlanes(const Frame& frame, std::vector<std::uint8_t>& planes) {
  planes.resize(frame.size());
  std::uint8_t* to = planes.data();
  const std::uint8_t* const from = frame.data();
  const std::size_t pixels = frame.size() / 3;
  for (std::size_t colour = 0; colour < 3; ++colour)
    for (std::size_t i = 0; i < pixels; ++i) *to++ = from[3 * i + 2 - colour];
}

orq_labels labelsOf(INDI::CCDChip::CCD_FRAME type, const char* observer, const char* object) {
  orq_labels labels = sized<orq_labels>();
  switch (type) {
    case INDI::CCDChip::DARK_FRAME:
      labels.image_type = ORQ_IMAGE_DARK;
      break;
    case INDI::CCDChip::BIAS_FRAME:
      labels.image_type = ORQ_IMAGE_BIAS;
      break;
    case INDI::CCDChip::FLAT_FRAME:
      labels.image_type = ORQ_IMAGE_FLAT;
      break;
    default:
      labels.image_type = ORQ_IMAGE_LIGHT;
  }
  std::strncpy(labels.observer, observer, sizeof labels.observer - 1);
  std::strncpy(labels.object, object, sizeof labels.object - 1);
  return labels;
}

/// What clients set may be longer than a card, or no ASCII.
std::string forCard(const char* text) {
  constexpr std::size_t kMost = 68;
  std::string plain(text != nullptr ? text : "");
  std::replace_if(
      plain.begin(), plain.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return plain.substr(0, kMost);
}

}  // namespace

void CameraDevice::applyLabels() {
  if (!camera_ || lost_) return;
  const std::string observer = forCard(FITSHeaderT[FITS_OBSERVER].text);
  std::string object = forCard(FITSHeaderT[FITS_OBJECT].text);
  if (object == "Unknown") object.clear();  // INDI's words for nothing
  camera_->labels(
      labelsOf(PrimaryCCD.getFrameType(), observer == "Unknown" ? "" : observer.c_str(), object.c_str()));
}

bool CameraDevice::UpdateCCDFrameType(INDI::CCDChip::CCD_FRAME type) {
  PrimaryCCD.setFrameType(type);
  if (type == INDI::CCDChip::DARK_FRAME || type == INDI::CCDChip::BIAS_FRAME)
    LOG_INFO("This camera has no shutter: cover the telescope or the sensor for dark and bias frames.");
  applyLabels();
  return true;
}

// ---- Geometry ----

bool CameraDevice::applyRegion(const orq_region& wanted) {
  try {
    demandFree();
    showRegion(camera_->region(wanted));
    return afterChange();
  } catch (const Error& failure) {
    LOGF_ERROR("%s", failure.what());
  }
  try {
    showRegion(camera_->region());  // clients go on seeing what holds
  } catch (const Error&) {
    // It is lost, and its clients are told of that.
  }
  return false;
}

void CameraDevice::showRegion(const orq_region& region) {
  PrimaryCCD.setBin(static_cast<std::uint8_t>(region.bin), static_cast<std::uint8_t>(region.bin));
  PrimaryCCD.setFrame(static_cast<std::uint32_t>(region.start_x), static_cast<std::uint32_t>(region.start_y),
                      static_cast<std::uint32_t>(region.width * region.bin),
                      static_cast<std::uint32_t>(region.height * region.bin));
  PrimaryCCD.setBPP(region.format == ORQ_FORMAT_RAW16 ? 16 : 8);
  PrimaryCCD.setNAxis(region.format == ORQ_FORMAT_RGB24 ? 3 : 2);
  const int bytes = region.width * region.height * bytesPerPixel(region.format);
  PrimaryCCD.setFrameBufferSize(static_cast<std::uint32_t>(bytes),
                                false);  // the pixels stay where the library has them
}

/// What clients asked for last with another bin or format: what that one had to round off is not lost for good.
bool CameraDevice::applyAsked(int bin, int format) {
  orq_region wanted = asked_;
  wanted.width = asked_.width / bin;
  wanted.height = asked_.height / bin;
  wanted.bin = bin;
  wanted.format = format;
  return applyRegion(wanted);
}

bool CameraDevice::UpdateCCDFrame(int x, int y, int w, int h) {
  if (!camera_) return false;
  orq_region present{};
  if (!attempt([&] { present = camera_->region(); })) return false;
  const orq_region before = asked_;
  asked_ = {sizeof(orq_region), x, y, w, h, 1, present.format, 0};
  if (applyAsked(present.bin, present.format)) return true;
  asked_ = before;
  return false;
}

bool CameraDevice::UpdateCCDBin(int hor, int ver) {
  if (!camera_) return false;
  orq_region present{};
  if (!attempt([&] { present = camera_->region(); })) return false;
  if (hor == ver && hor > 0 && hor < 32 && (info_.bins >> hor & 1U) != 0) return applyAsked(hor, present.format);
  std::string bins;
  for (int bin = 1; bin < 32; ++bin)
    if ((info_.bins >> bin & 1U) != 0) bins += (bins.empty() ? "" : ", ") + std::to_string(bin);
  LOGF_ERROR("This camera bins alike in both directions, by %s.", bins.c_str());
  showRegion(present);
  return false;
}

bool CameraDevice::SetCaptureFormat(uint8_t index) {
  if (!camera_ || index >= formats_.size()) return false;
  orq_region present{};
  if (!attempt([&] { present = camera_->region(); })) return false;
  return applyAsked(present.bin, formats_[index]);
}

/// INDI's own way would show what was asked for, not the region that it became.
bool CameraDevice::setFrame(NumberRequest request) {
  INDI::Property known = getProperty("CCD_FRAME");
  complete(request, known);
  int x = 0, y = 0, width = 0, height = 0;
  for (const auto& [element, value] : request.values) {
    int& to = element == "X" ? x : element == "Y" ? y : element == "WIDTH" ? width : height;
    to = static_cast<int>(std::lround(value));
  }
  known.setState(UpdateCCDFrame(x, y, width, height) ? IPS_OK : IPS_ALERT);
  known.apply();
  return true;
}

/// INDI's own way reads two values, however many a client has sent, and leaves away what lies behind the point. Of
/// one direction alone the other follows.
bool CameraDevice::setBinning(const NumberRequest& request) {
  INDI::Property known = getProperty("CCD_BINNING");
  const auto whole = [](double bin) { return bin == std::floor(bin) ? static_cast<int>(bin) : 0; };
  const int first = whole(request.values.front().value);
  known.setState(UpdateCCDBin(first, whole(request.values.back().value)) ? IPS_OK : IPS_ALERT);
  known.apply();
  return true;
}

void CameraDevice::showBayer(int bayer) {
  if (info_.bayer == ORQ_BAYER_NONE) return;
  const char* const type = orq_bayer_name(bayer);
  if (BayerT[2].text != nullptr && std::strcmp(BayerT[2].text, type) == 0) return;
  IUSaveText(&BayerT[0], "0");
  IUSaveText(&BayerT[1], "0");
  IUSaveText(&BayerT[2], type);
  IDSetText(&BayerTP, nullptr);
}

// ---- Exposures ----

/// The library would wait for the end of such work, and with it all cameras of the driver.
void CameraDevice::demandFree() const {
  if (!busyWith_.empty()) throw BusyError(busyWith_ + ": wait for its end");
}

bool CameraDevice::StartExposure(float seconds) {
  // INDI hands over a float, which is not exact enough for the microseconds of long exposures.
  const double exact = std::fabs(ExposureTime - seconds) < 1e-6 * seconds ? ExposureTime : seconds;
  return attempt([&] {
    if (lost_ || !camera_) throw LostError("the camera is gone: plug it in");
    demandFree();
    uploads_.awaitIdle();
    const auto exposure = std::chrono::microseconds(std::llround(exact * 1e6));
    camera_->startExposure(exposure);
    exposureUs_ = exposure.count();
    PrimaryCCD.setExposureDuration(exact);
    countdownTold_ = std::chrono::steady_clock::now();
    exposing_ = true;
  });
}

bool CameraDevice::AbortExposure() {
  exposing_ = false;
  if (!camera_ || lost_) return true;
  endStream(nullptr);
  endPulses();
  // A sensor that is being warmed up goes on: what aborts that switches the cooler off at once.
  return attempt([&] { busyWith_.empty() ? camera_->abortExposure() : camera_->abort(); });
}

void CameraDevice::failExposure(const char* text) {
  if (!exposing_.exchange(false)) return;
  LOGF_ERROR("The exposure has failed: %s", text);
  PrimaryCCD.setExposureFailed();
}

void CameraDevice::takeFrame() {
  Frame frame;
  try {
    frame = camera_->wait(std::chrono::nanoseconds(0));
  } catch (const Error&) {
    return;  // none is there: it was fetched before, or its exposure aborted
  }
  if (!exposing_.exchange(false)) return;
  deliver(frame);
}

void CameraDevice::deliver(const Frame& frame) {
  if (!uploads_.awaitIdle()) {
    LOG_ERROR("The last picture is still being sent: this one is dropped.");
    PrimaryCCD.setExposureFailed();
    return;
  }
  const orq_frame_info info = frame.info();
  showRegion({sizeof(orq_region), info.start_x, info.start_y, info.width, info.height, info.bin, info.format, 0});
  showBayer(info.bayer);
  for (const auto& panel : panels_) panel->frame(frame);
  shown_ = frame;
  if (info.format == ORQ_FORMAT_RGB24) {
    toPlanes(frame, planes_);
    PrimaryCCD.setFrameBuffer(planes_.data());
  } else {
    PrimaryCCD.setFrameBuffer(const_cast<std::uint8_t*>(frame.data()));  // INDI only reads it
  }
  PrimaryCCD.setExposureLeft(0);
  PrimaryCCD.setImageExtension("fits");  // INDI leaves it at "bin" once pixels alone have been sent
  uploads_.begin();
  ExposureComplete(&PrimaryCCD);
}

/// What was shown last is no longer needed, unless it is still on its way to somebody who does not take it.
void CameraDevice::forgetFrame() {
  if (!uploads_.awaitIdle()) return;
  PrimaryCCD.setFrameBuffer(nullptr);
  shown_ = Frame();
}

// On the thread that makes the file and sends it, before anything else there.
bool CameraDevice::processFastExposure(INDI::CCDChip* chip) {
  uploads_.endWithThisThread();
  return INDI::CCD::processFastExposure(chip);
}

// On the same thread.
void CameraDevice::addFITSKeywords(INDI::CCDChip* chip) {
  INDI::CCD::addFITSKeywords(chip);
  writeHeader(*chip->fitsFilePointer(), shown_);
}

}  // namespace orq::indi
