/* Counts what C++ allocates while a video runs: "frames allocations bytes", with one reader and with four. What
 * the USB library allocates for its transfers is C and does not count. */
#include <orqcam/orqcam.h>
#include <stdio.h>
#include <stdlib.h>

#define DEMAND(call)                                     \
  if ((call) != ORQ_OK) {                                \
    printf("line %d: %s\n", __LINE__, orq_last_error()); \
    exit(1);                                             \
  }

enum { WARM_UP = 30, FRAMES = 100, READERS = 4 };

static long allocations = 0;
static long allocated = 0;

static void* allocate(size_t bytes) {
  void* memory = malloc(bytes == 0 ? 1 : bytes);
  if (memory == NULL) abort();
  __atomic_add_fetch(&allocations, 1, __ATOMIC_RELAXED);
  __atomic_add_fetch(&allocated, (long)bytes, __ATOMIC_RELAXED);
  return memory;
}

/* operator new, operator new[], and both for those who want no exception: in front of the C++ library's. */
void* _Znwm(size_t bytes) {
  return allocate(bytes);
}
void* _Znam(size_t bytes) {
  return allocate(bytes);
}
void* _ZnwmRKSt9nothrow_t(size_t bytes, const void* nothrow) {
  (void)nothrow;
  return allocate(bytes);
}
void* _ZnamRKSt9nothrow_t(size_t bytes, const void* nothrow) {
  (void)nothrow;
  return allocate(bytes);
}

static void take(orq_reader** readers, int count, int frames) {
  for (int i = 0; i < frames; i++) {
    for (int k = 0; k < count; k++) {
      orq_frame* frame = NULL;
      DEMAND(orq_reader_wait(readers[k], 60000, &frame));
      orq_frame_release(frame);
    }
  }
}

static void count(orq_camera* camera, int readers) {
  orq_reader* opened[READERS];
  const orq_reader_options newest = {sizeof newest, ORQ_READ_NEWEST, 0, 0};
  for (int k = 0; k < readers; k++) DEMAND(orq_reader_open(camera, &newest, &opened[k]));
  DEMAND(orq_video_start(camera));
  take(opened, readers, WARM_UP);
  const long before = __atomic_load_n(&allocations, __ATOMIC_RELAXED);
  const long bytes_before = __atomic_load_n(&allocated, __ATOMIC_RELAXED);
  take(opened, readers, FRAMES);
  const long after = __atomic_load_n(&allocations, __ATOMIC_RELAXED);
  const long bytes_after = __atomic_load_n(&allocated, __ATOMIC_RELAXED);
  DEMAND(orq_video_stop(camera));
  for (int k = 0; k < readers; k++) orq_reader_release(opened[k]);
  printf("%d %ld %ld\n", FRAMES, after - before, bytes_after - bytes_before);
}

int main(void) {
  orq_camera* camera = NULL;
  const orq_region corner = {sizeof corner, 0, 0, 256, 256, 1, ORQ_FORMAT_RAW8, 0};
  DEMAND(orq_camera_open(NULL, NULL, &camera));
  DEMAND(orq_region_set(camera, &corner, NULL));
  DEMAND(orq_control_set(camera, ORQ_CONTROL_EXPOSURE, 1000, ORQ_MANUAL));
  count(camera, 1);
  count(camera, READERS);
  orq_camera_release(camera);
  printf("in all %ld\n", allocations);
  return 0;
}
