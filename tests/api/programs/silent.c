/* Uses the library with the debug log on and a dark in use; prints nothing, and neither may the library. */
#include <orqcam/orqcam.h>
#include <stdio.h>

#define DEMAND(call) \
  if ((call) != ORQ_OK) return __LINE__ % 200 + 1

static int lines = 0;

static void take_line(void* user, int32_t level, const char* line) {
  (void)user;
  (void)level;
  (void)line;
  __atomic_add_fetch(&lines, 1, __ATOMIC_RELAXED);
}

int main(int argc, char** argv) {
  char path[512];
  orq_camera* camera = NULL;
  orq_frame* frame = NULL;
  const orq_dark_options dark = {sizeof dark, 1, 1, 0};
  orq_frame_info info = {.size = sizeof info};
  if (argc != 2) return 1;
  DEMAND(orq_log_set(ORQ_LOG_DEBUG, take_line, NULL));
  DEMAND(orq_camera_open("virtual:h53m,timescale=0.01,scene=dark", NULL, &camera));
  DEMAND(orq_control_set(camera, ORQ_CONTROL_EXPOSURE, 20000, ORQ_MANUAL));
  snprintf(path, sizeof path, "%s/dark.bmp", argv[1]);
  DEMAND(orq_dark_take(camera, path, &dark, NULL, NULL, NULL));
  DEMAND(orq_dark_use(camera, path));
  DEMAND(orq_exposure_start(camera, 0));
  DEMAND(orq_frame_wait(camera, 30000, &frame));
  DEMAND(orq_frame_get_info(frame, &info));
  if ((info.corrections & ORQ_CORRECTED_DARK) == 0) return 2;
  snprintf(path, sizeof path, "%s/frame.fits", argv[1]);
  DEMAND(orq_frame_save(frame, path, NULL));
  orq_frame_release(frame);
  DEMAND(orq_camera_unplug_virtual(camera)); /* errors are no output either */
  orq_exposure_start(camera, 1000);
  orq_camera_release(camera);
  if (orq_camera_open("virtual:nothing", NULL, &camera) != ORQ_ERROR_INVALID) return 3;
  return lines > 0 ? 0 : 4;
}
