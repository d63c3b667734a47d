#include "session/recording/TimesFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <span>

#include "session/text/Units.h"
#include "support/Text.h"
#include "support/WholeFile.h"
#include "support/ser/SerHeader.h"

namespace orq::session {
namespace {

constexpr std::string_view kTitle = "# orqcam recording";
constexpr std::string_view kFinished = "# frames = ";
constexpr std::size_t kColumns = 9;
constexpr std::size_t kSerTimeColumn = 4;
constexpr std::size_t kMostTextBytes = std::size_t{1} << 30;
// Of the disk, ahead of what is written: so that the end of a recording that has filled it can still be told.
constexpr std::uint64_t kAhead = 64U << 10U;

template <class Number>
bool ParseNumber(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

// The columns of a frame's line; false when it is none, or not that of frame `expected`.
bool ParseFrame(std::string_view line, std::uint64_t expected, std::int64_t& serTime) {
  std::array<std::string_view, kColumns> columns;
  std::size_t count = 0;
  while (!line.empty()) {
    const std::size_t end = std::min(line.find(' '), line.size());
    if (count == kColumns) return false;
    columns[count++] = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
  }
  std::uint64_t frame = 0;
  return count == kColumns && ParseNumber(columns[0], frame) && frame == expected &&
         ParseNumber(columns[kSerTimeColumn], serTime);
}

}  // namespace

std::string TimesFileOf(const std::string& recording) {
  return recording + ".txt";
}

TimesFile::TimesFile(const std::string& path, Existing existing) : path_(path) {
  CheckWritable(path, existing);
  const int unlessThere = existing == Existing::Keep ? O_EXCL : O_TRUNC;
  fd_ = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | unlessThere, 0666);
  if (fd_ < 0) CannotWrite(path, errno);
  Remark(kTitle.substr(2));
}

TimesFile::~TimesFile() {
  close(fd_);
}

void TimesFile::Remark(std::string_view text) {
  std::string line = "# " + std::string(text);
  std::ranges::replace(line, '\n', ' ');
  pending_ += line + '\n';
}

void TimesFile::Frame(const RecordedFrame& frame) {
  constexpr double kTenthsPerUs = 10.0;
  pending_ += Format("%llu %llu %u ", static_cast<unsigned long long>(frame.frame),
                     static_cast<unsigned long long>(frame.number), frame.sequence);
  pending_ += IsoUtcTenths(frame.begin) + ' ' + std::to_string(SerTimeOf(frame.begin)) + ' ';
  pending_ += frame.source;
  pending_ += ' ' + Number(static_cast<double>(frame.uncertainty) / kTenthsPerUs);
  pending_ += Format(" %d %d\n", frame.startX, frame.startY);
}

int TimesFile::Flush() {
  if (pending_.empty()) return 0;
  if (bytes_ + pending_.size() + kAhead / 2 > allocated_ &&
      fallocate(fd_, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(bytes_),
                static_cast<off_t>(pending_.size() + kAhead)) == 0) {
    allocated_ = bytes_ + pending_.size() + kAhead;
  }
  const int error = WriteAll(fd_, {reinterpret_cast<const std::uint8_t*>(pending_.data()), pending_.size()});
  if (error != 0) {
    // Half a line must not stay in front of the next one.
    if (ftruncate(fd_, static_cast<off_t>(bytes_)) == 0) lseek(fd_, 0, SEEK_END);
    return error;
  }
  bytes_ += pending_.size();
  pending_.clear();
  return 0;
}

int TimesFile::CutBehind(std::uint64_t frames) {
  pending_.clear();
  std::vector<std::uint8_t> bytes;
  if (const int error = ReadWholeFile(path_, kMostTextBytes, bytes); error != 0) return error;
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  std::size_t end = 0;
  std::uint64_t seen = 0;
  while (end < text.size()) {
    const std::size_t next = text.find('\n', end);
    if (next == std::string_view::npos) break;
    if (text[end] != '#' && seen++ == frames) break;
    end = next + 1;
  }
  if (ftruncate(fd_, static_cast<off_t>(end)) != 0) return errno;
  bytes_ = end;
  allocated_ = end;
  return lseek(fd_, 0, SEEK_END) < 0 ? errno : 0;
}

int TimesFile::Sync() {
  if (const int error = Flush(); error != 0) return error;
  return SyncFile(fd_);
}

std::optional<RecordedTimes> ParseTimes(std::string_view text) {
  if (!text.starts_with(kTitle)) return std::nullopt;
  RecordedTimes times;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = text.find('\n', begin);
    if (end == std::string_view::npos) break;
    const std::string_view line = text.substr(begin, end - begin);
    begin = end + 1;
    if (line.starts_with('#')) {
      std::uint64_t frames = 0;
      if (line.starts_with(kFinished) && ParseNumber(line.substr(kFinished.size()), frames)) {
        times.finished = frames;
      }
      continue;
    }
    std::int64_t serTime = 0;
    if (!ParseFrame(line, times.serTimes.size() + 1, serTime)) return std::nullopt;
    times.serTimes.push_back(serTime);
    times.ends.push_back(begin);
  }
  return times;
}

std::optional<RecordedTimes> ReadTimes(const std::string& path) {
  std::vector<std::uint8_t> bytes;
  if (ReadWholeFile(path, kMostTextBytes, bytes) != 0) return std::nullopt;
  return ParseTimes({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

std::string FinishedRemark(std::uint64_t frames) {
  return std::string(kFinished.substr(2)) + std::to_string(frames);
}

}  // namespace orq::session
