// orqcam gps: time and position by GPS, and the lines at which they are taken.
#include <algorithm>
#include <cstring>
#include <memory>

#include "Commands.h"
#include "Text.h"
#include "Units.h"

namespace orq::cli {

namespace {

enum Line { kStart = 0, kEnd = 1 };

struct GpsOptions {
  std::vector<std::string> lines;
};

void DemandGps(Session& session) {
  if (session.Camera().GPSCheck()) return;
  if (session.Camera().DeviceLost()) session.Fail("cannot ask the camera");
  throw CliError(kExitFailed, "this camera has no GPS receiver");
}

int ReadLine(Session& session, Line which) {
  int line = 0;
  if (session.Camera().GPSGetLine(which, line) != CTRL_OK) session.Fail("cannot read the GPS lines");
  return line;
}

void AddLines(Report& report, Session& session) {
  report.Add("start_line", ReadLine(session, kStart));
  report.Add("end_line", ReadLine(session, kEnd));
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
  DemandGps(session);
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
        "frame");
  }
  return kExitOk;
}

void SetLine(Session& session, Line which, int line) {
  const int result = session.Camera().GPSSetLine(which, line);
  if (result == CTRL_BAD_LINE) {
    throw CliError(kExitFailed, Format("line %d does not lie on the sensor: its lines are 0 to %d", line,
                                       session.Camera().iMaxHeight - 1));
  }
  if (result != CTRL_OK) session.Fail("cannot set the GPS lines");
}

int ParseLine(const std::string& text, const char* what) {
  constexpr std::int64_t kLimit = 1'000'000;  // beyond any sensor
  const std::int64_t line = ParseInteger(text, what);
  if (line < 0) throw CliError(kExitUsage, std::string(what) + " '" + text + "' must be 0 or more");
  return static_cast<int>(std::min(line, kLimit));
}

ExitCode RunLines(const Context& context, const GpsOptions& options) {
  if (options.lines.size() == 1) throw CliError(kExitUsage, "give both lines, START and END, or none");
  std::vector<int> lines;
  if (!options.lines.empty()) {
    lines = {ParseLine(options.lines[kStart], "start line"), ParseLine(options.lines[kEnd], "end line")};
  }
  Session session(context);
  DemandGps(session);
  if (!lines.empty()) {
    const int before = ReadLine(session, kStart);
    SetLine(session, kStart, lines[kStart]);
    try {
      SetLine(session, kEnd, lines[kEnd]);
    } catch (const CliError&) {
      session.Camera().GPSSetLine(kStart, before);  // both or none
      throw;
    }
  }
  Report report;
  AddLines(report, session);
  report.Print(context.out, context.json);
  return kExitOk;
}

}  // namespace

CommandRun AddGpsCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("gps", "Time and position by GPS");
  command->require_subcommand(1);
  auto options = std::make_shared<GpsOptions>();
  command->add_subcommand("status", "Show the receiver, its lines and the last reading");
  CLI::App* lines = command->add_subcommand("lines", "Show or set the sensor lines at which time is taken");
  lines->add_option("START END", options->lines, "First and last line, counted from 0")->expected(0, 2);
  for (CLI::App* each : command->get_subcommands({})) each->fallthrough();
  return [options, lines](const Context& context) {
    return lines->parsed() ? RunLines(context, *options) : RunStatus(context);
  };
}

}  // namespace orq::cli
