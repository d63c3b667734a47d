// Where the server keeps what it records.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace orq::network {

/// A file of the folder.
struct FolderFile {
  std::string name;
  std::uint64_t bytes = 0;
  std::int64_t changedUnixS = 0;
};

/// A file that is open for reading.
struct OpenFile {
  std::shared_ptr<const int> descriptor;
  std::uint64_t bytes = 0;
};

/// One folder without the folders in it. No name leads out of it: it has no slashes, links are not followed. Any
/// thread.
class Folder {
 public:
  /// Empty: orqcam in the user's home, which is made when it is first written to; any other is made at once.
  /// Throws FileError: no folder can be made.
  explicit Folder(const std::string& path);

  const std::string& path() const { return path_; }
  /// The path of a file in it, which `name` may have placeholders for. Makes the folder. Throws InvalidError for
  /// names with more than letters, digits, '.', '-', '_' and braces, or a dot in front; FileError: no folder can
  /// be made.
  std::string pathFor(const std::string& name) const;
  /// The newest first, hidden ones left out.
  std::vector<FolderFile> list() const;
  /// Throws NotFoundError.
  OpenFile open(const std::string& name) const;
  /// Bytes that are free on its disk; 0: not known.
  std::uint64_t freeBytes() const;

 private:
  void make() const;

  std::string path_;
};

}  // namespace orq::network
