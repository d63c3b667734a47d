// Variance and average of the colours in one block of a raw frame.
#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "image/frame/Algorithm.h"
#include "image/frame/RowMoments.h"

namespace {

constexpr std::size_t kColours = 3;  // red, green, blue
constexpr std::string_view kLetters = "RGB";

struct Moments {
  std::uint64_t count = 0;
  std::uint64_t sum = 0;
  std::uint64_t squares = 0;

  int Average() const { return count == 0 ? 0 : static_cast<int>(sum / count); }
  // The mean's fraction is carried as a remainder, so that neither rounding nor overflow spoils the result.
  int Variance() const {
    if (count == 0) return 0;
    const std::uint64_t average = sum / count;
    const std::uint64_t rest = sum % count;
    const std::uint64_t aboutAverage = squares + count * average * average - 2 * average * sum;
    const std::uint64_t shift = (rest * rest + count - 1) / count;
    return static_cast<int>((aboutAverage - shift) / count);
  }
};

/// A block along one side, cut at the frame.
struct Stretch {
  Stretch(int start, int size, int limit)
      : first(std::clamp(start, 0, std::max(limit, 0))),
        last(static_cast<int>(
            std::clamp<std::int64_t>(std::int64_t{start} + size, first, std::max(limit, first)))) {}

  int first;
  int last;  ///< one behind
};

}  // namespace

void CAlgorithm::Get_variance_ave_RAW(const unsigned char* frame, int x0, int y0, int blockWidth, int blockHeight,
                                      int width, int height, int* variances, int* averages,
                                      bool sixteenBit) const {
  std::array<Moments, kColours> colours;
  const Stretch columns(x0, blockWidth, width);
  const bool any = frame != nullptr && columns.first < columns.last;
  const Stretch rows(y0, any ? blockHeight : 0, height);
  const char* letters = BayerName(static_cast<BayerPattern>(pattern_.Load()));
  const std::size_t stride = sixteenBit ? 2 : 1;
  const bool upperSecond = sixteenBit && !highByteFirst_ && std::endian::native == std::endian::little;
  for (int y = rows.first; y < rows.last; ++y) {
    const std::size_t rowStart = static_cast<std::size_t>(y) * static_cast<std::size_t>(width) * stride;
    const unsigned char* row = frame + rowStart + (upperSecond ? 1 : 0);
    const auto count = static_cast<std::size_t>(columns.last - columns.first);
    const auto rowMoments = orq::MomentsOf(row + static_cast<std::size_t>(columns.first) * stride, count, stride);
    for (std::size_t i = 0; i < rowMoments.size(); ++i) {
      Moments& moments =
          colours[kLetters.find(letters[(y & 1) * 2 + ((columns.first + static_cast<int>(i)) & 1)])];
      moments.count += (count + 1 - i) / 2;
      moments.sum += rowMoments[i].sum;
      moments.squares += rowMoments[i].squares;
    }
  }
  for (std::size_t i = 0; i < kColours; ++i) {
    variances[i] = colours[i].Variance();
    averages[i] = colours[i].Average();
  }
}
