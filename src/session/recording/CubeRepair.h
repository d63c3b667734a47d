// What is wrong with FITS cubes, and making them whole.
#pragma once

#include <string>

#include "session/recording/SerRepair.h"

namespace orq::session {

/// As CheckSer, for a FITS cube: what its header says in the terms of a SER file, and the times of its table.
SerFindings CheckCube(const std::string& path);

/// As RepairSer, for the cube of a recording: its header announces every whole frame, and the table of times that
/// the text beside it tells stands behind them. Without that text the cube has none.
SerRepaired RepairCube(const std::string& path);

}  // namespace orq::session
