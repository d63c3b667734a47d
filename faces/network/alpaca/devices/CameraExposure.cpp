// Subframe, exposure, picture.
#include <cmath>

#include "alpaca/devices/CameraDevice.h"
#include "alpaca/devices/Times.h"
#include "alpaca/image/ImageAnswer.h"

namespace orq::network::alpaca {
namespace {

enum CameraState { kIdle = 0, kExposing = 2, kReading = 3, kError = 5 };

constexpr double kMicroseconds = 1e6;

}  // namespace

int CameraDevice::format() const {
  return (info().formats & 1U << ORQ_FORMAT_RAW16) != 0 ? ORQ_FORMAT_RAW16 : ORQ_FORMAT_RAW8;
}

Optics CameraDevice::optics() const {
  Optics now;
  {
    const std::scoped_lock lock(mutex_);
    now.bin = bin_;
  }
  now.format = format();
  bool mixes = false;
  const std::shared_ptr<Camera> open = camera();
  for (const orq_control_info& control : open->controls()) {
    if (control.id == ORQ_CONTROL_FLIP) now.flips = static_cast<int>(open->control(control.id));
    if (control.id == ORQ_CONTROL_MONO_BIN) mixes = open->control(control.id) != 0;
    if (control.id == ORQ_CONTROL_HARDWARE_BIN) now.bright = open->control(control.id) != 0;
  }
  now.colour = info().bayer != ORQ_BAYER_NONE && !(mixes && now.bin > 1);
  return now;
}

Subframe CameraDevice::wholePicture() const {
  const orq_camera_info sensor = info();
  return {0, 0, sensor.sensor_width, sensor.sensor_height};
}

Subframe CameraDevice::subframe() const {
  const Subframe whole = wholePicture();
  const std::scoped_lock lock(mutex_);
  return subframe_.value_or(whole);
}

void CameraDevice::addSubframe() {
  const auto addField = [this](const std::string& name, int Subframe::*field) {
    std::string lower = name;
    for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    addGet(lower, [this, field](const Call&) { return subframe().*field; });
    addPut(lower, [this, field, name](const Call& call) -> std::optional<Json> {
      const int wanted = call.integer(name);
      // Clients set one number after the other: only the exposure tells whether they fit together.
      if (wanted < 0) throw CallError(kInvalidValue, name + " is not negative");
      const Subframe whole = wholePicture();
      const std::scoped_lock lock(mutex_);
      if (!subframe_) subframe_ = whole;
      *subframe_.*field = wanted;
      return std::nullopt;
    });
  };
  addField("StartX", &Subframe::startX);
  addField("StartY", &Subframe::startY);
  addField("NumX", &Subframe::width);
  addField("NumY", &Subframe::height);

  addGet("canasymmetricbin", [](const Call&) { return false; });
  for (const char* const name : {"BinX", "BinY"}) {
    const std::string axis = name;
    const std::string lower = axis == "BinX" ? "binx" : "biny";
    addGet(lower, [this](const Call&) {
      const std::scoped_lock lock(mutex_);
      return bin_;
    });
    addGet(
        "max" + lower,
        [this](const Call&) {
          int most = 1;
          for (int bin = 1; bin < 32; ++bin) most = (info().bins >> bin & 1U) != 0 ? bin : most;
          return most;
        });
    addPut(lower, [this, axis](const Call& call) -> std::optional<Json> {
      const int bin = call.integer(axis);
      if (bin < 1 || bin > 31 || (info().bins >> bin & 1U) == 0) {
        throw CallError(kInvalidValue, "this camera does not offer bin " + std::to_string(bin));
      }
      const std::scoped_lock lock(mutex_);
      bin_ = bin;
      return std::nullopt;
    });
  }
}

// Readout begins with the exposure's end, and an exposure of the least length serves for a bias.
void CameraDevice::startExposure(const Call& call) {
  const double seconds = call.number("Duration");
  call.truth("Light");  // there is no shutter
  const orq_control_info range = controlInfo(ORQ_CONTROL_EXPOSURE).value();
  if (seconds < 0 || seconds * kMicroseconds > static_cast<double>(range.maximum)) {
    throw CallError(kInvalidValue, "an exposure takes from 0 to " +
                                       std::to_string(range.maximum / static_cast<std::int64_t>(kMicroseconds)) +
                                       " s");
  }
  const std::int64_t us = std::max<std::int64_t>(std::llround(seconds * kMicroseconds), range.minimum);
  const Optics now = optics();
  const Subframe wanted = subframe();
  const std::shared_ptr<Camera> open = camera();
  const auto fit = [&open](const orq_region& region) {
    try {
      return open->fit(region);
    } catch (const RangeError&) {
      return sized<orq_region>();  // none that is near it
    }
  };
  exposures_.start(planReading(info(), now, wanted, fit), now, static_cast<std::uint64_t>(us));
}

int CameraDevice::cameraState() const {
  switch (exposures_.standing().stage) {
    case Exposures::Stage::exposing:
      return kExposing;
    case Exposures::Stage::reading:
      return kReading;
    case Exposures::Stage::failed:
      return kError;
    case Exposures::Stage::idle:
      break;
  }
  return kIdle;
}

std::shared_ptr<const Image> CameraDevice::demandImage() const {
  if (std::shared_ptr<const Image> image = exposures_.image()) return image;
  const std::string trouble = exposures_.standing().trouble;
  if (!trouble.empty()) throw CallError(kDriverError, "the exposure failed: " + trouble);
  throw CallError(kInvalidOperation, "there is no picture; start an exposure and wait until ImageReady is true");
}

void CameraDevice::addExposure() {
  addGet(
      "canabortexposure", [](const Call&) { return true; });
  addGet(
      "canstopexposure", [](const Call&) { return false; });
  addGet(
      "camerastate", [this](const Call&) { return cameraState(); });
  addGet(
      "percentcompleted", [this](const Call&) { return exposures_.standing().percent; });
  addGet(
      "imageready", [this](const Call&) { return exposures_.image() != nullptr; });
  addGet(
      "lastexposureduration",
      [this](const Call&) { return static_cast<double>(demandImage()->exposureUs) / kMicroseconds; });
  addGet("lastexposurestarttime", [this](const Call&) { return utcText(demandImage()->startUnixNs); });
  addGet("imagearray", [this](const Call&) -> std::optional<Json> {
    demandImage();
    return std::nullopt;
  });
  addMissing("imagearrayvariant");
  addPut("startexposure", [this](const Call& call) -> std::optional<Json> {
    startExposure(call);
    return std::nullopt;
  });
  addPut(
      "abortexposure",
      [this](const Call&) -> std::optional<Json> {
        exposures_.abort();
        return std::nullopt;
      });
  addPut("stopexposure", [](const Call&) -> std::optional<Json> {
    throw CallError(kNotImplemented, "an exposure can be aborted, not read out early");
  });
}

// The picture itself is no value like the others: it is sent while it is made, and as bytes to who takes them.
Response CameraDevice::imageArray(const Request& request) {
  const Call call(request);
  const bool bytes = takesBytes(request);
  try {
    demandConnected(call);
    const std::shared_ptr<const Image> image = demandImage();
    return bytes ? bytesAnswer(call, image) : textAnswer(call, image);
  } catch (...) {
    const CallFailure failure = failureOf(std::current_exception());
    return bytes ? bytesFailure(call, failure) : errorAnswer(call, failure);
  }
}

Response CameraDevice::answer(const std::string& method, const Request& request) {
  if (method == "imagearray" && request.method == "GET") return imageArray(request);
  return Device::answer(method, request);
}

}  // namespace orq::network::alpaca
