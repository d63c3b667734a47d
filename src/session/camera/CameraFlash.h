// Work on the flash memory of an open camera, and its focus motor.
#pragma once

#include <string>

#include "models/flash/FlashBackup.h"
#include "session/camera/Camera.h"
#include "session/focus/FocusMotor.h"

namespace orq::session {

/// Told between pieces of slow work; may be empty.
using FlashTeller = std::function<void(const FlashProgress&)>;

/// Where what overwrites flash saves it first. Empty: the user's state folder.
struct FlashSafety {
  std::string backupFolder;
  FlashTeller tell;
};

// Each takes a turn: no capture may run (State), the camera is not closed meanwhile (Busy), and an abort ends it
// between two sectors (Cancelled).

void SaveFlash(Camera& camera, const std::string& path, bool overwrite, const FlashTeller& tell);
/// Invalid: the file is of another camera, unless `otherCamera` allows that.
void RestoreFlash(Camera& camera, const std::string& path, bool otherCamera, const FlashSafety& safety);
/// Where flash differs from such a file, as one line; empty: nowhere.
std::string FlashDifference(Camera& camera, const std::string& path, const FlashTeller& tell);
/// Invalid: no plain text of up to 8 characters; empty: none.
void StoreUserId(Camera& camera, const std::string& id, const FlashSafety& safety);
/// The hot pixels of the dark in memory.
void StoreHotPixels(Camera& camera, const FlashSafety& safety);

/// What a saved flash says about itself.
struct FlashFile {
  FlashImage image;
  bool isOfCamera = false;  ///< false as well when that cannot be told
};
FlashFile ReadFlashFile(Camera& camera, const std::string& path);

/// The user's name for the camera as a listing shows it. Throws Failure when flash cannot be read.
std::string UserId(Camera& camera);
/// 22 hexadecimal digits of the image sensor's maker. Unsupported: it has none.
std::string SensorId(Camera& camera);

FocusState Focus(Camera& camera);
void MoveFocus(Camera& camera, int position);

}  // namespace orq::session
