#include "record/RecordReport.h"

#include <array>
#include <cmath>

#include "camera/Words.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr double kMegabyte = 1e6;
constexpr std::size_t kMostGaps = 20;  // that a person reads

double Rounded(double value) {
  return std::round(value * 100.0) / 100.0;
}

const char* EndName(int end) {
  constexpr std::array kNames = {"runs",  "frames", "time",    "size",      "stopped",
                                 "video", "lost",   "changed", "disk_full", "failed"};
  return kNames.at(static_cast<std::size_t>(end));
}

const char* FormName(int form) {
  constexpr std::array kNames = {"", "ser", "cube", "folder"};
  return kNames.at(static_cast<std::size_t>(form));
}

std::string Gap(const orq_missing_frames& gap) {
  const std::string first = std::to_string(gap.first);
  return gap.first == gap.last ? first : first + "-" + std::to_string(gap.last);
}

const char* CauseName(int cause) {
  constexpr std::array kNames = {"disk", "camera", "moved"};
  return kNames.at(static_cast<std::size_t>(cause));
}

Json MissingAsJson(const std::vector<orq_missing_frames>& missing) {
  Json list = Json::array();
  for (const orq_missing_frames& gap : missing)
    list.push_back({{"first", gap.first}, {"last", gap.last}, {"cause", CauseName(gap.cause)}});
  return list;
}

std::string MissingAsText(const std::vector<orq_missing_frames>& missing) {
  std::vector<std::string> gaps;
  for (const orq_missing_frames& gap : missing) {
    if (gaps.size() == kMostGaps) {
      gaps.push_back("and more, which the text beside it names");
      break;
    }
    gaps.push_back(Gap(gap));
  }
  return gaps.empty() ? "none" : Join(gaps);
}

void AddUtc(Report& report, const char* name, std::int64_t unixNs) {
  constexpr std::int64_t kNsPerTenth = 100;
  if (unixNs != 0) report.Add(name, session::IsoUtcTenths(unixNs / kNsPerTenth));
}

void Print(const Context& context, const char* kind, const Report& report) {
  if (!context.json) {
    report.Print(context.out, false);
  } else {
    Json object = {{kind, true}};
    object.update(report.ToJson());
    context.out.Object(object);
  }
  context.out.Flush();
}

}  // namespace

std::string SizeText(double bytes) {
  constexpr std::array kUnits = {"kB", "MB", "GB", "TB", "PB"};
  constexpr double kStep = 1000.0;
  std::size_t unit = 0;
  bytes /= kStep;
  while (bytes >= kStep && unit + 1 < kUnits.size()) {
    bytes /= kStep;
    ++unit;
  }
  return Format("%.3g %s", bytes, kUnits.at(unit));
}

void ReportPlan(const Context& context, const orq_recording_plan& plan, double fps) {
  Report report;
  report.Add("file", plan.file);
  report.Add("form", FormName(plan.form));
  report.Add("times_file", plan.times_file);
  report.Add("width", plan.width, "px");
  report.Add("height", plan.height, "px");
  report.Add("format", kFormatNames.at(static_cast<std::size_t>(plan.format)));
  report.Add("frame_size", Rounded(static_cast<double>(plan.frame_bytes) / kMegabyte), "MB");
  if (fps > 0.0) {
    report.Add("fps", Rounded(fps));
    report.Add("rate", Rounded(fps * static_cast<double>(plan.frame_bytes) / kMegabyte), "MB/s");
  }
  report.Add("free", Rounded(static_cast<double>(plan.free_bytes) / kMegabyte), "MB");
  report.Add("room_for", plan.free_frames, "frames");
  if (fps > 0.0) report.Add("lasts", std::round(static_cast<double>(plan.free_frames) / fps), "s");
  report.Add("ring", plan.ring_frames, "frames");
  Print(context, "begin", report);
}

void RecordProgress::Show(const orq_recording_state& state) {
  const auto now = Clock::now();
  const std::chrono::duration<double> span = now - last_;
  const bool second = span.count() >= 1.0;
  if (second) {
    fps_ = static_cast<double>(state.frames - frames_) / span.count();
    frames_ = state.frames;
    last_ = now;
  }
  const double rate = fps_ * static_cast<double>(plan_.frame_bytes);
  const double left = rate > 0.0 ? static_cast<double>(state.free_bytes) / rate : 0.0;
  if (line_.IsShown()) {
    line_.Show(
        Format("%.1f s, %llu frames, %.1f fps, %.1f MB/s, missed %llu, lost %llu, ring %llu of %llu, %s free",
               state.seconds, static_cast<unsigned long long>(state.frames), fps_, rate / kMegabyte,
               static_cast<unsigned long long>(state.missed), static_cast<unsigned long long>(state.lost),
               static_cast<unsigned long long>(state.waiting), static_cast<unsigned long long>(plan_.ring_frames),
               SizeText(static_cast<double>(state.free_bytes)).c_str()) +
        (left > 0.0 ? Format(" for %.0f s", left) : ""));
    return;
  }
  if (!second) return;
  Report report;
  report.Add("time", Rounded(state.seconds), "s");
  report.Add("frames", state.frames);
  report.Add("fps", Rounded(fps_));
  report.Add("rate", Rounded(rate / kMegabyte), "MB/s");
  report.Add("missed", state.missed);
  report.Add("lost", state.lost);
  report.Add("waiting", state.waiting);
  report.Add("free", Rounded(static_cast<double>(state.free_bytes) / kMegabyte), "MB");
  if (left > 0.0) report.Add("lasts", std::round(left), "s");
  if (context_.json)
    report.Print(context_.out, true);
  else
    context_.out.Line(Join(report.ToLines(), ", "));
  context_.out.Flush();
}

void ReportRecorded(const Context& context, const orq_recording_plan& plan, const Recording& recording) {
  const orq_recording_state state = recording.state();
  const std::vector<orq_missing_frames> missing = recording.missing();
  Report report;
  report.Add("end", EndName(state.end));
  report.Add("frames", state.frames);
  report.Add("seconds", Rounded(state.seconds));
  if (state.seconds > 0.0) {
    const double frames = static_cast<double>(state.frames) / state.seconds;
    report.Add("fps", Rounded(frames));
    report.Add("rate", Rounded(frames * static_cast<double>(plan.frame_bytes) / kMegabyte), "MB/s");
  }
  report.Add("size", Rounded(static_cast<double>(state.bytes) / kMegabyte), "MB");
  AddUtc(report, "first_utc", state.first_unix_ns);
  AddUtc(report, "last_utc", state.last_unix_ns);
  report.Add("missed", state.missed);
  report.Add("lost", state.lost);
  report.Add("missing", context.json ? MissingAsJson(missing) : Json(MissingAsText(missing)));
  Print(context, "final", report);
}

}  // namespace orq::cli
