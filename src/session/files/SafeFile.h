// Files that are either whole or not there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "support/WholeFile.h"

namespace orq::session {

/// `PutFile` for users: throws Failure with one line that says what to do.
void WriteWholeFile(const std::string& path, std::span<const std::uint8_t> bytes, Existing existing,
                    Durability durability);

/// The same for files that are no frames: the error, and a look beforehand whether it would come.
[[noreturn]] void CannotWrite(const std::string& path, int error);
void DemandWritable(const std::string& path, Existing existing);
/// Both, and the file on the disk.
void WriteFile(const std::string& path, std::span<const std::uint8_t> bytes, Existing existing);

/// An errno, or 0 with the whole file in `bytes`. Waits for nothing: only for regular files.
int ReadWholeFile(const std::string& path, std::size_t atMost, std::vector<std::uint8_t>& bytes);

/// Looks whether files could be written now; fast for many in one directory.
class WriteChecker {
 public:
  explicit WriteChecker(Existing existing) : existing_(existing) {}
  /// Throws Failure: no such directory, no permission, there already, a name that cannot be.
  void Check(const std::string& path);

 private:
  Existing existing_;
  std::string lastDirectory_;
};

/// The same for one file.
void CheckWritable(const std::string& path, Existing existing);

}  // namespace orq::session
