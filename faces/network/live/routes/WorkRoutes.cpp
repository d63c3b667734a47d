#include <chrono>
#include <cmath>
#include <filesystem>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "live/routes/Body.h"
#include "live/routes/Routes.h"

namespace orq::network {
namespace {

constexpr std::chrono::hours kWarmUpPatience(2);
constexpr std::int64_t kLongestExposureUs = 24LL * 3600 * 1'000'000;
constexpr double kLongestRecording = 7.0 * 24 * 3600;
constexpr int kLastFocusPosition = 1023;
using Uses = LongWork::Uses;

// Of a request whose address says it all.
void demandNoFields(const Request& request) {
  const Body none(request, {});
}

Response accepted() {
  return Response::json({{"accepted", true}}, 202);
}

int within(const Body& body, const char* name, int otherwise, int least, int most) {
  const std::int64_t value = body.whole(name).value_or(otherwise);
  if (value >= least && value <= most) return static_cast<int>(value);
  throw InvalidError(std::string(name) + " must be from " + std::to_string(least) + " to " + std::to_string(most));
}

// The exposure of the live view, which a single exposure leaves as it was.
class KeptExposure {
 public:
  explicit KeptExposure(Camera& camera) : camera_(camera), was_(camera.controlValue(ORQ_CONTROL_EXPOSURE)) {}
  ~KeptExposure() {
    orq_control_set(camera_.get(), ORQ_CONTROL_EXPOSURE, was_.value, was_.automatic ? ORQ_AUTOMATIC : ORQ_MANUAL);
  }
  KeptExposure(const KeptExposure&) = delete;
  KeptExposure& operator=(const KeptExposure&) = delete;

 private:
  Camera& camera_;
  const ControlValue was_;
};

// One exposure, and its file where one is wanted.
std::string expose(Camera& camera, const LongWork::GoOn& goOn, std::chrono::microseconds exposure,
                   const std::string& path) {
  const KeptExposure kept(camera);
  Reader reader = camera.reader(ORQ_READ_EVERY, 2);
  camera.startExposure(exposure);
  try {
    goOn();
  } catch (const CancelledError&) {
    camera.abort();  // the one that was asked for came before there was anything to end
    throw;
  }
  const Frame frame = reader.wait();
  if (path.empty()) return {};
  return std::filesystem::path(frame.saveFiles(path).file).filename().string();
}

Response startExposure(LiveCamera& live, const Folder& folder, const Request& request) {
  const Body body(request, {"exposure_us", "save"});
  const std::int64_t exposureUs = body.whole("exposure_us").value_or(0);
  if (exposureUs < 0 || exposureUs > kLongestExposureUs) throw InvalidError("exposure_us is no exposure time");
  const bool saves = body.truth("save").value_or(false);
  const std::string path = saves ? folder.pathFor("{camera}-{date}-{time}.fits") : std::string();
  CaptureTurns& turns = live.slot->turns();
  live.work.start("exposure", Uses::capture,
                  [&turns, exposureUs, path](Camera& camera, const LongWork::GoOn& goOn) {
                    const CaptureTurns::Turn turn = turns.take(Purpose::exposure);
                    goOn();
                    return expose(camera, goOn, std::chrono::microseconds(exposureUs), path);
                  });
  return accepted();
}

Response startDark(LiveCamera& live, const Request& request) {
  const int frames = within(Body(request, {"frames"}), "frames", 0, 0, 16);
  CaptureTurns& turns = live.slot->turns();
  live.work.start("dark", Uses::capture, [&turns, frames](Camera& camera, const LongWork::GoOn& goOn) {
    const CaptureTurns::Turn turn = turns.take(Purpose::exposure);
    goOn();
    auto options = sized<orq_dark_options>();
    options.frames = frames;
    const orq_dark_info info = camera.takeOwnDark(options);
    return std::to_string(info.frames) + " frames, average " + std::to_string(info.average) + ", " +
           std::to_string(info.hot_pixels) + " hot pixels";
  });
  return accepted();
}

Response startHotPixels(LiveCamera& live, const Request& request) {
  demandNoFields(request);
  CaptureTurns& turns = live.slot->turns();
  live.work.start("hot-pixels", Uses::capture, [&turns](Camera& camera, const LongWork::GoOn& goOn) {
    const CaptureTurns::Turn turn = turns.take(Purpose::exposure);
    goOn();
    const orq_hot_pixel_counts counts = camera.findHotPixels().counts();
    camera.saveHotPixels();
    camera.repairHotPixels(true);
    return std::to_string(counts.pixels) + " hot pixels and " + std::to_string(counts.bad_rows) +
           " bad rows are repaired from now on";
  });
  return accepted();
}

Response startRecording(LiveCamera& live, const Request& request) {
  const Body body(request, {"format", "name", "frames", "seconds"});
  RecordingWish wish;
  const std::string format = body.text("format").value_or("ser");
  if (format != "ser" && format != "fits") throw InvalidError("format must be ser or fits");
  wish.isSer = format == "ser";
  if (const auto name = body.text("name"); name && !name->empty()) wish.name = *name;
  wish.frames = static_cast<std::uint64_t>(within(body, "frames", 0, 0, 100'000'000));
  wish.seconds = body.number("seconds").value_or(0.0);
  if (!(wish.seconds >= 0.0 && wish.seconds <= kLongestRecording))
    throw InvalidError("seconds is no time to record");
  live.recorder.start(wish);
  return accepted();
}

}  // namespace

void addWorkRoutes(Router& router, Live& live) {
  const auto of = [&live](const Request& request) -> LiveCamera& { return live.at(request.capture("camera")); };
  router.add(
      "POST", "/api/v1/cameras/{camera}/exposure",
      [of, &live](const Request& request) { return startExposure(of(request), live.folder(), request); });
  router.add(
      "POST", "/api/v1/cameras/{camera}/dark",
      [of](const Request& request) { return startDark(of(request), request); });
  router.add("POST", "/api/v1/cameras/{camera}/hot-pixels",
             [of](const Request& request) { return startHotPixels(of(request), request); });
  router.add("POST", "/api/v1/cameras/{camera}/warm-up", [of](const Request& request) {
    demandNoFields(request);
    of(request).work.start("warm-up", Uses::nothing, [](Camera& camera, const LongWork::GoOn&) {
      camera.warmUp(kWarmUpPatience);
      return std::string("the sensor is warm");
    });
    return accepted();
  });
  router.add("PUT", "/api/v1/cameras/{camera}/focus", [of](const Request& request) {
    const int position = within(Body(request, {"position"}), "position", -1, 0, kLastFocusPosition);
    of(request).work.start("focus", Uses::nothing, [position](Camera& camera, const LongWork::GoOn&) {
      camera.focus(position);
      return "the lens is at " + std::to_string(position);
    });
    return accepted();
  });
  router.add(
      "POST", "/api/v1/cameras/{camera}/abort",
      [of](const Request& request) {
        demandNoFields(request);
        of(request).work.abort();
        return accepted();
      });
  router.add("POST", "/api/v1/cameras/{camera}/recording",
             [of](const Request& request) { return startRecording(of(request), request); });
  router.add("DELETE", "/api/v1/cameras/{camera}/recording", [of](const Request& request) {
    demandNoFields(request);
    of(request).recorder.stop();
    return accepted();
  });
}

}  // namespace orq::network
