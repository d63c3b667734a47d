// orqcam capture: frames into files.
#include <algorithm>
#include <array>
#include <cctype>
#include <chrono>
#include <cmath>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "camera/CoolerUse.h"
#include "camera/LongWork.h"
#include "camera/Shooter.h"
#include "commands/Commands.h"
#include "options/Quantities.h"
#include "options/ShootingOptions.h"
#include "output/FrameWatch.h"
#include "output/Signals.h"
#include "output/frames/FrameReport.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr int kMostFailuresInARow = 3;
constexpr std::uint64_t kMostFrames = 1'000'000;

struct CaptureOptions : ShootingOptions {
  std::string count = "1";
  std::string output = "{camera}-{date}-{time}-{n:04}.fits";
  std::string retries = "2";
  bool overwrite = false;
  bool preview = false;
  bool video = false;
  bool requireGps = false;
  std::string timeout;  ///< empty: none
  std::vector<std::string> keywords;
  std::string object;
  std::string observer;
  std::string imageType = "light";
};

// ORQ_IMAGE_...
int ParseImageType(const std::string& name) {
  constexpr std::array kTypes = {"light", "dark", "bias", "flat"};
  for (std::size_t type = 0; type < kTypes.size(); ++type)
    if (Lower(name) == kTypes.at(type)) return static_cast<int>(type);
  throw CliError(kExitUsage, "unknown image type '" + name + "'; there are light, dark, bias and flat");
}

// What FITS takes as a text.
void CheckLabel(const std::string& text, const std::string& option) {
  constexpr std::size_t kMost = 68;
  const auto quotes = static_cast<std::size_t>(std::ranges::count(text, '\''));  // they are written twice
  const bool printable = std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; });
  if (printable && text.size() + quotes <= kMost) return;
  throw CliError(kExitUsage, option + " '" + text + "': FITS takes at most 68 printable ASCII characters");
}

// Of "KEY=VALUE / comment", in FITS' letters.
std::string KeywordName(const std::string& text) {
  std::string name;
  for (const char c : text.substr(0, text.find('=')))
    if (c != ' ') name += static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return name;
}

// Whether a pattern of file names counts the frames.
bool HasNumber(const std::string& pattern) {
  return pattern.find("{n}") != std::string::npos || pattern.find("{n:") != std::string::npos;
}

std::uint64_t ParseCount(const std::string& text) {
  const std::int64_t count = ParseInteger(text, "--count");
  if (count < 1 || count > static_cast<std::int64_t>(kMostFrames))
    throw CliError(kExitUsage, "--count must be from 1 to 1000000");
  return static_cast<std::uint64_t>(count);
}

std::uint64_t ParseRetries(const std::string& text) {
  constexpr std::int64_t kMostRetries = 100;
  const std::int64_t retries = ParseInteger(text, "--retries");
  if (retries < 0 || retries > kMostRetries) throw CliError(kExitUsage, "--retries must be from 0 to 100");
  return static_cast<std::uint64_t>(retries);
}

// Where the frames go.
struct Destination {
  std::string pattern;
  orq_save_options options = sized<orq_save_options>();
  bool withoutLight = false;  ///< they are darks or biases
};

Destination MakeDestination(const CaptureOptions& options, std::uint64_t count) {
  Destination destination;
  destination.pattern = options.output;
  if (count > 1 && !HasNumber(options.output))
    throw CliError(kExitUsage, "--output needs {n} for more than one frame, as in image-{n:04}.fits");
  destination.options.preview = options.preview ? 1 : 0;
  destination.options.overwrite = options.overwrite ? 1 : 0;
  destination.options.fast = options.video ? 1 : 0;  // a video cannot wait for the disk after each frame
  const int type = ParseImageType(options.imageType);
  destination.withoutLight = type == ORQ_IMAGE_DARK || type == ORQ_IMAGE_BIAS;
  return destination;
}

// In the room of a struct; a text that is too long stays too long.
template <std::size_t kBytes>
void CopyTo(char (&room)[kBytes], const std::string& text) {
  text.copy(room, kBytes - 1);
}

// What the files say: the user's own words first, then those of the profile.
void Describe(const Context& context, Device& camera, const CaptureOptions& options) {
  auto labels = sized<orq_labels>();
  labels.image_type = ParseImageType(options.imageType);
  CopyTo(labels.object, options.object);
  CopyTo(labels.observer, options.observer);
  camera->labels(labels);
  std::vector<std::string> names;
  for (const std::string& text : options.keywords) {
    camera->keyword(text);
    const std::string name = KeywordName(text);
    if (std::ranges::find(names, name) != names.end())
      throw CliError(kExitUsage, "--keyword " + name + " is given twice");
    names.push_back(name);
  }
  if (context.settings) camera->applyProfile();
}

