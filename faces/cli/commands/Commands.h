// The commands. Each adds its options to the parser; its `Run` throws CliError or returns the exit code.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "camera/Session.h"
#include "options/ShotSettings.h"
#include "output/ExitCodes.h"

namespace orq::cli {

using CommandRun = std::function<ExitCode(const Context&)>;

CommandRun AddListCommand(CLI::App& app);
CommandRun AddInfoCommand(CLI::App& app);
CommandRun AddControlsCommand(CLI::App& app);
CommandRun AddGetCommand(CLI::App& app);
CommandRun AddSetCommand(CLI::App& app);
CommandRun AddCaptureCommand(CLI::App& app);
CommandRun AddStreamCommand(CLI::App& app);
CommandRun AddModeCommand(CLI::App& app);
CommandRun AddTriggerCommand(CLI::App& app);
CommandRun AddRegCommand(CLI::App& app);
CommandRun AddIdCommand(CLI::App& app);
CommandRun AddSerialCommand(CLI::App& app);
CommandRun AddFlashCommand(CLI::App& app);
CommandRun AddHotPixelsCommand(CLI::App& app);
CommandRun AddSettingsCommand(CLI::App& app);
CommandRun AddProfileCommand(CLI::App& app);
CommandRun AddTempCommand(CLI::App& app);
CommandRun AddCoolerCommand(CLI::App& app);
CommandRun AddFanCommand(CLI::App& app);
CommandRun AddLedCommand(CLI::App& app);
CommandRun AddHubCommand(CLI::App& app);
CommandRun AddGuideCommand(CLI::App& app);
CommandRun AddFocusCommand(CLI::App& app);
CommandRun AddSensorIdCommand(CLI::App& app);
CommandRun AddGpsCommand(CLI::App& app);
CommandRun AddDarkCommand(CLI::App& app);
CommandRun AddDumpControlsCommand(CLI::App& app);
CommandRun AddReportCommand(CLI::App& app);
CommandRun AddHelpCommand(CLI::App& app);

}  // namespace orq::cli
