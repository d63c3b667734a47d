// orqcam trigger: frames on triggers, shown and not saved.
#include <memory>
#include <optional>

#include "camera/Shooter.h"
#include "commands/Commands.h"
#include "options/Quantities.h"
#include "options/ShotSettings.h"
#include "output/FrameWatch.h"
#include "output/frames/FrameReport.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr std::int64_t kMostFrames = 1'000'000;

struct TriggerCommandOptions {
  ShotSettings settings;
  std::string count = "1";
  std::string timeout;  ///< empty: none
};

std::int64_t ParseCount(const std::string& text) {
  const std::int64_t count = ParseInteger(text, "--count");
  if (count < 1 || count > kMostFrames) throw CliError(kExitUsage, "--count must be from 1 to 1000000");
  return count;
}

constexpr std::int64_t kNsPerUs = 1000;

void ReportFrame(const Context& context, std::int64_t number, const orq_frame_info& info, const orq_frame_gps& gps,
                 std::optional<std::int64_t> previousUs) {
  Report report;
  report.Add("frame", number);
  report.Add("sequence", info.sequence);
  report.Add("start_utc", FrameUtc(info, info.time_unix_ns));
  report.Add("exposure", info.exposure_us, "us");
  if (previousUs) report.Add("since_last", info.time_unix_ns / kNsPerUs - *previousUs, "us");
  if (gps.state != ORQ_GPS_NONE) report.Add("time_source", TimeSource(info));
  if (context.json)
    report.Print(context.out, true);
  else
    context.out.Line(Join(report.ToLines(), ", "));
  context.out.Flush();
}

// Throws CliError when the frames did not all come.
void Explain(ShotResult result, const std::string& reason, const std::string& tally) {
  switch (result) {
    case ShotResult::Good:
      return;
    case ShotResult::Interrupted:
      throw CliError(ORQ_ERROR_CANCELLED, "interrupted: " + tally);
    case ShotResult::Lost:
      throw CliError(ORQ_ERROR_LOST, "the camera was lost; check its cable: " + tally);
    default:
      throw CliError(ORQ_ERROR_TIMEOUT, reason + ": " + tally);
  }
}

ExitCode RunTrigger(const Context& context, const TriggerCommandOptions& options) {
  const std::int64_t count = ParseCount(options.count);
  options.settings.Check();
  const TriggerOptions& triggers = options.settings.triggers;
  if (triggers.Mode() == 0) throw CliError(kExitUsage, "mode free has no triggers: choose another --mode");
  std::optional<std::chrono::milliseconds> patience;
  if (!options.timeout.empty()) patience = triggers.Patience(options.timeout);

  Device camera(context);
  options.settings.Apply(camera);
  std::int64_t frames = 0;
  ShotResult result = ShotResult::Good;
  std::string reason;
  {
    // A running video listens between the frames, too: no external trigger is lost to a stop and a start.
    VideoShooter shooter(camera);
    GpsWatch gpsWatch(true);
    if (patience) shooter.SetTriggerPatience(*patience);
    Frame frame;
    std::optional<std::int64_t> previousUs;
    while (frames < count && result == ShotResult::Good) {
      result = shooter.Take(frame, 0, 0);
      if (result != ShotResult::Good) break;
      const orq_frame_info info = frame.info();
      const orq_frame_gps gps = frame.gps();
      ReportFrame(context, ++frames, info, gps, previousUs);
      gpsWatch.Look(info, gps);
      previousUs = info.time_unix_ns / kNsPerUs;
    }
    reason = shooter.Reason();
  }
  const orq_stream_counters counters = camera->counters();
  Report report;
  report.Add("frames", frames);
  report.Add("failed", counters.failed);
  report.Add("lost", counters.lost + counters.dropped + counters.overwritten);
  report.Print(context.out, context.json);
  Explain(result, reason,
          Format("%lld of %lld frames came", static_cast<long long>(frames), static_cast<long long>(count)));
  return kExitOk;
}

}  // namespace

CommandRun AddTriggerCommand(const Command& app) {
  const Command command = app.AddCommand("trigger",
                                         "Wait for triggers and show when their frames were taken, without saving "
                                         "them. Software modes trigger each frame "
                                         "when the last one has arrived. To save frames: capture --mode");
  auto options = std::make_shared<TriggerCommandOptions>();
  options->settings.triggers.mode = "software";
  options->settings.AddTo(command);
  command.AddOption("-n,--count", options->count, "Number of frames").Default("1");
  command.AddOption("--timeout", options->timeout,
                    "How long to wait for each external trigger: 10s, 500ms (default: for ever)");
  return [options](const Context& context) { return RunTrigger(context, *options); };
}

}  // namespace orq::cli
