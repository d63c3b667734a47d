#include "Log.h"

#include <unistd.h>

namespace orq::network {

void logLine(const std::string& text) {
  const std::string line = "orqcam serve: " + text + "\n";
  [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, line.data(), line.size());
}

}  // namespace orq::network
