// orqcam sensor-id: the identity that the image sensor's maker burnt in.
#include <array>

#include "commands/Commands.h"
#include "link/WireProtocol.h"

namespace orq::cli {

namespace {

constexpr std::size_t kDigits = 22;

ExitCode RunSensorId(const Context& context) {
  Session session(context);
  std::array<unsigned char, kDigits + 1> digits{};
  session.Camera().GetIMX582SensorId(digits.data());
  // The operation does not tell whether the sensor answered.
  unsigned char byte = 0;
  if (!session.Camera().ReadSONYREG(wire::kSensorIdentity, &byte)) session.Fail("the sensor does not answer");
  const std::string id(digits.begin(), digits.begin() + kDigits);
  if (id.find_first_not_of('0') == std::string::npos) {
    throw CliError(Status::Unsupported, "the sensor of this camera tells no identity");
  }
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
