// Whether what INDI's recorder writes still has room.
#pragma once

#include <stream/streammanager.h>

#include <cstdint>
#include <string>

namespace orq::indi {

/// The recorder of SER files looks at no write: on a full disk it would go on, and leave a file that announces
/// frames which it does not have. Why the recording that `manager` has begun cannot take `bytes` more; empty: it
/// can. On the thread that hands frames over, which closes the file as well.
std::string whyNoRoomFor(const INDI::StreamManager& manager, std::uint64_t bytes);

}  // namespace orq::indi
