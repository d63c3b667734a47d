// orqcam gps: time and position by GPS, and the lines at which they are taken.
#include <algorithm>
#include <memory>
#include <optional>

#include "camera/Expose.h"
#include "commands/Commands.h"
#include "options/Quantities.h"
#include "output/FrameWatch.h"
#include "output/Watch.h"
#include "output/frames/FrameReport.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

struct GpsOptions {
  std::vector<std::string> lines;
  bool follow = false;
  WatchOptions watching;
};

void DemandGps(const Device& camera) {
  if (camera.Can(ORQ_ABILITY_GPS)) return;
  throw CliError(ORQ_ERROR_UNSUPPORTED, "this camera has no GPS receiver");
}

void AddLines(Report& report, Device& camera) {
  const orq_gps_lines lines =
      camera.Do("cannot read the GPS lines", [](const Camera& open) { return open.gpsLines(); });
  report.Add("start_line", lines.start);
  report.Add("end_line", lines.end);
  report.Add("lines_follow_region", lines.follow != 0);
}

ExitCode RunStatus(const Context& context) {
  Device camera(context);
  DemandGps(camera);
  const orq_gps_receiver receiver =
      camera.Do("cannot read the GPS receiver", [](const Camera& open) { return open.gpsReceiver(); });
  Report report;
  report.Add("version", receiver.version);
  AddLines(report, camera);
  report.Add("fix", receiver.fix != 0);
  if (receiver.fix != 0) {
    report.Add("start_utc", receiver.start_utc);
    report.Add("start_latitude", receiver.start_latitude, "deg");
    report.Add("start_longitude", receiver.start_longitude, "deg");
    report.Add("start_altitude", receiver.start_altitude_m, "m");
    report.Add("start_satellites", receiver.start_satellites);
    report.Add("start_position", receiver.start_position);
    report.Add("end_utc", receiver.end_utc);
    report.Add("end_latitude", receiver.end_latitude, "deg");
    report.Add("end_longitude", receiver.end_longitude, "deg");
    report.Add("end_altitude", receiver.end_altitude_m, "m");
    report.Add("end_satellites", receiver.end_satellites);
    report.Add("end_position", receiver.end_position);
  }
  report.Print(context.out, context.json);
  if (receiver.readable == 0) {
    Complain("this GPS receiver is too old to be read; its times stand in the frames");
  } else if (receiver.fix == 0) {
    Complain(
        "the GPS receiver has latched no valid time yet: give its antenna a clear view of the sky, and take a "
        "frame ('gps read' does)");
  }
  return kExitOk;
}

// The smallest part of the sensor that holds both lines: quick to take. Lines that follow the region need no more
// than the smallest there is.
orq_region RegionOfLines(Device& camera) {
  const orq_camera_info& info = camera.Info();
  orq_gps_lines lines = camera->gpsLines();
  if (lines.follow != 0) lines.start = lines.end = 0;
  const auto [top, bottom] = std::minmax(lines.start, lines.end);
  auto region = sized<orq_region>();
  region.bin = 1;
  region.format = ORQ_FORMAT_RAW16;
  region.width = std::max(info.least_width, info.width_step);
  region.start_y = top - top % info.start_y_step;
  const int rows = std::max(bottom + 1 - region.start_y, info.least_height);
  region.height = (rows + info.height_step - 1) / info.height_step * info.height_step;
  const int beyond = std::max(region.start_y + region.height - info.sensor_height, 0);
  region.start_y -= (beyond + info.start_y_step - 1) / info.start_y_step * info.start_y_step;
  return region;
}

// Takes stamped frames, as small as they may be.
class GpsProbe {
 public:
  struct Reading {
    orq_frame_info info;
    orq_frame_gps gps;
  };

  explicit GpsProbe(Device& camera) : camera_(camera) {
    const orq_region region = RegionOfLines(camera);
    try {
      camera->region(region);
    } catch (const Error& error) {
      throw CliError(ORQ_ERROR_REFUSED, std::string("cannot take a frame of the GPS lines: ") + error.what());
    }
    camera->stampEvery(std::chrono::milliseconds(0));
  }

  /// Nothing when the user asked to stop.
  std::optional<Reading> Read() {
    try {
      const std::optional<orq::Frame> frame = Expose(camera_);
      if (!frame) return std::nullopt;
      return Reading{frame->info(), frame->gps()};
    } catch (const LostError&) {
      throw CliError(ORQ_ERROR_LOST, "cannot take a frame for the GPS: the camera was lost; check its cable");
    } catch (const Error& error) {
      throw CliError(ORQ_ERROR_REFUSED, std::string("cannot take a frame for the GPS: ") + error.what());
    }
  }

 private:
  Device& camera_;
};

Report Describe(const GpsProbe::Reading& reading) {
  Report report;
  report.Add("fix", HasGpsTime(reading.info));
  AddTimes(report, reading.info, reading.gps);
  AddGps(report, reading.info, reading.gps);
  return report;
}

// Frames of no use to anybody else leave no trace in the user's settings, and do not depend on them.
Context WithoutSettings(Context context) {
  context.settings = false;
  return context;
}

ExitCode RunRead(const Context& context) {
  Device camera(WithoutSettings(context));
  DemandGps(camera);
  const std::optional<GpsProbe::Reading> reading = GpsProbe(camera).Read();
  if (!reading) throw CliError(ORQ_ERROR_CANCELLED, "interrupted");
  Describe(*reading).Print(context.out, context.json);
  if (HasGpsTime(reading->info)) return kExitOk;
  throw CliError(ORQ_ERROR_STATE, "no GPS time: " + GpsTrouble(reading->gps));
}

ExitCode RunWatch(const Context& context, const GpsOptions& options) {
  const WatchLimits limits = options.watching.Limits();
  Device camera(WithoutSettings(context));
  DemandGps(camera);
  GpsProbe probe(camera);
  GpsWatch watch(true);
  WatchEvery(limits, [&] {
    const std::optional<GpsProbe::Reading> reading = probe.Read();
    if (!reading) return false;
    const Report report = Describe(*reading);
    if (context.json)
      report.Print(context.out, true);
    else
      context.out.Line(Join(report.ToLines()));
    context.out.Flush();
    watch.Look(reading->info, reading->gps);
    return true;
  });
  return kExitOk;
}

struct Lines {
  int start = 0;
  int end = 0;
};

void SetLines(Device& camera, const Lines& wanted) {
  auto lines = sized<orq_gps_lines>();
  lines.start = wanted.start;
  lines.end = wanted.end;
  try {
    camera->gpsLines(lines);
  } catch (const RangeError&) {
    throw CliError(ORQ_ERROR_RANGE, Format("lines %d and %d do not both lie on the sensor: its lines are 0 to %d",
                                           wanted.start, wanted.end, camera.Info().sensor_height - 1));
  }
}

void FollowRegion(Device& camera) {
  auto lines = sized<orq_gps_lines>();
  lines.follow = 1;
  camera->gpsLines(lines);
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
  std::optional<Lines> wanted;
  if (!options.lines.empty())
    wanted = Lines{ParseLine(options.lines[0], "start line"), ParseLine(options.lines[1], "end line")};
  Device camera(context);
  DemandGps(camera);
  if (wanted) SetLines(camera, *wanted);
  if (options.follow) FollowRegion(camera);
  Report report;
  AddLines(report, camera);
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
