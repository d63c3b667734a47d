#include "stream/VideoPump.h"

#include <chrono>
#include <utility>

#include "stream/RecordingRoom.h"

namespace orq::indi {
namespace {

using namespace std::chrono_literals;

// The manager keeps the frame that it has sent last until it takes the next one.
constexpr int kKept = 1;
constexpr int kMostHeld = kKept + 1;
constexpr int kLine = 16;
constexpr auto kLook = 50ms;  // how often a pump that waits looks whether it is still wanted

INDI_PIXEL_FORMAT pixelFormatOf(int format, int bayer) {
  switch (bayer) {
    case ORQ_BAYER_RGGB:
      return INDI_BAYER_RGGB;
    case ORQ_BAYER_BGGR:
      return INDI_BAYER_BGGR;
    case ORQ_BAYER_GRBG:
      return INDI_BAYER_GRBG;
    case ORQ_BAYER_GBRG:
      return INDI_BAYER_GBRG;
    default:
      return format == ORQ_FORMAT_RGB24 ? INDI_RGB : INDI_MONO;
  }
}

}  // namespace

VideoPump::VideoPump(INDI::StreamManager& manager, Told failed, Told noRoom)
    : manager_(manager), failed_(std::move(failed)), noRoom_(std::move(noRoom)) {}

VideoPump::~VideoPump() {
  stop();
  if (thread_.joinable()) thread_.join();
}

void VideoPump::start(Camera& camera) {
  stop();
  if (thread_.joinable()) thread_.join();
  camera_ = &camera;
  detail::check(orq_video_start(camera.get()));
  stop_ = false;
  closeRecording_ = false;
  passed_ = 0;
  dropped_ = 0;
  running_ = true;
  thread_ = std::thread([this] { run(); });
}

void VideoPump::stop() {
  if (!running_) return;
  stop_ = true;
  orq_capture_abort(camera_->get());  // a camera that is lost has stopped
  if (thread_.get_id() == std::this_thread::get_id()) return;
  if (thread_.joinable()) thread_.join();
}

void VideoPump::run() {
  skipped_ = 0;
  recorded_ = 0;
  toldOfRoom_ = false;
  try {
    Reader reader = camera_->reader(ORQ_READ_EVERY, kLine);
    Frame last;
    while (!stop_) {
      if (Frame frame = next(reader)) {
        last = std::move(frame);
        if (awaitRoom() && hasRoom(last)) pass(last);
        dropped_ = reader.counters().missed + skipped_;
      }
      if (closeRecording_) {
        // Before the first frame of a long exposure there is none to give; the manager closes all the same.
        if (last)
          pass(last);
        else
          manager_.newFrame(nullptr, 0);
        closeRecording_ = false;
      }
    }
  } catch (const CancelledError&) {
    // Somebody has ended the video.
  } catch (const std::exception& failure) {
    if (!stop_) failed_(failure.what());
  }
  swapped_ = {};
  running_ = false;
}

/// The next frame of a recording, the newest for a live view; none when none came soon.
Frame VideoPump::next(Reader& reader) {
  Frame frame;
  try {
    frame = reader.wait(kLook);
    while (!manager_.isRecording() && reader.counters().waiting != 0) {
      frame = reader.wait(0ms);
      ++skipped_;
    }
  } catch (const TimeoutError&) {
    // Looked for nothing: a long exposure.
  } catch (const MemoryError&) {
    // Frames came while all memory was held; they are counted as missed.
  }
  return frame;
}

/// False: it is to stop.
bool VideoPump::awaitRoom() {
  while (held_.count() >= kMostHeld) {
    if (stop_) return false;
    std::this_thread::sleep_for(500us);
  }
  return !stop_;
}

/// For this frame, for those that the manager has not written yet and for the times of all, which it writes at the
/// end.
bool VideoPump::hasRoom(const Frame& frame) {
  if (!manager_.isRecording()) {
    recorded_ = 0;
    toldOfRoom_ = false;
    return true;
  }
  const std::uint64_t frames = static_cast<std::uint64_t>(held_.count()) + 1;
  std::string why = whyNoRoomFor(manager_, frames * frame.size() + (recorded_ + frames) * sizeof(std::uint64_t));
  if (why.empty()) {
    ++recorded_;
    return true;
  }
  if (!toldOfRoom_) noRoom_(std::move(why));
  toldOfRoom_ = true;
  return false;
}

void VideoPump::expect(const orq_region& region, int bayer) {
  if (!running_) describe({region.width, region.height, region.format, bayer});
}

void VideoPump::describe(const Shape& shape) {
  if (shape == described_) return;
  while (running_ && !stop_ && held_.count() > kKept) std::this_thread::sleep_for(500us);  // they have the old one
  manager_.setPixelFormat(pixelFormatOf(shape.format, shape.bayer), shape.format == ORQ_FORMAT_RAW16 ? 16 : 8);
  manager_.setSize(static_cast<std::uint16_t>(shape.width), static_cast<std::uint16_t>(shape.height));
  described_ = shape;
}

void VideoPump::pass(const Frame& frame) {
  const orq_frame_info info = frame.info();
  describe({info.width, info.height, info.format, info.bayer});
  const std::uint8_t* bytes = frame.data();
  const std::size_t size = frame.size();
  if (info.format == ORQ_FORMAT_RGB24) {  // the library has blue first
    swapped_.resize(size);
    for (std::size_t i = 0; i + 2 < size; i += 3) {
      swapped_[i] = bytes[i + 2];
      swapped_[i + 1] = bytes[i + 1];
      swapped_[i + 2] = bytes[i];
    }
    bytes = swapped_.data();
  }
  const HeldBuffers::Counting counting(held_, size);
  manager_.newFrame(bytes, static_cast<std::uint32_t>(size));
  ++passed_;
}

}  // namespace orq::indi
