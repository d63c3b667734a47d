// A cube and its frames in the terms of SER files, for the tools that take both.
#pragma once

#include <vector>

#include "session/fits/FitsCards.h"
#include "session/recording/TimesFile.h"
#include "session/recording/cube/CubeFile.h"
#include "support/ser/SerHeader.h"

namespace orq::session {

/// As a SER file of the same frames would have it: colour, size, who and what, the first frame's time.
SerHeader CubeHeaderAsSer(const CubeFile& cube);

/// What the header says of all frames, and what the table says of this one: time, number and place. Without its
/// row these are left out.
std::vector<FitsCard> CardsOfCubeFrame(const CubeFile& cube, const RecordedFrame* row);

}  // namespace orq::session
