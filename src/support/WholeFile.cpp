#include "support/WholeFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>

namespace orq {
namespace {

constexpr std::size_t kChunkBytes = std::size_t{4} << 20;
constexpr int kNameAttempts = 100;

// The file while it has no name of its own: removed unless it was published. Every step gives 0 or an errno.
class HiddenFile {
 public:
  explicit HiddenFile(const std::string& path) : target_(path) {}
  ~HiddenFile() {
    if (fd_ >= 0) close(fd_);
    if (!hidden_.empty()) unlink(hidden_.c_str());
  }
  HiddenFile(const HiddenFile&) = delete;
  HiddenFile& operator=(const HiddenFile&) = delete;

  int Create() {
    const std::string directory = DirectoryOf(target_);
    for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
      const std::string name =
          directory + "/.orqcam-" + std::to_string(getpid()) + "-" + std::to_string(attempt) + ".part";
      fd_ = open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
      if (fd_ >= 0) {
        hidden_ = name;
        return 0;
      }
      if (errno != EEXIST) break;
    }
    return errno;
  }

  int Write(std::span<const std::uint8_t> bytes) const { return WriteAll(fd_, bytes); }

  int Finish(Durability durability) {
    if (durability == Durability::Synced) {
      if (const int error = SyncFile(fd_); error != 0) return error;
    }
    const int fd = fd_;
    fd_ = -1;
    return close(fd) == 0 ? 0 : errno;
  }

  int Publish(Existing existing) {
    if (existing == Existing::Overwrite) {
      if (rename(hidden_.c_str(), target_.c_str()) != 0) return errno;
    } else if (renameat2(AT_FDCWD, hidden_.c_str(), AT_FDCWD, target_.c_str(), RENAME_NOREPLACE) != 0) {
      // Some file systems cannot refuse to replace: look, then rename.
      if (errno != EINVAL && errno != ENOSYS) return errno;
      struct stat there {};
      if (lstat(target_.c_str(), &there) == 0) return EEXIST;
      if (rename(hidden_.c_str(), target_.c_str()) != 0) return errno;
    }
    hidden_.clear();
    return 0;
  }

 private:
  std::string target_;
  std::string hidden_;
  int fd_ = -1;
};

}  // namespace

int PutFile(const std::string& path, std::span<const std::uint8_t> bytes, Existing existing,
            Durability durability) {
  HiddenFile file(path);
  int error = file.Create();
  if (error == 0) error = file.Write(bytes);
  if (error == 0) error = file.Finish(durability);
  if (error == 0) error = file.Publish(existing);
  if (error == 0 && durability == Durability::Synced) SyncDirectory(DirectoryOf(path));
  return error;
}

int WriteAll(int fd, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(fd, bytes.data(), std::min(bytes.size(), kChunkBytes));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    bytes = bytes.subspan(static_cast<std::size_t>(count));
  }
  return 0;
}

int SyncFile(int fd) {
  // File systems without sync answer EINVAL; they keep nothing back either.
  return fsync(fd) == 0 || errno == EINVAL ? 0 : errno;
}

void SyncDirectory(const std::string& directory) {
  const int fd = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  fsync(fd);
  close(fd);
}

std::string DirectoryOf(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return path.substr(0, std::max<std::size_t>(slash, 1));
}

}  // namespace orq
