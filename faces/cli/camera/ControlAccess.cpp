#include "camera/ControlAccess.h"

#include <variant>

namespace orq::cli {

Json ScaledValue(ORQ_CONTROL_TYPE id, std::int64_t raw) {
  return std::visit([](auto value) { return Json(value); }, InUnit(id, raw));
}

void WriteControl(Session& session, const Control& control, const ControlSetting& setting) {
  const Limits limits = session.Strict() ? Limits::Demand : Limits::Clamp;
  const std::string word = session::WriteControl(session.Camera(), control, setting, limits);
  if (!word.empty()) Complain(word);
}

void ApplyControl(Session& session, ORQ_CONTROL_TYPE id, const std::optional<std::string>& text) {
  if (!text) return;
  const Control control = FindControl(session.Camera(), id);
  WriteControl(session, control, ParseSetting(control, *text));
}

}  // namespace orq::cli
