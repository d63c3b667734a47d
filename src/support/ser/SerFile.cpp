#include "support/ser/SerFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include "support/LittleEndian.h"

namespace orq {
namespace {

// 0 or an errno; EIO when the file ends before.
int ReadAll(int fd, std::uint64_t offset, std::span<std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = pread(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    if (count == 0) return EIO;
    offset += static_cast<std::uint64_t>(count);
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return 0;
}

}  // namespace

SerSurvey SurveySer(const SerHeader& header, std::uint64_t fileBytes) {
  SerSurvey survey{.header = header, .fileBytes = fileBytes};
  const std::uint64_t behind = fileBytes - std::min<std::uint64_t>(fileBytes, kSerHeaderBytes);
  survey.wholeFrames = behind / header.FrameBytes();
  const auto announced = static_cast<std::uint64_t>(header.frames);
  survey.frames = std::min(survey.wholeFrames, announced);
  std::uint64_t rest = behind - survey.frames * header.FrameBytes();
  if (survey.frames == announced) survey.stamps = std::min(rest / kSerTimeBytes, announced);
  survey.strayBytes = rest - survey.stamps * kSerTimeBytes;
  return survey;
}

std::optional<SerFile> SerFile::Open(const std::string& path, std::string& error) {
  // A pipe would wait for its other end.
  const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    error = std::strerror(errno);
    return std::nullopt;
  }
  return Open(fd, error);
}

std::optional<SerFile> SerFile::Open(int fd, std::string& error) {
  SerFile file(fd, {});
  struct stat status {};
  if (fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    error = "not a regular file";
    return std::nullopt;
  }
  const auto bytes = static_cast<std::uint64_t>(status.st_size);
  std::array<std::uint8_t, kSerHeaderBytes> head{};
  const std::size_t present = std::min<std::size_t>(head.size(), static_cast<std::size_t>(bytes));
  if (!file.ReadAt(0, std::span(head).first(present))) {
    error = "cannot be read";
    return std::nullopt;
  }
  const std::optional<SerHeader> header = ParseSerHeader(std::span(head).first(present));
  if (!header) {
    error = LooksLikeSer(head) ? "its SER header is cut off" : "not a SER file";
    return std::nullopt;
  }
  if (const std::string trouble = SerTrouble(*header); !trouble.empty()) {
    error = "its SER header is damaged: " + trouble;
    return std::nullopt;
  }
  file.survey_ = SurveySer(*header, bytes);
  return file;
}

SerFile::~SerFile() {
  if (fd_ >= 0) close(fd_);
}

SerFile::SerFile(SerFile&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)), survey_(std::move(other.survey_)) {}

bool SerFile::ReadAt(std::uint64_t offset, std::span<std::uint8_t> bytes) const {
  return ReadAll(fd_, offset, bytes) == 0;
}

bool SerFile::ReadFrame(std::uint64_t index, std::span<std::uint8_t> bytes) const {
  if (index >= survey_.wholeFrames || bytes.size() != survey_.header.FrameBytes()) return false;
  return ReadAt(survey_.FrameOffset(index), bytes);
}

std::optional<std::vector<std::int64_t>> SerFile::ReadStamps(std::uint64_t first, std::uint64_t count) const {
  if (first >= survey_.stamps) return std::vector<std::int64_t>();
  count = std::min(count, survey_.stamps - first);
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(count * kSerTimeBytes));
  if (!ReadAt(survey_.FrameOffset(survey_.frames) + first * kSerTimeBytes, bytes)) return std::nullopt;
  std::vector<std::int64_t> stamps(static_cast<std::size_t>(count));
  for (std::size_t i = 0; i < stamps.size(); ++i)
    stamps[i] = static_cast<std::int64_t>(GetLittle(bytes, i * kSerTimeBytes, kSerTimeBytes));
  return stamps;
}

}  // namespace orq
