#include "live/routes/Body.h"

#include <cmath>
#include <orqcam/orqcam.hpp>

namespace orq::network {
namespace {

// A whole number that a double holds exactly.
constexpr double kLargestWhole = 9007199254740992.0;

}  // namespace

Body::Body(const Request& request) : value_(nlohmann::json::parse(request.body, nullptr, false)) {
  if (!value_.is_object()) throw InvalidError("the body must be a JSON object");
}

const nlohmann::json* Body::find(const char* name) const {
  const auto found = value_.find(name);
  return found == value_.end() || found->is_null() ? nullptr : &*found;
}

std::optional<double> Body::number(const char* name) const {
  const nlohmann::json* const found = find(name);
  if (found == nullptr) return std::nullopt;
  if (!found->is_number() || !std::isfinite(found->get<double>())) {
    throw InvalidError(std::string(name) + " must be a number");
  }
  return found->get<double>();
}

std::optional<std::int64_t> Body::whole(const char* name) const {
  const std::optional<double> value = number(name);
  if (!value) return std::nullopt;
  if (std::abs(*value) > kLargestWhole || std::floor(*value) != *value) {
    throw InvalidError(std::string(name) + " must be a whole number");
  }
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
