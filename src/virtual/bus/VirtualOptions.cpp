#include "virtual/bus/VirtualOptions.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "support/BayerNames.h"
#include "virtual/device/DeviceData.h"
#include "virtual/sensor/SensorData.h"

namespace orq {
namespace {

/// Stores an option's value; false when the value is wrong.
using Setter = bool (*)(VirtualOptions& options, std::string_view value);

struct OptionEntry {
  std::string_view name;
  std::string_view expects;  ///< for error messages
  Setter set;
};

struct FaultEntry {
  std::string_view name;
  FrameFault::Kind kind;
};

struct FlashFaultEntry {
  std::string_view name;
  FlashFault::Kind kind;
};

template <class T>
bool Number(std::string_view text, T lowest, T highest, T& value, int base = 10) {
  T number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size() || number < lowest || number > highest)
    return false;
  value = number;
  return true;
}

bool Real(std::string_view text, double lowest, double highest, double& value) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number) || number < lowest ||
      number > highest)
    return false;
  value = number;
  return true;
}

bool Text(std::string_view text, std::string& value) {
  value = text;
  return !text.empty();
}

bool SetUsb(VirtualOptions& options, std::string_view value) {
  options.usb3 = value == "3";
  return value == "2" || value == "3";
}

bool SetBayer(VirtualOptions& options, std::string_view value) {
  options.bayer = BayerByName(value).value_or(-1);
  return options.bayer != -1 || value == "mono";
}

bool SetSerial(VirtualOptions& options, std::string_view value) {
  std::uint64_t number = 0;
  options.serial = value;
  return value.size() == 16 &&
         Number(value, std::uint64_t{0}, std::numeric_limits<std::uint64_t>::max(), number, 16);
}

bool SetScene(VirtualOptions& options, std::string_view value) {
  options.scene = value;
  return value == "stars" || value == "planet" || value == "flat" || value == "dark";
}

/// A byte, decimal or 0x….
std::optional<std::uint8_t> Byte(std::string_view value) {
  int byte = 0;
  const bool hex = value.starts_with("0x") || value.starts_with("0X");
  if (!Number(hex ? value.substr(2) : value, 0, 255, byte, hex ? 16 : 10)) return std::nullopt;
  return static_cast<std::uint8_t>(byte);
}

bool AddRefusal(VirtualOptions& options, std::string_view value) {
  const auto request = Byte(value);
  if (request) options.refuse.push_back(*request);
  return request.has_value();
}

bool SetFpgaType(VirtualOptions& options, std::string_view value) {
  options.fpgaType = Byte(value);
  return options.fpgaType.has_value();
}

/// A time with its unit (s, ms or us), in µs.
bool Duration(std::string_view text, double lowestUs, double highestUs, double& us) {
  struct Unit {
    std::string_view name;
    double us;
  };
  static constexpr Unit kUnits[] = {{"ms", 1e3}, {"us", 1.0}, {"s", 1e6}};
  const auto* unit = std::ranges::find_if(kUnits, [&](const Unit& each) { return text.ends_with(each.name); });
  if (unit == std::end(kUnits)) return false;
  text.remove_suffix(unit->name.size());
  if (!Real(text, lowestUs / unit->us, highestUs / unit->us, us)) return false;
  us *= unit->us;
  return true;
}

bool SetTriggerPeriod(VirtualOptions& options, std::string_view value) {
  constexpr double kMillisecondUs = 1e3;
  constexpr double kHourUs = 3.6e9;
  double us = 0;
  if (!Duration(value, kMillisecondUs, kHourUs, us)) return false;
  options.triggerPeriodUs = std::llround(us);
  return true;
}

bool SetReplug(VirtualOptions& options, std::string_view value) {
  constexpr double kMillisecondUs = 1e3;
  constexpr double kHourUs = 3.6e9;
  double us = 0;
  if (!Duration(value, kMillisecondUs, kHourUs, us)) return false;
  options.replugUs = std::llround(us);
  return true;
}

VirtualGps& Gps(VirtualOptions& options) {
  return options.gps ? *options.gps : options.gps.emplace();
}

/// The word before the next slash, which is taken off `text` with the slash.
std::string_view NextPart(std::string_view& text) {
  const std::size_t slash = std::min(text.find('/'), text.size());
  const std::string_view part = text.substr(0, slash);
  text.remove_prefix(std::min(slash + 1, text.size()));
  return part;
}

