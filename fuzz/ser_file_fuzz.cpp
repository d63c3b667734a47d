// SER files, and the texts beside recordings, of arbitrary bytes. The first byte chooses: a text, or a file, which
// is read, looked at and mended.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "session/Failure.h"
#include "session/recording/SerRepair.h"
#include "session/recording/TimesFile.h"
#include "support/ser/SerFile.h"

namespace {

void Require(bool condition) {
  if (!condition) std::abort();
}

void LookAtText(std::string_view text) {
  const auto times = orq::session::ParseTimes(text);
  if (!times) return;
  Require(times->ends.size() == times->serTimes.size());
  Require(times->ends.empty() || times->ends.back() <= text.size());
}

void Read(int fd) {
  std::string error;
  const auto file = orq::SerFile::Open(dup(fd), error);
  if (!file) return Require(!error.empty() && error.find('\n') == std::string::npos);
  const orq::SerSurvey& survey = file->Survey();
  Require(survey.frames <= survey.wholeFrames);
  Require(survey.wholeFrames * survey.header.FrameBytes() <= survey.fileBytes);
  if (survey.wholeFrames == 0) return;
  std::vector<std::uint8_t> pixels(static_cast<std::size_t>(survey.header.FrameBytes()));
  Require(file->ReadFrame(survey.wholeFrames - 1, pixels));
  Require(!file->ReadFrame(survey.wholeFrames, pixels));
  Require(file->ReadStamps(0, UINT64_MAX).value().size() == survey.stamps);
}

void Mend(int fd) {
  const std::string path = "/proc/self/fd/" + std::to_string(fd);
  try {
    const orq::session::SerRepaired repaired = orq::session::RepairSer(path);
    const orq::session::SerFindings found = orq::session::CheckSer(path);
    Require(found.survey.IsWhole() && found.troubles.empty());
    Require(found.survey.frames == repaired.frames);
    Require(!orq::session::RepairSer(path).changed);
  } catch (const orq::session::Failure&) {
    // It is none, or not one frame is whole.
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::span bytes(data + 1, size - 1);
  if (data[0] % 2 == 1) {
    LookAtText({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
    return 0;
  }
  const int fd = memfd_create("ser", MFD_CLOEXEC);
  Require(fd >= 0 && orq::WriteAll(fd, bytes) == 0);
  Read(fd);
  Mend(fd);
  close(fd);
  return 0;
}
