#include "session/recording/CubeRepair.h"

#include <algorithm>
#include <fstream>
#include <optional>
#include <vector>

#include "session/Failure.h"
#include "session/files/WritableFile.h"
#include "session/fits/FitsCube.h"
#include "session/recording/CubeSink.h"
#include "session/recording/TimesFile.h"

namespace orq::session {
namespace {

constexpr std::size_t kMostHeader = 100 * kFitsBlockBytes;

[[noreturn]] void Refuse(const std::string& path, const std::string& why) {
  throw Failure(Status::File, "'" + path + "': " + why);
}

// As many of the bytes from `offset` on as there are.
std::vector<std::uint8_t> ReadBytes(std::ifstream& file, std::uint64_t offset, std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  file.clear();
  file.seekg(static_cast<std::streamoff>(offset));
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(count));
  bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0)));
  return bytes;
}

struct Cube {
  explicit Cube(const std::string& path) : file(path, std::ios::binary) {
    if (!file) Refuse(path, "cannot be read");
    file.seekg(0, std::ios::end);
    bytes = static_cast<std::uint64_t>(std::max<std::streamoff>(file.tellg(), 0));
    header = ReadBytes(file, 0, kMostHeader);
    const std::optional<CubeFacts> read = ReadCubeHeader(header);
    if (!read) Refuse(path, "it is no FITS cube");
    facts = *read;
    header.resize(static_cast<std::size_t>(facts.headerBytes));
  }
  std::uint64_t WholeFrames() const {
    return (bytes - std::min(bytes, facts.headerBytes)) / facts.shape.FrameBytes();
  }
  bool HasAt(std::uint64_t offset, std::span<const std::uint8_t> expected) {
    return std::ranges::equal(ReadBytes(file, offset, expected.size()), expected);
  }

  std::ifstream file;
  std::uint64_t bytes = 0;
  std::vector<std::uint8_t> header;
  CubeFacts facts;
};

// Bytes beyond those that the last flush has left are those of frames, as far as the text has heard of them; the
// zeros that fill up a block are not.
std::uint64_t FramesToKeep(const Cube& cube, const std::optional<RecordedTimes>& times) {
  const std::uint64_t whole = cube.WholeFrames();
  if (times && times->finished) return std::min(whole, *times->finished);
  const std::uint64_t announced = std::min(whole, cube.facts.frames);
  if (!times || cube.bytes <= cube.facts.EndOf(cube.facts.frames)) return announced;
  return std::max<std::uint64_t>(announced, std::min<std::uint64_t>(whole, times->lines.size()));
}

// Of what the text tells; with none, whatever extension stands there.
std::vector<std::uint8_t> TableFor(const std::optional<RecordedTimes>& times, std::uint64_t frames,
                                   std::uint64_t& timed) {
  if (!times) return {};
  std::vector<std::uint8_t> rows;
  for (const RecordedFrame& line : times->lines) {
    if (line.frame > frames) break;
    AddTimesRow(line, rows);
    ++timed;
  }
  return TimesTable(rows);
}

bool IsWhole(Cube& cube, std::uint64_t frames, std::span<const std::uint8_t> table) {
  const std::uint64_t end = cube.facts.EndOf(frames);
  if (cube.facts.frames != frames || cube.bytes < end) return false;
  if (!table.empty()) return cube.bytes == end + table.size() && cube.HasAt(end, table);
  constexpr std::uint8_t kExtension[] = {'X', 'T', 'E', 'N', 'S', 'I', 'O', 'N'};
  return cube.bytes == end || cube.HasAt(end, kExtension);
}

}  // namespace

bool IsFits(const std::string& path) {
  constexpr std::uint8_t kSimple[] = {'S', 'I', 'M', 'P', 'L', 'E', ' ', ' ', '='};
  std::ifstream file(path, std::ios::binary);
  return file && std::ranges::equal(ReadBytes(file, 0, sizeof kSimple), kSimple);
}

SerRepaired RepairCube(const std::string& path) {
  Cube cube(path);
  const std::string textPath = TimesFileOf(path);
  const std::optional<RecordedTimes> times = ReadTimes(textPath);
  const std::uint64_t frames = FramesToKeep(cube, times);
  if (frames == 0) Refuse(path, "it has not one whole frame: there is nothing to repair");
  SerRepaired repaired{.frames = frames};
  const std::vector<std::uint8_t> table = TableFor(times, frames, repaired.timed);
  if (IsWhole(cube, frames, table)) return repaired;
  if (times) NoteRepaired(textPath, *times, frames);
  WritableFile writable(path);
  AnnounceFrames(cube.header, std::min(frames, cube.facts.frames));
  writable.Write(0, cube.header);
  const std::uint64_t end = cube.facts.headerBytes + frames * cube.facts.shape.FrameBytes();
  writable.Cut(end);
  writable.Write(end, std::vector<std::uint8_t>(cube.facts.EndOf(frames) - end, 0));
  writable.Write(cube.facts.EndOf(frames), table);
  writable.Sync();
  AnnounceFrames(cube.header, frames);
  writable.Write(0, cube.header);
  writable.Sync();
  repaired.changed = true;
  return repaired;
}

}  // namespace orq::session
