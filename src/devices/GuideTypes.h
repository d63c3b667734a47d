// Directions of the guide port.
#pragma once

#include <cstdint>

/// One line of the guide port; the number goes to the camera as it is. In the order of the autoguider socket's
/// usual lines: north and south move in declination, east and west in right ascension.
enum GuideD : std::int32_t { GUIDE_NORTH = 0, GUIDE_SOUTH = 1, GUIDE_EAST = 2, GUIDE_WEST = 3 };
