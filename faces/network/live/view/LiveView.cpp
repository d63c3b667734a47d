#include "live/view/LiveView.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

namespace orq::network {
namespace {

constexpr std::chrono::milliseconds kLook(100);  // so soon it gives way to others
constexpr std::chrono::seconds kWatcherPatience(20);
constexpr std::chrono::seconds kStaysWatched(4);  // after the last question
constexpr std::chrono::milliseconds kTryEvery(250);
constexpr std::chrono::milliseconds kMayStandStill(500);  // a video that goes on after a return does so sooner
constexpr std::chrono::milliseconds kExpiry(500);         // so often those are looked for that wait in vain
constexpr std::size_t kMostWatchers = 64;
constexpr std::size_t kMostMade = 16;                          // pictures of one frame
constexpr std::size_t kMostBytesOut = std::size_t{256} << 20;  // of pictures that slow watchers are still taking
constexpr std::size_t kArrivals = 32;

nlohmann::json pointsOf(const std::vector<StretchPoints>& stretch) {
  nlohmann::json list = nlohmann::json::array();
  for (const StretchPoints& points : stretch) list.push_back({points.black, points.mid, points.white});
  return list;
}

Response nothingNew() {
  return Response::text(204, "image/jpeg", {});
}

}  // namespace

LiveView::LiveView(std::shared_ptr<CameraSlot> slot)
    : slot_(std::move(slot)), watching_([this] { watch(); }), painting_([this] { paint(); }) {}

LiveView::~LiveView() {
  {
    const std::scoped_lock lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  watching_.join();
  painting_.join();
}

void LiveView::ask(const PictureRequest& wish, std::uint64_t after, const std::string& client,
                   Responder responder) {
  std::vector<Watcher> replaced;
  {
    const std::scoped_lock lock(mutex_);
    lastAsked_ = Clock::now();
    if (after > last_.number) after = 0;  // of a server before this one: no frame here has had that number
    const auto stays = [&](const Watcher& one) { return client.empty() || one.client != client; };
    const auto first = std::stable_partition(watchers_.begin(), watchers_.end(), stays);
    replaced.assign(std::make_move_iterator(first), std::make_move_iterator(watchers_.end()));
    watchers_.erase(first, watchers_.end());
    if (watchers_.size() >= kMostWatchers) throw BusyError("too many watch this camera; close another page");
    if (*bytesOut_ > kMostBytesOut) throw BusyError("slow watchers are still taking their pictures; try later");
    watchers_.push_back({wish, after, client, std::move(responder), lastAsked_ + kWatcherPatience});
  }
  changed_.notify_all();
  for (const Watcher& watcher : replaced) watcher.responder.answer(nothingNew());
}

SeenFrame LiveView::last() const {
  const std::scoped_lock lock(mutex_);
  return last_;
}

SeenFrame LiveView::wait(std::uint64_t after, std::chrono::milliseconds patience) const {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, patience, [&] { return ending_ || last_.number > after; });
  return last_;
}

void LiveView::setRunning(bool running) {
  {
    const std::scoped_lock lock(mutex_);
    running_ = running;
  }
  changed_.notify_all();
}

bool LiveView::isRunning() const {
  const std::scoped_lock lock(mutex_);
  return running_;
}

std::string LiveView::trouble() const {
  const std::scoped_lock lock(mutex_);
  return trouble_;
}

double LiveView::framesPerSecond() const {
  const std::scoped_lock lock(mutex_);
  if (arrivals_.size() < 2) return 0.0;
  const auto now = Clock::now();
  const std::chrono::duration<double> span = arrivals_.back() - arrivals_.front();
  const std::chrono::duration<double> silence = now - arrivals_.back();
  const double each = span.count() / static_cast<double>(arrivals_.size() - 1);
  if (silence.count() > 3.0 * each + 1.0) return 0.0;
  return each > 0.0 ? 1.0 / each : 0.0;
}

void LiveView::setTrouble(std::string trouble) {
  const std::scoped_lock lock(mutex_);
  trouble_ = std::move(trouble);
}

bool LiveView::isWatched() const {
  return !watchers_.empty() || Clock::now() - lastAsked_ < kStaysWatched;
}

bool LiveView::isAnybodyReady() const {
  return std::any_of(
      watchers_.begin(), watchers_.end(), [this](const Watcher& one) { return one.after < last_.number; });
}

void LiveView::paint() {
  for (;;) {
    {
      std::unique_lock lock(mutex_);
      changed_.wait_for(lock, kExpiry, [this] { return ending_ || isAnybodyReady(); });
      if (ending_) return;
    }
    serve();
  }
}

void LiveView::watch() {
  for (;;) {
    {
      std::unique_lock lock(mutex_);
      if (!ending_ && !isWatched()) {
        lock.unlock();
        leaveCapture();
        reader_.reset();
        lock.lock();
        changed_.wait(lock, [this] { return ending_ || isWatched(); });
      }
      if (ending_) break;
    }
    look();
  }
  leaveCapture();
  reader_.reset();
}

// Waits a little for the next frame.
void LiveView::look() {
  try {
    const std::shared_ptr<Camera> camera = slot_->camera();
    if (!reader_) reader_.emplace(camera->reader());
    takeCapture(*camera);
    show(reader_->wait(kLook));
    standsSince_.reset();
    setTrouble({});
  } catch (const TimeoutError&) {
    standsSince_.reset();  // the exposure goes on
  } catch (const Error& error) {
    // Nobody captures, or the camera is away; both end.
    if (error.status() != ORQ_ERROR_STATE && error.status() != ORQ_ERROR_CANCELLED) setTrouble(error.what());
    if (error.status() == ORQ_ERROR_REFUSED || hasEnded(error)) leaveCapture();  // begin another
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, kLook, [this] { return ending_; });
  }
}

