// orqcam ser: SER files of any program, and FITS cubes.
#include <cmath>
#include <memory>

#include "commands/Commands.h"
#include "options/Quantities.h"
#include "output/Signals.h"
#include "record/RecordReport.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr std::int64_t kNsPerTenth = 100;

struct SerOptions {
  std::string file;
  std::string frames = "1";
  std::string output = "frame-{n:05}.fits";
  bool overwrite = false;
};

void AddTime(Report& report, const char* name, std::int64_t unixNs) {
  report.Add(name, unixNs == 0 ? Json() : Json(session::IsoUtcTenths(unixNs / kNsPerTenth)));
}

void AddText(Report& report, const char* name, const char* text) {
  if (text[0] != '\0') report.Add(name, text);
}

ExitCode RunInfo(const Context& context, const SerOptions& options) {
  const orq_ser_info info = serInfo(options.file);
  Report report;
  report.Add("width", info.width, "px");
  report.Add("height", info.height, "px");
  report.Add("colour", info.colour_name);
  report.Add("depth", info.depth, "bit");
  report.Add("frames", info.frames);
  if (info.header_frames == 0 || info.whole_frames != info.frames) report.Add("whole_frames", info.whole_frames);
  report.Add("size", static_cast<double>(info.bytes) / 1e6, "MB");
  AddText(report, "observer", info.observer);
  AddText(report, "instrument", info.instrument);
  AddText(report, "telescope", info.telescope);
  AddTime(report, "start_utc", info.header_unix_ns);
  report.Add("time_stamps", info.stamps);
  AddTime(report, "first_utc", info.first_unix_ns);
  AddTime(report, "last_utc", info.last_unix_ns);
  const double seconds = static_cast<double>(info.last_unix_ns - info.first_unix_ns) / 1e9;
  if (info.stamps > 1 && seconds > 0.0)
    report.Add("fps", std::round(static_cast<double>(info.stamps - 1) / seconds * 100.0) / 100.0);
  report.Add("whole", info.whole != 0);
  if (context.json && info.trouble[0] != '\0') report.Add("trouble", info.trouble);
  report.Print(context.out, context.json);
  if (info.whole == 0) Complain(options.file + ": " + info.trouble + "; see orqcam ser repair");
  return kExitOk;
}

ExitCode RunCheck(const Context& context, const SerOptions& options) {
  const orq_ser_info info = serInfo(options.file);
  Report report;
  report.Add("whole", info.whole != 0);
  report.Add("frames", info.frames);
  report.Add("time_stamps", info.stamps);
  report.Add("without_time", info.unstamped);
  report.Add("backwards", info.backwards);
  report.Add("text_beside", info.described != 0);
  if (info.described != 0) report.Add("other_than_text", info.differing);
  report.Print(context.out, context.json);
  if (info.whole != 0) return kExitOk;
  throw CliError(ORQ_ERROR_FILE, options.file + ": " + info.trouble + "; orqcam ser repair makes it whole");
}

ExitCode RunRepair(const Context& context, const SerOptions& options) {
  const orq_ser_repaired repaired = repairSer(options.file);
  Report report;
  report.Add("repaired", repaired.changed != 0);
  report.Add("frames", repaired.frames);
  report.Add("with_time", repaired.timed);
  report.Print(context.out, context.json);
  return kExitOk;
}

struct Range {
  std::uint64_t first;
  std::uint64_t last;
};

// "7", "7-9", "all".
Range ParseRange(const std::string& text, std::uint64_t frames) {
  if (Lower(text) == "all") return {1, frames};
  const std::size_t dash = text.find('-', 1);
  const std::int64_t first = ParseInteger(text.substr(0, dash), "--frames");
  const std::int64_t last = dash == std::string::npos ? first : ParseInteger(text.substr(dash + 1), "--frames");
  if (first < 1 || last < first) throw CliError(kExitUsage, "--frames must be a number, a range like 7-9, or all");
  return {static_cast<std::uint64_t>(first), static_cast<std::uint64_t>(last)};
}

ExitCode RunExtract(const Context& context, const SerOptions& options) {
  const orq_ser_info info = serInfo(options.file);
  const Range range = ParseRange(options.frames, info.frames);
  auto how = sized<orq_save_options>();
  how.overwrite = options.overwrite ? 1 : 0;
  how.fast = 1;  // the recording still has them
  if (range.last != range.first && options.output.find("{n") == std::string::npos)
    throw CliError(kExitUsage, "--output needs {n} for more than one frame, as in frame-{n:05}.fits");
  for (std::uint64_t frame = range.first; frame <= range.last; ++frame) {
    if (StopRequested()) throw CliError(ORQ_ERROR_CANCELLED, "interrupted before all frames were extracted");
    Report report;
    report.Add("file", extractSer(options.file, frame, options.output, how));
    report.Print(context.out, context.json);
  }
  return kExitOk;
}

}  // namespace

CommandRun AddSerCommand(const Command& app) {
  const Command command =
      app.AddCommand("ser", "Look at SER files of any program and FITS cubes, mend them, take frames out");
  command.RequireCommand();
  auto options = std::make_shared<SerOptions>();
  const Command info = command.AddCommand("info", "Show what a file holds");
  const Command check = command.AddCommand("check", "Look whether a file is whole; exit code 1 if it is not");
  const Command repair = command.AddCommand("repair", "Make a file whole that was cut off");
  const Command extract = command.AddCommand("extract", "Write frames of it to FITS or PNG files");
  for (const Command& each : {info, check, repair, extract})
    each.AddOption("FILE", options->file, "The SER file, or the FITS cube").Required();
  extract.AddOption("-n,--frames", options->frames, "Which: a number from 1, a range like 7-9, or all")
      .Default("1");
  extract
      .AddOption("-o,--output", options->output,
                 "File name; its extension decides: .fits, .fit, .fits.fz, .png. {n} is the frame's number")
      .Default(options->output);
  extract.AddFlag("--overwrite", options->overwrite, "Replace files that exist");
  return [options, info, check, repair](const Context& context) {
    if (info.Given()) return RunInfo(context, *options);
    if (check.Given()) return RunCheck(context, *options);
    return repair.Given() ? RunRepair(context, *options) : RunExtract(context, *options);
  };
}

}  // namespace orq::cli
