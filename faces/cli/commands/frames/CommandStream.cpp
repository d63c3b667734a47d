// orqcam stream: how fast and how well frames arrive.
#include <chrono>
#include <memory>

#include "camera/Shooter.h"
#include "commands/Commands.h"
#include "options/AutoControl.h"
#include "options/Cooling.h"
#include "options/Corrections.h"
#include "output/CounterReport.h"
#include "output/FrameWatch.h"
#include "output/Signals.h"
#include "session/frame/FrameTime.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr double kBytesPerMegabyte = 1e6;
constexpr std::chrono::milliseconds kWait{100};
constexpr std::chrono::milliseconds kGpsEvery{1000};  // often enough to notice, too rare to slow a stream down

struct StreamOptions {
  ShotSettings settings;
  CorrectionOptions corrections;
  CoolSettings cooling;
  AutoSettings automatic;
  std::string seconds;  ///< empty: no limit
  std::string frames;   ///< empty: no limit
  bool reconnect = false;
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

std::uint64_t Drops(const StreamCounters& counters) {
  return counters.dropped + counters.lost + counters.overwritten;
}

double Seconds(Clock::duration time) {
  return std::chrono::duration<double>(time).count();
}

// Two decimals are enough for people and steady for scripts.
double Rounded(double value) {
  return static_cast<double>(static_cast<std::int64_t>(value * 100.0 + 0.5)) / 100.0;
}

// What was counted since the stream began, over all reconnects.
class Totals {
 public:
  explicit Totals(CModelCamera& camera) : camera_(camera) {}
  StreamCounters Read() const { return Total(before_, camera_.Counters()); }
  /// The next capture begins to count anew.
  void Bank() { before_ = Read(); }

 private:
  CModelCamera& camera_;
  StreamCounters before_;
};

// Prints a line whenever a second has passed.
class SecondLines {
 public:
  SecondLines(const Context& context, const Totals& totals, const AutoControl& automatic)
      : context_(context), totals_(totals), automatic_(automatic) {}

  void Tick(std::uint64_t frames) {
    const auto now = Clock::now();
    if (now - last_ < std::chrono::seconds(1)) return;
    const StreamCounters counters = totals_.Read();
    const double span = Seconds(now - last_);
    const double fps = Rounded(static_cast<double>(frames - frames_) / span);
    const double rate = Rounded(static_cast<double>(counters.bytes - bytes_) / kBytesPerMegabyte / span);
    Print(Rounded(Seconds(now - start_)), fps, rate, frames, counters);
    last_ = now;
    frames_ = frames;
    bytes_ = counters.bytes;
  }

 private:
  void Print(double time, double fps, double rate, std::uint64_t frames, const StreamCounters& counters) {
    Report report;
    report.Add("time", time, "s");
    report.Add("fps", fps);
    report.Add("rate", rate, "MB/s");
    report.Add("frames", frames);
    report.Add("drops", Drops(counters));
    report.Add("failed", counters.failed);
    if (automatic_.Runs()) AddTo(report, automatic_.Read());
    if (context_.json) {
      report.Print(context_.out, true);
    } else {
      context_.out.Line(Join(report.ToLines(), ", "));
    }
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

StreamRun Watch(const Context& context, Session& session, const Limits& limits, bool reconnect,
                const AutoControl& automatic, Totals& totals) {
  StreamRun run;
  session.Camera().StampFrames(kGpsEvery);
  VideoShooter shooter(session);
  SecondLines lines(context, totals, automatic);
  FramePtr frame;
  const auto start = Clock::now();
  const auto limit = std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(limits.seconds));
  CoolerWatch cooler;
  GpsWatch gps(false);
  while (limits.frames == 0 || run.frames < limits.frames) {
    const auto elapsed = Clock::now() - start;
    if (limits.seconds > 0.0 && elapsed >= limit) break;
    if (StopRequested()) {
      run.end = ShotResult::Interrupted;
      break;
    }
    auto wait = kWait;
    if (limits.seconds > 0.0) {
      wait = std::min(wait, std::chrono::ceil<std::chrono::milliseconds>(limit - elapsed));
    }
    ShotResult result = shooter.TakeWithin(frame, wait);
    if (result == ShotResult::Lost && reconnect) {
      if (!session.Reconnect()) continue;  // the user asked to stop
      totals.Bank();
      ++run.reconnects;
      result = shooter.Resume() ? ShotResult::Failed : ShotResult::Ended;
    }
    if (result == ShotResult::Good) {
      ++run.frames;
      gps.Look(frame->Info());
    }
    lines.Tick(run.frames);
    cooler.Look(session);
    if (result == ShotResult::Lost || result == ShotResult::Ended) {
      run.end = result;
      run.reason = shooter.Reason();
      break;
    }
  }
  run.seconds = Seconds(Clock::now() - start);
  return run;
}

void ReportEnd(const Context& context, const StreamRun& run, const StreamCounters& counters) {
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
  Session session(context);
  options.settings.Apply(session);
  const FrameCorrections corrections = ApplyCorrections(session, options.corrections, context.settings);
  options.cooling.Apply(session);
  const AutoControl automatic(session, options.automatic);
  TellDifferences(session.Camera(), corrections);
  Totals totals(session.Camera());
  const StreamRun run = Watch(context, session, limits, options.reconnect, automatic, totals);
  const StreamCounters counters = totals.Read();
  ReportEnd(context, run, counters);
  if (run.end == ShotResult::Lost) throw CliError(kExitCameraLost, "the camera was lost; check its cable");
  if (run.end == ShotResult::Ended) throw CliError(Status::Refused, run.reason);
  if (!counters.IdentityHolds()) {
    throw CliError(Status::Internal,
                   "the counters contradict each other; please report this with the output above");
  }
  // Without a limit Ctrl-C is how a stream ends.
  if (run.end == ShotResult::Interrupted && !unlimited) throw CliError(Status::Cancelled, "interrupted");
  if (run.frames == 0 && run.end == ShotResult::Good) {
    const int mode = session.Camera().camMode;
    if (mode != 0 && !IsSoftwareTriggered(mode) && counters.started == 0) {
      throw CliError(Status::Timeout, Format("no trigger came in %g s", Rounded(run.seconds)));
    }
    // A frame that came was not good, however short the time was.
    const std::chrono::duration<double> limit = session.Camera().FrameTimeLimit();
    const bool tooShort = counters.failed == 0 && run.seconds < limit.count();
    throw CliError(
        tooShort ? Status::Timeout : Status::Refused,
        tooShort
            ? Format("no frame arrived yet; one like this may take up to %.1f s: stream for longer", limit.count())
            : Format("the camera sent no good frame in %g s; see the counters above", Rounded(run.seconds)));
  }
  return kExitOk;
}

}  // namespace

CommandRun AddStreamCommand(CLI::App& app) {
  CLI::App* command = app.add_subcommand("stream", "Stream video without saving it; show rates and counters");
  auto options = std::make_shared<StreamOptions>();
  options->settings.AddTo(*command);
  options->corrections.AddTo(*command);
  options->cooling.AddTo(*command);
  options->automatic.AddTo(*command);
  command->add_option("-s,--seconds", options->seconds, "Stop after this time (default: at Ctrl-C)");
  command->add_option("-n,--frames", options->frames, "Stop after this many frames");
  command->add_flag("--reconnect", options->reconnect,
                    "After an unplug wait for the same camera and go on with the same settings");
  return [options](const Context& context) { return RunStream(context, *options); };
}

}  // namespace orq::cli
