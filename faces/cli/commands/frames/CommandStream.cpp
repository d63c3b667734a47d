// orqcam stream: how fast and how well frames arrive.
#include <chrono>
#include <cmath>
#include <memory>

#include "camera/CoolerUse.h"
#include "camera/Shooter.h"
#include "commands/Commands.h"
#include "options/Quantities.h"
#include "options/ShootingOptions.h"
#include "output/FrameWatch.h"
#include "output/Signals.h"
#include "output/frames/CounterReport.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kBytesPerMegabyte = 1e6;
constexpr std::chrono::milliseconds kWait{100};
constexpr std::chrono::milliseconds kGpsEvery{1000};  // often enough to notice, too rare to slow a stream down

struct StreamOptions : ShootingOptions {
  std::string seconds;  ///< empty: no limit
  std::string frames;   ///< empty: no limit
};

struct Limits {
  double seconds = 0.0;      ///< 0: none
  std::uint64_t frames = 0;  ///< 0: none
};

Limits ParseLimits(const StreamOptions& options) {
  Limits limits;
  if (!options.seconds.empty()) limits.seconds = ParseSeconds(options.seconds, "--seconds");
  if (!options.frames.empty()) {
    const std::int64_t frames = ParseInteger(options.frames, "--frames");
    if (frames < 1) throw CliError(kExitUsage, "--frames must be 1 or more");
    limits.frames = static_cast<std::uint64_t>(frames);
  }
  return limits;
}

std::uint64_t Drops(const orq_stream_counters& counters) {
  return counters.dropped + counters.lost + counters.overwritten;
}

double Seconds(Clock::duration time) {
  return std::chrono::duration<double>(time).count();
}

// Two decimals are enough for people and steady for scripts.
double Rounded(double value) {
  return std::round(value * 100.0) / 100.0;
}

// What was counted since the stream began, over all reconnects.
class Totals {
 public:
  explicit Totals(Device& camera) : camera_(camera) {}
  orq_stream_counters Read() const { return Total(before_, camera_->counters()); }
  /// The next capture begins to count anew.
  void Bank() { before_ = Read(); }

 private:
  Device& camera_;
  orq_stream_counters before_ = sized<orq_stream_counters>();
};

// Prints a line whenever a second has passed.
class SecondLines {
 public:
  SecondLines(const Context& context, const Totals& totals, const AutoControl& automatic)
      : context_(context), totals_(totals), automatic_(automatic) {}

  void Tick(std::uint64_t frames) {
    const auto now = Clock::now();
    if (now - last_ < std::chrono::seconds(1)) return;
    const orq_stream_counters counters = totals_.Read();
    const double span = Seconds(now - last_);
    const double fps = Rounded(static_cast<double>(frames - frames_) / span);
    const double rate = Rounded(static_cast<double>(counters.bytes - bytes_) / kBytesPerMegabyte / span);
    Print(Rounded(Seconds(now - start_)), fps, rate, frames, counters);
    last_ = now;
    frames_ = frames;
    bytes_ = counters.bytes;
  }

 private:
  void Print(double time, double fps, double rate, std::uint64_t frames, const orq_stream_counters& counters) {
    Report report;
    report.Add("time", time, "s");
    report.Add("fps", fps);
    report.Add("rate", rate, "MB/s");
    report.Add("frames", frames);
    report.Add("drops", Drops(counters));
    report.Add("failed", counters.failed);
    if (automatic_.Runs()) AddTo(report, automatic_.Read());
    if (context_.json)
      report.Print(context_.out, true);
    else
      context_.out.Line(Join(report.ToLines(), ", "));
    context_.out.Flush();
  }

  const Context& context_;
  const Totals& totals_;
  const AutoControl& automatic_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point last_ = start_;
  std::uint64_t frames_ = 0;
  std::uint64_t bytes_ = 0;
};

struct StreamRun {
  std::uint64_t frames = 0;
  std::uint64_t reconnects = 0;
  double seconds = 0.0;
  ShotResult end = ShotResult::Good;
  std::string reason;
};

