/* Takes and saves a frame under the user's locale, whose numbers have a decimal comma. */
#include <locale.h>
#include <orqcam/orqcam.h>
#include <stdio.h>
#include <string.h>

#define DEMAND(call)                                     \
  if ((call) != ORQ_OK) {                                \
    printf("line %d: %s\n", __LINE__, orq_last_error()); \
    return 1;                                            \
  }

int main(int argc, char** argv) {
  char path[512];
  orq_camera* camera = NULL;
  orq_frame* frame = NULL;
  orq_card card = {.size = sizeof card};
  int32_t count = 0;
  const orq_region corner = {sizeof corner, 0, 0, 64, 64, 1, ORQ_FORMAT_RAW16, 0};
  if (argc != 2 || setlocale(LC_ALL, "") == NULL || strcmp(localeconv()->decimal_point, ",") != 0) {
    printf("no locale with a decimal comma\n");
    return 1;
  }
  DEMAND(orq_camera_open("virtual:t46c,timescale=0.01,scene=flat", NULL, &camera));
  DEMAND(orq_region_set(camera, &corner, NULL));
  DEMAND(orq_keyword_set(camera, "FOCUSPOS=12.75 / millimetres"));
  DEMAND(orq_exposure_start(camera, 1500000));
  DEMAND(orq_frame_wait(camera, 30000, &frame));
  DEMAND(orq_frame_header_count(frame, &count));
  for (int32_t i = 0; i < count; i++) {
    DEMAND(orq_frame_header_card(frame, i, &card));
    if (card.type == ORQ_CARD_REAL) printf("%s=%s\n", card.name, card.text);
  }
  snprintf(path, sizeof path, "%s/{exposure}.fits", argv[1]);
  DEMAND(orq_frame_save(frame, path, NULL));
  snprintf(path, sizeof path, "%s/frame.raw", argv[1]);
  DEMAND(orq_frame_save(frame, path, NULL));
  orq_frame_release(frame);
  orq_camera_release(camera);
  return 0;
}
