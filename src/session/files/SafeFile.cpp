#include "session/files/SafeFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include "session/Failure.h"

namespace orq::session {

namespace {

const char* Advice(int error) {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return "; make the directory first, or name another file";
    case EACCES:
    case EPERM:
    case EROFS:
      return "; name a file where you may write";
    case ENOSPC:
    case EDQUOT:
      return "; free some space, or name a file on another disk";
    case EFBIG:
      return "; the file size limit (ulimit -f) is too small";
    case ENAMETOOLONG:
      return "; give a shorter file name";
    case EEXIST:
      return "; name another file, or allow overwriting";
    default:
      return "";
  }
}

[[noreturn]] void Fail(const std::string& path, int error) {
  throw Failure(Status::File, "cannot write '" + path + "': " + std::strerror(error) + Advice(error));
}

void CheckDirectory(const std::string& path, const std::string& directory) {
  struct stat status {};
  if (stat(directory.c_str(), &status) != 0) Fail(path, errno);
  if (!S_ISDIR(status.st_mode)) Fail(path, ENOTDIR);
  if (access(directory.c_str(), W_OK | X_OK) != 0) Fail(path, errno);
}

}  // namespace

void WriteWholeFile(const std::string& path, std::span<const std::uint8_t> bytes, Existing existing,
                    Durability durability) {
  CheckWritable(path, existing);
  const int error = PutFile(path, bytes, existing, durability);
  if (error != 0) Fail(path, error);
}

void CannotWrite(const std::string& path, int error) {
  const std::string what = "cannot write '" + path + "': " + std::strerror(error);
  throw Failure(Status::File, error == EEXIST ? what + "; give another name, or allow overwriting" : what);
}

void DemandWritable(const std::string& path, Existing existing) {
  const std::string directory = DirectoryOf(path);
  struct stat status {};
  if (stat(directory.c_str(), &status) != 0) CannotWrite(path, errno);
  if (!S_ISDIR(status.st_mode)) CannotWrite(path, ENOTDIR);
  if (lstat(path.c_str(), &status) == 0) {
    if (existing == Existing::Keep) CannotWrite(path, EEXIST);
    if (S_ISDIR(status.st_mode)) CannotWrite(path, EISDIR);
  } else if (errno != ENOENT) {
    CannotWrite(path, errno);
  }
  if (access(directory.c_str(), W_OK | X_OK) != 0) CannotWrite(path, errno);
}

void WriteFile(const std::string& path, std::span<const std::uint8_t> bytes, Existing existing) {
  DemandWritable(path, existing);
  const int error = PutFile(path, bytes, existing, Durability::Synced);
  if (error != 0) CannotWrite(path, error);
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

int ReadWholeFile(const std::string& path, std::size_t atMost, std::vector<std::uint8_t>& bytes) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return errno;
  if (S_ISDIR(status.st_mode)) return EISDIR;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  if (static_cast<std::uintmax_t>(status.st_size) > atMost) return EFBIG;
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file) return errno != 0 ? errno : EIO;
  bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  return file.bad() ? EIO : 0;
}

}  // namespace orq::session
