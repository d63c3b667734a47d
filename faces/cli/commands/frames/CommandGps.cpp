// orqcam gps: time and position by GPS, and the lines at which they are taken.
#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>

#include "camera/Shooter.h"
#include "commands/Commands.h"
#include "output/FrameWatch.h"
#include "output/Watch.h"
#include "session/frame/FrameTime.h"
#include "session/gps/GpsLines.h"
#include "session/text/Units.h"
#include "settings/XmlStore.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

struct GpsOptions {
  std::vector<std::string> lines;
  bool follow = false;
  WatchOptions watching;
};

GpsLines DemandLines(Session& session) {
  const std::optional<GpsLines> lines = ReadGpsLines(session.Camera());
  if (!lines) session.Fail("cannot read the GPS lines");
  return *lines;
}

void AddLines(Report& report, Session& session) {
  const GpsLines lines = DemandLines(session);
  report.Add("start_line", lines.start);
  report.Add("end_line", lines.end);
  report.Add("lines_follow_region", session.Camera().GpsLinesFollow());
}

// A zero-terminated text of the camera's record.
template <std::size_t N>
std::string TextOf(const char (&text)[N]) {
  return {text, strnlen(text, N)};
}

void AddReading(Report& report, const std::string& prefix, const _ORQ_GPS_DATA& data) {
  const _ORQ_DATE_TIME& time = data.Datetime;
  report.Add(prefix + "_utc", Format("%04d-%02d-%02dT%02d:%02d:%02d.%03d%04d", time.Year, time.Month, time.Day,
                                     time.Hour, time.Minute, time.Second, time.MSecond, time.USecond));
  report.Add(prefix + "_latitude", data.Latitude, "deg");
  report.Add(prefix + "_longitude", data.Longitude, "deg");
  report.Add(prefix + "_altitude", data.Altitude / 10.0, "m");
  report.Add(prefix + "_satellites", data.SatelliteNum);
  report.Add(prefix + "_position", TextOf(data.PositionText));
}

ExitCode RunStatus(const Context& context) {
  Session session(context);
  DemandGps(session.Camera());
  CModelCamera& camera = session.Camera();
  _ORQ_GPS_DATA start{};
  _ORQ_GPS_DATA end{};
  const int result = camera.GPSGetData(&start, &end);
  if (result != CTRL_OK && result != CTRL_GPS_DATA_INVALID && result != CTRL_GPS_VER_TOO_LOW) {
    session.Fail("cannot read the GPS receiver");
  }
  Report report;
  report.Add("version", camera.GPSVer());
  AddLines(report, session);
  report.Add("fix", result == CTRL_OK);
  if (result == CTRL_OK) {
    AddReading(report, "start", start);
    AddReading(report, "end", end);
  }
  report.Print(context.out, context.json);
  if (result == CTRL_GPS_VER_TOO_LOW) {
    Complain("this GPS receiver is too old to be read; its times stand in the frames");
  } else if (result != CTRL_OK) {
    Complain(
        "the GPS receiver has latched no valid time yet: give its antenna a clear view of the sky, and take a "
        "frame ('gps read' does)");
  }
  return kExitOk;
}

// The smallest part of the sensor that holds both lines: quick to take. Lines that follow the region need no more
// than the smallest there is.
FrameRegion RegionOfLines(Session& session) {
  const ModelData& model = session.Model();
  const GpsLines lines = session.Camera().GpsLinesFollow() ? GpsLines{} : DemandLines(session);
  const RegionRules& rules = model.region;
  const auto [top, bottom] = std::minmax(lines.start, lines.end);
  FrameRegion region;
  region.width = std::max(rules.minWidth, rules.widthStep);
  region.startY = top - top % rules.startYStep;
  const int rows = std::max(bottom + 1 - region.startY, rules.minHeight);
  region.height = (rows + rules.heightStep - 1) / rules.heightStep * rules.heightStep;
  const int beyond = std::max(region.startY + region.height - model.maxHeight, 0);
  region.startY -= (beyond + rules.startYStep - 1) / rules.startYStep * rules.startYStep;
  return region;
}

// Takes stamped frames, as small as they may be, that leave no trace in the user's settings.
class GpsProbe {
 public:
  explicit GpsProbe(Session& session) : session_(session), shooter_(session) {
    FrameRegion applied;
    std::string reason;
    const FrameRegion region = RegionOfLines(session);
    if (!session.Camera().SetRegion(region, applied, reason)) {
      throw CliError(Status::Refused, "cannot take a frame of the GPS lines: " + reason);
    }
    session.Camera().StampFrames(std::chrono::milliseconds(0));
  }

