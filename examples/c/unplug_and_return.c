/* A loss and the return: the same camera is reopened with everything as it was.
 *     unplug_and_return [CAMERA]
 */
#include <inttypes.h>
#include <orqcam/orqcam.h>
#include <poll.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>

static void check(orq_status status) {
  if (status == ORQ_OK) return;
  fprintf(stderr, "unplug_and_return: %s\n", orq_last_error());
  exit(1);
}

/* Waits for one kind of event; others are left out. */
static void await_event(orq_camera* camera, int32_t kind) {
  struct pollfd more = {.events = POLLIN};
  check(orq_camera_event_fd(camera, &more.fd));
  for (;;) {
    orq_event event = {.size = sizeof event};
    while (orq_event_next(camera, &event) == ORQ_OK) {
      if (event.kind != kind) continue;
      printf("%s\n", event.text);
      return;
    }
    poll(&more, 1, -1);
  }
}

static void show(orq_camera* camera, const char* when) {
  check(orq_exposure_start(camera, 200000));
  orq_frame* frame = NULL;
  check(orq_frame_wait(camera, ORQ_FOREVER, &frame));
  orq_frame_info info = {.size = sizeof info};
  check(orq_frame_get_info(frame, &info));
  printf("%s: frame of %" PRIu64 " ms, gain %" PRId32 "\n", when, info.exposure_us / 1000, info.gain);
  orq_frame_release(frame);
}

int main(int argc, char** argv) {
  orq_camera* camera = NULL;
  check(orq_camera_open(argc > 1 ? argv[1] : "virtual:k1c,timescale=0.01", NULL, &camera));
  orq_camera_info info = {.size = sizeof info};
  check(orq_camera_get_info(camera, &info));
  const bool is_virtual = (info.abilities & ORQ_ABILITY_VIRTUAL) != 0;
  check(orq_control_set(camera, ORQ_CONTROL_GAIN, 60, ORQ_MANUAL));
  show(camera, "before");

  if (is_virtual) {
    check(orq_camera_unplug_virtual(camera));
  } else {
    printf("now pull the cable\n");
  }
  await_event(camera, ORQ_EVENT_LOST);
  if (orq_exposure_start(camera, 200000) == ORQ_ERROR_LOST) printf("meanwhile: %s\n", orq_last_error());

  if (is_virtual) {
    check(orq_camera_replug_virtual(camera));
  } else {
    printf("now plug it in again\n");
  }
  await_event(camera, ORQ_EVENT_RETURNED);
  check(orq_camera_reopen(camera));
  show(camera, "after");
  orq_camera_release(camera);
  return 0;
}
