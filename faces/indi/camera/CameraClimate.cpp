// Cooling and guiding: INDI's own properties for them.
#include <indilogger.h>

#include <cmath>

#include "camera/CameraDevice.h"
#include "loop/CrashAid.h"

namespace orq::indi {
namespace {

constexpr auto kLongestWarmUp = std::chrono::hours(2);
constexpr double kShownChange = 0.05;  // degrees, percent

}  // namespace

bool CameraDevice::can(std::uint32_t ability) const {
  return (info_.abilities & ability) != 0;
}

// ---- Cooling ----

void CameraDevice::initClimate() {
  power_[0].fill("CCD_COOLER_VALUE", "Power (%)", "%.1f", 0, 100, 0, 0);
  power_.fill(getDeviceName(), "CCD_COOLER_POWER", "Cooler power", MAIN_CONTROL_TAB, IP_RO, 60, IPS_IDLE);
  cooler_[0].fill("COOLER_ON", "On", ISS_OFF);
  cooler_[1].fill("COOLER_OFF", "Off", ISS_ON);
  cooler_.fill(getDeviceName(), "CCD_COOLER", "Cooler", MAIN_CONTROL_TAB, IP_RW, ISR_1OFMANY, 60, IPS_IDLE);
  warmUp_[0].fill("START", "Up slowly, then off", ISS_OFF);
  warmUp_.fill(getDeviceName(), "ORQ_WARM_UP", "Warm up", MAIN_CONTROL_TAB, IP_RW, ISR_ATMOST1, 60, IPS_IDLE);
}

void CameraDevice::defineClimate() {
  if (can(ORQ_ABILITY_COOLER)) {
    const orq_control_info target = camera_->control("TargetTemp");
    TemperatureN[0].min = static_cast<double>(target.minimum);
    TemperatureN[0].max = static_cast<double>(target.maximum);
    IUUpdateMinMax(&TemperatureNP);
    defineProperty(cooler_);
    defineProperty(power_);
    defineProperty(warmUp_);
  } else if (can(ORQ_ABILITY_THERMOMETER)) {
    // INDI's library remembers for good how a property was defined first; one that could only be read then could
    // not be set of a camera that comes later and has a cooler.
    TemperatureNP.p = IP_RW;
    IDDefNumber(&TemperatureNP, nullptr);
    IDDelete(getDeviceName(), TemperatureNP.name, nullptr);
    TemperatureNP.p = IP_RO;
    defineProperty(&TemperatureNP);
  }
  showClimate();
}

void CameraDevice::deleteClimate() {
  deleteProperty(cooler_);
  deleteProperty(power_);
  deleteProperty(warmUp_);
  if (TemperatureNP.p != IP_RO) return;
  deleteProperty(TemperatureNP.name);
  TemperatureNP.p = IP_RW;
}

int CameraDevice::SetTemperature(double celsius) {
  if (!camera_ || lost_) return -1;
  const bool done = attempt([&] { camera_->cool(std::round(celsius)); });
  showClimate();
  return done ? 0 : -1;
}

bool CameraDevice::setCooler(const SwitchRequest& request) {
  if (request.property == "CCD_COOLER") {
    const bool on = request.chosen() == "COOLER_ON";
    const bool done = attempt([&] {
      if (on)
        camera_->cool(camera_->cooler().target_c);
      else
        camera_->coolerOff();
    });
    if (done && !on) restTemperature();
    showClimate();
    cooler_.setState(done ? IPS_OK : IPS_ALERT);
    cooler_.apply();
    return true;
  }
  if (request.property != "ORQ_WARM_UP") return false;
  if (request.chosen() == "START" && warmUp_.getState() != IPS_BUSY) {
    restTemperature();  // or INDI's ramp would go on to it
    warmUp_.setState(IPS_BUSY);
    runLong(
        {}, [](Camera& camera) { camera.warmUp(kLongestWarmUp); },
        [this](bool done) {
          showClimate();
          warmUp_.reset();
          warmUp_.setState(done ? IPS_OK : IPS_ALERT);
          warmUp_.apply();
        });
  }
  warmUp_.apply();
  return true;
}

/// Nobody goes for a temperature any more.
void CameraDevice::restTemperature() {
  TemperatureNP.s = IPS_IDLE;
  IDSetNumber(&TemperatureNP, nullptr);
}

void CameraDevice::showClimate() {
  try {
    double sensor = TemperatureN[0].value;
    if (can(ORQ_ABILITY_COOLER)) {
      const orq_cooler_state state = camera_->cooler();
      sensor = state.sensor_c;
      const IPState atWork = state.on != 0 ? IPS_BUSY : IPS_IDLE;
      if (power_.getState() != atWork || std::fabs(power_[0].getValue() - state.power) > kShownChange) {
        power_[0].setValue(state.power);
        power_.setState(atWork);
        power_.apply();
      }
      if ((cooler_[0].getState() == ISS_ON) != (state.on != 0)) {
        cooler_[0].setState(state.on != 0 ? ISS_ON : ISS_OFF);
        cooler_[1].setState(state.on != 0 ? ISS_OFF : ISS_ON);
        cooler_.apply();
      }
    } else if (can(ORQ_ABILITY_THERMOMETER)) {
      sensor = camera_->temperature();
    }
    if (std::isnan(sensor) || std::fabs(sensor - TemperatureN[0].value) <= kShownChange) return;
    TemperatureN[0].value = sensor;
    IDSetNumber(&TemperatureNP, nullptr);
  } catch (const Error&) {
    // Not known now: what was known last stays.
  }
}

/// The camera has lost its power, or is there again: what its cooler was told holds only then.
void CameraDevice::markClimate(IPState state) {
  if (cooler_[0].getState() != ISS_ON) return;
  cooler_.setState(state);
  cooler_.apply();
  power_.setState(state);
  power_.apply();
  TemperatureNP.s = state;
  IDSetNumber(&TemperatureNP, nullptr);
}

// ---- Guiding ----

// Both axes at once, each pulse on a thread of its axis. A further pulse on an axis begins when the one before is
// over.
IPState CameraDevice::guide(int direction, std::uint32_t ms) {
  if (!camera_ || lost_) return IPS_ALERT;
  if (ms == 0) return IPS_OK;
  const bool northSouth = direction == ORQ_GUIDE_NORTH || direction == ORQ_GUIDE_SOUTH;
  Worker& worker = northSouth ? guideNorthSouth_ : guideEastWest_;
  worker.run([this, direction, ms, northSouth, poster = posts_.poster()] {
    std::string trouble;
    try {
      const PulseUnderWay pulse(camera_->get());
      camera_->guide(direction, std::chrono::milliseconds(ms));
    } catch (const CancelledError&) {
      // Somebody has aborted: the line is off.
    } catch (const Error& failure) {
      trouble = failure.what();
    }
    poster.post([this, northSouth, trouble] {
      if (!trouble.empty()) LOGF_ERROR("%s", trouble.c_str());
      GuideComplete(northSouth ? AXIS_DE : AXIS_RA);
    });
  });
  return IPS_BUSY;
}

/// All guide lines go off, and pulses that wait for the present ones are forgotten.
void CameraDevice::endPulses() {
  for (Worker* axis : {&guideNorthSouth_, &guideEastWest_}) axis->cancel();
  for (Worker* axis : {&guideNorthSouth_, &guideEastWest_})
    axis->finish([this] { orq_capture_abort(camera_->get()); });
  // Of a pulse that had not begun nobody else tells.
  if (getProperty("TELESCOPE_TIMED_GUIDE_NS").getState() == IPS_BUSY) GuideComplete(AXIS_DE);
  if (getProperty("TELESCOPE_TIMED_GUIDE_WE").getState() == IPS_BUSY) GuideComplete(AXIS_RA);
}

}  // namespace orq::indi
