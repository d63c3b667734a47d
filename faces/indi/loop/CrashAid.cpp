#include "loop/CrashAid.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <thread>

namespace orq::indi {
namespace {

using namespace std::chrono_literals;

constexpr int kPatienceMs = 1000;
constexpr std::array kCrashes = {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL};

// Two axes of each camera of a computer, and room for more.
constexpr std::size_t kMostPulses = 64;
std::array<std::atomic<orq_camera*>, kMostPulses> pulses;

int toHelper[2] = {-1, -1};
int fromHelper[2] = {-1, -1};
std::atomic_flag crashed;
alignas(
    16) std::array<std::uint8_t, std::size_t{64} * 1024> crashStack;  // the thread's own may be what overflowed

bool isAnyUnderWay() {
  for (const auto& camera : pulses)
    if (camera != nullptr) return true;
  return false;
}

void help() {
  std::uint8_t word = 0;
  while (::read(toHelper[0], &word, 1) != 1) {
  }
  // Again and again: a pulse that is only just being begun does not feel the first abort.
  for (; isAnyUnderWay(); std::this_thread::sleep_for(1ms)) {
    for (const auto& slot : pulses)
      if (orq_camera* const camera = slot) orq_capture_abort(camera);
  }
  [[maybe_unused]] const auto told = ::write(fromHelper[1], &word, 1);
}

extern "C" void onCrash(int signal) {
  if (!crashed.test_and_set() && isAnyUnderWay()) {
    const std::uint8_t word = 1;
    if (::write(toHelper[1], &word, 1) == 1) {
      pollfd done{fromHelper[0], POLLIN, 0};
      ::poll(&done, 1, kPatienceMs);
    }
  }
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

}  // namespace

PulseUnderWay::PulseUnderWay(orq_camera* camera) : at_(0) {
  for (; at_ < kMostPulses; ++at_) {
    orq_camera* none = nullptr;
    if (pulses[at_].compare_exchange_strong(none, camera)) return;
  }
}

PulseUnderWay::~PulseUnderWay() {
  if (at_ < kMostPulses) pulses[at_] = nullptr;
}

void endPulsesOnCrash() {
  if (::pipe2(toHelper, O_CLOEXEC) != 0 || ::pipe2(fromHelper, O_CLOEXEC) != 0) {
    std::fprintf(stderr, "indi_orqcam_ccd: no descriptor is free: a crash would leave guide lines on\n");
    return;
  }
  std::thread(help).detach();
  stack_t stack{};
  stack.ss_sp = crashStack.data();
  stack.ss_size = crashStack.size();
  sigaltstack(&stack, nullptr);
  struct sigaction action {};
  action.sa_handler = onCrash;
  action.sa_flags = SA_ONSTACK;
  for (const int signal : kCrashes) sigaction(signal, &action, nullptr);
}

}  // namespace orq::indi
