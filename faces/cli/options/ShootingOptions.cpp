#include "options/ShootingOptions.h"

namespace orq::cli {

void ShootingOptions::AddTo(const Command& command) {
  settings.AddTo(command);
  corrections.AddTo(command);
  cooling.AddTo(command);
  automatic.AddTo(command);
}

void ShootingOptions::AddReconnectTo(const Command& command) {
  command.AddFlag("--reconnect", reconnect,
                  "After an unplug wait for the same camera and go on with the same settings");
}

}  // namespace orq::cli
