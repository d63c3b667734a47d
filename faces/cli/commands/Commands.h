// The commands. Each adds its options to the parser; its `Run` throws CliError or returns the exit code.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "camera/Context.h"
#include "options/CommandLine.h"
#include "options/ShotSettings.h"
#include "output/ExitCodes.h"

namespace orq::cli {

using CommandRun = std::function<ExitCode(const Context&)>;

CommandRun AddListCommand(const Command& app);
CommandRun AddInfoCommand(const Command& app);
CommandRun AddControlsCommand(const Command& app);
CommandRun AddGetCommand(const Command& app);
CommandRun AddSetCommand(const Command& app);
CommandRun AddGainCommand(const Command& app);
CommandRun AddCaptureCommand(const Command& app);
CommandRun AddStreamCommand(const Command& app);
CommandRun AddRecordCommand(const Command& app);
CommandRun AddSerCommand(const Command& app);
CommandRun AddModeCommand(const Command& app);
CommandRun AddTriggerCommand(const Command& app);
CommandRun AddRegCommand(const Command& app);
CommandRun AddIdCommand(const Command& app);
CommandRun AddSerialCommand(const Command& app);
CommandRun AddFlashCommand(const Command& app);
CommandRun AddHotPixelsCommand(const Command& app);
CommandRun AddSettingsCommand(const Command& app);
CommandRun AddProfileCommand(const Command& app);
CommandRun AddTempCommand(const Command& app);
CommandRun AddCoolerCommand(const Command& app);
CommandRun AddFanCommand(const Command& app);
CommandRun AddLedCommand(const Command& app);
CommandRun AddHubCommand(const Command& app);
CommandRun AddGuideCommand(const Command& app);
CommandRun AddFocusCommand(const Command& app);
CommandRun AddFocusAidCommand(const Command& app);
CommandRun AddSensorIdCommand(const Command& app);
CommandRun AddGpsCommand(const Command& app);
CommandRun AddDarkCommand(const Command& app);
CommandRun AddDumpControlsCommand(const Command& app);
CommandRun AddReportCommand(const Command& app);
CommandRun AddServeCommand(const Command& app);
CommandRun AddHelpCommand(const Command& app);

}  // namespace orq::cli
