#include "camera/CoolerUse.h"

#include <chrono>
#include <cmath>
#include <functional>

#include "camera/ControlUse.h"
#include "camera/LongWork.h"
#include "output/StatusLine.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

using Clock = std::chrono::steady_clock;

// Tells once a second, on a terminal, how far long work of the cooler is.
class CoolingLine {
 public:
  using Words = std::function<std::string(const orq_cooler_state&)>;

  CoolingLine(Device& camera, Words words) : camera_(camera), words_(std::move(words)) {}

  void Look() {
    const auto now = Clock::now();
    if (!line_.IsShown() || now < next_) return;
    next_ = now + std::chrono::seconds(1);
    line_.Show(words_(camera_->cooler()) +
               Format(", %.0f s", std::chrono::duration<double>(now - start_).count()));
  }

 private:
  Device& camera_;
  Words words_;
  StatusLine line_;
  Clock::time_point start_ = Clock::now();
  Clock::time_point next_{};
};

std::string Celsius(double celsius) {
  return std::isnan(celsius) ? std::string("an unknown temperature") : Format("%.2f C", celsius);
}

}  // namespace

void StartCooler(Device& camera, const std::optional<std::string>& target, bool keep) {
  const orq_cooler_state before = camera->cooler();
  if (target) ApplyControl(camera, "TargetTemp", target);
  camera->cool(target ? static_cast<double>(camera->control(ORQ_CONTROL_TARGET_TEMPERATURE)) : before.target_c,
               keep);
  camera.NoteCooling(true, keep);
}

void AwaitTarget(Device& camera, double seconds) {
  CoolingLine line(
      camera,
      [](const orq_cooler_state& at) {
        return Format("cooling: %s, target %g C, power %.0f %%", Celsius(at.sensor_c).c_str(), at.target_c,
                      at.power);
      });
  RunAbortably(
      camera, [&] { camera->awaitCold(std::chrono::duration<double>(seconds)); }, [&] { line.Look(); });
}

void WarmUp(Device& camera, double seconds) {
  CoolingLine line(
      camera,
      [](const orq_cooler_state& at) {
        return Format("warming up: %s, power %.0f %%", Celsius(at.sensor_c).c_str(), at.power);
      });
  RunAbortably(
      camera, [&] { camera->warmUp(std::chrono::duration<double>(seconds)); }, [&] { line.Look(); });
  camera.NoteCooling(false, false);
}

void CoolerTeller::Look(Device& camera) {
  while (const auto event = camera->nextEvent()) {
    if (event->kind != ORQ_EVENT_COOLER || event->text == told_) continue;
    told_ = event->text;
    if (!told_.empty()) Complain(told_);
  }
}

}  // namespace orq::cli
