#include "support/ser/SerHeader.h"

#include <algorithm>
#include <cstring>

#include "support/BayerNames.h"
#include "support/LittleEndian.h"

namespace orq {
namespace {

constexpr std::string_view kMagic = "LUCAM-RECORDER";
// Offsets; numbers are least significant byte first.
constexpr std::size_t kLuId = 14;
constexpr std::size_t kColour = 18;
constexpr std::size_t kByteOrder = 22;
constexpr std::size_t kWidth = 26;
constexpr std::size_t kHeight = 30;
constexpr std::size_t kDepth = 34;
constexpr std::size_t kFrames = 38;
constexpr std::size_t kObserver = 42;
constexpr std::size_t kInstrument = 82;
constexpr std::size_t kTelescope = 122;
constexpr std::size_t kLocalTime = 162;
constexpr std::size_t kUtcTime = 170;

constexpr std::int32_t kLargestSide = 65'536;

struct ColourName {
  std::int32_t id;
  std::string_view name;
};
constexpr ColourName kColours[] = {{kSerMono, "mono"},
                                   {kSerRggb, kBayerNames[0]},
                                   {kSerGrbg, kBayerNames[2]},
                                   {kSerGbrg, kBayerNames[3]},
                                   {kSerBggr, kBayerNames[1]},
                                   {kSerCyym, "CYYM"},
                                   {kSerYcmy, "YCMY"},
                                   {kSerYmcy, "YMCY"},
                                   {kSerMyyc, "MYYC"},
                                   {kSerRgb, "RGB"},
                                   {kSerBgr, "BGR"}};

std::int32_t Field(std::span<const std::uint8_t> bytes, std::size_t offset) {
  return static_cast<std::int32_t>(GetLittle(bytes, offset, 4));
}

// Some writers end it with a zero byte, some fill it with blanks.
std::string Text(std::span<const std::uint8_t> bytes, std::size_t offset) {
  std::string text(reinterpret_cast<const char*>(bytes.data()) + offset, kSerTextBytes);
  text.resize(std::min(text.find('\0'), text.size()));
  text.resize(text.find_last_not_of(' ') + 1);
  return text;
}

void PutText(std::span<std::uint8_t> bytes, std::size_t offset, const std::string& text) {
  std::memcpy(bytes.data() + offset, text.data(), std::min(text.size(), kSerTextBytes));
}

}  // namespace

std::string_view SerColourName(std::int32_t colour) {
  const auto* const found = std::ranges::find(kColours, colour, &ColourName::id);
  return found == std::end(kColours) ? std::string_view() : found->name;
}

bool LooksLikeSer(std::span<const std::uint8_t> bytes) {
  return bytes.size() >= kMagic.size() && std::memcmp(bytes.data(), kMagic.data(), kMagic.size()) == 0;
}

std::optional<SerHeader> ParseSerHeader(std::span<const std::uint8_t> bytes) {
  if (!LooksLikeSer(bytes) || bytes.size() < kSerHeaderBytes) return std::nullopt;
  return SerHeader{.luId = Field(bytes, kLuId),
                   .colour = Field(bytes, kColour),
                   .byteOrder = Field(bytes, kByteOrder),
                   .width = Field(bytes, kWidth),
                   .height = Field(bytes, kHeight),
                   .depth = Field(bytes, kDepth),
                   .frames = Field(bytes, kFrames),
                   .observer = Text(bytes, kObserver),
                   .instrument = Text(bytes, kInstrument),
                   .telescope = Text(bytes, kTelescope),
                   .localTime = static_cast<std::int64_t>(GetLittle(bytes, kLocalTime, 8)),
                   .utcTime = static_cast<std::int64_t>(GetLittle(bytes, kUtcTime, 8))};
}

std::string SerTrouble(const SerHeader& header) {
  if (SerColourName(header.colour).empty()) return "colour id " + std::to_string(header.colour) + " means nothing";
  if (header.depth < 1 || header.depth > 16)
    return "pixel depth " + std::to_string(header.depth) + " is outside 1 to 16 bits";
  const auto good = [](std::int32_t side) { return side >= 1 && side <= kLargestSide; };
  if (!good(header.width) || !good(header.height))
    return "frames of " + std::to_string(header.width) + " x " + std::to_string(header.height) + " pixels";
  if (header.frames < 0) return std::to_string(header.frames) + " frames";
  return {};
}

std::array<std::uint8_t, kSerHeaderBytes> EncodeSerHeader(const SerHeader& header) {
  std::array<std::uint8_t, kSerHeaderBytes> bytes{};
  std::ranges::copy(kMagic, bytes.begin());
  const auto put = [&bytes](std::size_t offset, std::int32_t value) {
    PutLittle(bytes, offset, 4, static_cast<std::uint32_t>(value));
  };
  put(kLuId, header.luId);
  put(kColour, header.colour);
  put(kByteOrder, header.byteOrder);
  put(kWidth, header.width);
  put(kHeight, header.height);
  put(kDepth, header.depth);
  put(kFrames, header.frames);
  PutText(bytes, kObserver, header.observer);
  PutText(bytes, kInstrument, header.instrument);
  PutText(bytes, kTelescope, header.telescope);
  PutLittle(bytes, kLocalTime, 8, static_cast<std::uint64_t>(header.localTime));
  PutLittle(bytes, kUtcTime, 8, static_cast<std::uint64_t>(header.utcTime));
  return bytes;
}

std::optional<std::int64_t> UnixTenthsOf(std::int64_t serTime) {
  constexpr std::int64_t kYear10000 = 3'155'378'976'000'000'000;
  if (serTime <= 0 || serTime >= kYear10000) return std::nullopt;
  return serTime - SerTimeOf(0);
}

}  // namespace orq
