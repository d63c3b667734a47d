// Memory for whole frames.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

namespace orq {

/// Zeroed bytes that take memory where they are touched first. Large ones lie in large pages where the system
/// gives these on request: touching a frame of 50 MB page by page takes longer than receiving it. Throws
/// std::bad_alloc.
std::unique_ptr<std::uint8_t[]> MakeLargeBuffer(std::size_t bytes);
/// The same, not zeroed.
std::unique_ptr<std::uint8_t[]> MakeLargeBufferForOverwrite(std::size_t bytes);

}  // namespace orq
