// The GPS receiver of a virtual camera: no fix, a simulated route, or a recorded log.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "virtual/bus/VirtualOptions.h"
#include "virtual/gps/GpsFix.h"
#include "virtual/gps/NmeaReader.h"

namespace orq {

/// Deterministic: what it knows is a function of device time alone. Constant after construction.
class GpsReceiver {
 public:
  /// A record's year counts from 2000 and is taken from here on.
  static constexpr int kFirstYear = 2023;

  /// Nothing and a one-line reason in `error` when the log cannot be used.
  static std::optional<GpsReceiver> Make(const VirtualGps& options, std::string& error);

  /// A receiver that repeats `epochs`. Where they begin before `kFirstYear`, their dates move forward by the
  /// smallest multiple of four years that ends that. After the last one it goes on from there.
  explicit GpsReceiver(std::vector<NmeaEpoch> epochs);
  /// A receiver that has no fix, or one on its way.
  explicit GpsReceiver(const VirtualGps& options) : options_(options) {}

  /// What it knows `seconds` after the camera was made.
  GpsFix At(double seconds) const;

 private:
  GpsFix Recorded(std::chrono::nanoseconds at) const;
  GpsFix Simulated(double seconds) const;

  VirtualGps options_;
  std::vector<NmeaEpoch> epochs_;
};

/// An angle in degrees as digits of degrees, minutes and five decimals of a minute: rounded, sign dropped.
template <std::size_t N>
std::array<char, N> AngleText(double degrees);
extern template std::array<char, 10> AngleText<10>(double degrees);  ///< ddmm.mmmmm
extern template std::array<char, 11> AngleText<11>(double degrees);  ///< dddmm.mmmmm

}  // namespace orq
