#include "state/StateRoutes.h"

#include <nlohmann/json.hpp>
#include <string>

namespace orq::network {
namespace {

using Json = nlohmann::json;

Json stateOf(CameraSlot& slot) {
  const CameraStanding standing = slot.standing();
  Json state = {{"number", slot.index()},
                {"name", slot.name()},
                {"presence", nameOf(standing.presence)},
                {"openings", standing.openings}};
  if (!standing.trouble.empty()) state["trouble"] = standing.trouble;
  if (standing.info) {
    state["model"] = standing.info->model;
    state["serial"] = standing.info->serial;
    state["user_id"] = standing.info->user_id;
    state["sensor"] = {{"width", standing.info->sensor_width}, {"height", standing.info->sensor_height}};
  }
  const std::optional<Purpose> purpose = slot.turns().holder();
  state["capture"] = purpose ? Json(nameOf(*purpose)) : Json(nullptr);
  return state;
}

}  // namespace

void addStateRoutes(Router& router, const Cameras& cameras) {
  router.add(
      "GET", "/api/v1/state",
      [&cameras](const Request&) {
        Json list = Json::array();
        for (const auto& slot : cameras.all()) list.push_back(stateOf(*slot));
        return Response::json({{"version", ORQCAM_VERSION}, {"cameras", list}});
      });
}

}  // namespace orq::network
