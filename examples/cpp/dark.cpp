// Dark and hot pixels: what a warm, covered sensor shows before and after its dark is subtracted.
//     dark [CAMERA]
#include <iostream>
#include <orqcam/orqcam.hpp>

using namespace std::chrono_literals;

namespace {

void show(const char* what, const orq::Frame& frame) {
  const orq_statistics values = frame.statistics();
  std::cout << what << ": mean " << values.mean << ", deviation " << values.deviation << ", maximum "
            << values.maximum << " ADU\n";
}

}  // namespace

int main(int argc, char** argv) try {
  orq::Camera camera(argc > 1 ? argv[1] : "virtual:k1m,timescale=0.001,scene=dark,temp=45");
  camera.exposure(20s);
  orq_dark_options options{};
  options.size = sizeof options;
  options.frames = 4;
  options.overwrite = 1;
  const orq_dark_info dark = camera.takeDark("dark.bmp", options);
  std::cout << "dark of " << dark.frames << " frames at " << dark.sensor_c << " C: " << dark.hot_pixels
            << " hot pixels, " << dark.bad_rows << " bad rows\n";

  show("raw", camera.expose());
  camera.useDark("dark.bmp");
  try {
    camera.repairHotPixels(true);
  } catch (const orq::StateError& error) {  // there is no table; the dark repairs those that it shows itself
    std::cout << error.what() << '\n';
  }
  show("corrected", camera.expose());
  return 0;
} catch (const orq::Error& error) {
  std::cerr << "dark: " << error.what() << '\n';
  return 1;
}
