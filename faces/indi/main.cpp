// The driver as a program: signals, the server, the cameras.
#include <eventloop.h>
#include <indidevapi.h>
#include <indidriver.h>
#include <sys/signalfd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "Driver.h"
#include "loop/CrashAid.h"
#include "loop/ServerLink.h"

namespace {

/// A server that is ended tells its drivers so by a signal: cameras are then closed in order, and with that guide
/// lines go off. Blocked before any thread is started, so that none takes it.
int listenToSignals() {
  sigset_t ends;
  sigemptyset(&ends);
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&ends, signal);
  if (pthread_sigmask(SIG_BLOCK, &ends, nullptr) != 0) return -1;
  return ::signalfd(-1, &ends, SFD_CLOEXEC | SFD_NONBLOCK);
}

/// At once: threads of INDI's library may still be at work with what the end of the program would take apart.
[[noreturn]] void end(orq::indi::Driver& driver, int status) {
  driver.release();
  std::_Exit(status);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 1) {
    std::fprintf(stderr, "usage: indiserver indi_orqcam_ccd\nIt is a driver, which INDI's server starts.\n");
    return 2;
  }
  me = basename(argv[0]);  // by which INDI's clients know a driver
  const int signals = listenToSignals();
  std::signal(SIGXFSZ, SIG_IGN);  // a file that may not grow any more is no reason to end
  orq::indi::endPulsesOnCrash();
  orq::indi::Driver driver;
  if (signals >= 0) {
    IEAddCallback(
        signals, [](int, void* cameras) { end(*static_cast<orq::indi::Driver*>(cameras), 0); }, &driver);
  }
  orq::indi::listenToServer([&driver] { end(driver, 1); });
  eventLoop();
}
