#include "session/recording/cube/CubeFile.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <span>

#include "session/Failure.h"

namespace orq::session {
namespace {

constexpr std::size_t kMostHeader = 100 * kFitsBlockBytes;

[[noreturn]] void Refuse(const std::string& path, const std::string& why) {
  throw Failure(Status::File, "'" + path + "': " + why);
}

// A pipe would wait for its other end.
bool IsRegular(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_regular_file(path, error);
}

std::vector<std::uint8_t> Read(std::ifstream& file, std::uint64_t offset, std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  file.clear();
  file.seekg(static_cast<std::streamoff>(offset));
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(count));
  bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0)));
  return bytes;
}

}  // namespace

bool IsFits(const std::string& path) {
  constexpr std::uint8_t kSimple[] = {'S', 'I', 'M', 'P', 'L', 'E', ' ', ' ', '='};
  if (!IsRegular(path)) return false;
  std::ifstream file(path, std::ios::binary);
  return file && std::ranges::equal(Read(file, 0, sizeof kSimple), kSimple);
}

CubeFile::CubeFile(const std::string& path) : path_(path) {
  if (IsRegular(path)) file_.open(path, std::ios::binary);
  if (!file_.is_open()) Refuse(path, "cannot be read");
  file_.seekg(0, std::ios::end);
  bytes_ = static_cast<std::uint64_t>(std::max<std::streamoff>(file_.tellg(), 0));
  header_ = ReadAt(0, kMostHeader);
  const std::optional<CubeFacts> read = ReadCubeHeader(header_);
  if (!read) Refuse(path, "it is no FITS cube of 8 or unsigned 16 bits");
  facts_ = *read;
  header_.resize(static_cast<std::size_t>(facts_.headerBytes));
}

std::uint64_t CubeFile::WholeFrames() const {
  return (bytes_ - std::min(bytes_, facts_.headerBytes)) / facts_.shape.FrameBytes();
}

std::vector<std::uint8_t> CubeFile::ReadAt(std::uint64_t offset, std::size_t count) {
  const std::uint64_t there = bytes_ - std::min(bytes_, offset);
  return Read(file_, offset, static_cast<std::size_t>(std::min<std::uint64_t>(count, there)));
}

std::vector<std::uint8_t> CubeFile::ReadFrame(std::uint64_t index) {
  if (index >= WholeFrames()) Refuse(path_, "the frame is not whole");
  const auto size = static_cast<std::size_t>(facts_.shape.FrameBytes());
  std::vector<std::uint8_t> samples = ReadAt(facts_.headerBytes + index * size, size);
  if (samples.size() != size) Refuse(path_, "cannot be read");
  return samples;
}

}  // namespace orq::session
