// orqcam focus-aid: how sharp the stars are, while somebody turns the focuser, or the motor goes through its
// places.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <vector>

#include "camera/LongWork.h"
#include "camera/Shooter.h"
#include "commands/Commands.h"
#include "options/Quantities.h"
#include "options/ShootingOptions.h"
#include "output/Chart.h"
#include "output/Signals.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr std::chrono::milliseconds kWait{100};
constexpr int kLastFocusPosition = 1023;

struct FocusAidOptions : ShootingOptions {
  std::string frames;  ///< empty: no limit
  std::string curve;   ///< empty: the motor stays where it is
};

// What one frame shows.
struct Sharpness {
  std::optional<int> position;  ///< of the focus motor
  orq_star_summary stars{};
};

// Two decimals are enough for people and steady for scripts; nothing for what was not measured.
Json Rounded(double value) {
  return std::isfinite(value) ? Json(std::round(value * 100.0) / 100.0) : Json(nullptr);
}

Report Describe(const Sharpness& sharpness) {
  const orq_star_summary& stars = sharpness.stars;
  Report report;
  if (sharpness.position) report.Add("position", *sharpness.position);
  report.Add("hfr", Rounded(stars.hfr), "px");
  report.Add("fwhm", Rounded(stars.fwhm), "px");
  if (std::isfinite(stars.arcsec_per_pixel))
    report.Add("fwhm_arcsec", Rounded(stars.fwhm * stars.arcsec_per_pixel));
  report.Add("stars", stars.stars);
  report.Add("saturated", stars.saturated);
  return report;
}

// A line or an object for each frame; on a terminal a chart that grows.
class View {
 public:
  explicit View(const Context& context) : context_(context) {}

  void Show(const Sharpness& sharpness) {
    const Report report = Describe(sharpness);
    const double hfr = sharpness.stars.hfr;
    if (std::isfinite(hfr)) best_ = std::min(best_, hfr);
    if (context_.json) {
      context_.out.Object(report.ToJson());
    } else if (context_.out.IsTerminal()) {
      const std::string best = std::isfinite(best_) ? Format(", best hfr = %.2f px", best_) : std::string();
      context_.out.Line(chart_.Add(hfr, Join(report.ToLines(), ", ") + best));
    } else {
      context_.out.Line(Join(report.ToLines(), ", "));
    }
    context_.out.Flush();
  }

 private:
  const Context& context_;
  GrowingChart chart_;
  double best_ = std::numeric_limits<double>::infinity();
};

[[noreturn]] void Fail(ShotResult result, const std::string& reason) {
  if (result == ShotResult::Lost) throw CliError(kExitCameraLost, "the camera was lost; check its cable");
  if (result == ShotResult::Interrupted) throw CliError(ORQ_ERROR_CANCELLED, "interrupted");
  throw CliError(ORQ_ERROR_REFUSED, reason);
}

// Until `frames` were measured, or for ever.
void Watch(const Context& context, Device& camera, std::uint64_t frames) {
  VideoShooter shooter(camera);
  View view(context);
  Frame frame;
  for (std::uint64_t taken = 0; frames == 0 || taken < frames;) {
    if (StopRequested()) {
      if (frames == 0) return;  // that is how it ends
      Fail(ShotResult::Interrupted, {});
    }
    const ShotResult result = shooter.TakeWithin(frame, kWait);
    if (result == ShotResult::Good) {
      view.Show({std::nullopt, frame.stars().summary});
      ++taken;
    } else if (result == ShotResult::Lost || result == ShotResult::Ended) {
      Fail(result, shooter.Reason());
    }
  }
}

std::vector<int> Places(const std::string& text) {
  const std::vector<int> words = ParseIntegers(text, 3, "--curve");
  const auto isPlace = [](int place) { return place >= 0 && place <= kLastFocusPosition; };
  if (!isPlace(words[0]) || !isPlace(words[1]) || words[1] <= words[0] || words[2] < 1) {
    throw CliError(kExitUsage,
                   Format("--curve is FIRST,LAST,STEP with positions from 0 to %d, the smaller one first",
                          kLastFocusPosition));
  }
  std::vector<int> places;
  for (int place = words[0]; place <= words[1]; place += words[2]) places.push_back(place);
  return places;
}

void MoveTo(Device& camera, int place) {
  RunAbortably(
      camera, [&] { camera->focus(place); });
}

// One exposure at every place; the lens stays at the best.
void Curve(const Context& context, Device& camera, const std::vector<int>& places) {
  SingleShooter shooter(camera);
  View view(context);
  Frame frame;
  std::optional<Sharpness> best;
  for (std::size_t i = 0; i < places.size(); ++i) {
    MoveTo(camera, places[i]);
    const ShotResult result = shooter.Take(frame, i + 1, places.size());
    if (result != ShotResult::Good) Fail(result, shooter.Reason());
    const Sharpness here{places[i], frame.stars().summary};
    view.Show(here);
    if (std::isfinite(here.stars.hfr) && (!best || here.stars.hfr < best->stars.hfr)) best = here;
  }
  if (!best)
    throw CliError(ORQ_ERROR_NOT_FOUND, "no star was seen at any position; expose longer, or raise the gain");
  MoveTo(camera, *best->position);
  Report report;
  report.Add("best_position", *best->position);
  report.Add("best_hfr", Rounded(best->stars.hfr), "px");
  report.Print(context.out, context.json);
}

ExitCode RunFocusAid(const Context& context, const FocusAidOptions& options) {
  std::uint64_t frames = 0;
  if (!options.frames.empty()) {
    const std::int64_t number = ParseInteger(options.frames, "--frames");
    if (number < 1) throw CliError(kExitUsage, "--frames must be 1 or more");
    frames = static_cast<std::uint64_t>(number);
  }
  const std::vector<int> places = options.curve.empty() ? std::vector<int>() : Places(options.curve);
  options.settings.Check();
  options.cooling.Check();
  options.automatic.Check();
  Device camera(context);
  if (!places.empty() && !camera.Can(ORQ_ABILITY_FOCUS_MOTOR)) {
    throw CliError(ORQ_ERROR_UNSUPPORTED,
                   "this camera has no focus motor: leave --curve out, and turn the focuser");
  }
  options.settings.Apply(camera);
  if (context.settings) camera->applyProfile();  // knows the focal length, and so the size of a pixel
  ApplyCorrections(camera, options.corrections, context.settings);
  options.cooling.Apply(camera);
  const AutoControl automatic(camera, options.automatic);
  TellDifferences(camera);
  if (places.empty())
    Watch(context, camera, frames);
  else
    Curve(context, camera, places);
  return kExitOk;
}

}  // namespace

CommandRun AddFocusAidCommand(const Command& app) {
  const Command command = app.AddCommand("focus-aid", "Show how sharp the stars are, frame by frame");
  auto options = std::make_shared<FocusAidOptions>();
  options->AddTo(command);
  const Option frames =
      command.AddOption("-n,--frames", options->frames, "Stop after this many frames (default: at Ctrl-C)");
  command
      .AddOption("--curve", options->curve,
                 "FIRST,LAST,STEP: measure at these positions of the focus motor, then move to the sharpest")
      .Excludes(frames);
  return [options](const Context& context) { return RunFocusAid(context, *options); };
}

}  // namespace orq::cli
