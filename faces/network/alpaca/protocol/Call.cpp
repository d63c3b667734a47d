#include "alpaca/protocol/Call.h"

#include <charconv>
#include <cmath>
#include <optional>

namespace orq::network::alpaca {
namespace {

// The whole text as a number, independent of the locale.
template <class Number>
std::optional<Number> numberOf(std::string_view text) {
  if (text.starts_with('+')) text.remove_prefix(1);
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

[[noreturn]] void complain(std::string_view name, const std::string& given, const char* wanted) {
  throw BadCall("the value '" + given + "' of " + std::string(name) + " is no " + wanted);
}

}  // namespace

Call::Call(const Request& request) {
  if (request.method == "PUT") {
    std::optional<Parameters> form = Parameters::parse(request.body);
    if (!form) throw BadCall("the parameters in the body are malformed");
    parameters_ = std::move(*form);
  } else {
    parameters_ = request.query;
  }
  clientId_ = idOf("ClientID");
  transaction_ = idOf("ClientTransactionID");
}

std::uint32_t Call::idOf(std::string_view name) const {
  const std::optional<std::string> given = parameters_.find(name, Case::ignored);
  return given ? numberOf<std::uint32_t>(*given).value_or(0) : 0;
}

std::string Call::text(std::string_view name) const {
  if (std::optional<std::string> given = parameters_.find(name, Case::ignored)) return *given;
  throw BadCall("the parameter " + std::string(name) + " is missing");
}

bool Call::truth(std::string_view name) const {
  const std::string given = text(name);
  if (sameButForCase(given, "true")) return true;
  if (sameButForCase(given, "false")) return false;
  complain(name, given, "truth value: True or False");
}

std::int32_t Call::integer(std::string_view name) const {
  const std::string given = text(name);
  if (const std::optional<std::int32_t> number = numberOf<std::int32_t>(given)) return *number;
  complain(name, given, "whole number of 32 bits");
}

double Call::number(std::string_view name) const {
  const std::string given = text(name);
  if (const std::optional<double> number = numberOf<double>(given); number && std::isfinite(*number))
    return *number;
  complain(name, given, "number");
}

}  // namespace orq::network::alpaca
