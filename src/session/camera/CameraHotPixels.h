// Tables of hot pixels: out of an open camera's flash, out of a dark, into files.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "session/DarkSession.h"
#include "session/camera/Camera.h"
#include "session/darks/DarkDescription.h"
#include "session/hotpixels/HotPixelView.h"
#include "support/WholeFile.h"

namespace orq::session {

/// Repairs the hot pixels that the table in the camera's flash lists, or none.
void RepairHotPixels(Camera& camera, bool on);
bool RepairsHotPixels(Camera& camera);

/// The table in flash. NotFound: there is none. State: it is damaged, or a capture runs.
HotPixelView ReadHotPixels(Camera& camera);

/// What stands out in a dark.
struct FoundHotPixels {
  DarkDescription dark;
  HotPixelView table;
};
/// Takes a dark as `TakeDark` does, which stays in memory; none is subtracted any more.
FoundHotPixels FindHotPixels(Camera& camera, int frames, const std::function<void(const DarkProgress&)>& tell);

enum class TableFormat : std::int32_t { Csv = 0, Bmp = 1, Png = 2 };
/// Throws Failure (File).
void SaveHotPixels(const HotPixelView& table, const std::string& path, TableFormat format, Existing existing);

}  // namespace orq::session
