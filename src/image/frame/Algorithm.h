// The image algorithm object: what a frame needs beyond single registers.
#pragma once

#include <cstdint>

#include "support/threads/Relaxed.h"

/// Where the red sample stands in the 2x2 Bayer block of the top-left corner.
enum class BayerPattern : int { RG = 0, BG = 1, GR = 2, GB = 3 };

/// FITS name of a pattern: "RGGB", "BGGR", "GRBG", "GBRG".
const char* BayerName(BayerPattern pattern);
/// The pattern seen when the frame's origin moves by (dx, dy) samples (only their parity matters).
BayerPattern ShiftBayer(BayerPattern pattern, int dx, int dy);
/// The pattern seen after mirroring a frame of the given size horizontally and/or vertically.
BayerPattern FlipBayer(BayerPattern pattern, bool horizontal, bool vertical, int width, int height);

/// Colour conversions, dark subtraction and colour statistics of raw frames. One object per camera; `SetBayer` and
/// `SetHighByteFirst` are any-thread, the others may run on several threads at once.
class CAlgorithm {
 public:
  /// The Bayer pattern of the frames that follow (0 RGGB, 1 BGGR, 2 GRBG, 3 GBRG; others count as 0).
  void SetBayer(int pattern);
  /// How the samples of 16-bit frames lie in memory for `Get_variance_ave_RAW`: most significant byte first, or
  /// (as long as nothing is said) in host order.
  void SetHighByteFirst(bool highByteFirst);
  /// Sets up the colour conversion: ITU-R BT.601 luminance weights in units of 1/256 (red 77, green 150,
  /// blue 29; their sum is 256, so that grey keeps its value). To be called before `BayerToY8`.
  void RGBYUV_Init();

  /// Demosaics `width` x `height` 8-bit Bayer samples into 3 bytes per pixel in the order blue, green, red.
  /// Bilinear: a missing colour is the mean of its two or four nearest samples, rounded to the nearest
  /// integer, halves up; beyond a border the frame goes on as its mirror image about the border sample, which
  /// keeps the colours in step. Frames narrower or lower than 2 samples are copied as grey. `bgr` must not
  /// overlap `bayer`. Allocates nothing.
  void BayerToRGB24(const std::uint8_t* bayer, int width, int height, std::uint8_t* bgr) const;
  /// Luminance of the demosaiced frame, one byte per pixel: (77 R + 150 G + 29 B + 128) / 256 of exactly the
  /// colours that `BayerToRGB24` delivers. `luminance` must not overlap `bayer`. Allocates nothing.
  void BayerToY8(const std::uint8_t* bayer, int width, int height, std::uint8_t* luminance) const;

  /// Subtracts a dark image from a frame of `width` x `height` samples, in place: each sample becomes
  /// sample - dark + average, clamped to its range, so that the frame keeps its level. `average` is the mean of
  /// `dark` (more than 255 counts as 255). `wide` frames hold 16-bit samples, aligned as such and left-aligned;
  /// dark values and average then count 256 times. Nothing without a frame or a dark image. Allocates nothing.
  void SubtractDark(std::uint8_t* frame, int width, int height, unsigned average, const std::uint8_t* dark,
                    bool wide) const;

  /// Variance and average of the red, the green and the blue samples (in this order) of one block of a raw Bayer
  /// frame of `width` x `height` samples: all samples of the colour inside the block, each as 0 to 255 (the upper
  /// half of 16-bit ones); both results truncated. A block that reaches beyond the frame is cut at it; a colour
  /// without samples, like all of no frame, has 0 and 0. Samples outside the frame are not read.
  void Get_variance_ave_RAW(const unsigned char* frame, int x0, int y0, int blockWidth, int blockHeight, int width,
                            int height, int* variances, int* averages, bool sixteenBit) const;

 private:
  std::uint16_t redWeight_ = 0;
  std::uint16_t greenWeight_ = 0;
  std::uint16_t blueWeight_ = 0;
  orq::Relaxed<int> pattern_{0};
  orq::Relaxed<bool> highByteFirst_{false};
};
