// orqcam sensor-id: the identity that the image sensor's maker burnt in.
#include "camera/Device.h"
#include "commands/Commands.h"

namespace orq::cli {

namespace {

ExitCode RunSensorId(const Context& context) {
  Device camera(context);
  const std::string id =
      camera.Do("the sensor does not answer", [](const Camera& open) { return open.sensorId(); });
  Report report;
  report.Add("sensor_id", id);
  report.Print(context.out, context.json);
  return kExitOk;
}

}  // namespace

CommandRun AddSensorIdCommand(const Command& app) {
  app.AddCommand("sensor-id", "Show the identity of the image sensor");
  return RunSensorId;
}

}  // namespace orq::cli
