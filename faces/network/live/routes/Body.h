// What clients send: one JSON object, read strictly.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "http/Message.h"

namespace orq::network {

/// The body of a request. Every reader throws InvalidError that says which field is wrong, and how.
class Body {
 public:
  /// `known` are the fields that this request takes. A body that is empty has none. Throws InvalidError when the
  /// body is no JSON object, or has another field: a wish that is misspelt is not to be passed over in silence.
  Body(const Request& request, std::initializer_list<std::string_view> known);

  std::optional<std::int64_t> whole(const char* name) const;
  std::optional<double> number(const char* name) const;
  std::optional<bool> truth(const char* name) const;
  std::optional<std::string> text(const char* name) const;

 private:
  const nlohmann::json* find(const char* name) const;

  nlohmann::json value_;
};

}  // namespace orq::network
