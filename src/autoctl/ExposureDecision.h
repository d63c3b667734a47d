// What automatic exposure and gain do about a brightness. Free functions over values and one small interface.
#pragma once

#include <cstdint>

namespace orq {

/// What may change with every setter.
struct ExposureState {
  std::uint64_t exposureUs = 0;
  std::int32_t gain = 0;
  std::int32_t expReg = 0;  ///< exposure in sensor lines; 2 or less widens the tolerance, negative does not
  bool autoExp = false;
  bool autoGain = false;
};

/// What stays during one decision.
struct ExposureLimits {
  std::int32_t gainMin = 0;  ///< the camera's range: steps are fractions of it
  std::int32_t gainMax = 0;
  std::int32_t autoGainMax = 0;   ///< highest gain that an increase may set
  std::int32_t autoExpMaxMs = 0;  ///< longest exposure that an increase may set
};

/// The camera as the decision sees it. Setters may apply something else than they were given: the state is read
/// again after each.
class ExposureSetters {
 public:
  virtual ExposureState Now() const = 0;
  virtual void SetGain(std::int32_t gain, bool autoGain) = 0;
  virtual void SetExp(std::uint64_t exposureUs, bool autoExp) = 0;

 protected:
  ~ExposureSetters() = default;
};

/// How far the brightness may lie from the target to count as reached, 15 % of it, truncated.
std::int32_t ToleranceOf(std::int32_t target);

/// Moves exposure and gain towards the target. `target` and `mean` on the 0 to 255 scale; nothing inside the
/// tolerance.
void AdjustExposure(std::int32_t target, std::int32_t mean, const ExposureLimits& limits, ExposureSetters& camera);

/// `exposureUs` shortened by (mean - target) / 400 of itself, in unsigned 64-bit arithmetic.
std::uint64_t ShorterExposure(std::uint64_t exposureUs, std::int32_t excess);
/// `exposureUs` lengthened by (target - mean) / 200 of itself, at most `maxMs`. Sum and limit are signed 32-bit
/// microseconds that wrap; the result is sign-extended.
std::uint64_t LongerExposure(std::uint64_t exposureUs, std::int32_t lack, std::int32_t maxMs);

}  // namespace orq
