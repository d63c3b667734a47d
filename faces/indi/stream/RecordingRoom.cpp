#include "stream/RecordingRoom.h"

#include <stream/recorder/serrecorder.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cstdio>

namespace orq::indi {
namespace {

// What file systems take besides, and what others write at the same time.
constexpr std::uint64_t kMargin = std::uint64_t{1} << 20U;

/// The recorder keeps its file to itself and its heirs.
struct Heir : INDI::SER_Recorder {
  static std::FILE* fileOf(INDI::SER_Recorder& recorder) { return recorder.*(&Heir::f); }
};

}  // namespace

std::string whyNoRoomFor(const INDI::StreamManager& manager, std::uint64_t bytes) {
  auto* const recorder = dynamic_cast<INDI::SER_Recorder*>(manager.getRecorder());
  std::FILE* const file = recorder == nullptr ? nullptr : Heir::fileOf(*recorder);
  if (file == nullptr) return {};
  if (std::ferror(file) != 0) return "its file cannot be written; orqcam ser repair finishes what there is of it";
  bytes += kMargin;
  struct statvfs disk {};
  if (fstatvfs(fileno(file), &disk) == 0 && std::uint64_t{disk.f_bavail} * disk.f_frsize < bytes)
    return "the disk is full; free some space, or name another disk in RECORD_FILE";
  struct rlimit limit {};
  struct stat status {};
  if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY &&
      fstat(fileno(file), &status) == 0 && static_cast<std::uint64_t>(status.st_size) + bytes > limit.rlim_cur)
    return "its file may not grow any more; record less at a time";
  return {};
}

}  // namespace orq::indi
