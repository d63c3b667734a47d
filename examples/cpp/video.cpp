// Two readers of one video: a recorder gets every frame, a live view the newest one whenever it has time for it.
//     video [CAMERA]
#include <future>
#include <iostream>
#include <orqcam/orqcam.hpp>

using namespace std::chrono_literals;

namespace {

constexpr int kFrames = 100;

/** Takes frames until it has enough; returns how many bytes a file of them would have. */
std::size_t record(orq::Reader& reader) {
  std::size_t bytes = 0;
  for (int frames = 0; frames < kFrames; ++frames) bytes += reader.wait(10s).size();
  return bytes;
}

}  // namespace

int main(int argc, char** argv) try {
  orq::Camera camera(argc > 1 ? argv[1] : "virtual:k1c");
  orq_region region = camera.region();
  region.width = 320;
  region.height = 240;
  camera.region(region);
  camera.exposure(5ms);

  orq::Reader every = camera.reader(ORQ_READ_EVERY, 32);
  orq::Reader newest = camera.reader(ORQ_READ_NEWEST);
  const orq::Video video = camera.video();
  std::future<std::size_t> recording = std::async(std::launch::async, record, std::ref(every));
  while (recording.wait_for(50ms) != std::future_status::ready) {  // a screen that is slower than the camera
    const orq::Frame frame = newest.wait(10s);
    std::cout << "view: frame " << frame.info().number << ", mean " << frame.statistics().mean << " ADU\n";
  }
  const std::size_t bytes = recording.get();

  std::cout << "recorder: " << kFrames << " frames, " << static_cast<double>(bytes) / 1e6 << " MB, missed "
            << every.counters().missed << '\n';
  std::cout << "view: " << newest.counters().delivered << " frames, missed " << newest.counters().missed << '\n';
  return 0;
} catch (const orq::Error& error) {
  std::cerr << "video: " << error.what() << '\n';
  return 1;
}
