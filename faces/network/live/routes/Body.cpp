#include "live/routes/Body.h"

#include <algorithm>
#include <cmath>
#include <orqcam/orqcam.hpp>

namespace orq::network {
namespace {

// A whole number that a double holds exactly.
constexpr double kLargestWhole = 9007199254740992.0;
constexpr std::size_t kLongestTold = 64;  // of a name that means nothing here

std::string listOf(std::initializer_list<std::string_view> known) {
  if (known.size() == 0) return "it takes none";
  std::string list = "it takes ";
  for (const std::string_view name : known) {
    if (list.back() != ' ') list += ", ";
    list += name;
  }
  return list;
}

}  // namespace

Body::Body(const Request& request, std::initializer_list<std::string_view> known)
    : value_(request.body.empty() ? nlohmann::json::object()
                                  : nlohmann::json::parse(request.body, nullptr, false)) {
  if (!value_.is_object()) throw InvalidError("the body must be a JSON object");
  for (const auto& [name, value] : value_.items()) {
    if (std::find(known.begin(), known.end(), name) != known.end()) continue;
    throw InvalidError("this request has no field '" + name.substr(0, kLongestTold) + "'; " + listOf(known));
  }
}

const nlohmann::json* Body::find(const char* name) const {
  const auto found = value_.find(name);
  return found == value_.end() || found->is_null() ? nullptr : &*found;
}

std::optional<double> Body::number(const char* name) const {
  const nlohmann::json* const found = find(name);
  if (found == nullptr) return std::nullopt;
  if (!found->is_number() || !std::isfinite(found->get<double>()))
    throw InvalidError(std::string(name) + " must be a number");
  return found->get<double>();
}

std::optional<std::int64_t> Body::whole(const char* name) const {
  const std::optional<double> value = number(name);
  if (!value) return std::nullopt;
  if (std::abs(*value) > kLargestWhole || std::floor(*value) != *value)
    throw InvalidError(std::string(name) + " must be a whole number");
  return static_cast<std::int64_t>(*value);
}

std::optional<bool> Body::truth(const char* name) const {
  const nlohmann::json* const found = find(name);
  if (found == nullptr) return std::nullopt;
  if (!found->is_boolean()) throw InvalidError(std::string(name) + " must be true or false");
  return found->get<bool>();
}

std::optional<std::string> Body::text(const char* name) const {
  const nlohmann::json* const found = find(name);
  if (found == nullptr) return std::nullopt;
  if (!found->is_string()) throw InvalidError(std::string(name) + " must be a text");
  return found->get<std::string>();
}

}  // namespace orq::network