// Whether somebody has ended our video, as the camera's abort does, whatever it was meant for.
bool LiveView::hasEnded(const Error& error) {
  if (error.status() != ORQ_ERROR_STATE && error.status() != ORQ_ERROR_CANCELLED) return false;
  const auto now = Clock::now();
  if (!standsSince_) standsSince_ = now;
  return now - *standsSince_ > kMayStandStill;
}

void LiveView::takeCapture(Camera& camera) {
  if (turn_ && (turn_->isWanted() || !isRunning())) leaveCapture();
  if (turn_ || !isRunning() || Clock::now() < nextTry_) return;
  nextTry_ = Clock::now() + kTryEvery;
  try {
    turn_.emplace(slot_->turns().take(Purpose::view, std::chrono::milliseconds(0)));
    video_.emplace(camera.video());
  } catch (const BusyError&) {
    // Somebody else captures: their frames are seen.
  } catch (const Error&) {
    leaveCapture();
    throw;
  }
}

void LiveView::leaveCapture() {
  video_.reset();
  turn_.reset();
  standsSince_.reset();
}

void LiveView::show(Frame frame) {
  {
    const std::scoped_lock lock(mutex_);
    last_.frame = std::move(frame);
    ++last_.number;
    arrivals_.push_back(Clock::now());
    if (arrivals_.size() > kArrivals) arrivals_.erase(arrivals_.begin());
  }
  changed_.notify_all();
}

// Answers whoever waits for what there is now.
void LiveView::serve() {
  std::vector<Watcher> ready;
  {
    const std::scoped_lock lock(mutex_);
    shown_ = last_;
    const auto now = Clock::now();
    const auto waits = [&](const Watcher& one) { return one.after >= shown_.number && now < one.deadline; };
    const auto first = std::stable_partition(watchers_.begin(), watchers_.end(), waits);
    ready.assign(std::make_move_iterator(first), std::make_move_iterator(watchers_.end()));
    watchers_.erase(first, watchers_.end());
    if (!ready.empty()) lastAsked_ = now;
    if (!isWatched()) made_.clear();  // nobody takes them any more
  }
  for (const Watcher& watcher : ready) {
    if (watcher.after >= shown_.number) {
      watcher.responder.answer(nothingNew());
      continue;
    }
    try {
      const auto picture = pictureFor(watcher.wish);
      watcher.responder.answer(answerWith(*picture, picture));
    } catch (const std::exception& error) {
      watcher.responder.answer(Response::failure(500, "internal", error.what()));
    }
  }
  shown_.frame = Frame();  // its memory may be what the camera needs next
}

std::shared_ptr<const LivePicture> LiveView::pictureFor(const PictureRequest& wish) {
  if (madeOf_ != shown_.number) made_.clear();
  madeOf_ = shown_.number;
  const auto known = std::find_if(made_.begin(), made_.end(), [&](const Made& one) { return one.wish == wish; });
  if (known != made_.end()) return known->picture;
  auto made = std::make_unique<LivePicture>(maker_.make(shown_.frame, wish));
  *bytesOut_ += made->jpeg.size();
  // It may outlive this view.
  std::shared_ptr<const LivePicture> picture(made.release(), [count = bytesOut_](const LivePicture* held) {
    *count -= held->jpeg.size();
    delete held;
  });
  if (made_.size() >= kMostMade || *bytesOut_ > kMostBytesOut / 2) made_.clear();
  made_.push_back({wish, picture});
  return picture;
}

Response LiveView::answerWith(const LivePicture& picture, const std::shared_ptr<const LivePicture>& owner) const {
  const orq_frame_info info = shown_.frame.info();
  const nlohmann::json told = {{"number", shown_.number},
                               {"sequence", info.sequence},
                               {"frame", {info.width, info.height}},
                               {"start", {info.start_x, info.start_y}},
                               {"bin", info.bin},
                               {"flips", info.flips},
                               {"crop", {picture.crop.x, picture.crop.y, picture.crop.width, picture.crop.height}},
                               {"size", {picture.width, picture.height}},
                               {"exposure_us", info.exposure_us},
                               {"gain", info.gain},
                               {"time_ms", info.time_unix_ns / 1'000'000},
                               {"stretch", pointsOf(picture.stretch)}};
  Response response;
  response.headers = {{"Content-Type", "image/jpeg"}, {"Orqcam-Picture", told.dump()}};
  response.body = SharedBytes{owner, picture.jpeg.data(), picture.jpeg.size()};
  return response;
}

}  // namespace orq::network