void AddClock(Report& report) {
  auto clock = sized<orq_clock_state>();
  check(orq_clock_get_state(&clock));
  if (clock.synchronised < 0) return;
  report.Add("clock_synchronised", clock.synchronised != 0);
  if (clock.synchronised != 0) report.Add("clock_max_error", clock.max_error_us, "us");
}

double Hundredths(double value) {
  return std::round(value * 100.0) / 100.0;
}

// One good frame, with its number in the run.
struct Shot {
  Frame frame;
  std::uint64_t number = 0;
  orq_frame_info info{};
  orq_frame_gps gps{};
};

void ReportFrame(const Context& context, const Shot& shot, const orq_saved_files& saved) {
  const orq_frame_info& info = shot.info;
  Report report;
  report.Add("file", saved.file);
  if (saved.preview[0] != '\0') report.Add("preview", saved.preview);
  if (saved.sidecar[0] != '\0') report.Add("sidecar", saved.sidecar);
  if (context.json) {
    report.Add("number", shot.number);
    report.Add("sequence", info.sequence);
    AddTimes(report, info, shot.gps);
    AddClock(report);
    report.Add("exposure", info.exposure_us, "us");
    if (info.real_exposure_ms >= 0) report.Add("real_exposure", info.real_exposure_ms, "ms");
    report.Add("gain", info.gain);
    report.Add("offset", info.offset);
    if (!std::isnan(info.sensor_c)) report.Add("temperature", Hundredths(info.sensor_c), "C");
    if (!std::isnan(info.target_c)) report.Add("target", info.target_c, "C");
    if (saved.warning[0] != '\0') report.Add("warning", saved.warning);
    AddGps(report, info, shot.gps);
  }
  report.Print(context.out, context.json);
  context.out.Flush();
}

// What has become of the frames so far.
struct Tally {
  struct Failure {
    std::uint64_t number = 0;
    std::string reason;
  };
  std::uint64_t count = 0;  ///< wanted
  std::uint64_t saved = 0;
  std::uint64_t repeated = 0;    ///< exposures that were taken again
  std::uint64_t reconnects = 0;  ///< losses of the camera that were survived
  std::vector<Failure> failures;
  std::uint64_t predicted = 0;  ///< GPS times, up to the last frame
  std::uint64_t confirmed = 0;
  std::uint64_t wrong = 0;

  std::string Text() const;
  Json FailuresAsJson() const;
};

// "8 of 10 frames saved; failed: 3, 7 (the frame came short)": frames that failed alike stand together.
std::string Tally::Text() const {
  std::string text = Format("%llu of %llu frames saved", static_cast<unsigned long long>(saved),
                            static_cast<unsigned long long>(count));
  std::vector<std::pair<std::string, std::string>> kinds;  // reason, numbers
  for (const Failure& failure : failures) {
    const auto same = std::ranges::find(kinds, failure.reason, &std::pair<std::string, std::string>::first);
    if (same == kinds.end())
      kinds.emplace_back(failure.reason, std::to_string(failure.number));
    else
      same->second += ", " + std::to_string(failure.number);
  }
  for (const auto& [reason, numbers] : kinds) text += "; failed: " + numbers + " (" + reason + ")";
  return text;
}

Json Tally::FailuresAsJson() const {
  Json list = Json::array();
  for (const Failure& failure : failures) list.push_back({{"number", failure.number}, {"reason", failure.reason}});
  return list;
}

// Saves one frame and says so. Throws Error when it could not be saved.
void Keep(const Context& context, const Destination& destination, const Shot& shot, WarningWatch& warnings,
          Tally& tally) {
  orq_save_options options = destination.options;
  options.number = shot.number;
  orq_saved_files saved;
  try {
    saved = shot.frame.saveFiles(destination.pattern, options);
  } catch (const Error& error) {
    if (tally.count == 1) throw;
    throw CliError(error.status(), std::string(error.what()) + " (" + tally.Text() + ")");
  }
  warnings.Look(saved, shot.info);
  ++tally.saved;
  ReportFrame(context, shot, saved);
  if (saved.trouble[0] != '\0') throw CliError(ORQ_ERROR_FILE, saved.trouble);
}

// How hard a frame is tried for, and what it must have.
struct Endurance {
  std::uint64_t retries = 0;
  bool reconnect = false;
  bool requireGps = false;
};

// Why the frame has no GPS time; empty when it has.
std::string WithoutGps(const Shot& shot) {
  if (HasGpsTime(shot.info)) return {};
  const std::string trouble = GpsTrouble(shot.gps);
  return "it has no GPS time: " + (trouble.empty() ? "the camera did not say that it has a GPS" : trouble);
}

