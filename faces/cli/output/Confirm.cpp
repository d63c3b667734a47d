#include "output/Confirm.h"

#include <poll.h>
#include <unistd.h>

#include "output/ExitCodes.h"
#include "output/Signals.h"

namespace orq::cli {

namespace {

constexpr int kPollMs = 100;

// The first character of the next line that the user types; '\0' at the end of input or when a stop is requested.
char Answer() {
  char first = '\0';
  for (bool begun = false; !StopRequested();) {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    if (poll(&input, 1, kPollMs) <= 0) continue;
    char c = '\0';
    if (read(STDIN_FILENO, &c, 1) != 1) return '\0';
    if (c == '\n') return first;
    if (!begun) first = c;
    begun = true;
  }
  return '\0';
}

}  // namespace

void Confirm(const std::string& what) {
  const std::string text = "orqcam: " + what + ". Go on? [y/N] ";
  [[maybe_unused]] const ssize_t ignored = write(STDERR_FILENO, text.data(), text.size());
  const char answer = Answer();
  if (answer != 'y' && answer != 'Y') throw CliError(ORQ_ERROR_CANCELLED, "nothing was changed");
}

void DemandSomebodyToAsk(const std::string& what) {
  if (isatty(STDIN_FILENO) != 0 && isatty(STDERR_FILENO) != 0) return;
  throw CliError(kExitUsage, what + "; give --yes if it is to be done");
}

}  // namespace orq::cli
