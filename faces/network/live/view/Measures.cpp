#include "live/view/Measures.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <orqcam/orqcam.hpp>
#include <utility>

namespace orq::network {
namespace {

using Json = nlohmann::json;

constexpr std::chrono::milliseconds kStatisticsAge(250);
constexpr std::chrono::milliseconds kDevicesAge(1000);
constexpr std::chrono::milliseconds kLook(200);
constexpr std::chrono::seconds kPatience(15);
constexpr std::size_t kMostQuestions = 32;
constexpr std::size_t kMostStars = 50;

// Null for what is not known.
Json number(double value) {
  return std::isfinite(value) ? Json(value) : Json(nullptr);
}

Json statisticsOf(const SeenFrame& seen) {
  if (!seen.frame) return nullptr;
  const orq_statistics found = seen.frame.statistics();
  const orq_frame_info info = seen.frame.info();
  return {{"number", seen.number},        {"minimum", found.minimum},
          {"maximum", found.maximum},     {"mean", found.mean},
          {"median", found.median},       {"deviation", found.deviation},
          {"saturated", found.saturated}, {"full_scale", info.format == ORQ_FORMAT_RAW16 ? 65535 : 255},
          {"histogram", found.histogram}};
}

// Asks for one thing; null where the camera has none, or does not answer now.
template <class Ask>
Json orNull(Ask&& ask) {
  try {
    return ask();
  } catch (const Error&) {
    return nullptr;
  }
}

Json coolerOf(const Camera& camera) {
  const orq_cooler_state state = camera.cooler();
  return {{"on", state.on != 0},          {"target_c", state.target_c},       {"sensor_c", number(state.sensor_c)},
          {"power", number(state.power)}, {"reach_c", number(state.reach_c)}, {"trouble", state.trouble}};
}

Json gpsOf(const Camera& camera) {
  const orq_gps_receiver receiver = camera.gpsReceiver();
  return {{"readable", receiver.readable != 0},
          {"fix", receiver.fix != 0},
          {"satellites", receiver.start_satellites},
          {"latitude", receiver.start_latitude},
          {"longitude", receiver.start_longitude},
          {"altitude_m", receiver.start_altitude_m},
          {"utc", receiver.start_utc}};
}

Json darkOf(const Camera& camera) {
  const orq_dark_state state = camera.darkState();
  return {{"in_use", state.in_use != 0},
          {"kept", camera.darkChoice().is_kept != 0},
          {"trouble", state.trouble},
          {"differences", state.differences}};
}

Json focusOf(const Camera& camera) {
  const orq_focus_state state = camera.focus();
  return {{"position", state.position},
          {"moving", state.moving != 0},
          {"lower_mark", state.lower_mark},
          {"upper_mark", state.upper_mark}};
}

Json devicesOf(const Camera& camera) {
  const std::uint32_t abilities = camera.info().abilities;
  const auto has = [&](std::uint32_t ability) { return (abilities & ability) != 0; };
  Json told;
  told["sensor_c"] = orNull([&] { return number(camera.temperature()); });
  if (has(ORQ_ABILITY_COOLER)) told["cooler"] = orNull([&] { return coolerOf(camera); });
  if (has(ORQ_ABILITY_GPS)) told["gps"] = orNull([&] { return gpsOf(camera); });
  if (has(ORQ_ABILITY_FOCUS_MOTOR)) told["focus"] = orNull([&] { return focusOf(camera); });
  told["dark"] = orNull([&] { return darkOf(camera); });
  told["repairs_hot_pixels"] = orNull([&] { return Json(camera.repairsHotPixels()); });
  told["automatic"] = orNull([&] {
    const orq_automatic_state state = camera.automaticState();
    return Json{{"mean", state.mean}, {"target", state.target}, {"settled", state.settled != 0}};
  });
  return told;
}

Json starsOf(const SeenFrame& seen, const std::optional<orq_area>& area) {
  const Stars found = seen.frame.stars(area);
  const orq_star_summary& summary = found.summary;
  Json list = Json::array();
  for (const orq_star& star : found.stars) {
    if (list.size() == kMostStars) break;
    list.push_back({{"x", star.x},
                    {"y", star.y},
                    {"hfr", number(star.hfr)},
                    {"fwhm", number(star.fwhm)},
                    {"peak", star.peak},
                    {"saturated", star.saturated != 0}});
  }
  return {{"number", seen.number},
          {"stars", summary.stars},
          {"measured", summary.measured},
          {"saturated", summary.saturated},
          {"hfr", number(summary.hfr)},
          {"fwhm", number(summary.fwhm)},
          {"arcsec_per_pixel", number(summary.arcsec_per_pixel)},
          {"list", list}};
}

// The frame may have become smaller since somebody asked.
std::optional<orq_area> fitted(std::optional<orq_area> area, const orq_frame_info& info) {
  if (!area || area->x >= info.width || area->y >= info.height) return std::nullopt;
  area->width = std::min(area->width, info.width - area->x);
  area->height = std::min(area->height, info.height - area->y);
  return area;
}

bool isSame(const std::optional<orq_area>& a, const std::optional<orq_area>& b) {
  if (!a || !b) return !a && !b;
  return a->x == b->x && a->y == b->y && a->width == b->width && a->height == b->height;
}

Response answerOf(const SeenFrame& seen, const std::optional<orq_area>& area) {
  try {
    return Response::json(starsOf(seen, fitted(area, seen.frame.info())));
  } catch (const Error& error) {
    return Response::failure(500, statusName(error.status()), error.what());
  }
}

}  // namespace

Measures::Measures(const LiveView& view, std::shared_ptr<CameraSlot> slot)
    : view_(view), slot_(std::move(slot)), thread_([this] { run(); }) {}

Measures::~Measures() {
  {
    const std::scoped_lock lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  thread_.join();
}

template <class Ask>
Json Measures::cached(Cache& cache, std::chrono::milliseconds age, Ask&& ask) {
  std::unique_lock lock(cache.mutex);
  if (cache.renewing || Clock::now() < cache.until) return cache.value;
  cache.renewing = true;
  lock.unlock();
  Json renewed;
  try {
    renewed = ask();
  } catch (const Error&) {
    // The camera is away: there is nothing to tell.
  }
  lock.lock();
  cache.renewing = false;
  cache.value = std::move(renewed);
  cache.until = Clock::now() + age;
  return cache.value;
}

Json Measures::statistics() {
  return cached(
      statistics_, kStatisticsAge, [this] { return statisticsOf(view_.last()); });
}

Json Measures::devices() {
  return cached(
      devices_, kDevicesAge, [this] { return devicesOf(*slot_->camera()); });
}

void Measures::askStars(const std::optional<orq_area>& area, std::uint64_t after, Responder responder) {
  if (after > view_.last().number) after = 0;  // of a server before this one
  {
    const std::scoped_lock lock(mutex_);
    if (questions_.size() >= kMostQuestions) throw BusyError("too many ask for the stars; try again later");
    questions_.push_back({area, after, std::move(responder), Clock::now() + kPatience});
  }
  changed_.notify_all();
}

void Measures::run() {
  for (;;) {
    std::uint64_t after = 0;
    {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return ending_ || !questions_.empty(); });
      if (ending_) return;
      const auto earlier = [](const Question& a, const Question& b) { return a.after < b.after; };
      after = std::min_element(questions_.begin(), questions_.end(), earlier)->after;
    }
    const SeenFrame seen = view_.wait(after, kLook);
    const std::vector<Question> ready = takeReady(seen);
    if (!ready.empty()) answer(ready, seen);
  }
}

// Who waits for a frame that is still to come holds up nobody else.
std::vector<Measures::Question> Measures::takeReady(const SeenFrame& seen) {
  const std::scoped_lock lock(mutex_);
  const auto now = Clock::now();
  const auto waits = [&](const Question& one) { return one.after >= seen.number && now < one.deadline; };
  const auto first = std::stable_partition(questions_.begin(), questions_.end(), waits);
  std::vector<Question> ready(std::make_move_iterator(first), std::make_move_iterator(questions_.end()));
  questions_.erase(first, questions_.end());
  return ready;
}

void Measures::answer(const std::vector<Question>& questions, const SeenFrame& seen) {
  std::vector<std::pair<std::optional<orq_area>, Response>> known;
  for (const Question& question : questions) {
    if (!seen.frame || seen.number <= question.after) {
      question.responder.answer(Response::text(204, "application/json", {}));
      continue;
    }
    auto same = std::find_if(known.begin(), known.end(),
                             [&](const auto& one) { return isSame(one.first, question.area); });
    if (same == known.end()) {
      known.emplace_back(question.area, answerOf(seen, question.area));
      same = known.end() - 1;
    }
    question.responder.answer(same->second);
  }
}

}  // namespace orq::network
