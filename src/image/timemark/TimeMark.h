// The time mark: date and time printed into a frame's pixels.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <span>

namespace orq {

inline constexpr int kMarkCharacters = 8;
inline constexpr int kMarkLeastWidth = 200;  ///< pixels; a smaller frame gets no mark
inline constexpr int kMarkLeastHeight = 23;

/// A frame of 8-bit samples, row by row: `width` * `height` pixels of `channels` bytes each (1 or 3).
struct MarkedFrame {
  std::span<std::uint8_t> bytes;
  int width = 0;
  int height = 0;
  int channels = 1;
};

/// The two groups of characters.
struct MarkText {
  std::array<char, kMarkCharacters> date{};  ///< year, month counted from 0, day
  std::array<char, kMarkCharacters> time{};  ///< hour:minute:second
};

MarkText MarkTextOf(const std::tm& when);

/// Mean of the pixels behind the mark, 0 to 255; a colour pixel counts with the mean of its three bytes. The frame
/// is at least `kMarkLeastWidth` x `kMarkLeastHeight`.
int MarkBackground(const MarkedFrame& frame);

/// The shade that can be read on a background of this brightness.
std::uint8_t MarkInk(int background);

/// Prints `text` where it belongs in the frame; nothing into a frame too small for it. Characters other than
/// digits and the colon stay blank.
void DrawMark(const MarkedFrame& frame, const MarkText& text);

}  // namespace orq
