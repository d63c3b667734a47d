#include "session/recording/CubeRepair.h"

#include <algorithm>
#include <optional>
#include <vector>

#include "session/Failure.h"
#include "session/files/WritableFile.h"
#include "session/recording/TimesFile.h"
#include "session/recording/cube/CubeFrame.h"
#include "session/recording/cube/CubeTimes.h"

namespace orq::session {
namespace {

[[noreturn]] void Refuse(const std::string& path, const std::string& why) {
  throw Failure(Status::File, "'" + path + "': " + why);
}

// Bytes beyond those that the last flush has left are those of frames, as far as the text has heard of them; the
// zeros that fill up a block are not.
std::uint64_t FramesToKeep(const CubeFile& cube, const std::optional<RecordedTimes>& times) {
  const std::uint64_t whole = cube.WholeFrames();
  const CubeFacts& facts = cube.Facts();
  if (times && times->finished) return std::min(whole, *times->finished);
  const std::uint64_t announced = std::min(whole, facts.frames);
  if (!times || cube.Bytes() <= facts.EndOf(facts.frames)) return announced;
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

using Table = std::optional<std::vector<RecordedFrame>>;

bool IsSame(const RecordedFrame& row, const RecordedFrame& line) {
  return row.number == line.number && row.sequence == line.sequence && row.begin == line.begin;
}

// A table that another program has added cards to is one still.
bool IsToldBy(const RecordedTimes& times, const std::vector<RecordedFrame>& table, std::uint64_t frames) {
  const std::uint64_t told = std::min<std::uint64_t>(times.lines.size(), frames);
  return table.size() == told && std::equal(table.begin(), table.end(), times.lines.begin(), IsSame);
}

bool IsWhole(CubeFile& cube, std::uint64_t frames, const std::optional<RecordedTimes>& times, const Table& table) {
  const std::uint64_t end = cube.Facts().EndOf(frames);
  if (cube.Facts().frames != frames || cube.Bytes() < end || cube.Bytes() % kFitsBlockBytes != 0) return false;
  if (times) return table && IsToldBy(*times, *table, frames);
  constexpr std::uint8_t kExtension[] = {'X', 'T', 'E', 'N', 'S', 'I', 'O', 'N'};
  return cube.Bytes() == end || std::ranges::equal(cube.ReadAt(end, sizeof kExtension), kExtension);
}

void LookAtRows(const std::vector<RecordedFrame>& table, const std::optional<RecordedTimes>& times,
                SerFindings& findings) {
  UtcTenths before = 0;
  for (std::size_t i = 0; i < table.size(); ++i) {
    const UtcTenths time = table[i].begin;
    if (time == 0) ++findings.unstamped;
    if (time < before) ++findings.backwards;
    if (times && (i >= times->lines.size() || time != times->lines[i].begin)) ++findings.differing;
    before = time;
  }
  const auto serTime = [](UtcTenths time) { return time == 0 ? 0 : SerTimeOf(time); };
  findings.survey.stamps = table.size();
  if (!table.empty()) findings.firstTime = serTime(table.front().begin);
  if (!table.empty()) findings.lastTime = serTime(table.back().begin);
}

// One line about a cube that is not whole.
std::string TroubleOf(const SerFindings& findings, std::uint64_t keeps, const Table& table) {
  const SerSurvey& survey = findings.survey;
  const std::string announced = std::to_string(survey.header.frames);
  if (survey.frames < static_cast<std::uint64_t>(survey.header.frames))
    return "it is cut off: " + std::to_string(survey.frames) + " of " + announced + " frames are whole";
  if (keeps != survey.frames) {
    return "it was not finished: it has " + std::to_string(keeps) + " whole frames, and its header announces " +
           announced;
  }
  if (findings.described && !table) return "it was not finished: its table of times is missing";
  if (findings.described) return "its table of times is not that of the text beside it";
  return "what stands behind its frames is cut off, or no part of a FITS file";
}

}  // namespace

SerFindings CheckCube(const std::string& path) {
  CubeFile cube(path);
  const std::optional<RecordedTimes> times = ReadTimes(TimesFileOf(path));
  const Table table = ReadTimesTable(cube);
  const std::uint64_t keeps = FramesToKeep(cube, times);
  SerFindings findings;
  findings.survey.header = CubeHeaderAsSer(cube);
  findings.survey.fileBytes = cube.Bytes();
  findings.survey.wholeFrames = cube.WholeFrames();
  findings.survey.frames = std::min(cube.WholeFrames(), cube.Facts().frames);
  findings.described = times.has_value();
  if (keeps != findings.survey.frames) findings.unfinishedFrames = keeps;
  if (table) LookAtRows(*table, times, findings);
  if (!IsWhole(cube, keeps, times, table)) findings.troubles.push_back(TroubleOf(findings, keeps, table));
  return findings;
}

SerRepaired RepairCube(const std::string& path) {
  CubeFile cube(path);
  const std::string textPath = TimesFileOf(path);
  const std::optional<RecordedTimes> times = ReadTimes(textPath);
  const std::uint64_t frames = FramesToKeep(cube, times);
  if (frames == 0) Refuse(path, "it has not one whole frame: there is nothing to repair");
  SerRepaired repaired{.frames = frames};
  const std::vector<std::uint8_t> table = TableFor(times, frames, repaired.timed);
  if (IsWhole(cube, frames, times, ReadTimesTable(cube))) return repaired;
  if (times) NoteRepaired(textPath, *times, frames);
  const CubeFacts& facts = cube.Facts();
  std::vector<std::uint8_t> header = cube.Header();
  WritableFile writable(path);
  AnnounceFrames(header, std::min(frames, facts.frames));
  writable.Write(0, header);
  const std::uint64_t end = facts.headerBytes + frames * facts.shape.FrameBytes();
  writable.Cut(end);
  writable.Write(end, std::vector<std::uint8_t>(facts.EndOf(frames) - end, 0));
  writable.Write(facts.EndOf(frames), table);
  writable.Sync();
  AnnounceFrames(header, frames);
  writable.Write(0, header);
  writable.Sync();
  repaired.changed = true;
  return repaired;
}

}  // namespace orq::session
