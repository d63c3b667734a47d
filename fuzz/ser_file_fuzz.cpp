// SER files, FITS cubes, and the texts beside recordings, of arbitrary bytes. The first byte chooses: a text, or a
// file, which is read, looked at and mended.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "session/Failure.h"
#include "session/recording/CubeRepair.h"
#include "session/recording/SerRepair.h"
#include "session/recording/TimesFile.h"
#include "session/recording/cube/CubeFrame.h"
#include "session/recording/cube/CubeTimes.h"
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

std::string PathOf(int fd) {
  return "/proc/self/fd/" + std::to_string(fd);
}

void Mend(int fd) {
  const std::string path = PathOf(fd);
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

void ReadCube(const std::string& path) {
  orq::session::CubeFile cube(path);
  const auto rows = orq::session::ReadTimesTable(cube);
  Require(!rows || rows->size() <= cube.Facts().frames);
  const orq::session::RecordedFrame* const row = rows && !rows->empty() ? &rows->front() : nullptr;
  for (const auto& card : orq::session::CardsOfCubeFrame(cube, row)) Require(!card.name.empty());
  Require(cube.WholeFrames() * cube.Facts().shape.FrameBytes() <= cube.Bytes());
  if (cube.WholeFrames() == 0) return;
  const auto samples = orq::session::SamplesOfCube(cube.ReadFrame(cube.WholeFrames() - 1), cube.Facts().shape);
  Require(samples.size() * cube.Facts().shape.bytesPerSample == cube.Facts().shape.FrameBytes());
}

void MendCube(const std::string& path) {
  try {
    ReadCube(path);
    orq::session::CheckCube(path);
    const orq::session::SerRepaired repaired = orq::session::RepairCube(path);
    const orq::session::SerFindings found = orq::session::CheckCube(path);
    Require(found.troubles.empty() && found.survey.frames == repaired.frames);
    Require(!orq::session::RepairCube(path).changed);
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
  if (orq::session::IsFits(PathOf(fd)))
    MendCube(PathOf(fd));
  else
    Mend(fd);
  close(fd);
  return 0;
}
