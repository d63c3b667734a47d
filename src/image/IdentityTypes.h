// The camera's eight-byte identities.
#pragma once

#include <cstdint>

/// Eight opaque bytes: the user's id in flash, or the factory serial number.
struct _ORQ_ID {
  std::uint8_t id[8];
};
