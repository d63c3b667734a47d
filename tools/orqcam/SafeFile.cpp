#include "SafeFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "ExitCodes.h"

namespace orq::cli {

namespace {

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

void DemandNoFile(const std::string& path, Existing existing) {
  std::error_code ignored;  // what else may be wrong shows when the file is written
  if (existing == Existing::Keep && std::filesystem::exists(std::filesystem::symlink_status(path, ignored))) {
    throw CliError(kExitFailed, "'" + path + "' is there already; give another name, or --overwrite");
  }
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
