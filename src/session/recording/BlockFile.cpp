#include "session/recording/BlockFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "session/files/SafeFile.h"

namespace orq::session {
namespace {

constexpr std::size_t kAlignment = 4096;
constexpr std::uint64_t kAheadBytes = 256U << 20U;

// What is written stays written: `done` tells how much.
int WriteAllAt(int fd, std::uint64_t offset, std::span<const std::uint8_t> bytes, std::size_t& done) {
  done = 0;
  while (done < bytes.size()) {
    const ssize_t count = pwrite(fd, bytes.data() + done, bytes.size() - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return errno;
    if (count == 0) return EIO;
    done += static_cast<std::size_t>(count);
  }
  return 0;
}

}  // namespace

BlockFile::BlockFile(const std::string& path, Existing existing, std::function<int()> beforeWrite)
    : beforeWrite_(std::move(beforeWrite)), block_(nullptr, std::free) {
  CheckWritable(path, existing);
  block_.reset(static_cast<std::uint8_t*>(std::aligned_alloc(kAlignment, kBlockBytes)));
  if (!block_) throw std::bad_alloc();
  const int unlessThere = existing == Existing::Keep ? O_EXCL : O_TRUNC;
  fd_ = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | unlessThere, 0666);
  if (fd_ < 0) CannotWrite(path, errno);
  direct_ = open(path.c_str(), O_WRONLY | O_DIRECT | O_CLOEXEC);
}

BlockFile::~BlockFile() {
  if (direct_ >= 0) close(direct_);
  close(fd_);
}

void BlockFile::TakeAhead() {
  if (!takesAhead_ || blockOffset_ + kBlockBytes <= allocated_) return;
  // A disk that is too full for it may still have room for what comes next.
  takesAhead_ = fallocate(fd_, FALLOC_FL_KEEP_SIZE, static_cast<off_t>(blockOffset_), kAheadBytes) == 0;
  if (takesAhead_) allocated_ = blockOffset_ + kAheadBytes;
}

// A part that was flushed before is written once more with its whole block.
int BlockFile::WriteBlock(std::size_t end) {
  if (const int error = beforeWrite_(); error != 0) return error;
  TakeAhead();
  if (end == kBlockBytes && direct_ >= 0) {
    std::size_t done = 0;
    const int error = WriteAllAt(direct_, blockOffset_, {block_.get(), end}, done);
    flushed_ = std::max(flushed_, done);
    if (error != EINVAL) return error;
    // Some file systems open such files and yet do not write them so.
    close(direct_);
    direct_ = -1;
  }
  std::size_t done = 0;
  const int error = WriteAllAt(fd_, blockOffset_ + flushed_, {block_.get() + flushed_, end - flushed_}, done);
  flushed_ += done;
  // The disk begins at once: a cache full of what is still to be written makes writes wait.
  sync_file_range(fd_, static_cast<off_t>(blockOffset_), kBlockBytes, SYNC_FILE_RANGE_WRITE);
  return error;
}

int BlockFile::Append(std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const std::size_t part = std::min(bytes.size(), kBlockBytes - gathered_);
    std::memcpy(block_.get() + gathered_, bytes.data(), part);
    gathered_ += part;
    bytes = bytes.subspan(part);
    if (gathered_ < kBlockBytes) continue;
    if (const int error = WriteBlock(kBlockBytes); error != 0) return error;
    blockOffset_ += kBlockBytes;
    gathered_ = flushed_ = 0;
  }
  return 0;
}

int BlockFile::Flush() {
  return flushed_ == gathered_ ? 0 : WriteBlock(gathered_);
}

int BlockFile::Sync() {
  if (const int error = Flush(); error != 0) return error;
  // What is written to a file that was deleted meanwhile is lost without any error.
  struct stat status {};
  if (fstat(fd_, &status) == 0 && status.st_nlink == 0) return ENOENT;
  return fdatasync(fd_) == 0 || errno == EINVAL ? 0 : errno;
}

int BlockFile::WriteAt(std::uint64_t offset, std::span<const std::uint8_t> bytes) {
  // A block that is still gathered may be written once more, as a whole.
  const std::uint64_t from = std::max(offset, blockOffset_);
  const std::uint64_t to = std::min(offset + bytes.size(), blockOffset_ + gathered_);
  if (from < to) std::memcpy(block_.get() + (from - blockOffset_), bytes.data() + (from - offset), to - from);
  std::size_t done = 0;
  return WriteAllAt(fd_, offset, bytes, done);
}

int BlockFile::Cut(std::uint64_t bytes) {
  gathered_ = flushed_ = 0;
  blockOffset_ = allocated_ = bytes;
  return ftruncate(fd_, static_cast<off_t>(bytes)) == 0 ? 0 : errno;
}

}  // namespace orq::session
