// orqcam list: which cameras there are.
#include <memory>
#include <orqcam/orqcam.hpp>

#include "camera/Words.h"
#include "commands/Commands.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr const char* kNoCamera =
    "no camera found; check the cable and that the udev rule 70-orqcam.rules is installed, or try a virtual one: "
    "orqcam -c virtual:k1c info";

Json Describe(const orq_camera_entry& entry, std::size_t index) {
  Json json;
  json["index"] = index;
  json["model"] = entry.model;
  json["serial"] = entry.serial;
  json["id"] = entry.user_id;
  json["speed"] = SpeedName(entry.speed);
  json["trouble"] = entry.trouble;
  return json;
}

std::string Row(const orq_camera_entry& entry, std::size_t index) {
  std::string row = Format("%zu = %s", index, entry.model);
  if (entry.serial[0] != '\0') row += Format(", serial:%s", entry.serial);
  if (entry.user_id[0] != '\0') row += Format(", id:%s", entry.user_id);
  row += Format(", %s", SpeedName(entry.speed));
  if (entry.trouble[0] != '\0') row += Format(", cannot be opened: %s", entry.trouble);
  return row;
}

void ListVirtual(const Context& context, Json& list) {
  for (const orq_camera_entry& entry : cameras(ORQ_LIST_VIRTUAL | ORQ_LIST_REPLAY))
    if (context.json)
      list.push_back({{"name", entry.name}, {"summary", entry.summary}});
    else
      context.out.Line(Format("%s = %s", entry.name, entry.summary));
}

ExitCode RunList(const Context& context, bool withVirtual) {
  const std::vector<orq_camera_entry> entries = cameras();
  Json list = Json::array();
  for (std::size_t index = 0; index < entries.size(); ++index)
    if (context.json)
      list.push_back(Describe(entries[index], index));
    else
      context.out.Line(Row(entries[index], index));
  if (entries.empty() && !withVirtual) Complain(kNoCamera);
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
