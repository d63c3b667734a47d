// The least that a C++ program does with a video: what bench/python_loop compares the same loop in Python with.
#include <time.h>

#include <cstdio>
#include <cstdlib>
#include <orqcam/orqcam.hpp>

namespace {

double Seconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

}  // namespace

// video_loop CAMERA SECONDS: prints frames for each second, and percent of a core that the process and the loop's
// thread took.
int main(int argc, char** argv) {
  if (argc != 3) return EXIT_FAILURE;
  const double length = std::strtod(argv[2], nullptr);
  orq::Camera camera(argv[1]);
  orq_region region = camera.region();
  region.format = ORQ_FORMAT_RAW8;
  camera.region(region);
  camera.exposure(std::chrono::milliseconds(1));
  constexpr int kWarmUp = 30;
  int frames = 0;
  double begin = 0;
  double process = 0;
  double thread = 0;
  unsigned long sum = 0;
  for (const orq::Frame& frame : camera.video()) {
    sum += *frame.data();
    if (++frames == kWarmUp) {
      begin = Seconds(CLOCK_MONOTONIC);
      process = Seconds(CLOCK_PROCESS_CPUTIME_ID);
      thread = Seconds(CLOCK_THREAD_CPUTIME_ID);
    } else if (frames > kWarmUp && Seconds(CLOCK_MONOTONIC) - begin > length) {
      break;
    }
  }
  const double took = Seconds(CLOCK_MONOTONIC) - begin;
  std::printf("%f %f %f\n", (frames - kWarmUp) / took, 100 * (Seconds(CLOCK_PROCESS_CPUTIME_ID) - process) / took,
              100 * (Seconds(CLOCK_THREAD_CPUTIME_ID) - thread) / took);
  return sum > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
