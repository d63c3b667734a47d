#include "session/recording/FrameCount.h"

#include <algorithm>

namespace orq::session {
namespace {

// A camera whose count goes back, or leaps, has begun it anew.
constexpr std::uint32_t kLongestGap = 1U << 20U;

const char* Reason(MissingFrames::Cause cause) {
  switch (cause) {
    case MissingFrames::Cause::Disk:
      return "the disk was too slow";
    case MissingFrames::Cause::Camera:
      return "they did not come from the camera";
    case MissingFrames::Cause::Moved:
      break;
  }
  return "the region was moved";
}

}  // namespace

std::string TextOf(const MissingFrames& missing) {
  std::string text = std::to_string(missing.first);
  if (missing.last != missing.first) text += "-" + std::to_string(missing.last);
  return text + ": " + Reason(missing.cause);
}

std::uint64_t FrameCount::Next(std::uint32_t sequence, std::uint64_t published, bool moved) {
  if (number_ != 0) {
    const std::uint64_t late = published - published_ - 1;
    const std::uint32_t gap = sequence - sequence_ - 1;
    const std::uint64_t all = std::max<std::uint64_t>(late, gap < kLongestGap ? gap : 0);
    missed_ += late;
    lost_ += all - late;
    if (all > 0) {
      const auto cause = late > 0 ? MissingFrames::Cause::Disk
                         : moved  ? MissingFrames::Cause::Moved
                                  : MissingFrames::Cause::Camera;
      Lacks(all, cause);
    }
  }
  sequence_ = sequence;
  published_ = published;
  return ++number_;
}

void FrameCount::MissedBehind(std::uint64_t frames) {
  missed_ += frames;
  if (frames > 0) Lacks(frames, MissingFrames::Cause::Disk);
}

void FrameCount::Lacks(std::uint64_t frames, MissingFrames::Cause cause) {
  missing_.push_back({number_ + 1, number_ + frames, cause});
  number_ += frames;
}

}  // namespace orq::session