bool SetGpsPosition(VirtualOptions& options, std::string_view value) {
  constexpr double kLowestMetres = -500;
  constexpr double kHighestMetres = 9999.9;
  VirtualGps& gps = Gps(options);
  return std::ranges::count(value, '/') == 2 && Real(NextPart(value), -90, 90, gps.latitude) &&
         Real(NextPart(value), -180, 180, gps.longitude) &&
         Real(value, kLowestMetres, kHighestMetres, gps.altitudeMetres);
}

bool SetGpsRoute(VirtualOptions& options, std::string_view value) {
  VirtualGps& gps = Gps(options);
  return std::ranges::count(value, '/') == 1 && Real(NextPart(value), 0, 10'000, gps.metresPerSecond) &&
         Real(value, 0, 360, gps.courseDegrees);
}

bool SetGpsTime(VirtualOptions& options, std::string_view value) {
  const std::optional<UtcTime> time = value == "now" ? std::chrono::system_clock::now() : ParseUtc(value);
  if (time) Gps(options).start = *time;
  return time.has_value();
}

/// UTC/DURATION
bool Span(std::string_view text, UtcTime& start, double& seconds) {
  constexpr double kLongestUs = 1e9;
  const std::optional<UtcTime> parsed = ParseUtc(NextPart(text));
  double us = 0;
  if (!parsed || !Duration(text, 1.0, kLongestUs, us)) return false;
  start = *parsed;
  seconds = us * 1e-6;
  return true;
}

bool SetFlash(VirtualOptions& options, std::string_view value) {
  VirtualFlash& flash = options.flash.emplace();
  return Span(value, flash.start, flash.seconds);
}

bool SetOccultation(VirtualOptions& options, std::string_view value) {
  VirtualOccultation& occultation = options.occultation.emplace();
  return Span(value, occultation.start, occultation.seconds);
}

bool SetPlanet(VirtualOptions& options, std::string_view value) {
  constexpr double kFastest = 10'000;
  VirtualPlanet& planet = options.planet.emplace();
  return std::ranges::count(value, '/') == 2 && Real(NextPart(value), 4, 2000, planet.diameter) &&
         Real(NextPart(value), -kFastest, kFastest, planet.driftX) &&
         Real(value, -kFastest, kFastest, planet.driftY);
}

constexpr int kMostPreRendered = 64;
constexpr int kLongestFlashMs = 10000;

constexpr int kLastFocusPosition = 1023;

constexpr OptionEntry kOptions[] = {
    {"seed", "a whole number from 0",
     [](VirtualOptions& o, std::string_view v) {
       return Number(v, std::uint64_t{0}, std::numeric_limits<std::uint64_t>::max(), o.seed);
     }},
    {"timescale", "a number from 0 to 1000",
     [](VirtualOptions& o, std::string_view v) { return Real(v, 0, 1000, o.timeScale); }},
    {"usb", "2 or 3", SetUsb},
    {"file", "a file name", [](VirtualOptions& o, std::string_view v) { return Text(v, o.file); }},
    {"bayer", "RGGB, BGGR, GRBG, GBRG or mono", SetBayer},
    {"prerender", "a whole number from 0 to 64",
     [](VirtualOptions& o, std::string_view v) { return Number(v, 0, kMostPreRendered, o.preRender); }},
    {"serial", "16 hexadecimal digits", SetSerial},
    {"state", "a file name", [](VirtualOptions& o, std::string_view v) { return Text(v, o.state); }},
    {"temp", "degrees Celsius from -100 to 100",
     [](VirtualOptions& o, std::string_view v) { return Real(v, -100, 100, o.temperatureC.emplace()); }},
    {"ambient", "degrees Celsius from -100 to 100",
     [](VirtualOptions& o, std::string_view v) { return Real(v, -100, 100, o.ambientC.emplace()); }},
    {"scene", "stars, planet, flat or dark", SetScene},
    {"flux", "electrons per pixel and second from 0 to 1e12",
     [](VirtualOptions& o, std::string_view v) { return Real(v, 0, 1e12, o.fluxElectronsPerSecond); }},
    {"flash", "UTC/DURATION (2030-01-01T00:00:05.25/500us, say)", SetFlash},
    {"occult", "UTC/DURATION (2030-01-01T00:00:02.5/800ms, say)", SetOccultation},
    {"planet", "DIAMETER/X/Y (pixels, pixels per second; 60/12/-3, say)", SetPlanet},
    {"gps", "sim, nofix or a file name",
     [](VirtualOptions& o, std::string_view v) { return Text(v, Gps(o).source); }},
    {"gpsver", "0 or 1",
     [](VirtualOptions& o, std::string_view v) { return Number(v, 0, 1, Gps(o).version.emplace()); }},
    {"gpspos", "LATITUDE/LONGITUDE/ALTITUDE (degrees, degrees, metres; 47.26/11.38/574.3, say)", SetGpsPosition},
    {"gpsroute", "SPEED/COURSE (metres per second, degrees; 30/90, say)", SetGpsRoute},
    {"gpstime", "now or UTC as 2030-01-01T00:00:00, from 2023 to 2254", SetGpsTime},
    {"illuminant", "a colour temperature from 1000 to 40000 kelvins",
     [](VirtualOptions& o, std::string_view v) {
       return Real(v, kLowestIlluminant, kHighestIlluminant, o.illuminantKelvin);
     }},
    {"focus", "a position of the focus motor from 0 to 1023",
     [](VirtualOptions& o, std::string_view v) { return Number(v, 0, kLastFocusPosition, o.focus); }},
    {"drop", "a fraction from 0 to 1",
     [](VirtualOptions& o, std::string_view v) { return Real(v, 0, 1, o.dropRate); }},
    {"flashfail", "a whole number from 1",
     [](VirtualOptions& o, std::string_view v) {
       return Number(v, 1, std::numeric_limits<int>::max(), o.flashFail);
     }},
    {"countlines", "0 or 1",
     [](VirtualOptions& o, std::string_view v) {
       int count = 0;
       const bool good = Number(v, 0, 1, count);
       o.countLines = count != 0;
       return good;
     }},
    {"flashms", "milliseconds from 0 to 10000",
     [](VirtualOptions& o, std::string_view v) { return Number(v, 0, kLongestFlashMs, o.flashMs); }},
    {"refuse", "a request code from 0 to 255 (0xD4, say)", AddRefusal},
    {"fpga", "a type code from 0 to 255 (0xC0, say)", SetFpgaType},
    {"replug", "a time from 1ms to 3600s with its unit", SetReplug},
    {"trigger", "a period from 1ms to 3600s with its unit", SetTriggerPeriod},
};

constexpr FaultEntry kFaults[] = {
    {"short", FrameFault::Kind::Short},         {"oversize", FrameFault::Kind::Oversize},
    {"badheader", FrameFault::Kind::BadHeader}, {"badtrailer", FrameFault::Kind::BadTrailer},
    {"order", FrameFault::Kind::OutOfSequence}, {"lose", FrameFault::Kind::Drop},
    {"stall", FrameFault::Kind::Stall},         {"error", FrameFault::Kind::Error},
    {"unplug", FrameFault::Kind::Unplug},
};

constexpr FlashFaultEntry kFlashFaults[] = {
    {"flasherase", FlashFault::Kind::Erase},
    {"flashread", FlashFault::Kind::Read},
    {"flashflip", FlashFault::Kind::WeakWrite},
    {"flashpower", FlashFault::Kind::PowerLoss},
};

/// The names in `entries`, with `before` and `after` around each.
template <class Entries>
std::string Names(const Entries& entries, std::string_view after) {
  std::string names;
  for (const auto& entry : entries) {
    names += names.empty() ? "" : ", ";
    names += entry.name;
    names += after;
  }
  return names;
}

std::string FaultNames() {
  return Names(kFaults, "@N") + ", " + Names(kFlashFaults, "@N");
}

std::string Quoted(std::string_view word) {
  std::string quoted(1, '\'');
  quoted += word;
  quoted += '\'';
  return quoted;
}

bool ParseModel(std::string_view word, VirtualOptions& options, std::string& error) {
  const auto& models = VirtualModels();
  if (std::ranges::find(models, word, &VirtualModelName::name) == models.end()) {
    error = "unknown virtual camera " + Quoted(word) + "; there are " + Names(models, "");
    return false;
  }
  options.model = word;
  return true;
}

bool ParseFault(std::string_view word, std::size_t at, VirtualOptions& options, std::string& error) {
  const auto* frameFault = std::ranges::find(kFaults, word.substr(0, at), &FaultEntry::name);
  const auto* flashFault = std::ranges::find(kFlashFaults, word.substr(0, at), &FlashFaultEntry::name);
  const bool ofFrame = frameFault != std::end(kFaults);
  if (!ofFrame && flashFault == std::end(kFlashFaults)) {
    error = "unknown fault " + Quoted(word) + "; faults are " + FaultNames();
    return false;
  }
  std::uint64_t number = 0;
  if (!Number(word.substr(at + 1), std::uint64_t{1}, std::numeric_limits<std::uint64_t>::max(), number)) {
    error = "fault " + Quoted(word) + " needs " + (ofFrame ? "a frame" : "an operation's") +
            " number from 1 after the @";
    return false;
  }
  if (ofFrame)
    options.frameFaults.push_back({frameFault->kind, number});
  else
    options.flashFaults.push_back({flashFault->kind, number});
  return true;
}

bool ParseOption(std::string_view word, VirtualOptions& options, std::string& error) {
  const std::size_t equals = word.find('=');
  const std::size_t at = word.find('@');
  if (equals == std::string_view::npos && at != std::string_view::npos)
    return ParseFault(word, at, options, error);
  const auto* option = std::ranges::find(kOptions, word.substr(0, equals), &OptionEntry::name);
  if (option == std::end(kOptions)) {
    error =
        "unknown option " + Quoted(word) + "; options are " + Names(kOptions, "=") + " and faults " + FaultNames();
    return false;
  }
  const std::string_view value = equals == std::string_view::npos ? "" : word.substr(equals + 1);
  if (!option->set(options, value)) {
    error =
        "option " + Quoted(word) + ": " + std::string(option->name) + "= takes " + std::string(option->expects);
    return false;
  }
  return true;
}

/// Depth and size as the end of a model's line; nothing where recorded frames decide them.
std::string SensorFacts(const SensorData* sensor) {
  return sensor == nullptr ? ""
                           : ", " + std::to_string(sensor->adcBits) + " bit, " + std::to_string(sensor->width) +
                                 " x " + std::to_string(sensor->height);
}

/// What only the whole can show.
bool Consistent(const VirtualOptions& options, std::string& error) {
  if (options.model == "replay" && options.file.empty()) {
    error = "virtual:replay needs file=NAME (a FITS, PGM or SER file)";
    return false;
  }
  if (options.model != "replay" && (!options.file.empty() || options.bayer.has_value())) {
    error = "options file= and bayer= are for virtual:replay only";
    return false;
  }
  if (options.gps && FindDevice(options.model)->gpsVersion < 0) {
    error = "options gps…= are for virtual models with a GPS";
    return false;
  }
  const bool timed = FindDevice(options.model)->gpsVersion >= 0 && options.preRender == 0 &&
                     options.gps.value_or(VirtualGps()).source == VirtualGps::kSimulated;
  if (options.flash && !timed) {
    error = "option flash= needs a virtual model with a GPS and its simulated time, and no prerender=";
    return false;
  }
  if (options.occultation && (!timed || options.scene != "stars")) {
    error = "option occult= needs stars, a virtual model with a GPS and its simulated time, and no prerender=";
    return false;
  }
  if (options.planet && options.scene != "planet") {
    error = "option planet= is for scene=planet only";
    return false;
  }
  return true;
}

}  // namespace

std::optional<VirtualOptions> ParseVirtualOptions(std::string_view text, std::string& error) {
  VirtualOptions options;
  std::size_t end = std::min(text.find(','), text.size());
  if (!ParseModel(text.substr(0, end), options, error)) return std::nullopt;
  while (end < text.size()) {
    text.remove_prefix(end + 1);
    end = std::min(text.find(','), text.size());
    if (!ParseOption(text.substr(0, end), options, error)) return std::nullopt;
  }
  if (!Consistent(options, error)) return std::nullopt;
  return options;
}

const std::vector<VirtualModelName>& VirtualModels() {
  static const std::vector<VirtualModelName> kModels = [] {
    std::vector<VirtualModelName> models;
    for (const DeviceData& device : AllDevices()) {
      const SensorData* sensor = FindSensor(device.key);
      if (sensor != nullptr || device.key == "replay")
        models.push_back({std::string(device.key), std::string(device.summary) + SensorFacts(sensor)});
    }
    return models;
  }();
  return kModels;
}

}  // namespace orq
