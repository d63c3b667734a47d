// A socket in the file system that waits for connections.
#pragma once

#include <string>

#include "emulation/common/FileDescriptor.h"

namespace orq {

/// A non-blocking socket at `path`, for this user's programs only. A socket there that nobody serves any more is
/// replaced. Not open, with a reason in `error`, when it cannot be made.
FileDescriptor ListenAt(const std::string& path, std::string& error);

}  // namespace orq
