// What clients ask for, and what no property takes.
#pragma once

#include <indiproperty.h>

#include <string>
#include <string_view>
#include <vector>

namespace orq::indi {

/// What a client wants of a number property.
struct NumberRequest {
  std::string_view property;
  struct Value {
    std::string_view element;
    double value;
  };
  std::vector<Value> values;
};

/// What a client wants of a switch property.
struct SwitchRequest {
  std::string_view property;
  struct Value {
    std::string_view element;
    bool on;
  };
  std::vector<Value> values;
  /// The one that is to be on; empty: none, or several.
  std::string_view chosen() const;
};

/// What a client wants of a text property.
struct TextRequest {
  std::string_view property;
  struct Value {
    std::string_view element;
    std::string text;
  };
  std::vector<Value> values;
};

/// Why a property cannot take a request, in words for the client; empty: it can, as far as its elements, limits
/// and rule tell. INDI's own functions let values through that are no numbers, and leave a switch without any
/// element on when one is named that does not exist.
std::string troubleWith(const NumberRequest& request, const INDI::Property& property);
std::string troubleWith(const SwitchRequest& request, const INDI::Property& property);
std::string troubleWith(const TextRequest& request, const INDI::Property& property);

bool hasElement(const INDI::Property& property, std::string_view element);

/// Where only one element may be on and a client names the present one as well as another, it means the other:
/// INDI's own client library sends switches so.
void settleOnOne(SwitchRequest& request, const INDI::Property& property);

/// With the elements that a client has left out, as they are.
void complete(NumberRequest& request, const INDI::Property& property);

}  // namespace orq::indi
