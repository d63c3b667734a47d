// The live view of one camera: frames in, pictures out, to as many watchers as there are.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <orqcam/orqcam.hpp>
#include <string>
#include <thread>
#include <vector>

#include "cameras/CameraSlot.h"
#include "http/Responder.h"
#include "live/picture/LivePicture.h"

namespace orq::network {

/// The frame that was seen last, with its number in this view, from 1; 0: there was none yet.
struct SeenFrame {
  std::uint64_t number = 0;
  Frame frame;
};

/// Watches a camera as long as somebody wants pictures: starts a video when nobody else captures, gives way to who
/// wants to, and shows the frames of the others' captures all the same. A picture that several ask for alike is
/// made once, and who asks late gets the newest frame: a slow watcher misses frames and harms nobody. Any thread.
class LiveView {
 public:
  explicit LiveView(std::shared_ptr<CameraSlot> slot);
  ~LiveView();
  LiveView(const LiveView&) = delete;
  LiveView& operator=(const LiveView&) = delete;

  /// Answers with a picture of a frame that is newer than number `after`, or with 204 when none comes for a while.
  /// A client that has a name waits for one picture at a time: what it asks next takes the place of what it asked.
  void ask(const PictureRequest& wish, std::uint64_t after, const std::string& client, Responder responder);
  SeenFrame last() const;
  /// Waits for a frame newer than number `after`; the last one when none comes.
  SeenFrame wait(std::uint64_t after, std::chrono::milliseconds patience) const;
  /// Whether it may start videos of its own.
  void setRunning(bool running);
  bool isRunning() const;
  /// Why it shows nothing new; empty: it does, or may not.
  std::string trouble() const;
  /// Frames a second, of late.
  double framesPerSecond() const;

 private:
  using Clock = std::chrono::steady_clock;
  struct Watcher {
    PictureRequest wish;
    std::uint64_t after = 0;
    std::string client;  ///< empty: it has no name
    Responder responder;
    Clock::time_point deadline;
  };
  struct Made {
    PictureRequest wish;
    std::shared_ptr<const LivePicture> picture;
  };

  void watch();
  void paint();
  bool isWatched() const;
  bool isAnybodyReady() const;
  void look();
  bool hasEnded(const Error& error);
  void takeCapture(Camera& camera);
  void leaveCapture();
  void show(Frame frame);
  void serve();
  std::shared_ptr<const LivePicture> pictureFor(const PictureRequest& wish);
  Response answerWith(const LivePicture& picture, const std::shared_ptr<const LivePicture>& owner) const;
  void setTrouble(std::string trouble);

  const std::shared_ptr<CameraSlot> slot_;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  bool ending_ = false;
  bool running_ = true;
  std::vector<Watcher> watchers_;
  Clock::time_point lastAsked_{};
  SeenFrame last_;
  std::vector<Clock::time_point> arrivals_;  ///< of the last frames
  std::string trouble_;

  // Of the thread that takes frames.
  std::optional<Reader> reader_;
  std::optional<CaptureTurns::Turn> turn_;
  std::optional<Video> video_;
  Clock::time_point nextTry_{};
  std::optional<Clock::time_point> standsSince_;  ///< when the video first said that none runs

  // Of the thread that makes pictures.
  PictureMaker maker_;
  std::vector<Made> made_;  ///< of the last frame
  std::uint64_t madeOf_ = 0;
  /// Of the pictures that somebody still holds. Any thread.
  const std::shared_ptr<std::atomic<std::size_t>> bytesOut_ = std::make_shared<std::atomic<std::size_t>>(0);
  SeenFrame shown_;

  std::thread watching_;
  std::thread painting_;
};

}  // namespace orq::network
