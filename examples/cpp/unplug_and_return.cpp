// A loss and the return: the same camera is reopened with everything as it was.
//     unplug_and_return [CAMERA]
#include <poll.h>

#include <iostream>
#include <orqcam/orqcam.hpp>

using namespace std::chrono_literals;

namespace {

/** Waits for one kind of event; others are left out. */
void await(orq::Camera& camera, int kind) {
  for (;;) {
    while (const std::optional<orq_event> event = camera.nextEvent()) {
      if (event->kind != kind) continue;
      std::cout << event->text << '\n';
      return;
    }
    pollfd more{camera.eventDescriptor(), POLLIN, 0};
    ::poll(&more, 1, -1);
  }
}

}  // namespace

int main(int argc, char** argv) try {
  orq::Camera camera(argc > 1 ? argv[1] : "virtual:k1c,timescale=0.01");
  const bool isVirtual = (camera.info().abilities & ORQ_ABILITY_VIRTUAL) != 0;
  camera.gain(60);
  std::cout << "before: mean " << camera.expose(200ms).statistics().mean << " ADU, gain " << camera.gain() << '\n';

  if (isVirtual)
    camera.unplugVirtual();
  else
    std::cout << "now pull the cable\n";
  await(camera, ORQ_EVENT_LOST);
  try {
    camera.expose(200ms);
  } catch (const orq::LostError& error) {
    std::cout << "meanwhile: " << error.what() << '\n';
  }

  if (isVirtual)
    camera.replugVirtual();
  else
    std::cout << "now plug it in again\n";
  await(camera, ORQ_EVENT_RETURNED);
  camera.reopen();
  std::cout << "after: mean " << camera.expose(200ms).statistics().mean << " ADU, gain " << camera.gain() << '\n';
  return 0;
} catch (const orq::Error& error) {
  std::cerr << "unplug_and_return: " << error.what() << '\n';
  return 1;
}
