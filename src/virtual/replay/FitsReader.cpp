#include "virtual/replay/FitsReader.h"

#include <fitsio.h>

#include <array>
#include <cstring>
#include <memory>
#include <string_view>

#include "virtual/replay/FitsHeader.h"

namespace orq {
namespace {

struct CloseFits {
  void operator()(fitsfile* file) const {
    int status = 0;
    fits_close_file(file, &status);
  }
};

std::string Reason(int status) {
  std::array<char, FLEN_STATUS> text{};
  fits_get_errstatus(status, text.data());
  fits_clear_errmsg();
  return status == NUM_OVERFLOW ? "FITS image holds values outside 0 to 65535"
                                : "FITS image cannot be read: " + std::string(text.data());
}

/// True when the library found the image where our own look at the header found it: only then does it read pixels
/// from inside the bytes.
bool Agrees(fitsfile* file, const FitsHeader& header) {
  int status = 0;
  LONGLONG headerStart = 0, dataStart = 0, dataEnd = 0;
  fits_get_hduaddrll(file, &headerStart, &dataStart, &dataEnd, &status);
  int bitpix = 0, axes = 0;
  std::array<LONGLONG, 3> sides{1, 1, 1};
  fits_get_img_paramll(file, 3, &bitpix, &axes, sides.data(), &status);
  return status == 0 && dataStart == static_cast<LONGLONG>(header.dataOffset) && bitpix == header.bitpix &&
         sides == std::array<LONGLONG, 3>{header.width, header.height, header.frames};
}

/// Decodes all pixels of a checked image whose bytes are whole blocks.
bool Decode(std::span<const std::uint8_t> bytes, const FitsHeader& header, std::vector<std::uint16_t>& samples,
            std::string& error) {
  // Opened from memory and read-only: the library never writes here, and no file name is interpreted.
  void* memory = const_cast<std::uint8_t*>(bytes.data());
  std::size_t size = bytes.size();
  int status = 0;
  fitsfile* opened = nullptr;
  fits_open_memfile(&opened, "recording", READONLY, &memory, &size, 0, nullptr, &status);
  const std::unique_ptr<fitsfile, CloseFits> file(status == 0 ? opened : nullptr);
  if (file && !Agrees(opened, header)) {
    fits_clear_errmsg();
    error = "FITS header is damaged: where the pixels begin is uncertain";
    return false;
  }
  int any = 0;
  fits_read_img(opened, TUSHORT, 1, static_cast<LONGLONG>(samples.size()), nullptr, samples.data(), &any, &status);
  if (status != 0) error = Reason(status);
  return status == 0;
}

}  // namespace

bool LooksLikeFits(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kStart = "SIMPLE  =";
  return bytes.size() >= kStart.size() && std::memcmp(bytes.data(), kStart.data(), kStart.size()) == 0;
}

std::optional<RecordedFrames> ReadFits(std::span<const std::uint8_t> bytes, std::string& error) {
  const std::optional<FitsHeader> header = ParseFitsHeader(bytes, error);
  if (!header) return std::nullopt;
  RecordedFrames recording{.width = header->width,
                           .height = header->height,
                           .count = header->frames,
                           .adcBits = header->bitpix,
                           .bayer = header->bayer,
                           .facts = header->facts,
                           .samples = {}};
  recording.samples.resize(static_cast<std::size_t>(header->width) * static_cast<std::size_t>(header->height) *
                           static_cast<std::size_t>(header->frames));
  const std::size_t whole = (bytes.size() + kFitsBlock - 1) / kFitsBlock * kFitsBlock;
  if (whole == bytes.size()) {
    if (!Decode(bytes, *header, recording.samples, error)) return std::nullopt;
    return recording;
  }
  // Some programs leave out the padding of the last block.
  std::vector<std::uint8_t> padded(bytes.begin(), bytes.end());
  padded.resize(whole);
  if (!Decode(padded, *header, recording.samples, error)) return std::nullopt;
  return recording;
}

}  // namespace orq
