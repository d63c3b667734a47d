// A file that is there already and is mended in place.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace orq::session {

/// Everything throws Failure with one line when it cannot be done.
class WritableFile {
 public:
  explicit WritableFile(const std::string& path);
  ~WritableFile();
  WritableFile(const WritableFile&) = delete;
  WritableFile& operator=(const WritableFile&) = delete;

  void Cut(std::uint64_t bytes);
  void Write(std::uint64_t offset, std::span<const std::uint8_t> bytes);
  /// Waits until the disk has it.
  void Sync();

 private:
  void Demand(int error) const;
  std::string path_;
  int fd_;
};

}  // namespace orq::session
