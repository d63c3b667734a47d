// A small file that several processes share: read whole, replaced whole, locked while it is changed.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>

namespace orq {

/// The path that a write must replace: links in the last part of `path` are followed, also to a file that does not
/// exist. Empty, with the reason, when they lead in circles or to what is no regular file.
std::string FollowLinks(const std::string& path, std::string& reason);

enum class FileRead { Missing, Read, TooLarge, Failed };
/// The whole of a regular file of at most `limit` bytes. `reason` is one line when it failed.
FileRead ReadWholeFile(const std::string& path, std::size_t limit, std::string& text, std::string& reason);

/// Puts `text` in the place of the file, which has its old contents or the new ones at every moment, also across a
/// power cut. Mode and, where allowed, owner stay those of the old file. Call it with the file's lock held. On
/// failure the old file stays and nothing is left beside it; the reason is one line.
bool ReplaceFile(const std::string& path, std::string_view text, std::string& reason);

/// Renames a file that cannot be used to a free name beside it, which it returns; empty with the reason on
/// failure.
std::string SetFileAside(const std::string& path, std::string& reason);

/// Makes a directory and those above it, for the user alone; false with the reason when it cannot be.
bool MakeDirectories(const std::string& directory, std::string& reason);

/// Keeps all others that take it from changing `path`, in this process and in others, while it lives. It ends with
/// its process, however that ends.
class FileLock {
 public:
  /// Waits at most `patience`. Not `Held`, with the reason, when another holds it for longer or there can be none.
  FileLock(const std::string& path, std::chrono::milliseconds patience, std::string& reason);
  ~FileLock();
  FileLock(const FileLock&) = delete;
  FileLock& operator=(const FileLock&) = delete;

  bool Held() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

}  // namespace orq