  /// Nothing when the user asked to stop.
  std::optional<FrameInfo> Read() {
    switch (shooter_.Take(frame_, 1, 1)) {
      case ShotResult::Good:
        return frame_.info;
      case ShotResult::Interrupted:
        return std::nullopt;
      case ShotResult::Lost:
        session_.Fail("cannot take a frame for the GPS");
      default:
        throw CliError(Status::Refused, "cannot take a frame for the GPS: " + shooter_.Reason());
    }
  }

 private:
  Session& session_;
  SingleShooter shooter_;
  Frame frame_;
};

Report Describe(const FrameInfo& info) {
  Report report;
  report.Add("fix", HasGpsTime(info));
  report.Add(TimeValues(info));
  report.Add(GpsValues(info));
  return report;
}

ExitCode RunRead(const Context& context) {
  EnableXmlStore(false);
  Session session(context);
  DemandGps(session.Camera());
  const std::optional<FrameInfo> info = GpsProbe(session).Read();
  if (!info) throw CliError(Status::Cancelled, "interrupted");
  Describe(*info).Print(context.out, context.json);
  if (HasGpsTime(*info)) return kExitOk;
  throw CliError(Status::State, "no GPS time: " + GpsTrouble(*info));
}

ExitCode RunWatch(const Context& context, const GpsOptions& options) {
  const WatchLimits limits = options.watching.Limits();
  EnableXmlStore(false);
  Session session(context);
  DemandGps(session.Camera());
  GpsProbe probe(session);
  GpsWatch watch(true);
  WatchEvery(limits, [&] {
    const std::optional<FrameInfo> info = probe.Read();
    if (!info) return false;
    const Report report = Describe(*info);
    if (context.json) {
      report.Print(context.out, true);
    } else {
      context.out.Line(Join(report.ToLines()));
    }
    context.out.Flush();
    watch.Look(*info);
    return true;
  });
  return kExitOk;
}

void SetLines(Session& session, const GpsLines& wanted) {
  CModelCamera& camera = session.Camera();
  std::string left;
  const int result = SetGpsLines(camera, wanted, left);
  if (result == CTRL_OK) {
    if (!camera.FollowGpsLines(false)) session.Fail("the GPS lines were set, but move with the region still");
    return;
  }
  if (result == CTRL_BAD_LINE) {
    throw CliError(Status::Range, Format("lines %d and %d do not both lie on the sensor: its lines are 0 to %d",
                                         wanted.start, wanted.end, camera.iMaxHeight - 1));
  }
  session.Fail("cannot set the GPS lines (" + left + ")");
}

int ParseLine(const std::string& text, const char* what) {
  constexpr std::int64_t kLimit = 1'000'000;  // beyond any sensor
  const std::int64_t line = ParseInteger(text, what);
  if (line < 0) throw CliError(kExitUsage, std::string(what) + " '" + text + "' must be 0 or more");
  return static_cast<int>(std::min(line, kLimit));
}

ExitCode RunLines(const Context& context, const GpsOptions& options) {
  if (options.lines.size() == 1) throw CliError(kExitUsage, "give both lines, START and END, or none");
  if (options.follow && !options.lines.empty()) throw CliError(kExitUsage, "give lines or --follow, not both");
  std::optional<GpsLines> wanted;
  if (!options.lines.empty()) {
    wanted = {ParseLine(options.lines[0], "start line"), ParseLine(options.lines[1], "end line")};
  }
  Session session(context);
  DemandGps(session.Camera());
  if (wanted) SetLines(session, *wanted);
  if (options.follow && !session.Camera().FollowGpsLines(true)) session.Fail("cannot set the GPS lines");
  Report report;
  AddLines(report, session);
  report.Print(context.out, context.json);
  return kExitOk;
}

}  // namespace

CommandRun AddGpsCommand(const Command& app) {
  const Command command = app.AddCommand("gps", "Time and position by GPS");
  command.RequireCommand();
  auto options = std::make_shared<GpsOptions>();
  command.AddCommand("status", "Show the receiver, its lines and what they latched last");
  const Command read = command.AddCommand("read", "Take a frame and show its time and place");
  const Command watch = command.AddCommand("watch", "Do so again and again (until Ctrl-C)");
  options->watching.AddTo(watch);
  const Command lines = command.AddCommand("lines", "Show or set the sensor lines at which time is taken");
  lines.AddOption("START END", options->lines, "First and last line, counted from 0").Values(0, 2);
  lines.AddFlag("--follow", options->follow, "First and last line of whatever region is taken, as at first");
  return [options, lines, read, watch](const Context& context) {
    if (lines.Given()) return RunLines(context, *options);
    if (read.Given()) return RunRead(context);
    return watch.Given() ? RunWatch(context, *options) : RunStatus(context);
  };
}

}  // namespace orq::cli
