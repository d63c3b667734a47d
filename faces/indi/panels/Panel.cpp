#include "panels/Panel.h"

namespace orq::indi {

std::string_view SwitchRequest::chosen() const {
  std::string_view chosen;
  for (const Value& value : values) {
    if (!value.on) continue;
    if (!chosen.empty()) return {};
    chosen = value.element;
  }
  return chosen;
}

}  // namespace orq::indi
