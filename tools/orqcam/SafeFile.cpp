#include "SafeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "ExitCodes.h"
#include "Text.h"

namespace orq::cli {

namespace {

constexpr std::size_t kChunkBytes = std::size_t{4} << 20;
constexpr int kNameAttempts = 100;

const char* Advice(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return "; make the directory first, or give another --output";
    case EACCES:
    case EPERM:
    case EROFS:
      return "; give an --output where you may write";
    case ENOSPC:
    case EDQUOT:
      return "; free some space, or give an --output on another disk";
    case EFBIG:
      return "; the file size limit (ulimit -f) is too small";
    case ENAMETOOLONG:
      return "; give a shorter --output";
    case EEXIST:
      return "; give another --output, or --overwrite";
    default:
      return "";
  }
}

[[noreturn]] void Fail(const std::string& path, int error) {
  throw CliError(kExitFailed, "cannot write '" + path + "': " + std::strerror(error) + Advice(error));
}

// The file while it has no name of its own: removed unless it was published.
class HiddenFile {
 public:
  explicit HiddenFile(const std::string& path) : target_(path) {
    const std::filesystem::path target(path);
    for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
      const std::string name = Format(".orqcam-%d-%d.part", static_cast<int>(getpid()), attempt);
      hidden_ = (target.parent_path() / name).string();
      fd_ = open(hidden_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (fd_ >= 0) return;
      if (errno != EEXIST) break;
    }
    Fail(path, errno);
  }
  ~HiddenFile() {
    if (fd_ >= 0) close(fd_);
    if (!published_) unlink(hidden_.c_str());
  }
  HiddenFile(const HiddenFile&) = delete;
  HiddenFile& operator=(const HiddenFile&) = delete;

  void Write(std::span<const std::uint8_t> bytes) {
    while (!bytes.empty()) {
      const ssize_t count = write(fd_, bytes.data(), std::min(bytes.size(), kChunkBytes));
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) Fail(target_, errno);
      bytes = bytes.subspan(static_cast<std::size_t>(count));
    }
  }

  void Finish(Durability durability) {
    // File systems without sync answer EINVAL; they keep nothing back either.
    if (durability == Durability::Synced && fsync(fd_) != 0 && errno != EINVAL) Fail(target_, errno);
    const int fd = fd_;
    fd_ = -1;
    if (close(fd) != 0) Fail(target_, errno);
  }

  void Publish(Existing existing) {
    if (existing == Existing::Overwrite) {
      if (rename(hidden_.c_str(), target_.c_str()) != 0) Fail(target_, errno);
    } else if (renameat2(AT_FDCWD, hidden_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE) != 0) {
      // Some file systems cannot refuse to replace: look, then rename.
      if (errno != EINVAL && errno != ENOSYS) Fail(target_, errno);
      struct stat there {};
      if (lstat(target_.c_str(), &there) == 0) Fail(target_, EEXIST);
      if (rename(hidden_.c_str(), target_.c_str()) != 0) Fail(target_, errno);
    }
    published_ = true;
  }

 private:
  std::string target_;
  std::string hidden_;
  int fd_ = -1;
  bool published_ = false;
};

void CheckDirectory(const std::string& path, const std::string& directory) {
  struct stat status {};
  if (stat(directory.c_str(), &status) != 0) Fail(path, errno);
  if (!S_ISDIR(status.st_mode)) Fail(path, ENOTDIR);
  if (access(directory.c_str(), W_OK | X_OK) != 0) Fail(path, errno);
}

std::string DirectoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return path.substr(0, std::max<std::size_t>(slash, 1));
}

void SyncDirectory(const std::string& path) {
  const int fd = open(DirectoryOf(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  fsync(fd);
  close(fd);
}

}  // namespace

void WriteWholeFile(const std::string& path, std::span<const std::uint8_t> bytes, Existing existing,
                    Durability durability) {
  CheckWritable(path, existing);
  HiddenFile file(path);
  file.Write(bytes);
  file.Finish(durability);
  file.Publish(existing);
  if (durability == Durability::Synced) SyncDirectory(path);
}

void WriteChecker::Check(const std::string& path) {
  const std::string directory = DirectoryOf(path);
  if (directory != lastDirectory_) CheckDirectory(path, directory);
  lastDirectory_ = directory;
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) {
    if (errno != ENOENT) Fail(path, errno);
    return;
  }
  if (existing_ == Existing::Keep) Fail(path, EEXIST);
  if (S_ISDIR(status.st_mode)) Fail(path, EISDIR);
}

void CheckWritable(const std::string& path, Existing existing) {
  WriteChecker(existing).Check(path);
}

}  // namespace orq::cli
