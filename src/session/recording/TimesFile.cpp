#include "session/recording/TimesFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <span>

#include "session/files/WritableFile.h"
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
constexpr double kTenthsPerUs = 10.0;
constexpr std::size_t kMostTextBytes = std::size_t{1} << 30;
// Of the disk, ahead of what is written: so that the end of a recording that has filled it can still be told.
constexpr std::uint64_t kAhead = 64U << 10U;

template <class Number>
bool ParseNumber(std::string_view text, Number& number) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size();
}

// The columns of a frame's line; false when it is none, or not that of frame `expected`.
bool ParseFrame(std::string_view line, std::uint64_t expected, std::int64_t& serTime, RecordedFrame& frame) {
  std::array<std::string_view, kColumns> columns;
  std::size_t count = 0;
  while (!line.empty()) {
    const std::size_t end = std::min(line.find(' '), line.size());
    if (count == kColumns) return false;
    columns[count++] = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
  }
  double uncertaintyUs = 0.0;
  const bool parsed = count == kColumns && ParseNumber(columns[0], frame.frame) && frame.frame == expected &&
                      ParseNumber(columns[1], frame.number) && ParseNumber(columns[2], frame.sequence) &&
                      ParseNumber(columns[kSerTimeColumn], serTime) && ParseNumber(columns[6], uncertaintyUs) &&
                      ParseNumber(columns[7], frame.startX) && ParseNumber(columns[8], frame.startY);
  // What no clock is so uncertain about is no line of ours.
  constexpr double kMostUs = 1e12;
  if (!parsed || !(uncertaintyUs >= 0.0 && uncertaintyUs < kMostUs)) return false;
  frame.begin = UnixTenthsOf(serTime).value_or(0);
  frame.uncertainty = std::llround(uncertaintyUs * kTenthsPerUs);
  frame.source = SourceNamed(columns[5]);
  return !frame.source.empty();
}

}  // namespace

std::string_view SourceNamed(std::string_view word) {
  constexpr std::array<std::string_view, 3> kSources = {"gps", "predicted", "computer"};
  const auto* const found = std::ranges::find(kSources, word);
  return found == kSources.end() ? std::string_view{} : *found;
}

std::string TimesFileOf(const std::string& recording) {
  return recording + ".txt";
}

TimesFile::TimesFile(const std::string& path, Existing existing) : path_(path) {
  CheckWritable(path, existing);
  const int unlessThere = existing == Existing::Keep ? O_EXCL : O_TRUNC;
  fd_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | unlessThere, 0666);
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
                static_cast<off_t>(pending_.size() + kAhead)) == 0)
    allocated_ = bytes_ + pending_.size() + kAhead;
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

// By its descriptor: it may have lost its name.
int TimesFile::Content(std::vector<std::uint8_t>& bytes) const {
  bytes.resize(static_cast<std::size_t>(bytes_));
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = pread(fd_, bytes.data() + done, bytes.size() - done, static_cast<off_t>(done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    if (count == 0) break;  // somebody has made it shorter
    done += static_cast<std::size_t>(count);
  }
  bytes.resize(done);
  return 0;
}

// What is written to a file that was deleted would be lost without any error.
int TimesFile::KeepName() {
  struct stat status {};
  if (fstat(fd_, &status) != 0 || status.st_nlink != 0) return 0;
  std::vector<std::uint8_t> bytes;
  if (const int error = Content(bytes); error != 0) return error;
  const int anew = open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_EXCL, 0666);
  if (anew < 0) return errno;
  if (const int error = WriteAll(anew, bytes); error != 0) {
    close(anew);
    unlink(path_.c_str());
    return error;
  }
  close(fd_);
  fd_ = anew;
  bytes_ = bytes.size();
  allocated_ = 0;
  Remark("this text was deleted up to here, and written anew");
  return 0;
}

int TimesFile::CutBehind(std::uint64_t frames) {
  pending_.clear();
  std::vector<std::uint8_t> bytes;
  if (const int error = Content(bytes); error != 0) return error;
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
  if (const int error = KeepName(); error != 0) return error;
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
      if (line.starts_with(kFinished) && ParseNumber(line.substr(kFinished.size()), frames))
        times.finished = frames;
      continue;
    }
    std::int64_t serTime = 0;
    RecordedFrame frame;
    if (!ParseFrame(line, times.serTimes.size() + 1, serTime, frame)) return std::nullopt;
    times.serTimes.push_back(serTime);
    times.lines.push_back(frame);
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

void NoteRepaired(const std::string& path, const RecordedTimes& times, std::uint64_t frames) {
  if (times.finished || times.ends.empty()) return;
  WritableFile text(path);
  const std::uint64_t lines = std::min<std::uint64_t>(frames, times.ends.size());
  const std::uint64_t end = lines == 0 ? 0 : times.ends[static_cast<std::size_t>(lines - 1)];
  text.Cut(end);
  const std::string remark = "# " + FinishedRemark(frames) + "\n# end = cut off, and repaired\n";
  text.Write(end, {reinterpret_cast<const std::uint8_t*>(remark.data()), remark.size()});
  text.Sync();
}

}  // namespace orq::session
