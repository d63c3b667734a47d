#include "session/fits/FitsCube.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <string_view>

#include "session/fits/FitsFile.h"
#include "session/fits/FitsKeywords.h"
#include "session/fits/FitsTable.h"
#include "session/fits/Keywords.h"
#include "support/Text.h"

namespace orq::session {
namespace {

constexpr std::size_t kSpareCards = 36;
constexpr std::size_t kValueColumn = 10;
constexpr std::size_t kValueChars = 20;
constexpr std::uint64_t kUnsignedZero = 32'768;  // what BZERO is for unsigned samples

std::string_view CardAt(std::string_view header, std::size_t index) {
  return header.substr(index * kFitsCardChars, kFitsCardChars);
}

std::string_view NameOf(std::string_view card) {
  const std::string_view name = card.substr(0, 8);
  return name.substr(0, name.find_last_not_of(' ') + 1);
}

// Cards that the format defines are those of this file's own image.
bool IsStructure(std::string_view card) {
  const std::string_view name = NameOf(card);
  if (name == kHistory) return false;
  return name.starts_with("NAXIS") || std::ranges::find(kFormatKeywords, name) != std::end(kFormatKeywords);
}

// The cards as CFITSIO writes them, taken from a file of one pixel.
std::string TextOf(const std::vector<FitsCard>& cards) {
  constexpr std::array<std::uint8_t, 1> kPixel{};
  const std::vector<std::uint8_t> file =
      EncodeFits({.width = 1, .height = 1, .samples = kPixel}, cards, FitsForm::Plain);
  const std::string_view header(reinterpret_cast<const char*>(file.data()), file.size());
  std::string text;
  for (std::size_t i = 0; (i + 1) * kFitsCardChars <= header.size(); ++i) {
    const std::string_view card = CardAt(header, i);
    if (NameOf(card) == "END") break;
    if (!IsStructure(card)) text += card;
  }
  return text;
}

std::string_view LastAxis(const CubeShape& shape) {
  return shape.planes == 3 ? "NAXIS4" : "NAXIS3";
}

std::string Structure(const CubeShape& shape, std::uint64_t frames) {
  const bool wide = shape.bytesPerSample == 2;
  const bool colour = shape.planes == 3;
  std::string text = LogicalCard("SIMPLE", true, "a FITS file");
  text += IntegerCard("BITPIX", wide ? 16 : 8, "bits of a sample");
  text += IntegerCard("NAXIS", colour ? 4 : 3, "number of axes");
  text += IntegerCard("NAXIS1", shape.width, "columns");
  text += IntegerCard("NAXIS2", shape.height, "rows");
  if (colour) text += IntegerCard("NAXIS3", 3, "red, green, blue");
  text += IntegerCard(LastAxis(shape), frames, "frames");
  text += LogicalCard("EXTEND", true, "there may be extensions");
  if (wide) {
    text += IntegerCard("BZERO", kUnsignedZero, "samples are unsigned");
    text += IntegerCard("BSCALE", 1, "and not scaled");
  }
  return text;
}

std::optional<std::uint64_t> IntegerOf(std::string_view header, std::string_view name) {
  for (std::size_t i = 0; (i + 1) * kFitsCardChars <= header.size(); ++i) {
    const std::string_view card = CardAt(header, i);
    if (NameOf(card) != name) continue;
    std::string_view value = card.substr(kValueColumn, kValueChars);
    value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    return error == std::errc() ? std::optional(number) : std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

std::size_t FitsHeaderBytes(std::string_view start) {
  for (std::size_t i = 0; (i + 1) * kFitsCardChars <= start.size(); ++i) {
    if (NameOf(CardAt(start, i)) != "END") continue;
    const std::size_t bytes = WholeBlocks((i + 1) * kFitsCardChars);
    return bytes <= start.size() ? bytes : 0;
  }
  return 0;
}

CubeShape CubeShapeOf(const FrameRegion& region) {
  return {.width = static_cast<std::uint64_t>(region.width),
          .height = static_cast<std::uint64_t>(region.height),
          .planes = region.format == ORQ_IMG_RGB24 ? 3U : 1U,
          .bytesPerSample = region.format == ORQ_IMG_RAW16 ? 2U : 1U};
}

std::vector<std::uint8_t> CubeHeader(const CubeShape& shape, std::uint64_t frames,
                                     const std::vector<FitsCard>& cards, std::size_t bytes) {
  std::string text = Structure(shape, frames) + TextOf(cards);
  if (bytes == 0) bytes = WholeBlocks(text.size() + (kSpareCards + 1) * kFitsCardChars);
  text.resize(bytes - kFitsCardChars, ' ');
  text += "END";
  text.resize(bytes, ' ');
  return {text.begin(), text.end()};
}

void CubeSamples(std::span<const std::uint8_t> pixels, IMG_TYPE format, std::vector<std::uint8_t>& samples) {
  samples.resize(pixels.size());
  if (format == ORQ_IMG_RAW16) {
    for (std::size_t i = 0; i + 1 < pixels.size(); i += 2) {
      std::uint16_t sample = 0;
      std::memcpy(&sample, pixels.data() + i, sizeof sample);
      sample ^= 0x8000U;  // the offset of unsigned samples
      samples[i] = static_cast<std::uint8_t>(sample >> 8U);
      samples[i + 1] = static_cast<std::uint8_t>(sample);
    }
  } else if (format == ORQ_IMG_RGB24) {
    const std::size_t count = pixels.size() / 3;
    for (std::size_t colour = 0; colour < 3; ++colour) {
      const std::uint8_t* const from = pixels.data() + (2 - colour);
      std::uint8_t* const to = samples.data() + colour * count;
      for (std::size_t i = 0; i < count; ++i) to[i] = from[3 * i];
    }
  } else {
    std::ranges::copy(pixels, samples.begin());
  }
}

std::vector<std::uint16_t> SamplesOfCube(std::span<const std::uint8_t> samples, const CubeShape& shape) {
  const auto pixels = static_cast<std::size_t>(shape.width * shape.height);
  const auto planes = static_cast<std::size_t>(shape.planes);
  const bool wide = shape.bytesPerSample == 2;
  std::vector<std::uint16_t> numbers(pixels * planes);
  for (std::size_t plane = 0; plane < planes; ++plane) {
    for (std::size_t i = 0; i < pixels; ++i) {
      const std::size_t from = plane * pixels + i;
      const int number = wide ? (samples[2 * from] << 8 | samples[2 * from + 1]) ^ 0x8000 : samples[from];
      numbers[i * planes + plane] = static_cast<std::uint16_t>(number);
    }
  }
  return numbers;
}

std::optional<CubeFacts> ReadCubeHeader(std::span<const std::uint8_t> start) {
  const std::string_view text(reinterpret_cast<const char*>(start.data()), start.size());
  if (!text.starts_with("SIMPLE  =")) return std::nullopt;
  CubeFacts facts;
  facts.headerBytes = FitsHeaderBytes(text);
  if (facts.headerBytes == 0) return std::nullopt;
  const std::string_view header = text.substr(0, facts.headerBytes);
  const std::uint64_t axes = IntegerOf(header, "NAXIS").value_or(0);
  const std::uint64_t bits = IntegerOf(header, "BITPIX").value_or(0);
  if ((axes != 3 && axes != 4) || (bits != 8 && bits != 16)) return std::nullopt;
  facts.shape = {.width = IntegerOf(header, "NAXIS1").value_or(0),
                 .height = IntegerOf(header, "NAXIS2").value_or(0),
                 .planes = axes == 4 ? IntegerOf(header, "NAXIS3").value_or(0) : 1,
                 .bytesPerSample = bits / 8};
  const auto frames = IntegerOf(header, LastAxis(facts.shape));
  constexpr std::uint64_t kMostSide = 1U << 20U;
  constexpr std::uint64_t kMostFrames = 0x7FFF'FFFF;
  constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 62U;
  const CubeShape& shape = facts.shape;
  // Samples of 16 bits are unsigned: others have other values.
  const bool sound = shape.width > 0 && shape.width <= kMostSide && shape.height > 0 &&
                     shape.height <= kMostSide && (axes == 3 || shape.planes == 3) && frames &&
                     *frames <= std::min(kMostFrames, kMostBytes / shape.FrameBytes()) &&
                     (bits == 8 || IntegerOf(header, "BZERO") == kUnsignedZero);
  if (!sound) return std::nullopt;
  facts.frames = *frames;
  return facts;
}

std::vector<FitsCard> CubeCards(std::span<const std::uint8_t> header) {
  const std::string_view text(reinterpret_cast<const char*>(header.data()), header.size());
  std::vector<FitsCard> cards;
  for (std::size_t i = 0; (i + 1) * kFitsCardChars <= text.size(); ++i) {
    const std::string_view card = CardAt(text, i);
    if (NameOf(card) == "END") break;
    if (IsStructure(card)) continue;
    if (const auto keyword = ParseCard(card)) cards.push_back({keyword->name, keyword->value, keyword->comment});
  }
  return cards;
}

void AnnounceFrames(std::span<std::uint8_t> header, std::uint64_t frames) {
  const std::string_view text(reinterpret_cast<const char*>(header.data()), header.size());
  const std::string_view name = IntegerOf(text, "NAXIS") == 4 ? "NAXIS4" : "NAXIS3";
  for (std::size_t i = 0; (i + 1) * kFitsCardChars <= text.size(); ++i) {
    if (NameOf(CardAt(text, i)) != name) continue;
    std::ranges::copy(IntegerCard(name, frames, "frames"),
                      header.begin() + static_cast<std::ptrdiff_t>(i * kFitsCardChars));
    return;
  }
}

}  // namespace orq::session
