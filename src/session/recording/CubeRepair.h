// Making FITS cubes whole that were cut off.
#pragma once

#include <string>

#include "session/recording/SerRepair.h"

namespace orq::session {

/// Whether `path` begins as a FITS file does.
bool IsFits(const std::string& path);

/// As RepairSer, for the cube of a recording: its header announces every whole frame, and the table of times that
/// the text beside it tells stands behind them. Without that text the cube has none.
SerRepaired RepairCube(const std::string& path);

}  // namespace orq::session