StreamRun Watch(const Context& context, Device& camera, const Limits& limits, bool reconnect,
                const AutoControl& automatic, Totals& totals) {
  StreamRun run;
  if (camera.Can(ORQ_ABILITY_GPS)) camera->stampEvery(kGpsEvery);
  camera->frameReadings(false);  // nobody sees them
  VideoShooter shooter(camera);
  SecondLines lines(context, totals, automatic);
  Frame frame;
  const auto start = Clock::now();
  const auto limit = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(limits.seconds));
  CoolerTeller cooler;
  GpsWatch gps(false);
  while (limits.frames == 0 || run.frames < limits.frames) {
    const auto elapsed = Clock::now() - start;
    if (limits.seconds > 0.0 && elapsed >= limit) break;
    if (StopRequested()) {
      run.end = ShotResult::Interrupted;
      break;
    }
    auto wait = kWait;
    if (limits.seconds > 0.0) wait = std::min(wait, std::chrono::ceil<std::chrono::milliseconds>(limit - elapsed));
    ShotResult result = shooter.TakeWithin(frame, wait);
    if (result == ShotResult::Lost && reconnect) {
      if (!camera.Reconnect()) continue;  // the user asked to stop
      totals.Bank();
      ++run.reconnects;
      result = shooter.Resume() ? ShotResult::Failed : ShotResult::Ended;
    }
    if (result == ShotResult::Good) {
      ++run.frames;
      gps.Look(frame.info(), frame.gps());
    }
    lines.Tick(run.frames);
    cooler.Look(camera);
    if (result == ShotResult::Lost || result == ShotResult::Ended) {
      run.end = result;
      run.reason = shooter.Reason();
      break;
    }
  }
  run.seconds = Seconds(Clock::now() - start);
  return run;
}

void ReportEnd(const Context& context, const StreamRun& run, const orq_stream_counters& counters) {
  Report report;
  report.Add("seconds", Rounded(run.seconds));
  report.Add("delivered", run.frames, "frames");
  report.Add("fps", Rounded(static_cast<double>(run.frames) / run.seconds));
  report.Add("rate", Rounded(static_cast<double>(counters.bytes) / kBytesPerMegabyte / run.seconds), "MB/s");
  if (run.reconnects != 0) report.Add("reconnects", run.reconnects);
  AddCounters(report, counters);
  if (!context.json) return report.Print(context.out, false);
  Json object = {{"final", true}};
  object.update(report.ToJson());
  context.out.Object(object);
}

ExitCode RunStream(const Context& context, const StreamOptions& options) {
  const Limits limits = ParseLimits(options);
  const bool unlimited = limits.seconds == 0.0 && limits.frames == 0;
  options.settings.Check();
  options.cooling.Check();
  options.automatic.Check();
  Device camera(context);
  options.settings.Apply(camera);
  ApplyCorrections(camera, options.corrections, context.settings);
  options.cooling.Apply(camera);
  const AutoControl automatic(camera, options.automatic);
  TellDifferences(camera);
  Totals totals(camera);
  const StreamRun run = Watch(context, camera, limits, options.reconnect, automatic, totals);
  const orq_stream_counters counters = totals.Read();
  ReportEnd(context, run, counters);
  if (run.end == ShotResult::Lost) throw CliError(kExitCameraLost, "the camera was lost; check its cable");
  if (run.end == ShotResult::Ended) throw CliError(ORQ_ERROR_REFUSED, run.reason);
  if (!IdentityHolds(counters)) {
    throw CliError(ORQ_ERROR_INTERNAL,
                   "the counters contradict each other; please report this with the output above");
  }
  // Without a limit Ctrl-C is how a stream ends.
  if (run.end == ShotResult::Interrupted && !unlimited) throw CliError(ORQ_ERROR_CANCELLED, "interrupted");
  if (run.frames == 0 && run.end == ShotResult::Good) {
    const int mode = camera->triggerMode();
    if (mode != ORQ_MODE_FREE && !IsSoftwareTriggered(mode) && counters.started == 0)
      throw CliError(ORQ_ERROR_TIMEOUT, Format("no trigger came in %g s", Rounded(run.seconds)));
    // A frame that came was not good, however short the time was.
    const std::chrono::duration<double> limit = std::chrono::microseconds(camera->progress().limit_us);
    const bool tooShort = counters.failed == 0 && run.seconds < limit.count();
    throw CliError(
        tooShort ? ORQ_ERROR_TIMEOUT : ORQ_ERROR_REFUSED,
        tooShort
            ? Format("no frame arrived yet; one like this may take up to %.1f s: stream for longer", limit.count())
            : Format("the camera sent no good frame in %g s; see the counters above", Rounded(run.seconds)));
  }
  return kExitOk;
}

}  // namespace

CommandRun AddStreamCommand(const Command& app) {
  const Command command = app.AddCommand("stream", "Stream video without saving it; show rates and counters");
  auto options = std::make_shared<StreamOptions>();
  options->AddTo(command);
  command.AddOption("-s,--seconds", options->seconds, "Stop after this time (default: at Ctrl-C)");
  command.AddOption("-n,--frames", options->frames, "Stop after this many frames");
  options->AddReconnectTo(command);
  return [options](const Context& context) { return RunStream(context, *options); };
}

}  // namespace orq::cli
