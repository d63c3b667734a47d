// A series with GPS time: every frame's start of exposure, and how certain it is.
//     gps_series [CAMERA]
#include <iostream>
#include <orqcam/orqcam.hpp>

using namespace std::chrono_literals;

namespace {

constexpr int kFrames = 5;
constexpr int kTries = 100;

void show(const orq::Frame& frame) {
  const orq_frame_info info = frame.info();
  const orq_frame_gps gps = frame.gps();
  std::cout << "frame " << info.number << ": " << info.time_unix_ns / 1'000'000'000 << " s and "
            << info.time_unix_ns % 1'000'000'000 << " ns since 1970 (UTC), within " << info.time_uncertainty_ns
            << " ns; " << gps.satellites << " satellites at " << gps.latitude << " N " << gps.longitude << " E\n";
}

}  // namespace

int main(int argc, char** argv) try {
  orq::Camera camera(argc > 1 ? argv[1] : "virtual:t46c,prerender=4");
  orq_region region = camera.region();
  region.width = 640;
  region.height = 480;
  camera.region(region);
  camera.exposure(50ms);

  int stamped = 0;
  int tries = 0;
  for (const orq::Frame& frame : camera.video()) {
    if (frame.info().time_source != ORQ_TIME_COMPUTER) {
      show(frame);
      ++stamped;
    }
    if (stamped == kFrames || ++tries == kTries) break;
  }
  std::cout << stamped << " frames with GPS time\n";
  return stamped == kFrames ? 0 : 1;
} catch (const orq::Error& error) {
  std::cerr << "gps_series: " << error.what() << '\n';
  return 1;
}
