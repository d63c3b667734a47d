#include <sys/resource.h>

#include <chrono>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "live/picture/PictureRequest.h"
#include "live/routes/Routes.h"

namespace orq::network {
namespace {

using Json = nlohmann::json;
using Clock = std::chrono::steady_clock;

constexpr int kLargestSide = 16'384;

constexpr double kShortestSpan = 0.5;  // seconds that tell something

// The processor time of this program, as a share of one core: since it was last asked for, at first since its
// start.
class Load {
 public:
  // Nothing: too early to tell.
  std::optional<double> percent() {
    const std::scoped_lock lock(mutex_);
    const auto now = Clock::now();
    const std::chrono::duration<double> span = now - at_;
    if (span.count() < kShortestSpan) return percent_;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
      return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    const double used = seconds(usage.ru_utime) + seconds(usage.ru_stime);
    percent_ = 100.0 * (used - used_) / span.count();
    used_ = used;
    at_ = now;
    return percent_;
  }

 private:
  std::mutex mutex_;
  Clock::time_point at_ = Clock::now();
  double used_ = 0.0;
  std::optional<double> percent_;
};

std::uint64_t newerThan(const Request& request) {
  const std::optional<std::string> text = request.query.find("after");
  if (!text || text->empty() || text->size() > 18 || text->find_first_not_of("0123456789") != std::string::npos)
    return 0;
  return std::stoull(*text);
}

std::optional<orq_area> areaOf(const Request& request) {
  const int width = wholeNumberOf(request.query, "w", 0, 0, kLargestSide);
  const int height = wholeNumberOf(request.query, "h", 0, 0, kLargestSide);
  if (width == 0 || height == 0) return std::nullopt;
  auto area = sized<orq_area>();
  area.x = wholeNumberOf(request.query, "x", 0, 0, kLargestSide);
  area.y = wholeNumberOf(request.query, "y", 0, 0, kLargestSide);
  area.width = width;
  area.height = height;
  return area;
}

Json infoOf(const orq_camera_info& info) {
  return {{"model", info.model},
          {"serial", info.serial},
          {"user_id", info.user_id},
          {"firmware", info.firmware},
          {"usb", info.speed},
          {"sensor", {info.sensor_width, info.sensor_height}},
          {"pixel_um", info.pixel_um},
          {"adc_bits", info.adc_bits},
          {"bayer", info.bayer},
          {"bins", info.bins},
          {"formats", info.formats},
          {"abilities",
           {{"cooler", (info.abilities & ORQ_ABILITY_COOLER) != 0},
            {"gps", (info.abilities & ORQ_ABILITY_GPS) != 0},
            {"focus", (info.abilities & ORQ_ABILITY_FOCUS_MOTOR) != 0},
            {"virtual", (info.abilities & ORQ_ABILITY_VIRTUAL) != 0}}}};
}

Json frameOf(const SeenFrame& seen) {
  if (!seen.frame) return nullptr;
  const orq_frame_info info = seen.frame.info();
  const orq_frame_gps gps = seen.frame.gps();
  return {{"number", seen.number},
          {"sequence", info.sequence},
          {"size", {info.width, info.height}},
          {"start", {info.start_x, info.start_y}},
          {"bin", info.bin},
          {"format", info.format},
          {"exposure_us", info.exposure_us},
          {"gain", info.gain},
          {"time_ms", info.time_unix_ns / 1'000'000},
          {"time_source", info.time_source},
          {"corrections", info.corrections},
          {"gps_state", gps.state},
          {"satellites", gps.satellites}};
}

Json countersOf(const Camera& camera) {
  const orq_stream_counters counters = camera.counters();
  return {{"completed", counters.completed},
          {"failed", counters.failed},
          {"dropped", counters.dropped},
          {"lost", counters.lost},
          {"bytes", counters.bytes}};
}

Json exposureOf(const Camera& camera) {
  const orq_exposure_progress progress = camera.progress();
  return {{"running", progress.running != 0},
          {"elapsed_us", progress.elapsed_us},
          {"exposure_us", progress.exposure_us}};
}

Json recordingOf(const RecordingProgress& progress) {
  return {{"running", progress.running}, {"file", progress.file},      {"frames", progress.frames},
          {"missed", progress.missed},   {"lost", progress.lost},      {"bytes", progress.bytes},
          {"seconds", progress.seconds}, {"trouble", progress.trouble}};
}

// What only an open camera tells.
void tellOpen(const Camera& camera, Json& told) {
  try {
    told["counters"] = countersOf(camera);
    told["exposure"] = exposureOf(camera);
  } catch (const Error&) {
    // It was unplugged a moment ago.
  }
}

Json stateOf(LiveCamera& live, const Folder& folder, Load& load) {
  const CameraStanding standing = live.slot->standing();
  const std::optional<Purpose> holder = live.slot->turns().holder();
  const WorkState work = live.work.state();
  const std::optional<double> percent = load.percent();
  Json told = {
      {"presence", nameOf(standing.presence)},
      {"trouble", standing.trouble},
      {"capture", holder ? Json(nameOf(*holder)) : Json(nullptr)},
      {"view",
       {{"running", live.view.isRunning()},
        {"fps", live.view.framesPerSecond()},
        {"trouble", live.view.trouble()}}},
      {"frame", frameOf(live.view.last())},
      {"statistics", live.measures.statistics()},
      {"devices", live.measures.devices()},
      {"recording", recordingOf(live.recorder.progress())},
      {"work",
       {{"kind", work.kind}, {"running", work.running}, {"result", work.result}, {"trouble", work.trouble}}},
      {"server", {{"cpu_percent", percent ? Json(*percent) : Json(nullptr)}, {"free_bytes", folder.freeBytes()}}}};
  if (standing.info) told["camera"] = infoOf(*standing.info);
  if (const auto camera = live.slot->lastCamera()) tellOpen(*camera, told);
  return told;
}

}  // namespace

void addViewRoutes(Router& router, Live& live) {
  router.addWaiting(
      "GET", "/api/v1/cameras/{camera}/picture",
      [&live](const Request& request, const Responder& responder) {
        live.at(request.capture("camera"))
            .view.ask(pictureRequestOf(request.query), newerThan(request),
                      request.query.find("client").value_or(""), responder);
      });
  router.addWaiting(
      "GET", "/api/v1/cameras/{camera}/stars", [&live](const Request& request, const Responder& responder) {
        live.at(request.capture("camera")).measures.askStars(areaOf(request), newerThan(request), responder);
      });
  const auto load = std::make_shared<Load>();
  router.add("GET", "/api/v1/cameras/{camera}/live", [&live, load](const Request& request) {
    return Response::json(stateOf(live.at(request.capture("camera")), live.folder(), *load));
  });
}

}  // namespace orq::network
