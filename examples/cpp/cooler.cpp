// Cooling: down to a target, an exposure at it, and gently up again.
//     cooler [CAMERA]
#include <iostream>
#include <orqcam/orqcam.hpp>

using namespace std::chrono_literals;

namespace {

void show(const orq::Camera& camera) {
  const orq_cooler_state state = camera.cooler();
  std::cout << "sensor " << state.sensor_c << " C, target " << state.target_c << " C, power " << state.power
            << " %\n";
}

/** Waits in steps, so that something can be shown in between. */
void awaitCold(orq::Camera& camera, int steps) {
  for (;; --steps) {
    try {
      camera.awaitCold(1s);
      return;
    } catch (const orq::TimeoutError&) {
      if (steps == 0) throw;
      show(camera);
    }
  }
}

}  // namespace

int main(int argc, char** argv) try {
  orq::Camera camera(argc > 1 ? argv[1] : "virtual:x26m,timescale=0.001");
  std::cout << "sensor " << camera.temperature() << " C\n";
  camera.cool(-5.0);
  awaitCold(camera, 1800);
  std::cout << "cold: ";
  show(camera);

  orq_region region = camera.region();
  region.width = 640;
  region.height = 480;
  camera.region(region);
  const orq_frame_info info = camera.expose(10s).info();
  std::cout << "exposed " << static_cast<double>(info.exposure_us) / 1e6 << " s at " << info.sensor_c << " C\n";

  camera.warmUp(1800s);
  std::cout << "warm: cooler " << (camera.cooler().on != 0 ? "on" : "off") << '\n';
  return 0;
} catch (const orq::Error& error) {
  std::cerr << "cooler: " << error.what() << '\n';
  return 1;
}
