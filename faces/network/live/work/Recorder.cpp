#include "live/work/Recorder.h"

#include <chrono>
#include <cmath>
#include <exception>
#include <filesystem>
#include <utility>

namespace orq::network {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kLook(100);
constexpr int kLine = 64;  // frames that wait for the disk, as far as the camera's memory goes

std::string nameIn(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

}  // namespace

Recorder::~Recorder() {
  stop();
  if (thread_.joinable()) thread_.join();
}

void Recorder::start(const RecordingWish& wish) {
  const std::shared_ptr<Camera> camera = slot_->camera();
  const std::scoped_lock lock(mutex_);
  if (progress_.running) throw BusyError("a recording runs; stop it first");
  const std::string path = folder_.pathFor(wish.name + (wish.isSer ? ".ser" : "-{n:05}.fits"));
  if (wish.isSer) {
    camera->planRecording(path);
  } else {
    camera->checkSaving(path, 1);
  }
  auto turn = std::make_shared<CaptureTurns::Turn>(slot_->turns().take(Purpose::recording));
  if (thread_.joinable()) thread_.join();
  stopping_ = false;
  progress_ = RecordingProgress();
  progress_.running = true;
  thread_ = std::thread([this, camera, path, wish, turn = std::move(turn)]() mutable {
    std::string trouble;
    try {
      if (wish.isSer) {
        recordSer(*camera, path, wish);
      } else {
        recordFits(*camera, path, wish);
      }
    } catch (const std::exception& error) {
      trouble = error.what();
    }
    turn.reset();
    const std::scoped_lock done(mutex_);
    if (!trouble.empty()) progress_.trouble = trouble;
    progress_.running = false;
  });
}

void Recorder::stop() {
  stopping_ = true;
}

RecordingProgress Recorder::progress() const {
  const std::scoped_lock lock(mutex_);
  return progress_;
}

void Recorder::report(const RecordingProgress& progress) {
  const std::scoped_lock lock(mutex_);
  progress_ = progress;
}

void Recorder::recordSer(Camera& camera, const std::string& path, const RecordingWish& wish) {
  auto limits = sized<orq_recording_options>();
  limits.frames = wish.frames;
  limits.duration_us = static_cast<std::uint64_t>(std::llround(wish.seconds * 1e6));
  const orq_recording_plan plan = camera.planRecording(path, limits);
  Recording recording = camera.record(plan.file, limits);
  const Video video = camera.video();
  bool told = false;
  for (;;) {
    const orq_recording_state state = recording.state();
    RecordingProgress now;
    now.running = true;
    now.file = nameIn(plan.file);
    now.frames = state.frames;
    now.missed = state.missed;
    now.lost = state.lost;
    now.bytes = state.bytes;
    now.seconds = state.seconds;
    now.trouble = state.trouble;
    report(now);
    if (state.end != ORQ_RECORDING_RUNS) return;
    if (stopping_ && !told) recording.stop();
    told = stopping_;
    try {
      recording.wait(kLook);
    } catch (const TimeoutError&) {
      // It goes on.
    }
  }
}

void Recorder::recordFits(Camera& camera, const std::string& path, const RecordingWish& wish) {
  Reader reader = camera.reader(ORQ_READ_EVERY, kLine);
  const Video video = camera.video();
  auto options = sized<orq_save_options>();
  options.fast = 1;
  RecordingProgress now;
  now.running = true;
  const auto begin = Clock::now();
  const std::uint64_t lostBefore = camera.counters().lost;
  while (!stopping_ && (wish.frames == 0 || now.frames < wish.frames) &&
         (wish.seconds == 0.0 || now.seconds < wish.seconds)) {
    now.seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    try {
      const Frame frame = reader.wait(kLook);
      options.number = now.frames + 1;
      const orq_saved_files saved = frame.saveFiles(path, options);
      now.file = nameIn(saved.file);
      now.bytes += std::filesystem::file_size(saved.file);
      ++now.frames;
    } catch (const TimeoutError&) {
      // The exposure goes on.
    }
    now.missed = reader.counters().missed;
    const std::uint64_t lost = camera.counters().lost;
    now.lost = lost >= lostBefore ? lost - lostBefore : 0;
    report(now);
  }
}

}  // namespace orq::network
