// What the sensor is, and its settings.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

#include "alpaca/devices/CameraDevice.h"

namespace orq::network::alpaca {
namespace {

enum SensorType { kMonochrome = 0, kRggb = 2 };

constexpr double kMicrosecond = 1e-6;

// "Readout mode 0->High full well 1->Low noise" names each mode behind its arrow.
std::vector<std::string> namesIn(const std::string& description) {
  std::vector<std::string> names;
  for (std::size_t arrow = description.find("->"); arrow != std::string::npos;) {
    const std::size_t start = arrow + 2;
    arrow = description.find("->", start);
    // The next mode's number and the blank before it belong to that.
    const std::size_t end = arrow == std::string::npos ? description.size() : description.rfind(' ', arrow);
    names.push_back(description.substr(start, end - start));
  }
  return names;
}

}  // namespace

std::optional<orq_control_info> CameraDevice::controlInfo(int id) const {
  for (const orq_control_info& control : camera()->controls())
    if (control.id == id) return control;
  return std::nullopt;
}

// Of the pixel at the top left of the whole picture; a flip brings another one there.
int CameraDevice::bayerOffset(bool alongX) const {
  const orq_camera_info sensor = info();
  const Optics now = optics();
  if (!now.colour) throw CallError(kNotImplemented, "a monochrome picture has no Bayer offset");
  const bool redIsSecond = alongX ? sensor.bayer == ORQ_BAYER_GRBG || sensor.bayer == ORQ_BAYER_BGGR
                                  : sensor.bayer == ORQ_BAYER_GBRG || sensor.bayer == ORQ_BAYER_BGGR;
  const bool flipped = (now.flips & (alongX ? ORQ_FLIP_HORIZONTAL : ORQ_FLIP_VERTICAL)) != 0;
  const int pixels = alongX ? pictureWidth(sensor, now.bin) : pictureHeight(sensor, now.bin);
  const int first = flipped ? pixels - 1 : 0;
  return (first + (redIsSecond ? 1 : 0)) % 2;
}

// The converter's counts stand at the upper end of sixteen bits, or lose their lower bits for eight.
double CameraDevice::electronsPerAdu() const {
  const orq_camera_info now = camera()->info();
  if (now.electrons_per_adu <= 0)
    throw CallError(kNotImplemented, "what a count is worth is not known of this camera");
  const bool wide = format() == ORQ_FORMAT_RAW16;
  const Optics set = optics();
  // Sixteen bits are averaged where the computer bins: a count is then worth that many times the electrons.
  const int averaged = wide && !set.bright ? set.bin * set.bin : 1;
  return std::ldexp(now.electrons_per_adu, now.adc_bits - (wide ? 16 : 8)) * averaged;
}

double CameraDevice::fullWell() const {
  const double most = electronsPerAdu() * (format() == ORQ_FORMAT_RAW16 ? 65535.0 : 255.0);
  try {
    const Optics set = optics();
    return std::min(most, camera()->gainPreset(ORQ_GAIN_LARGEST_RANGE).most_electrons * set.bin * set.bin);
  } catch (const UnsupportedError&) {
    return most;
  }
}

void CameraDevice::addSensor() {
  addGet(
      "cameraxsize", [this](const Call&) { return info().sensor_width; });
  addGet("cameraysize", [this](const Call&) { return info().sensor_height; });
  for (const char* const name : {"pixelsizex", "pixelsizey"}) {
    addGet(
        name,
        [this](const Call&) -> std::optional<Json> {
          if (info().pixel_um <= 0) throw CallError(kNotImplemented, "the size of the pixels is not known");
          return info().pixel_um;
        });
  }
  addMissing("sensorname");
  addGet(
      "sensortype", [this](const Call&) { return optics().colour ? kRggb : kMonochrome; });
  addGet(
      "bayeroffsetx", [this](const Call&) { return bayerOffset(true); });
  addGet(
      "bayeroffsety", [this](const Call&) { return bayerOffset(false); });
  addGet(
      "maxadu", [this](const Call&) { return format() == ORQ_FORMAT_RAW16 ? 65535 : 255; });
  addGet(
      "electronsperadu", [this](const Call&) { return electronsPerAdu(); });
  addGet(
      "fullwellcapacity", [this](const Call&) { return fullWell(); });
  addGet(
      "hasshutter", [](const Call&) { return false; });
  addGet(
      "exposuremin",
      [this](const Call&) -> std::optional<Json> {
        return static_cast<double>(controlInfo(ORQ_CONTROL_EXPOSURE).value().minimum) * kMicrosecond;
      });
  addGet(
      "exposuremax",
      [this](const Call&) -> std::optional<Json> {
        return static_cast<double>(controlInfo(ORQ_CONTROL_EXPOSURE).value().maximum) * kMicrosecond;
      });
  addGet("exposureresolution", [](const Call&) { return kMicrosecond; });
  addMissing("subexposureduration");
  addPut("subexposureduration", [](const Call& call) -> std::optional<Json> {
    call.number("SubExposureDuration");
    throw CallError(kNotImplemented, "this camera does not add exposures up");
  });
}

// "Gain" makes Gain, GainMin and GainMax; the list of names, which stands for another kind of gain, is missing.
void CameraDevice::addValueControl(const std::string& name, int id) {
  std::string lower = name;
  lower.front() = static_cast<char>(lower.front() - 'A' + 'a');
  const auto described = [this, id, name]() {
    if (const std::optional<orq_control_info> control = controlInfo(id)) return *control;
    throw CallError(kNotImplemented, "this camera has no " + name);
  };
  addGet(
      lower,
      [this, id, described](const Call&) {
        described();
        return camera()->control(id);
      });
  addGet(
      lower + "min", [described](const Call&) { return described().minimum; });
  addGet(lower + "max", [described](const Call&) { return described().maximum; });
  addMissing(lower + "s");
  addPut(lower, [this, id, name, described](const Call& call) -> std::optional<Json> {
    const int wanted = call.integer(name);
    described();
    camera()->control(id, wanted);
    return std::nullopt;
  });
}

std::vector<std::string> CameraDevice::readoutModes() const {
  if (const auto modes = controlInfo(ORQ_CONTROL_READOUT_MODE)) {
    std::vector<std::string> names = namesIn(modes->description);
    names.resize(static_cast<std::size_t>(modes->maximum + 1), "Unnamed");
    return names;
  }
  if (controlInfo(ORQ_CONTROL_HIGH_SPEED)) return {"Normal", "High speed"};
  return {"Normal"};
}

void CameraDevice::addControls() {
  addValueControl("Gain", ORQ_CONTROL_GAIN);
  addValueControl("Offset", ORQ_CONTROL_OFFSET);

  // Readout modes say it better.
  addGet("canfastreadout", [](const Call&) { return false; });
  addMissing("fastreadout");
  addPut(
      "fastreadout",
      [](const Call& call) -> std::optional<Json> {
        call.truth("FastReadout");
        throw CallError(kNotImplemented, "this camera has readout modes instead");
      });
  addGet("readoutmodes", [this](const Call&) { return readoutModes(); });
  const auto controlOfModes = [this]() -> std::optional<int> {
    for (const int id : {ORQ_CONTROL_READOUT_MODE, ORQ_CONTROL_HIGH_SPEED})
      if (controlInfo(id)) return id;
    return std::nullopt;
  };
  addGet(
      "readoutmode",
      [this, controlOfModes](const Call&) -> std::optional<Json> {
        const std::optional<int> id = controlOfModes();
        return id ? camera()->control(*id) : 0;
      });
  addPut("readoutmode", [this, controlOfModes](const Call& call) -> std::optional<Json> {
    const int wanted = call.integer("ReadoutMode");
    if (wanted < 0 || static_cast<std::size_t>(wanted) >= readoutModes().size()) {
      throw CallError(kInvalidValue, "there is no readout mode " + std::to_string(wanted));
    }
    if (const std::optional<int> id = controlOfModes()) {
      slot().turns().change("the readout mode", [&] { camera()->control(*id, wanted); });
    }
    return std::nullopt;
  });
}

}  // namespace orq::network::alpaca
