// Saves frames as the user asked for them.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "session/files/FileNames.h"
#include "session/files/SafeFile.h"
#include "session/frame/FrameFacts.h"

namespace orq::session {

struct SaveOptions {
  FilePattern pattern{"{camera}-{date}-{time}-{n:04}.fits"};
  bool preview = false;  ///< a PNG beside each file
  Existing existing = Existing::Keep;
  Durability durability = Durability::Synced;
};

struct SavedFrame {
  std::string file;
  std::string companion;  ///< preview of a FITS or raw file
  std::string sidecar;    ///< description of a raw file
  std::string trouble;    ///< why there is no preview although one was wanted; the frame itself is safe
};

/// What the name of a frame's file can be made of.
NameFacts NameFactsOf(const FrameFacts& frame);

class FrameSaver {
 public:
  explicit FrameSaver(SaveOptions options);

  /// Throws Failure when frames 1 to `count` like `frame` could not be written: better now than after the night.
  /// Names that hold the time cannot be checked for files that exist. `mayGoOn` is asked before each frame; false
  /// ends the check.
  void CheckBeforehand(FrameFacts frame, std::uint64_t count, const std::function<bool()>& mayGoOn) const;
  /// `pixels`: in the region's format, rows top down. Throws Failure; then nothing of the file that failed is
  /// left.
  SavedFrame Save(std::span<const std::uint8_t> pixels, const FrameFacts& frame) const;

 private:
  SavedFrame NamesFor(const FrameFacts& frame) const;
  void WriteRaw(const SavedFrame& names, std::span<const std::uint8_t> pixels, const FrameFacts& frame) const;
  void Write(const std::string& path, std::span<const std::uint8_t> bytes) const;

  SaveOptions options_;
};

}  // namespace orq::session
