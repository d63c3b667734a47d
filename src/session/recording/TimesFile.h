// The text beside a recording: the time of every frame, where it comes from and how uncertain it is, and the
// frames that are missing. Written along, so that it has them also when the program is killed.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "models/camera/FrameTypes.h"
#include "session/files/SafeFile.h"

namespace orq::session {

/// "m42.ser" has "m42.ser.txt".
std::string TimesFileOf(const std::string& recording);

/// A line of it.
struct RecordedFrame {
  std::uint64_t frame = 0;     ///< in the recording, from 1
  std::uint64_t number = 0;    ///< by the camera's count, the first recorded one being 1: it skips missing frames
  std::uint32_t sequence = 0;  ///< the camera's own number
  UtcTenths begin = 0;         ///< start of the exposure of the row that was read out first
  UtcTenths end = 0;           ///< end of the exposure of the one read out last; not in the text
  UtcTenths uncertainty = 0;
  std::string_view source;  ///< "gps", "predicted" or "computer"
  int startX = 0;           ///< of its region, sensor pixels
  int startY = 0;
};

/// The source of that name; empty when there is none.
std::string_view SourceNamed(std::string_view word);

/// The file while it grows. What is added reaches the system with `Flush`. Everything but the constructor gives 0
/// or an errno.
class TimesFile {
 public:
  /// Throws Failure: it cannot be made.
  TimesFile(const std::string& path, Existing existing);
  ~TimesFile();
  TimesFile(const TimesFile&) = delete;
  TimesFile& operator=(const TimesFile&) = delete;

  /// "# text"
  void Remark(std::string_view text);
  void Frame(const RecordedFrame& frame);
  int Flush();
  /// Takes the lines behind frame `frames` out again.
  int CutBehind(std::uint64_t frames);
  /// Flushes, and waits until the disk has it. A file that was deleted meanwhile is written anew, and says so;
  /// EEXIST: another one has its name now.
  int Sync();

  const std::string& Path() const { return path_; }

 private:
  int Content(std::vector<std::uint8_t>& bytes) const;
  int KeepName();

  std::string path_;
  int fd_;
  std::string pending_;
  std::uint64_t bytes_ = 0;      ///< in the file
  std::uint64_t allocated_ = 0;  ///< of the disk
};

/// What such a file says of the recording that it belongs to.
struct RecordedTimes {
  std::vector<std::int64_t> serTimes;  ///< of its frames, in their order; a line that is cut off does not count
  std::vector<RecordedFrame> lines;    ///< likewise
  std::vector<std::uint64_t> ends;     ///< bytes of the file up to each of them
  /// How many frames the recording was left with, when it was finished.
  std::optional<std::uint64_t> finished;
};

/// Nothing when `path` is no such file: not there, damaged, or of something else.
std::optional<RecordedTimes> ReadTimes(const std::string& path);
/// The same of its text.
std::optional<RecordedTimes> ParseTimes(std::string_view text);

/// The remark that says that a recording was finished.
std::string FinishedRemark(std::uint64_t frames);

/// Ends the text of a recording that was cut off and is left with `frames` frames, so that a repair which is
/// interrupted can be repeated: from now on it tells where they end. Throws Failure.
void NoteRepaired(const std::string& path, const RecordedTimes& times, std::uint64_t frames);

}  // namespace orq::session
