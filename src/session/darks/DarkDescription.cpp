#include "session/darks/DarkDescription.h"

#include <cmath>
#include <cstddef>
#include <optional>
#include <vector>

#include "session/cooling/Climate.h"
#include "session/frame/Readout.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::session {

namespace {

// A dark current grows with the exposure and doubles every six degrees or so.
constexpr std::uint64_t kExposureShare = 10;  // a tenth may differ
constexpr double kToleranceC = 2.0;

bool ExposuresDiffer(std::uint64_t dark, std::uint64_t now) {
  const std::uint64_t difference = now > dark ? now - dark : dark - now;
  return difference * kExposureShare > dark;
}

}  // namespace

std::string DescriptionText(const DarkDescription& description) {
  const DarkFacts& facts = description.facts;
  std::string text = Format("%d x %s, gain %d", facts.frames, ExposureText(facts.exposureUs).c_str(), facts.gain);
  if (facts.sensorC) text += Format(", %.1f C", static_cast<double>(*facts.sensorC));
  constexpr std::size_t kToSeconds = 19;
  return text + ", " + IsoUtc(facts.takenUnixUs).substr(0, kToSeconds);
}

DarkDescription PresentSettings(CModelCamera& camera, const std::string& serial) {
  DarkDescription now;
  now.model = camera.modelName;
  now.serial = serial;
  now.facts.exposureUs = camera.exposureUs;
  now.facts.gain = camera.gain;
  now.facts.offset = camera.Brightness;
  now.facts.readout = ReadoutOf(camera);
  if (const std::optional<double> celsius = SensorCelsius(camera))
    now.facts.sensorC = static_cast<float>(*celsius);
  return now;
}

std::string DarkDifferences(const DarkDescription& dark, const DarkDescription& now) {
  std::vector<std::string> differences;
  if (ExposuresDiffer(dark.facts.exposureUs, now.facts.exposureUs)) {
    differences.push_back("exposure " + ExposureText(dark.facts.exposureUs) + ", now " +
                          ExposureText(now.facts.exposureUs));
  }
  if (now.facts.gain != dark.facts.gain)
    differences.push_back(Format("gain %d, now %d", dark.facts.gain, now.facts.gain));
  if (now.facts.readout && dark.facts.readout && *now.facts.readout != *dark.facts.readout)
    differences.push_back("readout mode " + dark.facts.readout->name + ", now " + now.facts.readout->name);
  if (now.facts.sensorC && dark.facts.sensorC) {
    const double was = static_cast<double>(*dark.facts.sensorC);
    const double is = static_cast<double>(*now.facts.sensorC);
    if (std::abs(is - was) > kToleranceC) differences.push_back(Format("sensor at %.1f C, now %.1f C", was, is));
  }
  if (now.model != dark.model)
    differences.push_back("camera " + dark.model);
  else if (now.serial != dark.serial)
    differences.push_back("camera " + (dark.serial.empty() ? "without serial number" : dark.serial));
  return Join(differences, "; ");
}

}  // namespace orq::session