// Takes one frame: a failed exposure is repeated, a camera that was lost is waited for. A frame without the GPS
// time that is demanded has failed as well, but its moment does not come again. `reason` says why on anything but
// Good.
ShotResult TakeOne(Device& camera, Shooter& shooter, Shot& shot, const Endurance& endurance, Tally& tally,
                   std::string& reason) {
  for (std::uint64_t failed = 0;;) {
    const ShotResult result = shooter.Take(shot.frame, shot.number, tally.count);
    reason = shooter.Reason();
    if (result == ShotResult::Good) {
      shot.info = shot.frame.info();
      shot.gps = shot.frame.gps();
      if (!endurance.requireGps) return result;
      reason = WithoutGps(shot);
      return reason.empty() ? ShotResult::Good : ShotResult::Failed;
    }
    if (result == ShotResult::Lost && endurance.reconnect) {
      if (!camera.Reconnect()) return ShotResult::Interrupted;
      ++tally.reconnects;
      if (!shooter.Resume()) return ShotResult::Ended;
      continue;
    }
    if (result != ShotResult::Failed || failed == endurance.retries) return result;
    ++failed;
    ++tally.repeated;
    Complain(Format("frame %llu failed: %s; taking it again", static_cast<unsigned long long>(shot.number),
                    reason.c_str()));
  }
}

// Takes and saves all frames. Throws Error when some are missing.
void TakeAll(const Context& context, Device& camera, Shooter& shooter, const Endurance& endurance,
             const Destination& destination, Tally& tally) {
  Shot shot;
  CoolerTeller cooler;
  GpsWatch gpsWatch(true);
  WarningWatch warnings;
  std::string reason;
  int failuresInARow = 0;
  for (shot.number = 1; shot.number <= tally.count; ++shot.number) {
    switch (TakeOne(camera, shooter, shot, endurance, tally, reason)) {
      case ShotResult::Good:
        cooler.Look(camera);
        gpsWatch.Look(shot.info, shot.gps);
        tally.predicted = shot.gps.predicted;
        tally.confirmed = shot.gps.confirmed;
        tally.wrong = shot.gps.wrong;
        Keep(context, destination, shot, warnings, tally);
        failuresInARow = 0;
        break;
      case ShotResult::Failed:
        tally.failures.push_back({shot.number, reason});
        if (tally.count == 1) throw CliError(ORQ_ERROR_REFUSED, "frame 1 failed: " + reason);
        Complain(Format("frame %llu failed: %s", static_cast<unsigned long long>(shot.number), reason.c_str()));
        if (++failuresInARow == kMostFailuresInARow && shot.number < tally.count) {
          throw CliError(ORQ_ERROR_REFUSED,
                         Format("%d frames in a row failed, giving up: %s", failuresInARow, tally.Text().c_str()));
        }
        break;
      case ShotResult::Ended:
        throw CliError(ORQ_ERROR_TIMEOUT, reason + ": " + tally.Text());
      case ShotResult::Interrupted:
        throw CliError(ORQ_ERROR_CANCELLED, "interrupted: " + tally.Text());
      case ShotResult::Lost:
        throw CliError(ORQ_ERROR_LOST, "the camera was lost; check its cable: " + tally.Text());
    }
  }
  if (!tally.failures.empty()) throw CliError(ORQ_ERROR_REFUSED, tally.Text());
}

void ReportVideoLosses(const orq_stream_counters& counters) {
  const std::uint64_t missed = counters.failed + counters.dropped + counters.lost + counters.overwritten;
  if (missed == 0) return;
  Complain(Format(
      "the video missed %llu frame%s: %llu failed, %llu dropped, %llu lost, %llu not fetched in time",
      static_cast<unsigned long long>(missed), missed == 1 ? "" : "s",
      static_cast<unsigned long long>(counters.failed), static_cast<unsigned long long>(counters.dropped),
      static_cast<unsigned long long>(counters.lost), static_cast<unsigned long long>(counters.overwritten)));
}

void ReportEnd(const Context& context, const Tally& tally) {
  Report report;
  report.Add("saved", tally.saved);
  if (tally.repeated != 0) report.Add("repeated", tally.repeated);
  if (tally.reconnects != 0) report.Add("reconnects", tally.reconnects);
  if (!tally.failures.empty()) {
    report.Add("failed", tally.failures.size());
    if (context.json) report.Add("failures", tally.FailuresAsJson());
  }
  if (tally.predicted != 0) {
    report.Add("gps_predicted", tally.predicted);
    report.Add("gps_confirmed", tally.confirmed);
    report.Add("gps_wrong", tally.wrong);
  }
  report.Print(context.out, context.json);
}

