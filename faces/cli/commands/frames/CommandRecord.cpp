// orqcam record: a video into a file, or a folder of files.
#include <chrono>
#include <cmath>
#include <memory>
#include <optional>

#include "camera/CoolerUse.h"
#include "camera/Shooter.h"
#include "commands/Commands.h"
#include "options/Quantities.h"
#include "options/ShootingOptions.h"
#include "output/Signals.h"
#include "record/DiscFollower.h"
#include "record/RecordReport.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds kWait{100};
constexpr milliseconds kMeasureRate{500};

constexpr const char* kUsualName = "{camera}-{date}-{time}";

struct RecordOptions : ShootingOptions {
  std::string output;  ///< empty: camera, date and time, in the form that is wanted
  std::string form;    ///< empty: as the name of the output says
  std::string preset;  ///< empty: as --region and --center say
  std::string seconds;
  std::string frames;
  std::string size;
  std::string ring;
  bool overwrite = false;
  std::string object;
  std::string observer;
};

struct Preset {
  const char* name;
  int width;  ///< sensor pixels; 0: the whole sensor at first
  int height;
};
constexpr Preset kPresets[] = {{"full", 0, 0}, {"1280x720", 1280, 720}, {"640x480", 640, 480}, {"planet", 0, 0}};

const Preset* FindPreset(const std::string& name) {
  if (name.empty()) return nullptr;
  for (const Preset& preset : kPresets)
    if (Lower(name) == preset.name) return &preset;
  throw CliError(kExitUsage, "unknown preset '" + name + "'; there are full, 1280x720, 640x480 and planet");
}

struct Form {
  const char* name;
  int value;
  const char* ending;
};
constexpr Form kForms[] = {{"ser", ORQ_RECORDING_SER, ".ser"},
                           {"cube", ORQ_RECORDING_CUBE, ".fits"},
                           {"folder", ORQ_RECORDING_FOLDER, "/"}};

const Form* FindForm(const std::string& name) {
  if (name.empty()) return nullptr;
  for (const Form& form : kForms)
    if (Lower(name) == form.name) return &form;
  throw CliError(kExitUsage, "unknown form '" + name + "'; there are ser, cube and folder");
}

// "2GB", "500MB", in decimal units.
std::uint64_t ParseSize(const std::string& text) {
  constexpr struct {
    const char* unit;
    double bytes;
  } kUnits[] = {{"kb", 1e3}, {"mb", 1e6}, {"gb", 1e9}, {"tb", 1e12}};
  const std::string lower = Lower(text);
  for (const auto& [unit, bytes] : kUnits) {
    if (!lower.ends_with(unit)) continue;
    const double number = ParseSeconds(lower.substr(0, lower.size() - 2), "--size");
    return static_cast<std::uint64_t>(std::llround(std::min(number * bytes, 1e18)));
  }
  throw CliError(kExitUsage, "--size needs a unit: 500MB, 2GB");
}

std::uint64_t ParsePositive(const std::string& text, const char* option, std::int64_t most) {
  const std::int64_t number = ParseInteger(text, option);
  if (number < 1 || number > most)
    throw CliError(kExitUsage, std::string(option) + " must be from 1 to " + std::to_string(most));
  return static_cast<std::uint64_t>(number);
}

orq_recording_options Limits(const RecordOptions& options) {
  constexpr std::int64_t kMostFrames = 0x7FFF'FFFF;
  constexpr std::int64_t kMostRing = 65'536;
  constexpr double kUsPerSecond = 1e6;
  auto limits = sized<orq_recording_options>();
  limits.overwrite = options.overwrite ? 1 : 0;
  if (const Form* const form = FindForm(options.form)) limits.form = form->value;
  if (!options.frames.empty()) limits.frames = ParsePositive(options.frames, "--frames", kMostFrames);
  if (!options.seconds.empty()) {
    const double seconds = ParseSeconds(options.seconds, "--seconds");
    limits.duration_us = static_cast<std::uint64_t>(std::llround(seconds * kUsPerSecond));
  }
  if (!options.size.empty()) limits.bytes = ParseSize(options.size);
  if (!options.ring.empty())
    limits.ring_mb = static_cast<std::uint32_t>(ParsePositive(options.ring, "--ring", kMostRing));
  return limits;
}

