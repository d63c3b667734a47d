// orqcam capture: frames into files.
#include <algorithm>
#include <chrono>
#include <exception>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>

#include "camera/Shooter.h"
#include "commands/Commands.h"
#include "options/ShootingOptions.h"
#include "output/FrameWatch.h"
#include "output/Signals.h"
#include "session/cooling/Climate.h"
#include "session/files/FrameSaver.h"
#include "session/files/Profile.h"
#include "session/frame/FrameTime.h"
#include "session/gps/GpsLines.h"
#include "session/text/Units.h"
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

ImageType ParseImageType(const std::string& name) {
  if (const std::optional<ImageType> type = FindImageType(name)) return *type;
  throw CliError(kExitUsage, "unknown image type '" + name + "'; there are light, dark, bias and flat");
}

std::uint64_t ParseCount(const std::string& text) {
  const std::int64_t count = ParseInteger(text, "--count");
  if (count < 1 || count > static_cast<std::int64_t>(kMostFrames)) {
    throw CliError(kExitUsage, "--count must be from 1 to 1000000");
  }
  return static_cast<std::uint64_t>(count);
}

std::uint64_t ParseRetries(const std::string& text) {
  constexpr std::int64_t kMostRetries = 100;
  const std::int64_t retries = ParseInteger(text, "--retries");
  if (retries < 0 || retries > kMostRetries) throw CliError(kExitUsage, "--retries must be from 0 to 100");
  return static_cast<std::uint64_t>(retries);
}

// Where the frames go, and what their files say.
struct Destination {
  FrameSaver saver;
  std::shared_ptr<const FileContext> context;

  bool WithoutLight() const { return IsWithoutLight(context->imageType); }
};

SaveOptions MakeSaveOptions(const CaptureOptions& options, std::uint64_t count) {
  SaveOptions save;
  save.pattern = FilePattern(options.output);
  if (count > 1 && !save.pattern.Has("n")) {
    throw CliError(kExitUsage, "--output needs {n} for more than one frame, as in image-{n:04}.fits");
  }
  save.preview = options.preview;
  save.existing = options.overwrite ? Existing::Overwrite : Existing::Keep;
  // A video cannot wait for the disk after each frame.
  save.durability = options.video ? Durability::Cached : Durability::Synced;
  return save;
}

// The user's own keywords, then those of the profile.
std::vector<Keyword> MakeKeywords(const CaptureOptions& options, const Profile& profile) {
  std::vector<Keyword> keywords;
  for (const std::string& text : options.keywords) {
    Keyword keyword = ParseKeyword(text);
    if (std::ranges::find(keywords, keyword.name, &Keyword::name) != keywords.end()) {
      throw CliError(kExitUsage, "--keyword " + keyword.name + " is given twice");
    }
    keywords.push_back(std::move(keyword));
  }
  std::ranges::copy(profile.KeywordsBeside(keywords), std::back_inserter(keywords));
  return keywords;
}

FileContext MakeContext(Session& session, const CaptureOptions& options, const Profile& profile,
                        std::vector<Keyword> keywords) {
  FileContext context;
  context.creator = "orqcam " ORQCAM_VERSION;
  context.instrument = session.Camera().modelName;
  context.shortModel = session.Model().key;
  context.serial = session.Serial();
  context.pixelSizeUm = session.Camera().pixelSizeUm;
  context.object = options.object;
  context.observer = options.observer.empty() ? profile.Observer() : options.observer;
  context.imageType = ParseImageType(options.imageType);
  context.recorded = session.Recorded();
  context.keywords = std::move(keywords);
  return context;
}

// The settings as far as they are known before the first frame, and a time like that of the frames.
FrameFacts Expected(const CModelCamera& camera, const Destination& destination) {
  FrameFacts frame;
  frame.context = destination.context;
  FrameInfo& info = frame.info;
  info.times.begin =
      std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::system_clock::now().time_since_epoch())
          .count() *
      kTenthsPerMicrosecond;
  info.region = camera.Region();
  info.exposureUs = camera.exposureUs;
  info.gain = camera.gain;
  info.offset = camera.Brightness;
  return frame;
}

