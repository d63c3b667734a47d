#include "camera/DarkWork.h"

#include <algorithm>
#include <string>

#include "output/Progress.h"
#include "output/Signals.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

// A quarter of full scale: no offset and no dark current of a covered sensor comes near.
constexpr std::uint32_t kBrightDark = 64;

void Draw(WorkProgress& bar, const DarkProgress& at) {
  const std::string what = Format("frame %d of %d", at.frame, at.frames);
  const std::uint64_t done = static_cast<std::uint64_t>(at.frame - 1) * at.exposureUs;
  bar.Update(what.c_str(), done + std::min(at.elapsedUs, at.exposureUs),
             static_cast<std::uint64_t>(at.frames) * at.exposureUs);
}

void Demand(Session& session, const DarkOutcome& outcome) {
  if (outcome.Done()) return;
  if (outcome.result == DarkResult::CameraFailed && session.Camera().DeviceLost()) {
    throw CliError(kExitCameraLost, outcome.reason + "; check the camera's cable");
  }
  throw CliError(outcome.result == DarkResult::Cancelled      ? Status::Cancelled
                 : outcome.result == DarkResult::CameraFailed ? Status::Refused
                                                              : Status::State,
                 outcome.reason);
}

}  // namespace

int ParseDarkFrames(const std::string& text) {
  if (text.empty()) return 0;
  const std::int64_t frames = ParseInteger(text, "--frames");
  if (frames < 1 || frames > kMostDarkFrames) {
    throw CliError(kExitUsage, Format("--frames must be from 1 to %d", kMostDarkFrames));
  }
  return static_cast<int>(frames);
}

DarkFacts CollectDark(Session& session, DarkSession& dark, int frames) {
  DarkFacts facts;
  DarkOutcome outcome;
  {
    WorkProgress bar;
    outcome = dark.Collect(
        frames,
        [&bar](const DarkProgress& at) {
          Draw(bar, at);
          return !StopRequested();
        },
        facts);
  }
  if (!outcome.Done()) dark.Restore();
  Demand(session, outcome);
  if (facts.average == 0 && facts.hotPixels == 0 && facts.badRows == 0) {
    Complain("the dark is black and corrects nothing: expose longer, raise gain or offset, or take fewer frames");
  }
  if (facts.average >= kBrightDark) {
    Complain(Format("the dark is bright (%u of 255 on average): was the sensor covered?", facts.average));
  }
  return facts;
}

}  // namespace orq::cli
