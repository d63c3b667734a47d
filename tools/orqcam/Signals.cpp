#include "Signals.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

namespace orq::cli {

namespace {

constexpr int kPatience = 3;  // signals after which the user's patience counts more than a clean end

std::atomic<int> g_requests{0};
static_assert(std::atomic<int>::is_always_lock_free, "used in a signal handler");
int g_event = -1;

void OnSignal(int number) {
  const int savedErrno = errno;
  if (++g_requests >= kPatience) {
    std::signal(number, SIG_DFL);
    raise(number);
  }
  const std::uint64_t one = 1;
  [[maybe_unused]] const ssize_t ignored = write(g_event, &one, sizeof one);
  errno = savedErrno;
}

}  // namespace

void InstallSignals() {
  g_event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  struct sigaction action {};
  action.sa_handler = OnSignal;
  action.sa_flags = SA_RESTART;
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction old {};
    sigaction(number, nullptr, &old);
    // Whoever started the tool with a signal ignored (nohup) wants it ignored.
    if (old.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
  }
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

bool StopRequested() {
  return g_requests.load() > 0;
}

bool WaitForStop(std::chrono::milliseconds atMost) {
  if (StopRequested()) return true;
  pollfd event{g_event, POLLIN, 0};
  poll(&event, 1, static_cast<int>(atMost.count()));
  return StopRequested();
}

}  // namespace orq::cli
