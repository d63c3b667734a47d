// Where the tool keeps what is the user's but no setting.
#pragma once

#include <string>

namespace orq::session {

/// "$XDG_STATE_HOME/orqcam", by default "~/.local/state/orqcam"; empty when the environment names neither. It need
/// not exist.
std::string StateDirectory();

}  // namespace orq::session
