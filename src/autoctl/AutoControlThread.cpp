// The automatic-control worker.
#include <unistd.h>

#include <tuple>

#include "camera/CameraBase.h"
#include "support/DbgPrint.h"
#include "support/Wrapped.h"

namespace {

constexpr useconds_t kSettlingUs = 200'000;
constexpr useconds_t kNapUs = 10'000;
constexpr int kNapsPerCycle = 10;
constexpr int kCyclesBetweenBalances = 2;  // the counter passes 0, 1 and 2; the cycle after that balances

/// Whether a current frame waits in `autoBuf`; a limit of 0 says no whatever the exposure.
bool MayMeasure(const CCameraBase& camera, std::int32_t fixedUs) {
  const std::int32_t limit = camera.autoGateLimit;
  return camera.exposureUs < static_cast<std::uint64_t>(std::int64_t{limit}) && fixedUs < limit;
}

/// Measures and adjusts, and counts for onlookers how often in a row that changed nothing.
class Cycles {
 public:
  explicit Cycles(CCameraBase& camera) : camera_(camera) {}

  void Run() {
    if (camera_.AutoExp != 0 || camera_.AutoGain != 0) camera_.AutoExpGain(camera_.autoBuf.get());
    if (camera_.bIsColor != 0 && camera_.autoWB != 0) BalanceInTurn();
    const Settings now = Current();
    camera_.autoSteadyCycles = now == last_ ? camera_.autoSteadyCycles + 1 : 0;
    last_ = now;
  }

 private:
  using Settings = std::tuple<std::uint64_t, std::int32_t, std::int32_t, std::int32_t>;

  Settings Current() const { return {camera_.exposureUs, camera_.gain, camera_.WB_Red, camera_.WB_Blue}; }

  void BalanceInTurn() {
    if (sinceBalance_ <= kCyclesBetweenBalances) {
      ++sinceBalance_;
      return;
    }
    camera_.AutoWhiBal(camera_.autoBuf.get());
    sinceBalance_ = 0;
  }

  CCameraBase& camera_;
  int sinceBalance_ = 0;
  Settings last_ = Current();
};

void SetGainExpFunc(bool* running, void* param) {
  CCameraBase& camera = *static_cast<CCameraBase*>(param);
  const std::int32_t fixedUs = orq::Wrapped(std::int64_t{camera.autoGateA} + camera.autoGateB);
  usleep(kSettlingUs);
  Cycles cycles(camera);
  while (ThreadCtrl::KeepRunning(running)) {
    if (MayMeasure(camera, fixedUs)) cycles.Run();
    for (int i = 0; i < kNapsPerCycle; ++i) {
      usleep(kNapUs);
      if (!ThreadCtrl::KeepRunning(running)) break;
    }
  }
  DbgPrint(-1, "SetGainExpFunc", "Thread SetGainExpFunc Exit!\n");
}

}  // namespace

int CCameraBase::StartAutoControlThr() {
  if (!autoThr.IsActive()) {  // whoever watches a new worker sees nothing of the last one
    autoMean = 0;
    autoSteadyCycles = 0;
  }
  autoThr.InitFuncPt(SetGainExpFunc);
  return autoThr.Start(this);
}

void CCameraBase::StopAutoControlThr() {
  autoThr.Stop();
}