void ReportFrame(const Context& context, const Frame& frame, const SavedFrame& saved) {
  Report report;
  report.Add("file", saved.file);
  if (!saved.companion.empty()) report.Add("preview", saved.companion);
  if (!saved.sidecar.empty()) report.Add("sidecar", saved.sidecar);
  if (context.json) {
    report.Add("number", frame.number);
    report.Add("sequence", frame.info.sequence);
    report.Add(TimeValues(frame.info));
    report.Add(ClockValues(frame.clock));
    report.Add("exposure", frame.info.exposureUs, "us");
    if (frame.realExposureMs) report.Add("real_exposure", *frame.realExposureMs, "ms");
    report.Add("gain", frame.info.gain);
    report.Add("offset", frame.info.offset);
    if (frame.sensorC) report.Add("temperature", *frame.sensorC, "C");
    if (frame.targetC) report.Add("target", *frame.targetC, "C");
    if (!frame.warning.empty()) report.Add("warning", frame.warning);
    report.Add(GpsValues(frame.info));
  }
  report.Print(context.out, context.json);
  context.out.Flush();
}

// What only the camera can tell about a frame that has just arrived.
void AddReadings(Session& session, const FrameCorrections& corrections, bool single, Frame& frame) {
  constexpr std::uint64_t kCountedFromUs = 1'000'000;  // shorter ones are as they were set
  CModelCamera& camera = session.Camera();
  frame.corrections = corrections.FactsOf(frame.info);
  frame.sensorC = SensorCelsius(camera);
  long coolerOn = 0;
  const bool cooled = session.Model().cooled &&
                      camera.GetControlValue(ORQ_COOLER_ON, &coolerOn, nullptr) == CTRL_OK && coolerOn == 1;
  frame.targetC = cooled ? std::optional<double>(camera.TargetTemp) : std::nullopt;
  long power = 0;
  const bool powered =
      session.Model().cooled && camera.GetControlValue(ORQ_COOL_POWER_PERC, &power, nullptr) == CTRL_OK;
  frame.coolerPower = powered ? std::optional(static_cast<int>(power)) : std::nullopt;
  const bool counted = single && frame.info.exposureUs >= kCountedFromUs;
  frame.realExposureMs = counted ? std::optional(camera.RealExposureMs()) : std::nullopt;
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
  GpsPredictions gps = {};  ///< up to the last frame

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
    if (same == kinds.end()) {
      kinds.emplace_back(failure.reason, std::to_string(failure.number));
    } else {
      same->second += ", " + std::to_string(failure.number);
    }
  }
  for (const auto& [reason, numbers] : kinds) text += "; failed: " + numbers + " (" + reason + ")";
  return text;
}

Json Tally::FailuresAsJson() const {
  Json list = Json::array();
  for (const Failure& failure : failures) list.push_back({{"number", failure.number}, {"reason", failure.reason}});
  return list;
}

// Saves one frame and says so. Throws Failure when it could not be saved.
void Keep(const Context& context, const FrameSaver& saver, const Frame& frame, Tally& tally) {
  SavedFrame saved;
  try {
    saved = saver.Save(frame.bytes, frame);
  } catch (const Failure& failure) {
    if (tally.count == 1) throw;
    throw Failure(failure.Code(), std::string(failure.what()) + " (" + tally.Text() + ")");
  }
  ++tally.saved;
  ReportFrame(context, frame, saved);
  if (!saved.trouble.empty()) throw CliError(Status::File, saved.trouble);
}

// How hard a frame is tried for, and what it must have.
struct Endurance {
  std::uint64_t retries = 0;
  bool reconnect = false;
  bool requireGps = false;
};

