// FITS cubes of any size, read frame by frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "session/fits/FitsCube.h"

namespace orq::session {

/// Whether `path` is a file that begins as a FITS file does.
bool IsFits(const std::string& path);

/// An open file. Only its size at opening counts. Caller-serialised.
class CubeFile {
 public:
  /// Throws Failure: it cannot be read, or is no such cube.
  explicit CubeFile(const std::string& path);

  const CubeFacts& Facts() const { return facts_; }
  const std::vector<std::uint8_t>& Header() const { return header_; }
  std::uint64_t Bytes() const { return bytes_; }
  /// That the bytes behind the header would make, whatever it announces.
  std::uint64_t WholeFrames() const;
  /// As many of the bytes from `offset` on as there are.
  std::vector<std::uint8_t> ReadAt(std::uint64_t offset, std::size_t count);
  /// The samples of frame `index`, counted from 0, as they stand there. Throws Failure: it is not whole.
  std::vector<std::uint8_t> ReadFrame(std::uint64_t index);

 private:
  std::string path_;
  std::ifstream file_;
  std::uint64_t bytes_ = 0;
  std::vector<std::uint8_t> header_;
  CubeFacts facts_;
};

}  // namespace orq::session
