// What stands behind the opaque handles of the C interface.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "orqcam/orqcam.h"
#include "session/CameraWatcher.h"
#include "session/camera/Camera.h"
#include "session/hotpixels/HotPixelView.h"
#include "session/measure/Stars.h"
#include "session/recording/Recording.h"
#include "session/settings/KeptSettings.h"

// Every handle begins with a mark, so that one of another kind is noticed.
struct orq_camera {
  static constexpr std::uint32_t kMark = 0x414D4143;
  std::uint32_t mark = kMark;
  std::shared_ptr<orq::session::Camera> camera;
};

struct orq_camera_list {
  static constexpr std::uint32_t kMark = 0x5453494C;
  std::uint32_t mark = kMark;
  std::vector<orq_camera_entry> entries;
};

struct orq_watch {
  static constexpr std::uint32_t kMark = 0x43544157;
  std::uint32_t mark = kMark;
  std::unique_ptr<orq::session::CameraWatcher> watcher;
};

struct orq_reader {
  static constexpr std::uint32_t kMark = 0x44414552;
  std::uint32_t mark = kMark;
  std::shared_ptr<orq::session::Camera> camera;
  std::shared_ptr<orq::FrameReader> reader;
};

struct orq_setting_list {
  static constexpr std::uint32_t kMark = 0x54544553;
  std::uint32_t mark = kMark;
  std::vector<orq::session::KeptSetting> settings;
};

struct orq_hot_pixel_table {
  static constexpr std::uint32_t kMark = 0x50544F48;
  std::uint32_t mark = kMark;
  orq::session::HotPixelView view;
};

struct orq_star_list {
  static constexpr std::uint32_t kMark = 0x52415453;
  std::uint32_t mark = kMark;
  orq::session::StarMeasures measures;
  double arcsecPerPixel = 0.0;  ///< NaN: unknown
};

struct orq_recording {
  static constexpr std::uint32_t kMark = 0x43455252;
  std::uint32_t mark = kMark;
  std::unique_ptr<orq::session::Recording> recording;
};

namespace orq::api {

/// Throws Failure (Invalid) for null and for handles of another kind.
template <class Handle>
Handle& Demand(Handle* handle, const char* name) {
  if (handle == nullptr) throw session::Failure(session::Status::Invalid, std::string(name) + " is null");
  if (handle->mark != Handle::kMark)
    throw session::Failure(session::Status::Invalid, std::string(name) + " is a handle of another kind");
  return *handle;
}

/// A frame's handle is the frame.
inline SharedFrame& DemandFrame(const orq_frame* frame) {
  if (frame == nullptr) throw session::Failure(session::Status::Invalid, "frame is null");
  auto& shared = *const_cast<SharedFrame*>(reinterpret_cast<const SharedFrame*>(frame));
  if (shared.Mark() != kFrameMark)
    throw session::Failure(session::Status::Invalid, "frame is a handle of another kind");
  return shared;
}

/// The camera stays while this lives, also when its handle is released meanwhile.
inline std::shared_ptr<session::Camera> CameraOf(orq_camera* camera) {
  return Demand(camera, "camera").camera;
}

}  // namespace orq::api
