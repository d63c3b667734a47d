// The shape of the frames that a stream is to deliver.
#pragma once

#include <cstdint>

#include "link/SettingsTag.h"

namespace orq {

/// The frames that a stream is to deliver; anything else in the stream is counted and never delivered.
struct StreamFormat {
  std::uint16_t width = 0;   ///< samples per row
  std::uint16_t height = 0;  ///< rows
  std::uint8_t bin = 1;      ///< hardware bin factor
  std::uint8_t format = 0;   ///< wire format bits
  FreshTags fresh = {};      ///< settings tags of the capture's own frames
  /// Bytes of one frame between its header and its trailer; 2^32 - 1 when they do not fit in 32 bits.
  std::uint32_t PayloadBytes() const;
};

}  // namespace orq