void Take(const Context& context, Device& camera, Shooter& shooter, const CaptureOptions& options,
          const Destination& destination, Tally& tally) {
  if (!options.timeout.empty()) shooter.SetTriggerPatience(options.settings.triggers.Patience(options.timeout));
  const Endurance endurance{
      .retries = ParseRetries(options.retries), .reconnect = options.reconnect, .requireGps = options.requireGps};
  std::exception_ptr failure;
  try {
    TakeAll(context, camera, shooter, endurance, destination, tally);
  } catch (const Error&) {
    failure = std::current_exception();  // what was done is told before why it ended
  }
  if (options.video) ReportVideoLosses(camera->counters());
  ReportEnd(context, tally);
  if (failure) std::rethrow_exception(failure);
}

void ReportSettled(const Context& context, const AutoControl& automatic) {
  Report report;
  report.Add("settled", true);
  AddTo(report, automatic.Read());
  report.Print(context.out, context.json);
  context.out.Flush();
}

// Nobody knows when triggered frames come: they are all kept, and automatic control follows them.
bool WaitsToSettle(Device& camera, const AutoControl& automatic) {
  return automatic.Runs() && camera->triggerMode() == ORQ_MODE_FREE;
}

void TakeVideo(const Context& context, Device& camera, const CaptureOptions& options,
               const Destination& destination, Tally& tally) {
  AutoControl automatic(camera, options.automatic);
  const bool waits = WaitsToSettle(camera, automatic);
  if (!waits) TellDifferences(camera);
  VideoShooter shooter(camera);
  if (waits) {
    automatic.Settle(shooter);
    ReportSettled(context, automatic);
    TellDifferences(camera);
  }
  Take(context, camera, shooter, options, destination, tally);
}

void TakeSingles(const Context& context, Device& camera, const CaptureOptions& options,
                 const Destination& destination, Tally& tally) {
  AutoControl automatic(camera, options.automatic);
  if (WaitsToSettle(camera, automatic)) {
    VideoShooter video(camera);
    automatic.Settle(video);
    ReportSettled(context, automatic);
  }
  TellDifferences(camera);
  SingleShooter shooter(camera);
  Take(context, camera, shooter, options, destination, tally);
}

ExitCode RunCapture(const Context& context, const CaptureOptions& options) {
  const std::uint64_t count = ParseCount(options.count);
  options.settings.Check();
  if (!options.timeout.empty()) options.settings.triggers.Patience(options.timeout);
  ParseRetries(options.retries);
  options.cooling.Check();
  options.automatic.Check();
  CheckLabel(options.object, "--object");
  CheckLabel(options.observer, "--observer");
  const Destination destination = MakeDestination(options, count);
  Device camera(context);
  Describe(context, camera, options);
  options.settings.Apply(camera);
  if (options.requireGps) camera->checkGps();
  RunAbortably(camera, [&] { camera->checkSaving(destination.pattern, count, destination.options); });
  // Frames that become a dark or a bias themselves are not corrected by one, unless it is named.
  ApplyCorrections(camera, options.corrections, context.settings && !destination.withoutLight);
  options.cooling.Apply(camera);
  Tally tally;
  tally.count = count;
  if (options.video)
    TakeVideo(context, camera, options, destination, tally);
  else
    TakeSingles(context, camera, options, destination, tally);
  return kExitOk;
}

}  // namespace

CommandRun AddCaptureCommand(const Command& app) {
  const Command command = app.AddCommand("capture", "Take frames and save them");
  auto options = std::make_shared<CaptureOptions>();
  options->AddTo(command);
  options->automatic.AddTimeoutTo(command);
  command.AddOption("-n,--count", options->count, "Number of frames").Default("1");
  command
      .AddOption("-o,--output", options->output,
                 "File name; its extension decides: .fits, .fit, .png (8 bit, stretched), .raw (with a .json "
                 "beside it). Placeholders: {n} {n:04} {date} {time} {camera} {serial} {object} {type} {format} "
                 "{exposure} {gain} {offset} {bin}")
      .Default(options->output);
  command.AddFlag("--overwrite", options->overwrite, "Replace files that exist");
  command.AddFlag("--png", options->preview, "Save a stretched 8-bit PNG beside each file");
  command.AddFlag("--video", options->video, "Take the frames from a running video, not by single exposures");
  command.AddFlag("--require-gps", options->requireGps,
                  "A frame without GPS time fails and is not saved (predicted times count)");
  command.AddOption("--retries", options->retries, "How often a failed exposure is repeated").Default("2");
  options->AddReconnectTo(command);
  command.AddOption("--timeout", options->timeout,
                    "How long to wait for each external trigger: 10s, 500ms (default: for ever)");
  command
      .AddOption("-k,--keyword", options->keywords, "FITS keyword KEY=VALUE or 'KEY=VALUE / comment' (repeatable)")
      .OneValueEach();
  command.AddOption("--object", options->object, "Name of the object");
  command.AddOption("--observer", options->observer, "Name of the observer");
  command.AddOption("--image-type", options->imageType, "light, dark, bias or flat").Default("light");
  return [options](const Context& context) { return RunCapture(context, *options); };
}

}  // namespace orq::cli
