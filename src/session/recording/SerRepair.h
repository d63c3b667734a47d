// What is wrong with SER files, and making them whole.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "support/ser/SerFile.h"

namespace orq::session {

/// What a look at all of a file has found, but for its pixels.
struct SerFindings {
  SerSurvey survey;
  std::int64_t firstTime = 0;  ///< time stamps as they stand there; 0: none
  std::int64_t lastTime = 0;
  std::uint64_t unstamped = 0;         ///< stamps that are no time
  std::uint64_t backwards = 0;         ///< stamps earlier than the one before
  bool described = false;              ///< a text of `orqcam record` is beside it
  std::uint64_t differing = 0;         ///< stamps that are not those of the text
  std::uint64_t unfinishedFrames = 0;  ///< of a recording that was not finished: whole frames that a repair keeps
  std::vector<std::string> troubles;   ///< one line each; empty: the file is whole
};

/// Throws Failure: `path` cannot be read, or is no SER file.
SerFindings CheckSer(const std::string& path);

struct SerRepaired {
  std::uint64_t frames = 0;
  std::uint64_t timed = 0;  ///< of them, with a time
  bool changed = false;     ///< false: nothing was wrong
};

/// Makes a file whole that was cut off: the whole frames that it has, with the times that the text beside it or
/// its own trailer tell. A frame whose time nobody has told has none (0). Interrupted, it can be repeated. Throws
/// Failure: no such file, not to be written, or without a whole frame.
SerRepaired RepairSer(const std::string& path);

}  // namespace orq::session
