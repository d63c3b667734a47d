// Pixel layouts of the printed time mark.
#pragma once

#include <cstdint>

/// Layout of a frame that gets a time mark; other values are not drawn on.
enum IMAGE_TYPE : std::int32_t { IMAGE_ONE_BYTE = 0, IMAGE_THREE_BYTES = 1 };
