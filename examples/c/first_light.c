/* First light: opens a camera, takes one exposure and saves it as FITS.
 *     first_light [CAMERA]
 */
#include <inttypes.h>
#include <orqcam/orqcam.h>
#include <stdio.h>
#include <stdlib.h>

static void check(orq_status status) {
  if (status == ORQ_OK) return;
  fprintf(stderr, "first_light: %s\n", orq_last_error());
  exit(1);
}

int main(int argc, char** argv) {
  orq_camera* camera = NULL;
  check(orq_camera_open(argc > 1 ? argv[1] : "virtual:k1c,timescale=0.01", NULL, &camera));
  orq_camera_info camera_info = {.size = sizeof camera_info};
  check(orq_camera_get_info(camera, &camera_info));
  printf("%s: %" PRId32 " x %" PRId32 " pixels of %g um\n", camera_info.model, camera_info.sensor_width,
         camera_info.sensor_height, camera_info.pixel_um);

  check(orq_control_set(camera, ORQ_CONTROL_GAIN, 40, ORQ_MANUAL));
  check(orq_exposure_start(camera, 500000));
  orq_frame* frame = NULL;
  check(orq_frame_wait(camera, ORQ_FOREVER, &frame));
  orq_frame_info info = {.size = sizeof info};
  check(orq_frame_get_info(frame, &info));
  orq_statistics values = {.size = sizeof values};
  check(orq_frame_get_statistics(frame, &values));
  printf("exposed %" PRIu64 " ms: mean %g ADU, maximum %" PRIu32 " ADU\n", info.exposure_us / 1000, values.mean,
         values.maximum);

  const orq_save_options options = {.size = sizeof options, .overwrite = 1};
  check(orq_frame_save(frame, "first-light.fits", &options));
  printf("saved first-light.fits\n");

  orq_frame_release(frame);
  orq_camera_release(camera);
  return 0;
}