// Why the frame has no GPS time; empty when it has.
std::string WithoutGps(const Frame& frame) {
  if (HasGpsTime(frame.info)) return {};
  const std::string trouble = GpsTrouble(frame.info);
  return "it has no GPS time: " + (trouble.empty() ? "the camera did not say that it has a GPS" : trouble);
}

// Takes one frame: a failed exposure is repeated, a camera that was lost is waited for. A frame without the GPS
// time that is demanded has failed as well, but its moment does not come again. `reason` says why on anything but
// Good.
ShotResult TakeOne(Session& session, Shooter& shooter, Frame& frame, std::uint64_t number,
                   const Endurance& endurance, Tally& tally, std::string& reason) {
  for (std::uint64_t failed = 0;;) {
    const ShotResult result = shooter.Take(frame, number, tally.count);
    reason = shooter.Reason();
    if (result == ShotResult::Good && endurance.requireGps) {
      reason = WithoutGps(frame);
      return reason.empty() ? ShotResult::Good : ShotResult::Failed;
    }
    if (result == ShotResult::Lost && endurance.reconnect) {
      if (!session.Reconnect()) return ShotResult::Interrupted;
      ++tally.reconnects;
      if (!shooter.Resume()) return ShotResult::Ended;
      continue;
    }
    if (result != ShotResult::Failed || failed == endurance.retries) return result;
    ++failed;
    ++tally.repeated;
    Complain(
        Format("frame %llu failed: %s; taking it again", static_cast<unsigned long long>(number), reason.c_str()));
  }
}

// Takes and saves all frames. Throws Failure when some are missing.
void TakeAll(const Context& context, Session& session, const FrameCorrections& corrections, Shooter& shooter,
             bool single, const Endurance& endurance, const Destination& destination, Tally& tally) {
  Frame frame;
  frame.context = destination.context;
  CoolerWatch coolerWatch;
  GpsWatch gpsWatch(true);
  ClippingWatch clippingWatch(destination.WithoutLight());
  std::string reason;
  int failuresInARow = 0;
  for (std::uint64_t number = 1; number <= tally.count; ++number) {
    switch (TakeOne(session, shooter, frame, number, endurance, tally, reason)) {
      case ShotResult::Good:
        frame.number = number;
        AddReadings(session, corrections, single, frame);
        clippingWatch.Look(frame);
        coolerWatch.Look(session);
        gpsWatch.Look(frame.info);
        tally.gps = frame.info.gps.predictions;
        Keep(context, destination.saver, frame, tally);
        failuresInARow = 0;
        break;
      case ShotResult::Failed:
        tally.failures.push_back({number, reason});
        if (tally.count == 1) throw CliError(Status::Refused, "frame 1 failed: " + reason);
        Complain(Format("frame %llu failed: %s", static_cast<unsigned long long>(number), reason.c_str()));
        if (++failuresInARow == kMostFailuresInARow && number < tally.count) {
          throw CliError(Status::Refused,
                         Format("%d frames in a row failed, giving up: %s", failuresInARow, tally.Text().c_str()));
        }
        break;
      case ShotResult::Ended:
        throw CliError(Status::Timeout, reason + ": " + tally.Text());
      case ShotResult::Interrupted:
        throw CliError(Status::Cancelled, "interrupted: " + tally.Text());
      case ShotResult::Lost:
        throw CliError(Status::Lost, "the camera was lost; check its cable: " + tally.Text());
    }
  }
  if (!tally.failures.empty()) throw CliError(Status::Refused, tally.Text());
}

void ReportVideoLosses(const StreamCounters& counters) {
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
  if (tally.gps.predicted != 0) {
    report.Add("gps_predicted", tally.gps.predicted);
    report.Add("gps_confirmed", tally.gps.confirmed);
    report.Add("gps_wrong", tally.gps.wrong);
  }
  report.Print(context.out, context.json);
}

