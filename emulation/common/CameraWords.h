// Naming several virtual cameras in one word of a command line.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "virtual/bus/VirtualOptions.h"

namespace orq {

/// The cameras of a comma-separated list of model names and options, as in `k1c,k1c,seed=2,x26m`: each word that
/// is the name of a model begins a camera, the words after it are that camera's options. Nothing and a one-line
/// reason in `error` when a word is wrong.
std::optional<std::vector<VirtualOptions>> ParseCameras(std::string_view text, std::string& error);

}  // namespace orq