void SetRegion(Device& camera, RecordOptions& options) {
  const Preset* const preset = FindPreset(options.preset);
  if (preset != nullptr && preset->width != 0) {
    if (preset->width > camera.Info().sensor_width || preset->height > camera.Info().sensor_height) {
      throw CliError(ORQ_ERROR_RANGE,
                     Format("the sensor has %d x %d pixels, too few for the preset %s", camera.Info().sensor_width,
                            camera.Info().sensor_height, preset->name));
    }
    options.settings.center = Format("%d,%d", preset->width, preset->height);
  }
  options.settings.Apply(camera);
}

// A frame of the running video. Throws CliError when none comes.
void AwaitFrame(VideoShooter& shooter, Frame& frame) {
  switch (shooter.Take(frame, 1, 1)) {
    case ShotResult::Good:
      return;
    case ShotResult::Interrupted:
      throw CliError(ORQ_ERROR_CANCELLED, "interrupted before anything was recorded");
    case ShotResult::Lost:
      throw CliError(kExitCameraLost, "the camera was lost; check its cable");
    default:
      throw CliError(ORQ_ERROR_REFUSED, shooter.Reason());
  }
}

// Frames per second of the running video; 0: nobody knows when frames come. A planet goes on meanwhile.
double MeasureRate(Device& camera, VideoShooter& shooter, DiscFollower* follower) {
  if (camera->triggerMode() != ORQ_MODE_FREE) return 0.0;
  const std::chrono::duration<double> exposure = camera->exposure();
  if (exposure >= kMeasureRate) return 1.0 / exposure.count();  // nobody waits for two of them
  Frame frame;
  AwaitFrame(shooter, frame);
  const std::uint32_t first = frame.info().sequence;
  const auto begin = Clock::now();
  for (;;) {
    AwaitFrame(shooter, frame);
    if (follower != nullptr) follower->Look(frame);
    const auto elapsed = Clock::now() - begin;
    if (elapsed < kMeasureRate) continue;
    const std::uint32_t frames = frame.info().sequence - first;
    return static_cast<double>(frames) / std::chrono::duration<double>(elapsed).count();
  }
}

// In triggered modes the shooter sends what is to be recorded.
void Accompany(VideoShooter& shooter, DiscFollower* follower) {
  Frame frame;
  const ShotResult result = shooter.TakeWithin(frame, kWait);
  if (result == ShotResult::Good && follower != nullptr) follower->Look(frame);
  if (result == ShotResult::Ended || result == ShotResult::Lost) WaitForStop(kWait);
}

void Watch(const Context& context, Device& camera, VideoShooter& shooter, DiscFollower* follower,
           const orq_recording_plan& plan, Recording& recording) {
  RecordProgress progress(context, plan);
  CoolerTeller cooler;
  bool stopping = false;
  for (;;) {
    const orq_recording_state state = recording.state();
    progress.Show(state);
    if (state.end != ORQ_RECORDING_RUNS) return;
    if (StopRequested() && !stopping) {
      recording.stop();
      stopping = true;
    }
    if (stopping) {
      try {
        recording.wait(kWait);
      } catch (const TimeoutError&) {
        continue;
      }
    } else {
      Accompany(shooter, follower);
      cooler.Look(camera);
    }
  }
}

// Ctrl-C is how a recording without a limit ends.
void JudgeEnd(const orq_recording_state& state, bool unlimited) {
  const auto frames = static_cast<unsigned long long>(state.frames);
  switch (state.end) {
    case ORQ_RECORDING_STOPPED:
      if (unlimited && state.frames != 0) return;
      throw CliError(ORQ_ERROR_CANCELLED, Format("interrupted: %llu frames recorded", frames));
    case ORQ_RECORDING_LOST:
      throw CliError(kExitCameraLost,
                     Format("the camera was lost; check its cable: %llu frames recorded", frames));
    case ORQ_RECORDING_DISK_FULL:
      throw CliError(ORQ_ERROR_FILE, Format("%s: %llu frames recorded; free some space, or name another disk",
                                            state.trouble, frames));
    case ORQ_RECORDING_FAILED:
      throw CliError(ORQ_ERROR_FILE, Format("%s: %llu frames recorded", state.trouble, frames));
    case ORQ_RECORDING_VIDEO_ENDED:
    case ORQ_RECORDING_CHANGED:
      throw CliError(ORQ_ERROR_REFUSED,
                     Format("%s: %llu frames recorded",
                            state.trouble[0] != '\0' ? state.trouble : "the video has ended", frames));
    default:
      break;
  }
  if (state.frames == 0) throw CliError(ORQ_ERROR_TIMEOUT, "no frame came in that time: nothing was recorded");
}

