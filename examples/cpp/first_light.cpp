// First light: opens a camera, takes one exposure and saves it as FITS.
//     first_light [CAMERA]
#include <iostream>
#include <orqcam/orqcam.hpp>

using namespace std::chrono_literals;

int main(int argc, char** argv) try {
  orq::Camera camera(argc > 1 ? argv[1] : "virtual:k1c,timescale=0.01");
  const orq_camera_info info = camera.info();
  std::cout << info.model << ": " << info.sensor_width << " x " << info.sensor_height << " pixels of "
            << info.pixel_um << " um\n";

  camera.gain(40);
  const orq::Frame frame = camera.expose(500ms);
  const orq_statistics values = frame.statistics();
  std::cout << "exposed " << frame.exposure().count() / 1000 << " ms: mean " << values.mean << " ADU, maximum "
            << values.maximum << " ADU\n";

  orq_save_options options{};
  options.size = sizeof options;
  options.overwrite = 1;
  frame.save("first-light.fits", options);
  std::cout << "saved first-light.fits\n";
  return 0;
} catch (const orq::Error& error) {
  std::cerr << "first_light: " << error.what() << '\n';
  return 1;
}