void Take(const Context& context, Session& session, const FrameCorrections& corrections, Shooter& shooter,
          bool single, const CaptureOptions& options, const Destination& destination, Tally& tally) {
  if (!options.timeout.empty()) shooter.SetTriggerPatience(options.settings.triggers.Patience(options.timeout));
  const Endurance endurance{
      .retries = ParseRetries(options.retries), .reconnect = options.reconnect, .requireGps = options.requireGps};
  std::exception_ptr failure;
  try {
    TakeAll(context, session, corrections, shooter, single, endurance, destination, tally);
  } catch (const Failure&) {
    failure = std::current_exception();  // what was done is told before why it ended
  }
  if (!single) ReportVideoLosses(session.Camera().Counters());
  ReportEnd(context, tally);
  if (failure) std::rethrow_exception(failure);
}

// Frames that become a dark or a bias themselves are not corrected by one, unless it is named.
bool TakesChosenDark(const Context& context, const Destination& destination) {
  return context.settings && !destination.WithoutLight();
}

void ReportSettled(const Context& context, const AutoControl& automatic) {
  Report report;
  report.Add("settled", true);
  AddTo(report, automatic.Read());
  report.Print(context.out, context.json);
  context.out.Flush();
}

// Nobody knows when triggered frames come: they are all kept, and automatic control follows them.
bool WaitsToSettle(Session& session, const AutoControl& automatic) {
  return automatic.Runs() && session.Camera().camMode == 0;
}

void TakeVideo(const Context& context, Session& session, const FrameCorrections& corrections,
               const CaptureOptions& options, const Destination& destination, Tally& tally) {
  AutoControl automatic(session, options.automatic);
  const bool waits = WaitsToSettle(session, automatic);
  if (!waits) TellDifferences(session.Camera(), corrections);
  VideoShooter shooter(session);
  if (waits) {
    automatic.Settle(shooter);
    ReportSettled(context, automatic);
    TellDifferences(session.Camera(), corrections);
  }
  Take(context, session, corrections, shooter, false, options, destination, tally);
}

void TakeSingles(const Context& context, Session& session, const FrameCorrections& corrections,
                 const CaptureOptions& options, const Destination& destination, Tally& tally) {
  AutoControl automatic(session, options.automatic);
  if (WaitsToSettle(session, automatic)) {
    VideoShooter video(session);
    automatic.Settle(video);
    ReportSettled(context, automatic);
  }
  TellDifferences(session.Camera(), corrections);
  SingleShooter shooter(session);
  Take(context, session, corrections, shooter, true, options, destination, tally);
}

ExitCode RunCapture(const Context& context, const CaptureOptions& options) {
  const std::uint64_t count = ParseCount(options.count);
  options.settings.Check();
  if (!options.timeout.empty()) options.settings.triggers.Patience(options.timeout);
  ParseRetries(options.retries);
  options.cooling.Check();
  options.automatic.Check();
  ParseImageType(options.imageType);
  CheckTextValue(options.object, "--object");
  CheckTextValue(options.observer, "--observer");
  SaveOptions save = MakeSaveOptions(options, count);
  const Profile profile = context.settings ? Profile::Load(Profile::UsersPath()) : Profile();
  std::vector<Keyword> keywords = MakeKeywords(options, profile);
  Session session(context);
  options.settings.Apply(session);
  if (options.requireGps) DemandGpsTimes(session.Camera());
  session.Camera().StampFrames(std::chrono::milliseconds(0));  // from the very first frame on
  const Destination destination{FrameSaver(std::move(save)), std::make_shared<const FileContext>(MakeContext(
                                                                 session, options, profile, std::move(keywords)))};
  destination.saver.CheckBeforehand(Expected(session.Camera(), destination), count,
                                    [] { return !StopRequested(); });
  const FrameCorrections corrections =
      ApplyCorrections(session, options.corrections, TakesChosenDark(context, destination));
  options.cooling.Apply(session);
  Tally tally;
  tally.count = count;
  if (options.video) {
    TakeVideo(context, session, corrections, options, destination, tally);
  } else {
    TakeSingles(context, session, corrections, options, destination, tally);
  }
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
