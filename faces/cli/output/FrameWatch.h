// What is told about the frames of a run as they come: each thing once.
#pragma once

#include <cstdint>
#include <orqcam/orqcam.hpp>
#include <string>

namespace orq::cli {

/// Tells the user once when frames lose GPS time, and once when it is back. That frames come too fast, so that now
/// and then one's time is missed, is told once for all. Predicted times that proved wrong are told each time.
class GpsWatch {
 public:
  /// `tellsMissed`: whether that matters.
  explicit GpsWatch(bool tellsMissed) : missedTold_(!tellsMissed) {}
  void Look(const orq_frame_info& info, const orq_frame_gps& gps);

 private:
  bool missedTold_;
  bool lost_ = false;
  std::uint64_t wrong_ = 0;  ///< predictions
};

/// Tells the warnings that files bear once.
class WarningWatch {
 public:
  void Look(const orq_saved_files& saved, const orq_frame_info& info);

 private:
  bool told_ = false;
};

}  // namespace orq::cli
