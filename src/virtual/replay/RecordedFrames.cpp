#include "virtual/replay/RecordedFrames.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <new>

#include "support/ser/SerHeader.h"
#include "virtual/replay/FitsReader.h"
#include "virtual/replay/PgmReader.h"
#include "virtual/replay/SerReader.h"

namespace orq {
namespace {

std::optional<std::vector<std::uint8_t>> ReadWholeFile(const std::string& path, std::string& error) {
  std::error_code failure;
  const std::filesystem::file_status status = std::filesystem::status(path, failure);
  if (!std::filesystem::exists(status)) {
    error = "no such file";
    return std::nullopt;
  }
  if (!std::filesystem::is_regular_file(status)) {
    error = "not a regular file";
    return std::nullopt;
  }
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  if (!file) {
    error = "cannot be opened for reading";
    return std::nullopt;
  }
  const auto size = static_cast<std::int64_t>(file.tellg());
  if (size < 0 || size > kMostFileBytes) {
    error = "larger than 1 GiB, more than a recording may hold";
    return std::nullopt;
  }
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
  file.seekg(0);
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(size));
  if (!file) {
    error = "cannot be read to its end";
    return std::nullopt;
  }
  return bytes;
}

}  // namespace

bool CheckGeometry(std::int64_t width, std::int64_t height, std::int64_t count, int bytesPerSample,
                   std::int64_t bytesPresent, std::string& error) {
  if (width < 1 || height < 1 || width > kLargestSide || height > kLargestSide) {
    error = "frames of " + std::to_string(width) + " x " + std::to_string(height) + " pixels; sides of 1 to " +
            std::to_string(kLargestSide) + " can be replayed";
    return false;
  }
  if (count < 1) {
    error = "holds no frame";
    return false;
  }
  if (count > kMostSamples / (width * height)) {
    error = "more than " + std::to_string(kMostSamples) + " samples; replay a shorter recording";
    return false;
  }
  const std::int64_t needed = width * height * count * bytesPerSample;
  bytesPresent = std::max<std::int64_t>(bytesPresent, 0);
  if (needed > bytesPresent) {
    error = "truncated: " + std::to_string(needed) + " bytes of pixels announced, " +
            std::to_string(bytesPresent) + " present";
    return false;
  }
  return true;
}

std::optional<RecordedFrames> ReadRecording(std::span<const std::uint8_t> bytes, std::string& error) {
  if (LooksLikeFits(bytes)) return ReadFits(bytes, error);
  if (LooksLikePgm(bytes)) return ReadPgm(bytes, error);
  if (LooksLikeSer(bytes)) return ReadSer(bytes, error);
  error = "neither a FITS, a binary PGM (P5) nor a SER file";
  return std::nullopt;
}

std::optional<RecordedFrames> LoadRecording(const std::string& path, std::string& error) {
  std::string reason;
  std::optional<RecordedFrames> recording;
  try {
    if (const auto bytes = ReadWholeFile(path, reason)) recording = ReadRecording(*bytes, reason);
  } catch (const std::bad_alloc&) {
    reason = "not enough memory to hold it";
  }
  if (recording) recording->facts.file = std::filesystem::path(path).filename().string();
  if (!recording) error = "replay file '" + path + "': " + reason;
  return recording;
}

}  // namespace orq
