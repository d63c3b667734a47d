// Automatic exposure and gain on the camera object.
#include <cstdlib>
#include <ctime>

#include "autoctl/ExposureDecision.h"
#include "camera/AutoFrameAccess.h"
#include "camera/CameraBase.h"
#include "support/DbgPrint.h"

namespace {

/// The decision's view of the camera: fields as they are now, setters through the table.
class CameraSetters final : public orq::ExposureSetters {
 public:
  explicit CameraSetters(CCameraBase& camera) : camera_(camera) {}

  orq::ExposureState Now() const override {
    return {.exposureUs = camera_.exposureUs,
            .gain = camera_.gain,
            .expReg = camera_.expReg,
            .autoExp = camera_.AutoExp != 0,
            .autoGain = camera_.AutoGain != 0};
  }
  void SetGain(std::int32_t gain, bool autoGain) override { camera_.SetGain(gain, autoGain); }
  void SetExp(std::uint64_t exposureUs, bool autoExp) override { camera_.SetExp(exposureUs, autoExp); }

 private:
  CCameraBase& camera_;
};

/// Mean of the frame's centre as the delivered image will show it; 0 without any samples.
std::int32_t Measure(CCameraBase& camera, const unsigned char* frame) {
  const orq::AutoGeometry geometry = orq::CurrentAutoGeometry(camera, camera);
  const auto hardBinRuns = [&camera] { return camera.IsHardBinRun(); };
  const bool sixteenBit = camera.b16Bit != 0;
  const orq::AutoFrame view{.buffer = {frame, frame != nullptr ? orq::AutoBufferBytes(camera) : 0},
                            .size = orq::AutoFrameSize(geometry, hardBinRuns),
                            .form = orq::SampleFormOf(sixteenBit, camera.modelName)};
  std::srand(static_cast<unsigned>(std::time(nullptr)));
  orq::SampleSum samples;
  {
    const std::lock_guard lock(camera.autoBufMutex);
    samples = orq::SampleCentre(view, std::rand);
  }
  const bool summedOnHost = !camera.IsHardBinRun() && !sixteenBit;
  return orq::MeanBrightness(
      samples, {.bin = geometry.bin, .summedOnHost = summedOnHost, .twoStage = geometry.TwoStageBin()});
}

}  // namespace

int CCameraBase::AutoExpGain(unsigned char* frame) {
  const std::int32_t mean = Measure(*this, frame);
  if (mean == 0) return 0;  // a frame without samples says nothing
  autoMean = mean;
  const std::int32_t target = DestBrightness;
  const orq::ExposureLimits range{.gainMin = limits.gainMin,
                                  .gainMax = limits.gainMax,
                                  .autoGainMax = AutoGainMax,
                                  .autoExpMaxMs = AutoExpMaxMs};
  CameraSetters setters(*this);
  orq::AdjustExposure(target, mean, range, setters);
  const unsigned long long nowUs = exposureUs;
  DbgPrint(-1, "AutoExpGain", "Dest:%d Mean:%d  gain:%d exp:%llu reg:0x%x\n", target, mean, gain.Load(), nowUs,
           static_cast<unsigned>(expReg.Load()));
  return 0;
}
