#include "panels/Requests.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace orq::indi {
namespace {

/// The element of that name; null: there is none.
template <class View>
auto find(View* view, std::string_view element) -> decltype(view->findWidgetByName("")) {
  return view->findWidgetByName(std::string(element).c_str());
}

std::string unknown(std::string_view property, std::string_view element) {
  return std::string(property) + " has no element " + std::string(element);
}

/// INDI's library itself refuses what could only be read at first; not what became so.
std::string readOnly(std::string_view property) {
  return std::string(property) + " can only be read";
}

std::string shown(double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.10g", value);
  return text.data();
}

}  // namespace

std::string_view SwitchRequest::chosen() const {
  std::string_view chosen;
  for (const Value& value : values) {
    if (!value.on) continue;
    if (!chosen.empty()) return {};
    chosen = value.element;
  }
  return chosen;
}

std::string troubleWith(const NumberRequest& request, const INDI::Property& property) {
  auto* const numbers = property.getNumber();
  if (numbers == nullptr) return std::string(request.property) + " has no numbers";
  if (property.getPermission() == IP_RO) return readOnly(request.property);
  for (const auto& [element, value] : request.values) {
    const auto* const number = find(numbers, element);
    if (number == nullptr) return unknown(request.property, element);
    const bool limited = number->getMin() < number->getMax();
    const bool fits = !limited || (value >= number->getMin() && value <= number->getMax());
    if (std::isfinite(value) && fits) continue;
    if (!limited) return std::string(element) + " must be a number";
    return std::string(element) + " must be from " + shown(number->getMin()) + " to " + shown(number->getMax());
  }
  return {};
}

std::string troubleWith(const SwitchRequest& request, const INDI::Property& property) {
  auto* const switches = property.getSwitch();
  if (switches == nullptr) return std::string(request.property) + " has no switches";
  for (const auto& value : request.values)
    if (find(switches, value.element) == nullptr) return unknown(request.property, value.element);
  const auto on =
      std::count_if(request.values.begin(), request.values.end(), [](const auto& one) { return one.on; });
  const ISRule rule = switches->getRule();
  if (rule == ISR_1OFMANY && on != 1) return std::string(request.property) + ": choose one";
  if (rule == ISR_ATMOST1 && on > 1) return std::string(request.property) + ": choose one at most";
  return {};
}

std::string troubleWith(const TextRequest& request, const INDI::Property& property) {
  auto* const texts = property.getText();
  if (texts == nullptr) return std::string(request.property) + " has no texts";
  if (property.getPermission() == IP_RO) return readOnly(request.property);
  for (const auto& value : request.values)
    if (find(texts, value.element) == nullptr) return unknown(request.property, value.element);
  return {};
}

bool hasElement(const INDI::Property& property, std::string_view element) {
  if (auto* const numbers = property.getNumber()) return find(numbers, element) != nullptr;
  if (auto* const switches = property.getSwitch()) return find(switches, element) != nullptr;
  if (auto* const texts = property.getText()) return find(texts, element) != nullptr;
  return false;
}

void settleOnOne(SwitchRequest& request, const INDI::Property& property) {
  auto* const switches = property.getSwitch();
  if (switches == nullptr || switches->getRule() == ISR_NOFMANY || !request.chosen().empty()) return;
  const auto isOnNow = [&](const SwitchRequest::Value& value) {
    const auto* const present = find(switches, value.element);
    return present != nullptr && present->getState() == ISS_ON;
  };
  const auto isNew = [&](const SwitchRequest::Value& value) { return value.on && !isOnNow(value); };
  if (std::count_if(request.values.begin(), request.values.end(), isNew) != 1) return;
  for (auto& value : request.values) value.on = isNew(value);
}

void complete(NumberRequest& request, const INDI::Property& property) {
  auto* const numbers = property.getNumber();
  if (numbers == nullptr) return;
  for (const auto& number : *numbers) {
    const bool given = std::any_of(request.values.begin(), request.values.end(),
                                   [&](const auto& value) { return value.element == number.getName(); });
    if (!given) request.values.push_back({number.getName(), number.getValue()});
  }
}

}  // namespace orq::indi
