/* A camera in an event loop: one poll() waits for the camera and for a clock that shows the progress.
 *     event_loop [CAMERA]
 */
#include <inttypes.h>
#include <orqcam/orqcam.h>
#include <poll.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/timerfd.h>
#include <unistd.h>

static void check(orq_status status) {
  if (status == ORQ_OK) return;
  fprintf(stderr, "event_loop: %s\n", orq_last_error());
  exit(1);
}

/* A descriptor that is readable every tenth of a second. */
static int make_clock(void) {
  const int clock = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC);
  const struct itimerspec tenth = {{0, 100000000}, {0, 100000000}};
  timerfd_settime(clock, 0, &tenth, NULL);
  return clock;
}

static void show_progress(orq_camera* camera) {
  orq_exposure_progress progress = {.size = sizeof progress};
  check(orq_exposure_get_progress(camera, &progress));
  printf("exposed %.1f of %.1f s\n", (double)progress.elapsed_us / 1e6, (double)progress.exposure_us / 1e6);
}

static void show_frame(orq_camera* camera) {
  orq_frame* frame = NULL;
  check(orq_frame_wait(camera, 0, &frame));
  orq_frame_info info = {.size = sizeof info};
  check(orq_frame_get_info(frame, &info));
  printf("frame: %" PRId32 " x %" PRId32 " pixels, %" PRIu64 " us\n", info.width, info.height, info.exposure_us);
  orq_frame_release(frame);
}

/* Takes what the camera has to tell; true when the work is done. */
static bool handle(orq_camera* camera) {
  orq_event event = {.size = sizeof event};
  while (orq_event_next(camera, &event) == ORQ_OK) {
    switch (event.kind) {
      case ORQ_EVENT_FRAME:
        show_frame(camera);
        return true;
      case ORQ_EVENT_LOST:
      case ORQ_EVENT_EXPOSURE_FAILED:
        printf("%s\n", event.text);
        return true;
      default:
        printf("also: %s\n", event.text);
    }
  }
  return false;
}

int main(int argc, char** argv) {
  orq_camera* camera = NULL;
  check(orq_camera_open(argc > 1 ? argv[1] : "virtual:k1c", NULL, &camera));
  check(orq_exposure_start(camera, 450000));

  struct pollfd sources[2] = {{.events = POLLIN}, {.fd = make_clock(), .events = POLLIN}};
  check(orq_camera_event_fd(camera, &sources[0].fd));
  for (bool done = false; !done;) {
    poll(sources, 2, -1);
    if (sources[0].revents != 0) done = handle(camera);
    uint64_t ticks = 0;
    if (sources[1].revents != 0 && read(sources[1].fd, &ticks, sizeof ticks) > 0 && !done) show_progress(camera);
  }
  close(sources[1].fd);
  orq_camera_release(camera);
  return 0;
}
