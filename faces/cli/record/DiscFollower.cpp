#include "record/DiscFollower.h"

#include <algorithm>
#include <cmath>

namespace orq::cli {

namespace {

constexpr double kRoom = 2.5;  // the box is so many times as large as the disc
constexpr int kLeastSide = 128;
constexpr double kMostDrift = 0.1;  // of the box, until it is moved
constexpr std::chrono::milliseconds kLookEvery{200};

int UpTo(int value, int step) {
  return (value + step - 1) / step * step;
}

}  // namespace

void DiscFollower::Place(const Frame& frame) {
  const orq_frame_info info = frame.info();
  orq_disc disc;
  try {
    disc = frame.disc();
  } catch (const NotFoundError&) {
    throw CliError(ORQ_ERROR_REFUSED,
                   "no planet is seen: point at it, expose longer, or give --region instead of --preset planet");
  }
  const orq_camera_info& camera = camera_.Info();
  const int side = std::max(kLeastSide, static_cast<int>(std::lround(kRoom * disc.diameter)));
  const int width = std::min(UpTo(std::max(side, camera.least_width), camera.width_step), info.width);
  const int height = std::min(UpTo(std::max(side, camera.least_height), camera.height_step), info.height);
  MoveTo(info, disc, width, height);
}

void DiscFollower::Look(const Frame& frame) {
  const auto now = Clock::now();
  if (now - looked_ < kLookEvery) return;
  looked_ = now;
  const orq_frame_info info = frame.info();
  try {
    const orq_disc disc = frame.disc();
    const double driftX = std::abs(disc.x - info.width / 2.0) / info.width;
    const double driftY = std::abs(disc.y - info.height / 2.0) / info.height;
    if (std::max(driftX, driftY) > kMostDrift) MoveTo(info, disc, info.width, info.height);
  } catch (const NotFoundError&) {
    // A cloud: the box stays where it is.
  } catch (const LostError&) {
    // The recording notices by itself, and says so.
  } catch (const CliError& failure) {
    if (failure.status() != ORQ_ERROR_LOST) throw;
  }
}

// Flipped frames show the sensor the other way round.
void DiscFollower::MoveTo(const orq_frame_info& info, const orq_disc& disc, int width, int height) {
  const orq_camera_info& camera = camera_.Info();
  const bool mirrored = (info.flips & ORQ_FLIP_HORIZONTAL) != 0;
  const bool upsideDown = (info.flips & ORQ_FLIP_VERTICAL) != 0;
  const double x = info.start_x + (mirrored ? info.width - disc.x : disc.x) * info.bin;
  const double y = info.start_y + (upsideDown ? info.height - disc.y : disc.y) * info.bin;
  auto box = sized<orq_region>();
  box.width = width;
  box.height = height;
  box.bin = info.bin;
  box.format = info.format;
  const auto place = [](double centre, int size, int sensor) {
    return std::clamp(static_cast<int>(std::lround(centre)) - size / 2, 0, std::max(sensor - size, 0));
  };
  box.start_x = place(x, width * info.bin, camera.sensor_width);
  box.start_y = place(y, height * info.bin, camera.sensor_height);
  const orq_region fitted = camera_->fit(box);
  if (fitted.start_x == info.start_x && fitted.start_y == info.start_y && fitted.width == info.width &&
      fitted.height == info.height)
    return;  // it is as near as the sensor's edge and grid allow
  camera_.Do("cannot move the box", [&fitted](Camera& open) { return open.region(fitted); });
}

}  // namespace orq::cli
