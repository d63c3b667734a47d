// orqcam reg: registers, for camera engineers.
#include <orqcam/orqcam-expert.h>

#include <memory>

#include "camera/Device.h"
#include "commands/Commands.h"
#include "options/Quantities.h"
#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr int kLastAddress = 0xFFFF;
constexpr int kLastValue = 0xFF;

struct RegOptions {
  bool unsafe = false;
  std::string chip;
  std::string address;
  std::string value;
  std::string count = "1";
};

// The two register spaces of a camera.
struct Chip {
  const char* name;
  std::int32_t number;
};
constexpr Chip kChips[] = {{"fpga", ORQ_CHIP_FPGA}, {"sensor", ORQ_CHIP_SENSOR}};

const Chip& FindChip(const std::string& name) {
  for (const Chip& chip : kChips)
    if (Lower(name) == chip.name) return chip;
  throw CliError(kExitUsage, "unknown chip '" + name + "'; there are fpga and sensor");
}

int InRange(const std::string& text, int least, int most, const char* what) {
  const std::int64_t number = ParseInteger(text, what);
  if (number < least || number > most) {
    throw CliError(kExitUsage, Format("%s '%s' must be from %d to %d (0x%X)", what, text.c_str(), least, most,
                                      static_cast<unsigned>(most)));
  }
  return static_cast<int>(number);
}

void DemandUnsafe(const RegOptions& options) {
  if (options.unsafe) return;
  throw CliError(kExitUsage, "registers can upset or damage a camera: give --unsafe if you know what you do");
}

void AddRegister(Report& report, const Context& context, Device& camera, const Chip& chip, int address) {
  const auto reg = static_cast<unsigned>(address);
  std::uint8_t value = 0;
  camera.Do(Format("cannot read %s register 0x%04X", chip.name, reg),
            [&](const Camera& open) { check(orq_expert_register_read(open.get(), chip.number, reg, &value)); });
  report.Add(Format("0x%04X", reg), context.json ? Json(value) : Json(Format("0x%02X", value)));
}

ExitCode RunRead(const Context& context, const RegOptions& options) {
  DemandUnsafe(options);
  const Chip& chip = FindChip(options.chip);
  const int first = InRange(options.address, 0, kLastAddress, "address");
  const int count = InRange(options.count, 1, kLastAddress + 1 - first, "count");
  Device camera(context);
  Report report;
  for (int address = first; address < first + count; ++address)
    AddRegister(report, context, camera, chip, address);
  report.Print(context.out, context.json);
  return kExitOk;
}

// Shows what the register then reads: not all of them keep what they are given.
ExitCode RunWrite(const Context& context, const RegOptions& options) {
  DemandUnsafe(options);
  const Chip& chip = FindChip(options.chip);
  const int address = InRange(options.address, 0, kLastAddress, "address");
  const int value = InRange(options.value, 0, kLastValue, "value");
  Device camera(context);
  camera.Do(Format("cannot write %s register 0x%04X", chip.name, static_cast<unsigned>(address)),
            [&](const Camera& open) {
              check(orq_expert_register_write(open.get(), chip.number, static_cast<std::uint32_t>(address),
                                              static_cast<std::uint32_t>(value)));
            });
  Report report;
  AddRegister(report, context, camera, chip, address);
  report.Print(context.out, context.json);
  return kExitOk;
}

}  // namespace

CommandRun AddRegCommand(const Command& app) {
  const Command command = app.AddCommand("reg", "Read and write registers (only with --unsafe)");
  command.RequireCommand();
  auto options = std::make_shared<RegOptions>();
  command.AddFlag("--unsafe", options->unsafe, "Yes, touch registers");
  const Command read = command.AddCommand("read", "Read registers: reg --unsafe read fpga 0x1C");
  const Command write = command.AddCommand("write", "Write a register: reg --unsafe write sensor 0x3008 1");
  for (const Command& each : {read, write}) {
    each.AddOption("CHIP", options->chip, "fpga or sensor").Required();
    each.AddOption("ADDRESS", options->address, "Register address, decimal or 0x...").Required();
  }
  read.AddOption("COUNT", options->count, "How many registers in a row").Default("1");
  write.AddOption("VALUE", options->value, "Byte to write").Required();
  return [options, write](const Context& context) {
    return write.Given() ? RunWrite(context, *options) : RunRead(context, *options);
  };
}

}  // namespace orq::cli
