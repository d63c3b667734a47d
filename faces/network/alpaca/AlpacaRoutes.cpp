#include "alpaca/AlpacaRoutes.h"

#include <charconv>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "alpaca/devices/CameraDevice.h"
#include "alpaca/devices/FocuserDevice.h"

namespace orq::network::alpaca {

class Devices {
 public:
  explicit Devices(const Cameras& cameras) : cameras_(cameras) {}

  /// Null: there is none.
  std::shared_ptr<Device> find(const std::string& type, const std::string& number) {
    for (const auto& device : all())
      if (std::to_string(device->number()) == number && sameType(*device, type)) return device;
    return nullptr;
  }

  /// Those whose camera was there at least once: before that nobody knows what it is.
  std::vector<std::shared_ptr<Device>> all() {
    const std::scoped_lock lock(mutex_);
    for (const auto& slot : cameras_.all()) {
      const CameraStanding standing = slot->standing();
      if (!standing.info || devices_.count({slot->index(), 0}) != 0) continue;
      devices_[{slot->index(), 0}] = std::make_shared<CameraDevice>(slot);
      if ((standing.info->abilities & ORQ_ABILITY_FOCUS_MOTOR) != 0)
        devices_[{slot->index(), 1}] = std::make_shared<FocuserDevice>(slot);
    }
    std::vector<std::shared_ptr<Device>> list;
    for (const auto& [key, device] : devices_) list.push_back(device);
    return list;
  }

 private:
  // Addresses are in lower case, and in no other.
  static bool sameType(const Device& device, const std::string& type) {
    return type == (std::string_view(device.type()) == "Camera" ? "camera" : "focuser");
  }

  const Cameras& cameras_;
  std::mutex mutex_;
  std::map<std::pair<int, int>, std::shared_ptr<Device>> devices_;
};

namespace {

Response managementAnswer(const Request& request, const Json& value) {
  try {
    Json answer = {{"Value", value},
                   {"ClientTransactionID", Call(request).transaction()},
                   {"ServerTransactionID", nextTransaction()}};
    return Response::json(answer);
  } catch (const BadCall& bad) {
    return badCallAnswer(bad.what());
  }
}

Json configuredDevices(Devices& devices) {
  Json list = Json::array();
  for (const auto& device : devices.all()) {
    list.push_back({{"DeviceName", device->name()},
                    {"DeviceType", device->type()},
                    {"DeviceNumber", device->number()},
                    {"UniqueID", device->uniqueId()}});
  }
  return list;
}

// Names of cameras are the users' own words.
std::string escaped(const std::string& text) {
  std::string html;
  for (const char c : text) {
    switch (c) {
      case '<':
        html += "&lt;";
        break;
      case '&':
        html += "&amp;";
        break;
      default:
        html += c;
    }
  }
  return html;
}

Response page(const std::string& title, const std::string& body) {
  return Response::text(200, "text/html; charset=utf-8",
                        "<!DOCTYPE html>\n<html lang=\"en\"><head><title>" + escaped(title) +
                            "</title></head><body><h1>" + escaped(title) + "</h1>" + body + "</body></html>\n");
}

Response setupPage(Devices& devices) {
  std::string list;
  for (const auto& device : devices.all()) {
    list += "<li>" + std::string(device->type()) + " " + std::to_string(device->number()) + ": " +
            escaped(device->name()) + "</li>";
  }
  return page("orqcam " ORQCAM_VERSION,
              "<p>Cameras are set on the <a href=\"/\">main page</a>; address and port with the options of "
              "<code>orqcam serve</code>.</p><ul>" +
                  list + "</ul>");
}

Response deviceSetupPage(Devices& devices, const Request& request) {
  const auto device = devices.find(request.capture("device_type"), request.capture("device_number"));
  if (!device) return Response::text(403, "text/plain; charset=utf-8", "there is no such device\n");
  return page(device->name(), "<p>This device is set on the <a href=\"/\">main page</a>.</p>");
}

Response deviceAnswer(Devices& devices, const Request& request) {
  const std::string& type = request.capture("device_type");
  const std::string& number = request.capture("device_number");
  if (const auto device = devices.find(type, number)) return device->answer(request.capture("method"), request);
  return badCallAnswer("there is no device " + type + " " + number);
}

}  // namespace

std::shared_ptr<Devices> addAlpacaRoutes(Router& router, const Cameras& cameras) {
  auto devices = std::make_shared<Devices>(cameras);
  const auto add = [&](const char* method, const char* path, Router::Handler handler) {
    router.add(method, path, std::move(handler), Door::alpaca);
  };
  add(
      "GET", "/management/apiversions",
      [](const Request& request) { return managementAnswer(request, Json::array({1})); });
  add(
      "GET", "/management/v1/description",
      [](const Request& request) {
        return managementAnswer(request, {{"ServerName", "orqcam"},
                                          {"Manufacturer", "orqcam"},
                                          {"ManufacturerVersion", ORQCAM_VERSION},
                                          {"Location", ""}});
      });
  add(
      "GET", "/management/v1/configureddevices",
      [devices](const Request& request) { return managementAnswer(request, configuredDevices(*devices)); });
  add(
      "GET", "/setup", [devices](const Request&) { return setupPage(*devices); });
  add("GET", "/setup/v1/{device_type}/{device_number}/setup",
      [devices](const Request& request) { return deviceSetupPage(*devices, request); });
  for (const char* const method : {"GET", "PUT"}) {
    add(
        method, "/api/v1/{device_type}/{device_number}/{method}",
        [devices](const Request& request) { return deviceAnswer(*devices, request); });
  }
  return devices;
}

}  // namespace orq::network::alpaca
