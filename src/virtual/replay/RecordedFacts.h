// What a recording says about its frames beside their pixels.
#pragma once

#include <optional>
#include <string>

namespace orq {

/// As a FITS file states it; empty where it does not.
struct RecordedFacts {
  std::string file;     ///< without directory
  std::string dateObs;  ///< DATE-OBS, as it stands
  std::optional<double> exposureSeconds;
  std::string object;
};

}  // namespace orq
