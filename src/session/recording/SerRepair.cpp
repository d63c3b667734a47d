#include "session/recording/SerRepair.h"

#include <algorithm>

#include "session/Failure.h"
#include "session/files/WritableFile.h"
#include "session/recording/SerSink.h"
#include "session/recording/TimesFile.h"

namespace orq::session {
namespace {

constexpr std::uint64_t kStampsAtOnce = 65'536;

[[noreturn]] void Refuse(const std::string& path, const std::string& why) {
  throw Failure(Status::File, "'" + path + "': " + why);
}

SerFile Open(const std::string& path) {
  std::string error;
  std::optional<SerFile> file = SerFile::Open(path, error);
  if (!file) Refuse(path, error);
  return std::move(*file);
}

/// How many whole frames a file has, whatever its header announces: the text knows better where a trailer begins.
std::uint64_t FramesToKeep(const SerSurvey& survey, const std::optional<RecordedTimes>& times) {
  const auto announced = static_cast<std::uint64_t>(survey.header.frames);
  if (announced > 0) return survey.frames;
  std::uint64_t frames = std::min<std::uint64_t>(survey.wholeFrames, kSerMostFrames);
  if (times && times->finished) frames = std::min(frames, *times->finished);
  return frames;
}

/// One for each of `frames` frames; 0 where there is none.
std::vector<std::int64_t> StampsFor(const SerFile& file, std::uint64_t frames,
                                    const std::optional<RecordedTimes>& times) {
  std::vector<std::int64_t> stamps;
  if (times) {
    stamps.assign(times->serTimes.begin(),
                  times->serTimes.begin() +
                      static_cast<std::ptrdiff_t>(std::min<std::uint64_t>(frames, times->serTimes.size())));
  } else if (file.Survey().header.frames > 0) {
    stamps = file.ReadStamps(0, frames).value_or(std::vector<std::int64_t>());
  }
  stamps.resize(static_cast<std::size_t>(frames), 0);
  return stamps;
}

/// Of frame `index`, from 0; none, 0, where the text was cut off.
std::int64_t ToldTime(const RecordedTimes& times, std::uint64_t index) {
  return index < times.serTimes.size() ? times.serTimes[static_cast<std::size_t>(index)] : 0;
}

void LookAtStamps(const SerFile& file, const std::optional<RecordedTimes>& times, SerFindings& findings) {
  std::int64_t before = 0;
  for (std::uint64_t i = 0; i < file.Survey().stamps;) {
    const auto stamps = file.ReadStamps(i, kStampsAtOnce);
    if (!stamps || stamps->empty()) {
      findings.troubles.emplace_back("its time stamps cannot be read");
      return;
    }
    for (const std::int64_t stamp : *stamps) {
      if (!UnixTenthsOf(stamp)) ++findings.unstamped;
      if (stamp < before) ++findings.backwards;
      if (times && stamp != ToldTime(*times, i)) ++findings.differing;
      if (i++ == 0) findings.firstTime = stamp;
      findings.lastTime = before = stamp;
    }
  }
}

void Judge(SerFindings& findings) {
  const SerSurvey& survey = findings.survey;
  const auto number = [](std::uint64_t value) { return std::to_string(value); };
  std::vector<std::string>& troubles = findings.troubles;
  if (survey.header.frames == 0) {
    troubles.push_back("it was not finished: it has " + number(findings.unfinishedFrames) +
                       " whole frames, and its header announces none");
    return;
  }
  if (survey.frames < static_cast<std::uint64_t>(survey.header.frames)) {
    troubles.push_back("it is cut off: " + number(survey.frames) + " of " + std::to_string(survey.header.frames) +
                       " frames are whole");
    return;
  }
  if (survey.stamps != 0 && survey.stamps < survey.frames)
    troubles.push_back("its time stamps are cut off: " + number(survey.stamps) + " of " + number(survey.frames));
  if (survey.stamps == survey.frames && survey.strayBytes != 0)
    troubles.push_back(number(survey.strayBytes) + " bytes stand behind its time stamps");
  if (survey.stamps == 0 && survey.strayBytes != 0)
    troubles.push_back(number(survey.strayBytes) + " bytes stand behind its frames that are no time stamps");
  if (findings.differing != 0)
    troubles.push_back(number(findings.differing) + " time stamps are not those of the text beside it");
}

}  // namespace

SerFindings CheckSer(const std::string& path) {
  const SerFile file = Open(path);
  const std::optional<RecordedTimes> times = ReadTimes(TimesFileOf(path));
  SerFindings findings;
  findings.survey = file.Survey();
  findings.described = times.has_value();
  if (findings.survey.header.frames == 0) findings.unfinishedFrames = FramesToKeep(findings.survey, times);
  LookAtStamps(file, times, findings);
  Judge(findings);
  return findings;
}

SerRepaired RepairSer(const std::string& path) {
  const SerFile file = Open(path);
  const SerSurvey& survey = file.Survey();
  const std::string textPath = TimesFileOf(path);
  const std::optional<RecordedTimes> times = ReadTimes(textPath);
  const std::uint64_t frames = FramesToKeep(survey, times);
  if (frames == 0) Refuse(path, "it has not one whole frame: there is nothing to repair");
  const std::vector<std::int64_t> stamps = StampsFor(file, frames, times);
  SerRepaired repaired{.frames = frames};
  repaired.timed = static_cast<std::uint64_t>(
      std::ranges::count_if(stamps, [](std::int64_t stamp) { return UnixTenthsOf(stamp).has_value(); }));
  if (survey.IsWhole() && (repaired.timed == 0 || file.ReadStamps(0, frames) == stamps)) return repaired;
  if (times) NoteRepaired(textPath, *times, frames);
  SerHeader header = survey.header;
  header.frames = static_cast<std::int32_t>(frames);
  if (const auto first = UnixTenthsOf(stamps.front()); first && survey.header.frames == 0) {
    header.utcTime = stamps.front();
    header.localTime = SerTimeOf(LocalTenths(*first));
  }
  WritableFile writable(path);
  const std::uint64_t end = kSerHeaderBytes + frames * header.FrameBytes();
  writable.Cut(end);
  // Without any time there is no trailer: 0 for each would be taken for one.
  if (repaired.timed != 0) writable.Write(end, SerTrailer(stamps));
  writable.Sync();
  writable.Write(0, EncodeSerHeader(header));
  writable.Sync();
  repaired.changed = true;
  return repaired;
}

}  // namespace orq::session
