// orqcam list: which cameras there are.
#include <memory>

#include "commands/Commands.h"
#include "session/CameraList.h"
#include "support/Text.h"
#include "virtual/bus/VirtualOptions.h"

namespace orq::cli {

namespace {

constexpr const char* kNoCamera =
    "no camera found; check the cable and that the udev rule 70-orqcam.rules is installed, or try a virtual one: "
    "orqcam -c virtual:k1c info";

Json Describe(const CameraEntry& entry) {
  Json json;
  json["index"] = entry.index;
  json["model"] = entry.model;
  json["serial"] = entry.serial;
  json["id"] = entry.userId;
  json["speed"] = entry.speed;
  json["trouble"] = entry.trouble;
  return json;
}

std::string Row(const CameraEntry& entry) {
  std::string row = Format("%d = %s", entry.index, entry.model.c_str());
  if (!entry.serial.empty()) row += ", serial:" + entry.serial;
  if (!entry.userId.empty()) row += ", id:" + entry.userId;
  if (!entry.speed.empty()) row += ", " + entry.speed;
  if (!entry.trouble.empty()) row += ", cannot be opened: " + entry.trouble;
  return row;
}

void ListVirtual(const Context& context, Json& list) {
  for (const VirtualModelName& model : VirtualModels()) {
    if (context.json) {
      list.push_back({{"name", std::string("virtual:") + model.name}, {"summary", model.summary}});
    } else {
      context.out.Line(std::string("virtual:") + model.name + " = " + model.summary);
    }
  }
}

ExitCode RunList(const Context& context, bool withVirtual) {
  const std::vector<CameraEntry> cameras = ListCameras();
  Json list = Json::array();
  for (const CameraEntry& entry : cameras) {
    if (context.json) {
      list.push_back(Describe(entry));
    } else {
      context.out.Line(Row(entry));
    }
  }
  if (cameras.empty() && !withVirtual) Complain(kNoCamera);
  if (withVirtual) ListVirtual(context, list);
  if (context.json) context.out.Object(list);
  return kExitOk;
}

}  // namespace

CommandRun AddListCommand(const Command& app) {
  const Command command = app.AddCommand("list", "List the cameras that are plugged in");
  auto withVirtual = std::make_shared<bool>(false);
  command.AddFlag("--virtual", *withVirtual, "List the virtual models as well");
  return [withVirtual](const Context& context) { return RunList(context, *withVirtual); };
}

}  // namespace orq::cli
