// With which camera and how a dark was taken, and whether that fits frames of another time.
#pragma once

#include <string>

#include "session/DarkSession.h"

namespace orq::session {

struct DarkDescription {
  std::string model;
  std::string serial;  ///< empty: the camera has none
  DarkFacts facts;
};

/// What matters of it, short enough for one FITS card: "5 x 200ms, gain 120, -10.1 C, 2026-11-21T22:10:05".
std::string DescriptionText(const DarkDescription& description);

/// The camera's settings and temperature at this moment.
DarkDescription PresentSettings(CModelCamera& camera, const std::string& serial);
/// How the present settings differ from those of a dark, as far as it matters: exposure by more than a tenth, gain
/// at all, readout mode, temperature by more than 2 °C, another camera. Empty when nothing does.
std::string DarkDifferences(const DarkDescription& dark, const DarkDescription& now);

}  // namespace orq::session
