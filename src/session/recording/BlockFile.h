// A file that grows by large aligned blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "support/WholeFile.h"

namespace orq::session {

/// Bytes are gathered in a block of 4 MB, and each full one is written past the system's cache where the file
/// system allows that: what a recording writes is not read again soon, and a cache that it has filled would make
/// writes wait at moments of the system's choosing. Room on the disk is taken ahead. Everything but the
/// constructor gives 0 or an errno. Caller-serialised.
class BlockFile {
 public:
  static constexpr std::size_t kBlockBytes = std::size_t{4} << 20;

  /// `beforeWrite` is called before bytes reach the system, which then do not when it gives an errno. Throws
  /// Failure: the file cannot be made.
  BlockFile(const std::string& path, Existing existing, std::function<int()> beforeWrite);
  ~BlockFile();
  BlockFile(const BlockFile&) = delete;
  BlockFile& operator=(const BlockFile&) = delete;

  /// After a failure nothing more is to be appended.
  int Append(std::span<const std::uint8_t> bytes);
  /// Writes what is still gathered.
  int Flush();
  /// Flushes, and waits until the disk has it.
  int Sync();
  /// Writes over bytes that have been written, or behind them.
  int WriteAt(std::uint64_t offset, std::span<const std::uint8_t> bytes);
  /// Makes the file so long, gives back what was taken ahead and forgets what is gathered. Only `WriteAt` and
  /// `Sync` come after it.
  int Cut(std::uint64_t bytes);

  /// Bytes that have been appended, and those of them that have reached the system.
  std::uint64_t Appended() const { return blockOffset_ + gathered_; }
  std::uint64_t Written() const { return blockOffset_ + flushed_; }
  /// Of the disk, taken ahead of what is written.
  std::uint64_t Ahead() const { return allocated_ > Written() ? allocated_ - Written() : 0; }
  /// Whether it is written past the system's cache.
  bool IsDirect() const { return direct_ >= 0; }

 private:
  int WriteBlock(std::size_t end);
  void TakeAhead();

  int fd_ = -1;
  int direct_ = -1;  ///< a second descriptor for whole blocks; -1: there is none
  std::function<int()> beforeWrite_;
  std::unique_ptr<std::uint8_t, void (*)(void*)> block_;
  std::uint64_t blockOffset_ = 0;
  std::size_t gathered_ = 0;
  std::size_t flushed_ = 0;  ///< of the gathered bytes
  std::uint64_t allocated_ = 0;
  bool takesAhead_ = true;
};

}  // namespace orq::session