void TellMissing(const orq_recording_state& state) {
  const unsigned long long missed = state.missed;
  const unsigned long long lost = state.lost;
  if (missed + lost == 0) return;
  Complain(Format("%llu missing frames: %llu because the disk was too slow, %llu did not come from the camera",
                  missed + lost, missed, lost));
}

void Describe(const Context& context, Device& camera, const RecordOptions& options) {
  auto labels = sized<orq_labels>();
  options.object.copy(labels.object, sizeof labels.object - 1);
  options.observer.copy(labels.observer, sizeof labels.observer - 1);
  camera->labels(labels);
  if (context.settings) camera->applyProfile();
}

ExitCode RunRecord(const Context& context, RecordOptions options) {
  orq_recording_options limits = Limits(options);
  if (options.output.empty()) {
    const Form* const form = FindForm(options.form);
    options.output = std::string(kUsualName) + (form == nullptr ? kForms[0].ending : form->ending);
  }
  const Preset* const preset = FindPreset(options.preset);
  options.settings.Check();
  options.cooling.Check();
  options.automatic.Check();
  Device camera(context);
  Describe(context, camera, options);
  SetRegion(camera, options);
  camera->planRecording(options.output, limits);  // what is wrong with the name is told before anything is done
  ApplyCorrections(camera, options.corrections, context.settings);
  options.cooling.Apply(camera);
  AutoControl automatic(camera, options.automatic);
  VideoShooter shooter(camera);
  if (automatic.Runs() && camera->triggerMode() == ORQ_MODE_FREE) automatic.Settle(shooter);
  TellDifferences(camera);
  std::optional<DiscFollower> follower;
  if (preset != nullptr && Lower(options.preset) == "planet") {
    Frame frame;
    AwaitFrame(shooter, frame);
    follower.emplace(camera).Place(frame);
  }
  DiscFollower* const followed = follower ? &*follower : nullptr;
  const double fps = MeasureRate(camera, shooter, followed);
  const orq_recording_plan plan = camera->planRecording(options.output, limits);
  ReportPlan(context, plan, fps);
  limits.form = plan.form;  // the planned name of a folder has no slash any more
  Recording recording = camera->record(plan.file, limits);
  Watch(context, camera, shooter, followed, plan, recording);
  ReportRecorded(context, plan, recording);
  const orq_recording_state state = recording.state();
  TellMissing(state);
  JudgeEnd(state, limits.frames == 0 && limits.duration_us == 0 && limits.bytes == 0);
  return kExitOk;
}

}  // namespace

CommandRun AddRecordCommand(const Command& app) {
  const Command command =
      app.AddCommand("record", "Record a video to a SER file, a FITS cube or a folder of FITS files");
  auto options = std::make_shared<RecordOptions>();
  options->AddTo(command);
  options->automatic.AddTimeoutTo(command);
  command.AddOption("--preset", options->preset,
                    "Part of the sensor: full, 1280x720, 640x480 (centred), or planet: a box around the disc that "
                    "follows it");
  command
      .AddOption(
          "-o,--output", options->output,
          "File name: .ser, .fits (a cube), or a / at its end (a folder). Placeholders: {date} {time} {camera} "
          "{serial} {object} {type} {format} {exposure} {gain} {offset} {bin}")
      .Default(std::string(kUsualName) + kForms[0].ending);
  command.AddOption("--form", options->form, "What it becomes: ser, cube or folder (default: as the name says)");
  command.AddFlag("--overwrite", options->overwrite, "Replace files that exist");
  command.AddOption("-s,--seconds", options->seconds, "Stop after this time (default: at Ctrl-C)");
  command.AddOption("-n,--frames", options->frames, "Stop after this many frames");
  command.AddOption("--size", options->size, "Stop before it gets larger: 500MB, 2GB");
  command.AddOption("--ring", options->ring, "Memory for frames that wait for the disk, in MB").Default("256");
  command.AddOption("--object", options->object, "Name of the object");
  command.AddOption("--observer", options->observer, "Name of the observer");
  return [options](const Context& context) { return RunRecord(context, *options); };
}

}  // namespace orq::cli
