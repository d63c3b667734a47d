// Leaving out what is nobody else's business.
#pragma once

#include <string>
#include <string_view>

namespace orq::cli {

/// What a text must not tell. Empty parts are none.
struct PrivateFacts {
  std::string home;
  std::string user;
  std::string host;
};
/// Of the user who runs this.
PrivateFacts MyPrivateFacts();

/// `text` without home directories ("~"), the user's and the computer's name ("USER", "HOST"), and words of 16
/// hexadecimal digits: serial numbers ("SERIAL").
std::string WithoutPrivate(std::string_view text, const PrivateFacts& facts);

}  // namespace orq::cli
