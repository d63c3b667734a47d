#include "alpaca/devices/Device.h"

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <utility>

#include "alpaca/devices/Times.h"

namespace orq::network::alpaca {
namespace {

// Clients go without a word, too. Nobody has that many; the one that came first makes room.
constexpr std::size_t kMostClients = 1000;

}  // namespace

Device::Device(std::shared_ptr<CameraSlot> slot) : slot_(std::move(slot)) {
  addCommon();
}

void Device::addGet(std::string_view name, Method method, Needs needs) {
  gets_[std::string(name)] = {std::move(method), needs};
}

void Device::addPut(std::string_view name, Method method, Needs needs) {
  puts_[std::string(name)] = {std::move(method), needs};
}

void Device::addMissing(std::string_view name) {
  addGet(
      name,
      [this, name = std::string(name)](const Call&) -> std::optional<Json> {
        throw CallError(kNotImplemented, std::string(type()) + " has no " + name);
      });
}

void Device::addCommon() {
  const auto nothing = Needs::nothing;
  addGet(
      "connected", [this](const Call& call) { return isConnected(call); }, nothing);
  addGet(
      "connecting", [](const Call&) { return false; }, nothing);
  addGet(
      "description", [this](const Call&) { return name() + ", " + slot_->name(); }, nothing);
  addGet(
      "driverinfo", [](const Call&) { return "orqcam, cameras for astronomy"; }, nothing);
  addGet(
      "driverversion", [](const Call&) { return ORQCAM_VERSION; }, nothing);
  addGet(
      "interfaceversion", [this](const Call&) { return interfaceVersion(); }, nothing);
  addGet(
      "name", [this](const Call&) { return name(); }, nothing);
  addGet(
      "supportedactions", [](const Call&) { return Json::array(); }, nothing);
  addGet("devicestate", [this](const Call&) { return state(); });
  addPut(
      "connected",
      [this](const Call& call) -> std::optional<Json> {
        setConnected(call, call.truth("Connected"));
        return std::nullopt;
      },
      nothing);
  addPut(
      "connect",
      [this](const Call& call) -> std::optional<Json> {
        setConnected(call, true);
        return std::nullopt;
      },
      nothing);
  addPut(
      "disconnect",
      [this](const Call& call) -> std::optional<Json> {
        setConnected(call, false);
        return std::nullopt;
      },
      nothing);
  addPut("action", [](const Call& call) -> std::optional<Json> {
    const std::string action = call.text("Action");
    call.text("Parameters");
    throw CallError(kActionNotImplemented, "there is no action '" + action + "'; see SupportedActions");
  });
  for (const char* const name : {"commandblind", "commandbool", "commandstring"}) {
    addPut(
        name,
        [](const Call& call) -> std::optional<Json> {
          call.text("Command");
          call.truth("Raw");
          throw CallError(kNotImplemented, "this device takes no commands of its own");
        });
  }
}

orq_camera_info Device::info() const {
  const CameraStanding standing = slot_->standing();
  if (!standing.info) throw CallError(kNotConnected, "the camera was never there: " + standing.trouble);
  return *standing.info;
}

std::string Device::uniqueId() const {
  const CameraStanding standing = slot_->standing();
  std::string id = "orqcam-" + std::string(type()) + "-";
  // Several virtual cameras may share their serial number.
  id += slot_->name().starts_with("virtual:") ? slot_->name() + "-" + std::to_string(number()) + "-" : "";
  return id + (standing.info ? standing.info->serial : "");
}

void Device::setConnected(const Call& call, bool connected) {
  if (connected) slot_->camera();  // says why where there is none
  const std::scoped_lock lock(mutex_);
  std::erase(clients_, call.clientId());
  if (!connected) return;
  clients_.push_back(call.clientId());
  if (clients_.size() > kMostClients) clients_.pop_front();
}

bool Device::isConnected(const Call& call) const {
  if (slot_->standing().presence != Presence::open) return false;
  const std::scoped_lock lock(mutex_);
  return std::find(clients_.begin(), clients_.end(), call.clientId()) != clients_.end();
}

void Device::demandConnected(const Call& call) const {
  slot_->camera();  // says why where there is none
  if (!isConnected(call)) throw CallError(kNotConnected, "this client is not connected; set Connected first");
}

Json Device::state() {
  Json list = Json::array();
  for (const auto& [name, value] : stateValues()) {
    try {
      list.push_back({{"Name", name}, {"Value", value()}});
    } catch (const CallError&) {
      // Not known now, or this camera never has it.
    } catch (const Error&) {
      // Likewise.
    }
  }
  list.push_back({{"Name", "TimeStamp"}, {"Value", utcText(unixNow()) + "Z"}});
  return list;
}

Response Device::answer(const std::string& method, const Request& request) {
  const Table& table = request.method == "PUT" ? puts_ : gets_;
  const auto found = table.find(method);
  if (found == table.end())
    return badCallAnswer("a " + std::string(type()) + " has no method '" + method + "' for " + request.method);
  try {
    const Call call(request);
    try {
      if (found->second.needs == Needs::connection) demandConnected(call);
      return valueAnswer(call, found->second.method(call));
    } catch (...) {
      return errorAnswer(call, failureOf(std::current_exception()));
    }
  } catch (const BadCall& bad) {
    return badCallAnswer(bad.what());
  } catch (const std::exception& unexpected) {
    return Response::text(500, "text/plain; charset=utf-8", std::string(unexpected.what()) + "\n");
  }
}

}  // namespace orq::network::alpaca
