// What the library advises, in the words of the command line.
#pragma once

#include <string>
#include <string_view>

namespace orq::cli {

/// `message` with the options and commands by which a user of the tool follows the library's advice.
std::string WithHints(std::string_view message);

}  // namespace orq::cli
