// Saves frames as the user asked for them.
#pragma once

#include <string>
#include <vector>

#include "files/FileNames.h"
#include "files/Frame.h"
#include "files/SafeFile.h"
#include "options/Keywords.h"

namespace orq::cli {

struct SaveOptions {
  FilePattern pattern{"{camera}-{date}-{time}-{n:04}.fits"};
  bool preview = false;  ///< a PNG beside each file
  Existing existing = Existing::Keep;
  Durability durability = Durability::Synced;
  std::vector<Keyword> keywords;
};

struct SavedFrame {
  std::string file;
  std::string companion;  ///< preview of a FITS or raw file
  std::string sidecar;    ///< description of a raw file
  std::string trouble;    ///< why there is no preview although one was wanted; the frame itself is safe
};

class FrameSaver {
 public:
  /// `camera` is the short model name for file names.
  FrameSaver(SaveOptions options, FileContext context, std::string camera, std::string imageType);

  /// Whether the frames are to be darks or biases.
  bool IsWithoutLight() const { return imageType_ == "dark" || imageType_ == "bias"; }
  /// Throws CliError when frames 1 to `count`, taken with the settings in `info`, could not be written: better now
  /// than after the night. Names that hold the time cannot be checked for files that exist.
  void CheckBeforehand(const FrameInfo& info, std::uint64_t count) const;
  /// Throws CliError; then nothing of the file that failed is left.
  SavedFrame Save(const Frame& frame, std::uint64_t number) const;

 private:
  SavedFrame NamesFor(const FrameInfo& info, std::uint64_t number) const;
  void WriteRaw(const SavedFrame& names, const Frame& frame, std::uint64_t number) const;
  void Write(const std::string& path, const std::vector<std::uint8_t>& bytes) const;

  SaveOptions options_;
  FileContext context_;
  std::string camera_;
  std::string imageType_;
};

}  // namespace orq::cli
