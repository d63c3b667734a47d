// What the server tells whoever started it.
#pragma once

#include <string>

namespace orq::network {

/// Writes one line to standard error, whole. Any thread.
void logLine(const std::string& text);

}  // namespace orq::network
