#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "live/routes/Body.h"
#include "live/routes/Routes.h"

namespace orq::network {
namespace {

using Json = nlohmann::json;

Json controlOf(const Camera& camera, const orq_control_info& info) {
  Json told = {{"name", info.name},
               {"description", info.description},
               {"unit", info.unit},
               {"minimum", info.minimum},
               {"maximum", info.maximum},
               {"default", info.default_value},
               {"scale", info.scale},
               {"can_be_automatic", info.automatic != 0},
               {"writable", info.writable != 0}};
  try {
    const ControlValue now = camera.controlValue(info.id);
    told["value"] = now.value;
    told["automatic"] = now.automatic;
  } catch (const RefusedError&) {
    told["value"] = nullptr;
    told["automatic"] = false;
  }
  return told;
}

Response listControls(LiveCamera& live) {
  const auto camera = live.slot->camera();
  Json list = Json::array();
  for (const orq_control_info& info : camera->controls()) list.push_back(controlOf(*camera, info));
  return Response::json({{"controls", list}});
}

// Of these a change begins a capture anew.
bool restartsCaptures(int control) {
  constexpr std::array kThose = {ORQ_CONTROL_HARDWARE_BIN, ORQ_CONTROL_HIGH_SPEED, ORQ_CONTROL_MONO_BIN,
                                 ORQ_CONTROL_READOUT_MODE};
  return std::find(kThose.begin(), kThose.end(), control) != kThose.end();
}

Response setControl(LiveCamera& live, const Request& request) {
  const auto camera = live.slot->camera();
  const orq_control_info info = camera->control(request.capture("control"));
  const Body body(request, {"value", "automatic"});
  const bool automatic = body.truth("automatic").value_or(false);
  const std::optional<std::int64_t> value = body.whole("value");
  if (!automatic && !value) throw InvalidError("value is missing");
  const auto set = [&] {
    if (automatic)
      camera->automatic(info.id);
    else
      camera->control(info.id, *value);
  };
  if (restartsCaptures(info.id))
    live.slot->turns().change(info.name, set);
  else
    set();
  return Response::json(controlOf(*camera, info));
}

Json regionOf(const orq_region& region) {
  return {{"start_x", region.start_x}, {"start_y", region.start_y}, {"width", region.width},
          {"height", region.height},   {"bin", region.bin},         {"format", region.format}};
}

int intOf(const Body& body, const char* name, int otherwise) {
  const std::int64_t value = body.whole(name).value_or(otherwise);
  if (value < -1'000'000 || value > 1'000'000) throw InvalidError(std::string(name) + " is far out of any sensor");
  return static_cast<int>(value);
}

Response setRegion(LiveCamera& live, const Request& request) {
  const auto camera = live.slot->camera();
  const Body body(request, {"start_x", "start_y", "width", "height", "bin", "format"});
  orq_region set{};
  live.slot->turns().change("the region", [&] {
    orq_region wanted = camera->region();
    wanted.start_x = intOf(body, "start_x", wanted.start_x);
    wanted.start_y = intOf(body, "start_y", wanted.start_y);
    wanted.width = intOf(body, "width", wanted.width);
    wanted.height = intOf(body, "height", wanted.height);
    wanted.bin = intOf(body, "bin", wanted.bin);
    wanted.format = intOf(body, "format", wanted.format);
    set = camera->region(wanted);
  });
  return Response::json(regionOf(set));
}

Response setCooler(LiveCamera& live, const Request& request) {
  const auto camera = live.slot->camera();
  const Body body(request, {"on", "target_c"});
  if (body.truth("on").value_or(true)) {
    const auto target = body.number("target_c");
    if (!target) throw InvalidError("target_c is missing");
    camera->cool(*target);
  } else {
    camera->coolerOff();
  }
  return Response::json({{"on", camera->cooler().on != 0}});
}

Response setCorrections(LiveCamera& live, const Request& request) {
  const auto camera = live.slot->camera();
  const Body body(request, {"dark", "hot_pixels"});
  if (const auto dark = body.truth("dark")) {
    const orq_dark_choice choice = camera->darkChoice();
    if (!*dark)
      camera->noDark();
    else if (choice.is_kept == 0)
      throw NotFoundError("this camera has no dark yet: cover it and take one");
    else
      camera->useDark(choice.kept);
  }
  if (const auto repair = body.truth("hot_pixels")) camera->repairHotPixels(*repair);
  return Response::json({{"dark", camera->darkState().in_use != 0}, {"hot_pixels", camera->repairsHotPixels()}});
}

}  // namespace

void addSettingRoutes(Router& router, Live& live) {
  const auto of = [&live](const Request& request) -> LiveCamera& { return live.at(request.capture("camera")); };
  router.add(
      "GET", "/api/v1/cameras/{camera}/controls",
      [of](const Request& request) { return listControls(of(request)); });
  router.add(
      "PUT", "/api/v1/cameras/{camera}/controls/{control}",
      [of](const Request& request) { return setControl(of(request), request); });
  router.add(
      "GET", "/api/v1/cameras/{camera}/region",
      [of](const Request& request) { return Response::json(regionOf(of(request).slot->camera()->region())); });
  router.add(
      "PUT", "/api/v1/cameras/{camera}/region",
      [of](const Request& request) { return setRegion(of(request), request); });
  router.add(
      "PUT", "/api/v1/cameras/{camera}/cooler",
      [of](const Request& request) { return setCooler(of(request), request); });
  router.add("PUT", "/api/v1/cameras/{camera}/corrections",
             [of](const Request& request) { return setCorrections(of(request), request); });
  router.add("PUT", "/api/v1/cameras/{camera}/view", [of](const Request& request) {
    const auto running = Body(request, {"running"}).truth("running");
    if (!running) throw InvalidError("running is missing");
    of(request).view.setRunning(*running);
    return Response::json({{"running", *running}});
  });
}

}  // namespace orq::network
