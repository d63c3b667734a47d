#include "session/recording/FolderSink.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "session/Failure.h"
#include "session/files/SafeFile.h"
#include "session/fits/FitsCube.h"
#include "session/fits/FitsFile.h"
#include "support/Text.h"

namespace orq::session {
namespace {

constexpr int kDigits = 6;
constexpr std::string_view kEnding = ".fits";
constexpr std::uint64_t kUsualHeader = 2 * kFitsBlockBytes;

std::string FileOf(const std::string& path, std::uint64_t frame) {
  return path + Format("/%0*llu", kDigits, static_cast<unsigned long long>(frame)) + std::string(kEnding);
}

bool IsOurs(const std::string& name) {
  if (name.size() < kDigits + kEnding.size() || !name.ends_with(kEnding)) return false;
  return std::all_of(name.begin(), name.end() - static_cast<std::ptrdiff_t>(kEnding.size()),
                     [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace

std::uint64_t FolderFileBytes(std::uint64_t pixelBytes) {
  return kUsualHeader + WholeBlocks(pixelBytes);
}

void CheckFolder(const std::string& path, Existing existing) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    if (errno != ENOENT) CannotWrite(path, errno);
    return CheckWritable(path, existing);
  }
  if (!S_ISDIR(status.st_mode)) CannotWrite(path, ENOTDIR);
  if (access(path.c_str(), W_OK | X_OK) != 0) CannotWrite(path, errno);
  std::error_code error;
  const bool empty = std::filesystem::is_empty(path, error);
  if (error) CannotWrite(path, error.value());
  if (!empty && existing == Existing::Keep) {
    throw Failure(Status::File, "cannot record to '" + path +
                                    "': the folder is not empty; give another name, or allow overwriting");
  }
}

FolderSink::FolderSink(const std::string& path, Existing existing, std::uint64_t pixelBytes,
                       std::function<int()> beforeWrite)
    : path_(path), beforeWrite_(std::move(beforeWrite)), fileBytes_(FolderFileBytes(pixelBytes)) {
  CheckFolder(path, existing);
  if (mkdir(path.c_str(), 0777) == 0) return;
  if (errno != EEXIST) CannotWrite(path, errno);
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(path, error))
    if (IsOurs(entry.path().filename().string())) unlink(entry.path().c_str());
  if (error) CannotWrite(path, error.value());
}

int FolderSink::Put(std::span<const std::uint8_t> pixels, const RecordedFrame& frame, const Facts& facts) {
  if (const int error = beforeWrite_(); error != 0) return error;
  FrameFacts told = facts();
  told.number = frame.frame;
  const std::vector<std::uint8_t> file = EncodeFits(pixels, told);
  // What is synced one by one would keep the video waiting: see Sync.
  const int error = PutFile(FileOf(path_, frame.frame), file, Existing::Keep, Durability::Cached);
  if (error != 0) return error;
  fileBytes_ = file.size();
  ends_.push_back((ends_.empty() ? 0 : ends_.back()) + fileBytes_);
  return 0;
}

int FolderSink::Sync() {
  const int fd = open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return errno;
  const int error = syncfs(fd) == 0 ? 0 : errno;
  close(fd);
  return error;
}

int FolderSink::Keep(std::uint64_t& frames) {
  frames = std::min<std::uint64_t>(frames, ends_.size());
  for (std::uint64_t frame = ends_.size(); frame > frames; --frame)
    if (unlink(FileOf(path_, frame).c_str()) != 0 && errno != ENOENT) return errno;
  ends_.resize(static_cast<std::size_t>(frames));
  return 0;
}

std::uint64_t FolderSink::BytesOf(std::uint64_t frames) const {
  const std::uint64_t there = std::min<std::uint64_t>(frames, ends_.size());
  const std::uint64_t bytes = there == 0 ? 0 : ends_[static_cast<std::size_t>(there - 1)];
  return bytes + (frames - there) * fileBytes_;
}

}  // namespace orq::session
