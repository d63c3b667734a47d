// The hot-pixel table of the whole sensor: out of the dark image, into the camera's flash, and back.
#pragma once

#include <cstdint>
#include <vector>

#include "models/flash/FlashBackup.h"

namespace orq {

/// One byte per sensor pixel, row by row: 1 where it is hot, else 0. Empty: there is no table.
using HotPixelMarks = std::vector<std::uint8_t>;

/// What stands out from the dark image that the camera has taken: pixels as `SaveHPCTable` marks them, and hot
/// rows
/// (`FindHotRows`), all of whose pixels are marked so that they are repaired as rows. Empty without a dark image.
/// Any-thread.
HotPixelMarks HotPixelsOfDark(CCameraBase& camera);

// Caller-serialised; refused while capture runs.

/// Reads the table from flash, every byte of it or none; `marks` becomes empty when flash holds no table.
FlashOutcome ReadHotPixels(CCameraBase& camera, HotPixelMarks& marks);

/// Saves the hot pixels and rows of the dark image with `SaveHPCTable` after a backup was made, and loads them.
/// For that the hot rows stand out from the dark image for a moment; nobody else may adjust the dark. Whatever
/// that reports, flash is read back: what it should hold now is `before` with the new record in it, and a sector
/// that differs is erased and written once more. Nothing is touched when the record has no room for the table. A
/// wish to stop is granted between sectors and leaves it open whether the table is whole.
FlashOutcome StoreHotPixels(CCameraBase& camera, const FlashImage& before, const FlashWatcher& watcher);

}  // namespace orq
