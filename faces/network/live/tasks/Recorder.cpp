#include "live/tasks/Recorder.h"

#include <chrono>
#include <cmath>
#include <exception>
#include <filesystem>
#include <utility>

namespace orq::network {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kLook(100);

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
  const std::scoped_lock alone(starting_);
  if (progress().running) throw BusyError("a recording runs; stop it first");
  const std::string path = folder_.pathFor(wish.name + (wish.isSer ? ".ser" : ".fits"));
  if (std::filesystem::exists(path)) throw BusyError(nameIn(path) + " is there already; choose another name");
  camera->planRecording(path);
  auto turn = std::make_shared<CaptureTurns::Turn>(slot_->turns().take(Purpose::recording));
  if (thread_.joinable()) thread_.join();
  stopping_ = false;
  RecordingProgress begun;
  begun.running = true;
  report(begun);
  thread_ = std::thread([this, camera, path, wish, turn = std::move(turn)]() mutable {
    std::string trouble;
    try {
      record(*camera, path, wish);
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

void Recorder::record(Camera& camera, const std::string& path, const RecordingWish& wish) {
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

}  // namespace orq::network
