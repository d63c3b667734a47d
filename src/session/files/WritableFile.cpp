#include "session/files/WritableFile.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "session/Failure.h"
#include "support/WholeFile.h"

namespace orq::session {

WritableFile::WritableFile(const std::string& path) : path_(path), fd_(open(path.c_str(), O_WRONLY | O_CLOEXEC)) {
  if (fd_ < 0) Demand(errno);
}

WritableFile::~WritableFile() {
  close(fd_);
}

void WritableFile::Cut(std::uint64_t bytes) {
  Demand(ftruncate(fd_, static_cast<off_t>(bytes)) == 0 ? 0 : errno);
}

void WritableFile::Write(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
  Demand(lseek(fd_, static_cast<off_t>(offset), SEEK_SET) < 0 ? errno : WriteAll(fd_, bytes));
}

void WritableFile::Sync() {
  Demand(SyncFile(fd_));
}

void WritableFile::Demand(int error) const {
  if (error != 0) throw Failure(Status::File, "'" + path_ + "': cannot be repaired: " + std::strerror(error));
}

}  // namespace orq::session
