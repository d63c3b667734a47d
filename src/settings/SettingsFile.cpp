#include "settings/SettingsFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <thread>
#include <utility>

#include "support/WholeFile.h"

namespace orq {
namespace {

constexpr int kMostLinks = 40;
constexpr int kMostNames = 1000;
constexpr const char* kNotRegular = "it is not a regular file";
constexpr mode_t kPublicFile = 0666;  // less the umask
constexpr mode_t kPrivateDirectory = 0700;
constexpr mode_t kModeBits = 07777;
constexpr std::chrono::milliseconds kLockPoll{2};

std::string ErrnoText() {
  return std::strerror(errno);
}

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Get() const { return fd_; }
  bool Valid() const { return fd_ >= 0; }
  int Close() { return fd_ >= 0 ? ::close(Release()) : 0; }
  int Release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

bool IsRegularFile(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

void KeepOwnerAndMode(int fd, const struct stat& old) {
  // Only an administrator may give files away; what remains is a file of one's own.
  [[maybe_unused]] const int ignored = ::fchown(fd, old.st_uid, old.st_gid);
  ::fchmod(fd, old.st_mode & kModeBits);
}

/// One that another user made, an administrator say, need only be readable. On failure errno has the reason for
/// which none could be made.
int OpenLockFile(const std::string& name) {
  constexpr int kFlags = O_CLOEXEC | O_NOFOLLOW;
  const int fd = ::open(name.c_str(), O_RDWR | O_CREAT | kFlags, kPublicFile);
  if (fd >= 0 || errno != EACCES) return fd;
  const int readable = ::open(name.c_str(), O_RDONLY | kFlags);
  if (readable < 0) errno = EACCES;
  return readable;
}

/// Whether the lock file at `path` is the one behind `fd`: somebody may have removed it before it was locked.
bool IsStillAt(int fd, const std::string& path) {
  struct stat held {};
  struct stat there {};
  return ::fstat(fd, &held) == 0 && ::stat(path.c_str(), &there) == 0 && held.st_dev == there.st_dev &&
         held.st_ino == there.st_ino;
}

}  // namespace

std::string FollowLinks(const std::string& path, std::string& reason) {
  std::string current = path;
  for (int links = 0; links < kMostLinks; ++links) {
    std::array<char, PATH_MAX> target{};
    const ssize_t length = ::readlink(current.c_str(), target.data(), target.size());
    if (length < 0) {
      const int error = errno;
      if (error == ENOENT || error == ENOTDIR) return current;  // nothing is there yet
      const bool noLink = error == EINVAL;
      if (noLink && IsRegularFile(current)) return current;
      reason = noLink ? kNotRegular : std::strerror(error);
      return {};
    }
    const std::string next(target.data(), static_cast<std::size_t>(length));
    current = next.starts_with('/') ? next : DirectoryOf(current) + '/' + next;
  }
  errno = ELOOP;
  reason = ErrnoText();
  return {};
}

FileRead ReadWholeFile(const std::string& path, std::size_t limit, std::string& text, std::string& reason) {
  // Not blocking, for what is no regular file and would wait for a writer.
  const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.Valid()) {
    if (errno == ENOENT || errno == ENOTDIR) return FileRead::Missing;
    reason = ErrnoText();
    return FileRead::Failed;
  }
  struct stat status {};
  if (::fstat(file.Get(), &status) != 0 || !S_ISREG(status.st_mode)) {
    reason = kNotRegular;
    return FileRead::Failed;
  }
  text.resize(limit + 1);
  std::size_t used = 0;
  while (used < text.size()) {
    const ssize_t count = ::read(file.Get(), text.data() + used, text.size() - used);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      reason = ErrnoText();
      return FileRead::Failed;
    }
    if (count == 0) break;
    used += static_cast<std::size_t>(count);
  }
  if (used > limit) return FileRead::TooLarge;
  text.resize(used);
  return FileRead::Read;
}

bool ReplaceFile(const std::string& path, std::string_view text, std::string& reason) {
  // Its name may be there from a process that was killed; the lock sees to it that it is nobody's else.
  const std::string fresh = path + ".new";
  ::unlink(fresh.c_str());
  Descriptor file(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kPublicFile));
  if (!file.Valid()) {
    reason = ErrnoText();
    return false;
  }
  struct stat old {};
  if (::stat(path.c_str(), &old) == 0) KeepOwnerAndMode(file.Get(), old);
  int error = WriteAll(file.Get(), {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
  if (error == 0) error = SyncFile(file.Get());
  if (error == 0 && (file.Close() != 0 || ::rename(fresh.c_str(), path.c_str()) != 0)) error = errno;
  if (error != 0) {
    reason = std::strerror(error);
    ::unlink(fresh.c_str());
    return false;
  }
  SyncDirectory(DirectoryOf(path));
  return true;
}

std::string SetFileAside(const std::string& path, std::string& reason) {
  for (int number = 1; number <= kMostNames; ++number) {
    const std::string aside = path + ".damaged-" + std::to_string(number);
    // Some file systems cannot refuse to replace: look, then rename.
    struct stat there {};
    if (::lstat(aside.c_str(), &there) == 0) continue;
    if (::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, aside.c_str(), RENAME_NOREPLACE) == 0) return aside;
    if (errno == EEXIST) continue;
    const bool cannotRefuse = errno == EINVAL || errno == ENOSYS;
    if (cannotRefuse && ::rename(path.c_str(), aside.c_str()) == 0) return aside;
    reason = ErrnoText();
    return {};
  }
  reason = "all names for it are taken";
  return {};
}

bool MakeDirectories(const std::string& directory, std::string& reason) {
  const std::filesystem::path wanted(directory);
  std::error_code error;
  if (std::filesystem::is_directory(wanted, error)) return true;
  if (wanted.has_parent_path() && wanted.parent_path() != wanted &&
      !MakeDirectories(wanted.parent_path().string(), reason))
    return false;
  if (::mkdir(directory.c_str(), kPrivateDirectory) == 0 || errno == EEXIST) return true;
  reason = ErrnoText();
  return false;
}

FileLock::FileLock(const std::string& path, std::chrono::milliseconds patience, std::string& reason) {
  const std::string name = path + ".lock";
  const auto deadline = std::chrono::steady_clock::now() + patience;
  for (;;) {
    Descriptor file(OpenLockFile(name));
    if (!file.Valid()) {
      reason = ErrnoText();
      return;
    }
    while (::flock(file.Get(), LOCK_EX | LOCK_NB) != 0) {
      const bool busy = errno == EWOULDBLOCK || errno == EINTR;
      if (!busy || std::chrono::steady_clock::now() >= deadline) {
        reason = busy ? "another process holds " + name : ErrnoText();
        return;
      }
      std::this_thread::sleep_for(kLockPoll);
    }
    if (IsStillAt(file.Get(), name)) {
      fd_ = file.Release();
      return;
    }
  }
}

FileLock::~FileLock() {
  if (fd_ < 0) return;
  // A process that was forked meanwhile shares the lock, which closing alone would leave to it.
  ::flock(fd_, LOCK_UN);
  ::close(fd_);
}

}  // namespace orq
