// Files that are either whole or not there.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace orq::cli {

enum class Existing { Keep, Overwrite };
/// Synced files survive a power cut right after; that costs time which a video does not have.
enum class Durability { Synced, Cached };

/// Writes `bytes` to a hidden file in the same directory and gives it its name only when complete. An existing
/// file is kept (an error) unless it may be overwritten. On any error nothing is left behind. Throws CliError
/// with one line that says what to do.
void WriteWholeFile(const std::string& path, std::span<const std::uint8_t> bytes, Existing existing,
                    Durability durability);

/// Looks whether files could be written now; fast for many in one directory.
class WriteChecker {
 public:
  explicit WriteChecker(Existing existing) : existing_(existing) {}
  /// Throws CliError: no such directory, no permission, there already, a name that cannot be.
  void Check(const std::string& path);

 private:
  Existing existing_;
  std::string lastDirectory_;
};

/// The same for one file.
void CheckWritable(const std::string& path, Existing existing);

}  // namespace orq::cli
