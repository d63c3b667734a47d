// Which frames of a video a recording lacks.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orq::session {

/// Frames in a row that are missing, by their number.
struct MissingFrames {
  enum class Cause : std::uint8_t {
    Disk,    ///< the ring was full: the disk was too slow
    Camera,  ///< they did not come: the cable, the computer's memory
    Moved    ///< the region was moved, which begins the stream anew
  };
  std::uint64_t first = 0;
  std::uint64_t last = 0;
  Cause cause = Cause::Disk;
};

/// "7-9: the disk was too slow"
std::string TextOf(const MissingFrames& missing);

/// Numbers frames by the camera's count, the first one being 1, and keeps what it skips.
class FrameCount {
 public:
  /// The next frame of the recording: the camera's own number of 32 bits, which wraps, and its number among the
  /// published frames, which only frames that came have. `moved`: its region begins elsewhere than the last one's.
  /// Returns its number; `Missing` then ends with what lacks before it, if anything does.
  std::uint64_t Next(std::uint32_t sequence, std::uint64_t published, bool moved);
  /// So many more were published behind the last one, and left out.
  void MissedBehind(std::uint64_t frames);

  const std::vector<MissingFrames>& Missing() const { return missing_; }
  std::uint64_t Missed() const { return missed_; }  ///< because of the disk
  std::uint64_t Lost() const { return lost_; }      ///< for other reasons
  std::uint64_t Last() const { return number_; }    ///< number of the last one; 0: none yet

 private:
  void Lacks(std::uint64_t frames, MissingFrames::Cause cause);

  std::uint64_t number_ = 0;
  std::uint32_t sequence_ = 0;
  std::uint64_t published_ = 0;
  std::uint64_t missed_ = 0;
  std::uint64_t lost_ = 0;
  std::vector<MissingFrames> missing_;
};

}  // namespace orq::session
