// What every command is given.
#pragma once

#include <optional>
#include <string>

#include "output/Output.h"

namespace orq::cli {

struct Context {
  Output& out;
  std::optional<std::string> camera = std::nullopt;  ///< name as the user wrote it; none: the only one connected
  bool json = false;
  bool strict = false;  ///< what is beyond the limits is an error
  bool debug = false;
  bool settings = true;  ///< settings are loaded, and may be kept
};

}  // namespace orq::cli
