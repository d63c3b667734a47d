// Where what is the user's but no setting is kept.
#pragma once

#include <string>

namespace orq::session {

/// "$XDG_STATE_HOME/orqcam", by default "~/.local/state/orqcam"; empty when the environment names neither. It need
/// not exist.
std::string StateDirectory();
/// The debug log in it; empty as well.
std::string LogPath();

}  // namespace orq::session
