// The part of a camera's flash that belongs to the host, as a file and back.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "camera/CameraBase.h"
#include "image/flash/FlashLayout.h"
#include "support/WholeFile.h"

namespace orq {

/// The image record's area and the parameter sector behind it.
inline constexpr std::uint32_t kBackupAddress = kRecordAddress;
inline constexpr std::uint32_t kBackupBytes = kRecordAreaBytes + kFlashSectorBytes;
static_assert(kBackupAddress + kRecordAreaBytes == kParameterAddress);

/// Contents of that part and the camera that they are from.
struct FlashImage {
  std::int32_t productId = 0;
  _ORQ_ID serial{};                 ///< all zero: the camera has none
  std::vector<std::uint8_t> bytes;  ///< `kBackupBytes` from `kBackupAddress` on
};

/// Called between pieces of slow work; false asks to stop.
struct FlashProgress {
  const char* step = "";  ///< "reading", "restoring" or "comparing"
  std::uint32_t done = 0;
  std::uint32_t total = 0;  ///< bytes
};
using FlashWatcher = std::function<bool(const FlashProgress&)>;

enum class FlashResult : std::uint8_t {
  Done,
  Cancelled,
  Refused,  ///< nothing was touched: closed, capture runs, wrong image
  CameraFailed,
  FileFailed,
  Differs,  ///< what is in flash is not what was asked for
  Damaged,  ///< what is in flash is not what it says it is
};

struct FlashOutcome {
  FlashResult result = FlashResult::Done;
  std::string reason;  ///< one line for a user; empty when done
  bool Done() const { return result == FlashResult::Done; }
};

// The operations on a camera are caller-serialised, take seconds, are refused while capture runs and leave the
// image bus on however they end.

/// Whether flash can be used now; if not, the reason.
FlashOutcome FlashUsable(const CCameraBase& camera);

/// Reads whole pieces of `kFlashChunkBytes` from `address` on, each three times at most.
FlashOutcome ReadFlashPart(CCameraBase& camera, std::uint32_t address, std::span<std::uint8_t> bytes);

/// Reads the camera's flash; `image` is as it was when anything cannot be read.
FlashOutcome ReadFlashImage(CCameraBase& camera, FlashImage& image, const FlashWatcher& watcher);

/// Makes the camera's flash like `image` and checks it by reading back. Sectors that are like it already stay
/// untouched. A wish to stop is granted between sectors: one that was erased is finished first.
FlashOutcome RestoreFlashImage(CCameraBase& camera, const FlashImage& image, const FlashWatcher& watcher);

/// Whether the camera's flash is like `image`; else the reason names the first address that is not.
FlashOutcome CompareFlashImage(CCameraBase& camera, const FlashImage& image, const FlashWatcher& watcher);

/// Whether the image is from this camera; an image without a serial number is from any camera of its model.
bool IsImageOf(CCameraBase& camera, const FlashImage& image);

/// The image as a file: whole, or not there.
FlashOutcome SaveFlashImage(const std::string& path, const FlashImage& image, Existing existing);
/// `image` is as it was when the file cannot be read, is damaged or something else.
FlashOutcome LoadFlashImage(const std::string& path, FlashImage& image);

/// What stands between a camera and an overwrite: its flash, in a file.
struct FlashBackup {
  FlashImage image;
  std::string path;
};

/// Reads the camera's flash into a new file of `directory`, which is made when it is not there. Do this before
/// anything in flash is overwritten, and overwrite nothing when it fails.
FlashOutcome BackUpFlash(CCameraBase& camera, const std::string& directory, FlashBackup& backup,
                         const FlashWatcher& watcher);

/// Stores the user's id after a backup was made: every other byte of `before` is in flash afterwards as well,
/// and all of it was read back.
FlashOutcome StoreUserId(CCameraBase& camera, const _ORQ_ID& id, const FlashImage& before,
                         const FlashWatcher& watcher);

}  // namespace orq
