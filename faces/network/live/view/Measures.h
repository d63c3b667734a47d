// What is measured for the page: often enough to be looked at, never more than the computer has time for.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>
#include <vector>

#include "http/Responder.h"
#include "live/view/LiveView.h"

namespace orq::network {

/// Measures the frames of a live view. What several ask for at a time is measured once. Any thread.
class Measures {
 public:
  Measures(const LiveView& view, std::shared_ptr<CameraSlot> slot);
  ~Measures();
  Measures(const Measures&) = delete;
  Measures& operator=(const Measures&) = delete;

  /// Statistics of the last frame but for a quarter of a second; null: there is no frame.
  nlohmann::json statistics();
  /// Temperatures, cooler, GPS, dark: what the camera has to be asked for, at most once a second.
  nlohmann::json devices();
  /// Answers with the stars in `area` (none: all) of a frame newer than number `after`.
  void askStars(const std::optional<orq_area>& area, std::uint64_t after, Responder responder);

 private:
  using Clock = std::chrono::steady_clock;
  struct Question {
    std::optional<orq_area> area;
    std::uint64_t after = 0;
    Responder responder;
    Clock::time_point deadline;
  };
  /// The last answer, and who is about to renew it; others take the old one.
  struct Cache {
    std::mutex mutex;
    nlohmann::json value;
    Clock::time_point until{};
    bool renewing = false;
  };

  template <class Ask>
  static nlohmann::json cached(Cache& cache, std::chrono::milliseconds age, Ask&& ask);
  void run();
  std::vector<Question> takeReady(const SeenFrame& seen);
  static void answer(const std::vector<Question>& questions, const SeenFrame& seen);

  const LiveView& view_;
  const std::shared_ptr<CameraSlot> slot_;
  Cache statistics_;
  Cache devices_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool ending_ = false;
  std::vector<Question> questions_;
  std::thread thread_;
};

}  // namespace orq::network
