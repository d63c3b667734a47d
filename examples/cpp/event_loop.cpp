// A camera in an event loop: one poll() waits for the camera and for a clock that shows the progress.
//     event_loop [CAMERA]
#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <array>
#include <iostream>
#include <orqcam/orqcam.hpp>

using namespace std::chrono_literals;

namespace {

/** A descriptor that is readable every tenth of a second. */
int makeClock() {
  const int clock = ::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
  const itimerspec tenth{{0, 100'000'000}, {0, 100'000'000}};
  ::timerfd_settime(clock, 0, &tenth, nullptr);
  return clock;
}

void showProgress(const orq::Camera& camera) {
  const orq_exposure_progress progress = camera.progress();
  std::cout << "exposed " << static_cast<double>(progress.elapsed_us) / 1e6 << " of "
            << static_cast<double>(progress.exposure_us) / 1e6 << " s\n";
}

/** Takes what the camera has to tell; true when the work is done. */
bool handle(orq::Camera& camera) {
  while (const std::optional<orq_event> event = camera.nextEvent()) {
    switch (event->kind) {
      case ORQ_EVENT_FRAME: {
        const orq::Frame frame = camera.wait(0s);
        std::cout << "frame: " << frame.width() << " x " << frame.height() << " pixels, mean "
                  << frame.statistics().mean << " ADU\n";
        return true;
      }
      case ORQ_EVENT_LOST:
      case ORQ_EVENT_EXPOSURE_FAILED:
        std::cout << event->text << '\n';
        return true;
      default:
        std::cout << "also: " << event->text << '\n';
    }
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) try {
  orq::Camera camera(argc > 1 ? argv[1] : "virtual:k1c");
  camera.startExposure(450ms);

  std::array<pollfd, 2> sources{{{camera.eventDescriptor(), POLLIN, 0}, {makeClock(), POLLIN, 0}}};
  auto& [events, clock] = sources;
  for (bool done = false; !done;) {
    ::poll(sources.data(), sources.size(), -1);
    if (events.revents != 0) done = handle(camera);
    std::uint64_t ticks = 0;
    if (clock.revents != 0 && ::read(clock.fd, &ticks, sizeof ticks) > 0 && !done) showProgress(camera);
  }
  ::close(clock.fd);
  return 0;
} catch (const orq::Error& error) {
  std::cerr << "event_loop: " << error.what() << '\n';
  return 1;
}
