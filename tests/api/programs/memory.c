/* Tells how much memory the process has taken, step by step: "name kilobytes bytes-of-a-frame". */
#include <orqcam/orqcam.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define DEMAND(call)                                     \
  if ((call) != ORQ_OK) {                                \
    printf("line %d: %s\n", __LINE__, orq_last_error()); \
    exit(1);                                             \
  }

/* Of the process's own, without files that are mapped: what the system has to keep for it. */
static long own_kilobytes(void) {
  char line[256];
  long found = -1;
  FILE* status = fopen("/proc/self/status", "r");
  while (status != NULL && fgets(line, sizeof line, status) != NULL) {
    if (sscanf(line, "RssAnon: %ld", &found) == 1) break;
  }
  if (status != NULL) fclose(status);
  return found;
}

static void tell(const char* step, size_t frame_bytes) {
  printf("%s %ld %zu\n", step, own_kilobytes(), frame_bytes);
  fflush(stdout);
}

static size_t take_frames(orq_camera* camera, int frames) {
  size_t size = 0;
  for (int i = 0; i < frames; i++) {
    orq_frame* frame = NULL;
    const uint8_t* bytes = NULL;
    DEMAND(orq_frame_wait(camera, 60000, &frame));
    DEMAND(orq_frame_data(frame, &bytes, &size));
    orq_frame_release(frame);
  }
  return size;
}

static void set_format(orq_camera* camera, int32_t format) {
  orq_region region = {.size = sizeof region};
  DEMAND(orq_region_get(camera, &region));
  region.format = format;
  DEMAND(orq_region_set(camera, &region, NULL));
}

/* memory FOLDER CAMERA FRAME_MEMORY_MB */
int main(int argc, char** argv) {
  char path[512];
  orq_camera* camera = NULL;
  orq_open_options options = {.size = sizeof options};
  const orq_dark_options dark = {sizeof dark, 1, 1, 0};
  if (argc != 4) return 2;
  options.frame_memory_mb = (uint32_t)atoi(argv[3]);
  tell("before", 0);
  DEMAND(orq_camera_open(argv[2], &options, &camera));
  tell("open", 0);
  DEMAND(orq_control_set(camera, ORQ_CONTROL_EXPOSURE, 1000, ORQ_MANUAL));
  set_format(camera, ORQ_FORMAT_RAW8);
  DEMAND(orq_exposure_start(camera, 0));
  tell("exposure", take_frames(camera, 1));
  set_format(camera, ORQ_FORMAT_RAW16);
  DEMAND(orq_video_start(camera));
  tell("video", take_frames(camera, 5));
  DEMAND(orq_video_stop(camera));
  snprintf(path, sizeof path, "%s/dark.bmp", argv[1]);
  DEMAND(orq_dark_take(camera, path, &dark, NULL, NULL, NULL));
  DEMAND(orq_dark_use(camera, path));
  DEMAND(orq_exposure_start(camera, 0));
  tell("dark", take_frames(camera, 1));
  DEMAND(orq_camera_close(camera));
  orq_camera_release(camera);
  tell("released", 0);
  return 0;
}
