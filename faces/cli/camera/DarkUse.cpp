#include "camera/DarkUse.h"

#include <algorithm>
#include <cmath>

#include "options/Quantities.h"
#include "output/Progress.h"
#include "output/Signals.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr int kMostFrames = 16;
// A quarter of full scale: no offset and no dark current of a covered sensor comes near.
constexpr std::int32_t kBright = 64;

// Draws, and listens for Ctrl-C.
struct Watcher {
  Device& camera;
  WorkProgress bar;

  static void Look(void* user, const orq_dark_progress* at) {
    auto& self = *static_cast<Watcher*>(user);
    if (StopRequested()) self.camera->abort();
    const std::string what = Format("frame %d of %d", at->frame, at->frames);
    const std::uint64_t done = static_cast<std::uint64_t>(at->frame - 1) * at->exposure_us;
    self.bar.Update(what.c_str(), done + std::min(at->elapsed_us, at->exposure_us),
                    static_cast<std::uint64_t>(at->frames) * at->exposure_us);
  }
};

}  // namespace

int ParseFrames(const std::string& text) {
  if (text.empty()) return 0;
  const std::int64_t frames = ParseInteger(text, "--frames");
  if (frames < 1 || frames > kMostFrames)
    throw CliError(kExitUsage, Format("--frames must be from 1 to %d", kMostFrames));
  return static_cast<int>(frames);
}

orq_dark_info WatchDark(Device& camera, const DarkCall& call) {
  auto info = sized<orq_dark_info>();
  {
    Watcher watcher{camera, {}};
    check(call(Watcher::Look, &watcher, &info));
  }
  if (info.average == 0 && info.hot_pixels == 0 && info.bad_rows == 0)
    Complain("the dark is black and corrects nothing: expose longer, raise gain or offset, or take fewer frames");
  if (info.average >= kBright)
    Complain(Format("the dark is bright (%d of 255 on average): was the sensor covered?", info.average));
  return info;
}

orq_dark_info TakeDark(Device& camera, const std::optional<std::string>& path, int frames, bool overwrite) {
  auto options = sized<orq_dark_options>();
  options.frames = frames;
  options.overwrite = overwrite ? 1 : 0;
  return WatchDark(camera, [&](orq_dark_callback callback, void* user, orq_dark_info* info) {
    return orq_dark_take(camera->get(), path ? path->c_str() : nullptr, &options, callback, user, info);
  });
}

void AddDark(Report& report, const orq_dark_info& info) {
  if (info.frames == 0) return;
  constexpr std::int64_t kNsPerUs = 1000;
  report.Add("model", info.model);
  report.Add("serial", info.serial);
  report.Add("exposure", info.exposure_us, "us");
  report.Add("gain", info.gain);
  report.Add("offset", info.offset);
  if (!std::isnan(info.sensor_c)) report.Add("temperature", std::round(info.sensor_c * 100) / 100, "C");
  if (info.readout_mode >= 0) report.Add("readout_mode", info.readout_mode);
  report.Add("taken", session::IsoUtc(info.taken_unix_ns / kNsPerUs));
  report.Add("frames", info.frames);
  report.Add("average", info.average);
  report.Add("hot_pixels", info.hot_pixels);
  report.Add("bad_rows", info.bad_rows);
}

}  // namespace orq::cli
