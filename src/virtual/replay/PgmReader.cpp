#include "virtual/replay/PgmReader.h"

#include <algorithm>

namespace orq {
namespace {

bool IsBlank(std::uint8_t c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}
bool IsDigit(std::uint8_t c) {
  return c >= '0' && c <= '9';
}

/// Reads the header's numbers one after another.
class Header {
 public:
  Header(std::span<const std::uint8_t> bytes, std::size_t position) : bytes_(bytes), at_(position) {}

  /// The next number, held below 10^9; nothing when something else stands there.
  std::optional<std::int64_t> Number() {
    SkipBlanksAndComments();
    if (at_ >= bytes_.size() || !IsDigit(bytes_[at_])) return std::nullopt;
    std::int64_t value = 0;
    for (; at_ < bytes_.size() && IsDigit(bytes_[at_]); ++at_)
      if (value < 100'000'000) value = value * 10 + (bytes_[at_] - '0');
    return value;
  }
  /// Passes the one blank between header and samples.
  bool End() { return at_ < bytes_.size() && IsBlank(bytes_[at_++]); }
  std::size_t Position() const { return at_; }

 private:
  void SkipBlanksAndComments() {
    while (at_ < bytes_.size()) {
      if (bytes_[at_] == '#')
        while (at_ < bytes_.size() && bytes_[at_] != '\n' && bytes_[at_] != '\r') ++at_;
      else if (IsBlank(bytes_[at_]))
        ++at_;
      else
        return;
    }
  }

  std::span<const std::uint8_t> bytes_;
  std::size_t at_;
};

}  // namespace

bool LooksLikePgm(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= 3 && bytes[0] == 'P' && bytes[1] == '5' && (IsBlank(bytes[2]) || bytes[2] == '#');
}

std::optional<RecordedFrames> ReadPgm(std::span<const std::uint8_t> bytes, std::string& error) {
  if (!LooksLikePgm(bytes)) {
    error = "not a binary PGM (P5)";
    return std::nullopt;
  }
  Header header(bytes, 2);
  const auto width = header.Number();
  const auto height = header.Number();
  const auto largest = header.Number();
  if (!width || !height || !largest || !header.End()) {
    error = "PGM header is damaged";
    return std::nullopt;
  }
  if (*largest < 1 || *largest > 65535) {
    error = "PGM maximum value " + std::to_string(*largest) + " is outside 1 to 65535";
    return std::nullopt;
  }
  const int bytesPerSample = *largest > 255 ? 2 : 1;
  const std::span<const std::uint8_t> pixels = bytes.subspan(header.Position());
  if (!CheckGeometry(*width, *height, 1, bytesPerSample, static_cast<std::int64_t>(pixels.size()), error))
    return std::nullopt;
  RecordedFrames recording{.width = static_cast<int>(*width),
                           .height = static_cast<int>(*height),
                           .count = 1,
                           .adcBits = 8 * bytesPerSample,
                           .bayer = -1,
                           .facts = {},
                           .samples = {}};
  recording.samples.resize(static_cast<std::size_t>(*width * *height));
  for (std::size_t i = 0; i < recording.samples.size(); ++i) {
    recording.samples[i] =
        bytesPerSample == 1 ? pixels[i] : static_cast<std::uint16_t>((pixels[2 * i] << 8) | pixels[2 * i + 1]);
  }
  const auto most = std::ranges::max_element(recording.samples);
  if (*most > *largest) {
    error = "PGM sample of " + std::to_string(*most) + " is above the file's maximum value, " +
            std::to_string(*largest);
    return std::nullopt;
  }
  return recording;
}

}  // namespace orq
