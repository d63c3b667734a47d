// orqcam temp: the sensor's temperature, once or again and again.
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>

#include "camera/Device.h"
#include "commands/Commands.h"
#include "output/Chart.h"
#include "output/Watch.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

using Clock = std::chrono::steady_clock;

struct TempOptions {
  bool watch = false;
  WatchOptions watching;
};

struct Readings {
  std::optional<double> celsius;
  std::string trouble;  ///< why there are none
  std::optional<double> volts;
};

// The voltage of a board that does not measure it is asked for once only.
class Gauges {
 public:
  explicit Gauges(Device& camera) : camera_(camera) {
    if (!camera.Can(ORQ_ABILITY_THERMOMETER))
      throw CliError(ORQ_ERROR_UNSUPPORTED, "this camera has no thermometer");
  }

  Readings Read() {
    Readings readings = camera_.Do("cannot read the temperature", ReadCelsius);
    if (first_ || measuresSupply_) readings.volts = camera_.Do("cannot read the temperature", ReadVolts);
    if (first_) measuresSupply_ = readings.volts.has_value();  // a later gap is only a gap
    first_ = false;
    return readings;
  }

 private:
  static Readings ReadCelsius(const Camera& camera) {
    Readings readings;
    try {
      readings.celsius = camera.temperature();
    } catch (const LostError&) {
      throw;
    } catch (const Error& error) {
      readings.trouble = error.what();
    }
    return readings;
  }
  static std::optional<double> ReadVolts(const Camera& camera) {
    try {
      return camera.supplyVoltage();
    } catch (const UnsupportedError&) {
      return std::nullopt;
    }
  }

  Device& camera_;
  bool first_ = true;
  bool measuresSupply_ = false;
};

Report Describe(const Readings& readings) {
  Report report;
  report.Add("temperature", readings.celsius ? Json(*readings.celsius) : Json(nullptr), "C");
  if (readings.volts) report.Add("supply", *readings.volts, "V");
  return report;
}

// Shows reading after reading: lines, objects, or on a terminal a chart that grows.
class WatchView {
 public:
  explicit WatchView(const Context& context) : context_(context) {}

  void Show(double seconds, const Readings& readings) {
    Report report;
    report.Add("time", std::round(seconds * 100.0) / 100.0, "s");
    const Report values = Describe(readings);
    if (context_.json) {
      Json object = report.ToJson();
      object.update(values.ToJson());
      context_.out.Object(object);
    } else if (context_.out.IsTerminal()) {
      context_.out.Line(
          chart_.Add(readings.celsius.value_or(std::numeric_limits<double>::quiet_NaN()), Join(values.ToLines())));
    } else {
      context_.out.Line(Join(report.ToLines()) + ", " + Join(values.ToLines()));
    }
    context_.out.Flush();
  }

 private:
  const Context& context_;
  GrowingChart chart_;
};

ExitCode Watch(const Context& context, Device& camera, const WatchLimits& limits) {
  Gauges gauges(camera);
  WatchView view(context);
  std::uint64_t failed = 0;
  std::uint64_t taken = 0;
  const auto start = Clock::now();
  WatchEvery(limits, [&] {
    const Readings readings = gauges.Read();
    ++taken;
    if (!readings.celsius) ++failed;
    view.Show(std::chrono::duration<double>(Clock::now() - start).count(), readings);
    return true;
  });
  if (failed == 0) return kExitOk;
  throw CliError(ORQ_ERROR_TIMEOUT,
                 Format("the thermometer did not answer %llu of %llu times",
                        static_cast<unsigned long long>(failed), static_cast<unsigned long long>(taken)));
}

ExitCode RunTemp(const Context& context, const TempOptions& options) {
  const WatchLimits limits = options.watching.Limits();
  Device camera(context);
  if (options.watch) return Watch(context, camera, limits);
  const Readings readings = Gauges(camera).Read();
  if (!readings.celsius) throw CliError(ORQ_ERROR_REFUSED, readings.trouble);
  Describe(readings).Print(context.out, context.json);
  return kExitOk;
}

}  // namespace

CommandRun AddTempCommand(const Command& app) {
  const Command command = app.AddCommand("temp", "Show the sensor's temperature and the supply voltage");
  auto options = std::make_shared<TempOptions>();
  const Option watch = command.AddFlag("-w,--watch", options->watch, "Go on reading (until Ctrl-C)");
  options->watching.AddTo(command, &watch);
  return [options](const Context& context) { return RunTemp(context, *options); };
}

}  // namespace orq::cli
