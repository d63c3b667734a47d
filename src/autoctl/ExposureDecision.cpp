#include "autoctl/ExposureDecision.h"

#include <algorithm>

#include "support/Wrapped.h"

namespace orq {
namespace {

/// Up to here a too bright frame lowers the gain as well, and a too dark one need not have reached the highest
/// gain before the exposure grows.
constexpr std::uint64_t kShortExposureUs = 100'000;
constexpr std::int32_t kLowestGain = 1;  // of a step down while both are automatic
constexpr std::uint32_t kCoarseLines = 2;

constexpr int kTolerance = 15;         // percent of the target
constexpr int kTwoLineTolerance = 30;  // one line more or less is half the light
constexpr int kOneLineTolerance = 45;

std::int32_t Percent(std::int32_t target, int percent) {
  return Wrapped(std::int64_t{percent} * target) / 100;
}

enum class Verdict : std::uint8_t { Good, TooBright, TooDark };

Verdict Judge(std::int32_t target, std::int32_t mean, int percent) {
  const std::int64_t tolerance = Percent(target, percent);
  if (mean > Wrapped(target + tolerance)) return Verdict::TooBright;
  if (mean < Wrapped(target - tolerance)) return Verdict::TooDark;
  return Verdict::Good;
}

class Adjustment {
 public:
  Adjustment(std::int32_t target, std::int32_t mean, const ExposureLimits& limits, ExposureSetters& camera)
      : target_(target), mean_(mean), limits_(limits), camera_(camera) {}

  void Darken() {
    const ExposureState state = camera_.Now();
    if (!state.autoExp) {
      camera_.SetGain(Wrapped(std::int64_t{state.gain} - SmallStep()), state.autoGain);
      return;
    }
    if (state.exposureUs > kShortExposureUs) {
      Shorten(state);
      return;
    }
    if (ExposureStepCounts(state)) Shorten(state);
    if (!state.autoGain) return;
    LowerGain();
    if (Lines(camera_.Now()) <= kCoarseLines) LowerGain();
  }

  void Brighten() {
    const ExposureState state = camera_.Now();
    if (!state.autoExp) {
      RaiseGain(LargeStep());
      return;
    }
    if (!state.autoGain) {
      if (ExposureStepCounts(state)) Lengthen(state);
      return;
    }
    RaiseGain(SmallStep());
    const ExposureState raised = camera_.Now();
    if (raised.exposureUs <= kShortExposureUs) {
      if (ExposureStepCounts(raised)) Lengthen(raised);
      RaiseGain(SmallStep());
    } else if (raised.gain == limits_.autoGainMax) {
      Lengthen(raised);
    } else {
      RaiseGain(LargeStep());
    }
  }

 private:
  std::int32_t SmallStep() const { return GainRange() / 100; }
  std::int32_t LargeStep() const { return GainRange() / 50; }
  std::int32_t GainRange() const { return Wrapped(std::int64_t{limits_.gainMax} - limits_.gainMin); }
  static std::uint32_t Lines(const ExposureState& state) { return static_cast<std::uint32_t>(state.expReg); }

  /// Exposures of one or two lines change in coarse steps: they are left alone until it is worth it.
  bool ExposureStepCounts(const ExposureState& state) const {
    if (Lines(state) > kCoarseLines) return true;
    const int tolerance = Lines(state) == kCoarseLines ? kTwoLineTolerance : kOneLineTolerance;
    return Judge(target_, mean_, tolerance) != Verdict::Good;
  }

  void Shorten(const ExposureState& state) {
    camera_.SetExp(ShorterExposure(state.exposureUs, Wrapped(std::int64_t{mean_} - target_)), true);
  }
  void Lengthen(const ExposureState& state) {
    const std::int32_t lack = Wrapped(std::int64_t{target_} - mean_);
    camera_.SetExp(LongerExposure(state.exposureUs, lack, limits_.autoExpMaxMs), state.autoExp);
  }
  void LowerGain() {
    const ExposureState state = camera_.Now();
    camera_.SetGain(std::max(kLowestGain, Wrapped(std::int64_t{state.gain} - SmallStep())), state.autoGain);
  }
  void RaiseGain(std::int32_t step) {
    const ExposureState state = camera_.Now();
    camera_.SetGain(std::min(limits_.autoGainMax, Wrapped(std::int64_t{state.gain} + step)), state.autoGain);
  }

  const std::int32_t target_;
  const std::int32_t mean_;
  const ExposureLimits& limits_;
  ExposureSetters& camera_;
};

}  // namespace

std::int32_t ToleranceOf(std::int32_t target) {
  return Percent(target, kTolerance);
}

void AdjustExposure(std::int32_t target, std::int32_t mean, const ExposureLimits& limits,
                    ExposureSetters& camera) {
  Adjustment adjustment(target, mean, limits, camera);
  switch (Judge(target, mean, kTolerance)) {
    case Verdict::TooBright:
      adjustment.Darken();
      break;
    case Verdict::TooDark:
      adjustment.Brighten();
      break;
    case Verdict::Good:
      break;
  }
}

std::uint64_t ShorterExposure(std::uint64_t exposureUs, std::int32_t excess) {
  return exposureUs - static_cast<std::uint64_t>(std::int64_t{excess}) * exposureUs / 400;
}

std::uint64_t LongerExposure(std::uint64_t exposureUs, std::int32_t lack, std::int32_t maxMs) {
  const std::uint64_t more = static_cast<std::uint64_t>(std::int64_t{lack}) * exposureUs / 200;
  const auto sum =
      static_cast<std::int32_t>(static_cast<std::uint32_t>(exposureUs) + static_cast<std::uint32_t>(more));
  const std::int32_t most = Wrapped(std::int64_t{1000} * maxMs);
  return static_cast<std::uint64_t>(std::int64_t{std::min(sum, most)});
}

}  // namespace orq
