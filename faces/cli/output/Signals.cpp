#include "output/Signals.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

namespace orq::cli {

namespace {

constexpr int kPatience = 3;  // signals after which the user's patience counts more than a clean end

std::atomic<int> g_requests{0};
static_assert(std::atomic<int>::is_always_lock_free, "used in a signal handler");
std::atomic<bool> g_shielded{false};
int g_event = -1;

// From the keyboard, and only under a shield: one would kill, the other freeze the tool in the middle.
constexpr std::array kShieldedSignals = {SIGQUIT, SIGTSTP};
std::array<struct sigaction, kShieldedSignals.size()> g_before{};

void OnSignal(int number) {
  const int savedErrno = errno;
  if (++g_requests >= kPatience && !g_shielded.load()) {
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
#ifdef __SANITIZE_THREAD__
  // The sanitizer sets up a thread's record of signals at its first blocking call, and loses one that arrives
  // meanwhile.
  poll(nullptr, 0, 0);
#endif
}

StopShield::StopShield() {
  g_shielded = true;
  struct sigaction action {};
  action.sa_handler = OnSignal;
  action.sa_flags = SA_RESTART;
  for (std::size_t i = 0; i < kShieldedSignals.size(); ++i) sigaction(kShieldedSignals[i], &action, &g_before[i]);
}

StopShield::~StopShield() {
  for (std::size_t i = 0; i < kShieldedSignals.size(); ++i) sigaction(kShieldedSignals[i], &g_before[i], nullptr);
  g_shielded = false;
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
