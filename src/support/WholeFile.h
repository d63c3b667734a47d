// Files that are either whole or not there.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace orq {

enum class Existing { Keep, Overwrite };
/// Synced files survive a power cut right after; that costs time which a video does not have.
enum class Durability { Synced, Cached };

/// Writes `bytes` to a hidden file in the same directory and gives it its name only when complete. An existing
/// file is kept (EEXIST) unless it may be overwritten. Returns 0 or the errno of what failed; nothing is left
/// behind then. Any-thread.
int PutFile(const std::string& path, std::span<const std::uint8_t> bytes, Existing existing,
            Durability durability);

// What it is made of, for files with other rules. 0 or an errno.
int WriteAll(int fd, std::span<const std::uint8_t> bytes);
/// Waits until the file is on the disk.
int SyncFile(int fd);
/// The same for the names in a directory; one that cannot be synced is nobody's failure.
void SyncDirectory(const std::string& directory);

/// The directory that `path` names a file in.
std::string DirectoryOf(const std::string& path);

}  // namespace orq
