#include "session/fits/FitsFile.h"

#include <fitsio.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <string>
#include <variant>

#include "session/Failure.h"
#include "session/fits/FitsCards.h"
#include "session/fits/FitsKeywords.h"
#include "support/PointLocale.h"

namespace orq::session {

namespace {

constexpr std::size_t kFitsBlock = 2880;
constexpr std::size_t kHeaderRoom = 8 * kFitsBlock;

// A file in memory that CFITSIO writes; the first error sticks. The memory is zero at first: CFITSIO looks there
// for compressed rows that it might have written before.
class MemoryFits {
 public:
  explicit MemoryFits(std::size_t expectedBytes) : bytes_(expectedBytes), memory_(std::calloc(expectedBytes, 1)) {
    if (memory_ == nullptr) throw std::bad_alloc();
    fits_create_memfile(&file_, &memory_, &bytes_, kFitsBlock, std::realloc, &status_);
  }
  ~MemoryFits() {
    int status = 0;
    if (file_ != nullptr) fits_close_file(file_, &status);
    std::free(memory_);
  }
  MemoryFits(const MemoryFits&) = delete;
  MemoryFits& operator=(const MemoryFits&) = delete;

  /// The image that follows.
  void Compress() { fits_set_compression_type(file_, RICE_1, &status_); }
  void Image(int bitpix, std::vector<long> axes) {
    fits_create_img(file_, bitpix, static_cast<int>(axes.size()), axes.data(), &status_);
  }
  void Card(const FitsCard& card) {
    if (card.name == kHistory) {
      fits_write_history(file_, std::get<std::string>(card.value).c_str(), &status_);
      return;
    }
    const char* const comment = card.comment.empty() ? nullptr : card.comment.c_str();
    std::visit([&](const auto& value) { Write(card.name.c_str(), value, comment, card.digits); }, card.value);
  }
  /// When it was made, as CFITSIO words it: its own call shares one place for the time among all threads.
  void Date() {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    ::gmtime_r(&now, &utc);
    char text[FLEN_VALUE];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%S", &utc);
    fits_update_key_str(file_, "DATE", text, "file creation date (YYYY-MM-DDThh:mm:ss UT)", &status_);
  }
  void Pixels(int type, LONGLONG firstPixel, LONGLONG count, const void* data) {
    // The library takes a pointer to non-const data but only reads it.
    fits_write_img(file_, type, firstPixel, count, const_cast<void*>(data), &status_);
  }

  std::vector<std::uint8_t> Finish() {
    LONGLONG header = 0;
    LONGLONG data = 0;
    LONGLONG end = 0;
    fits_flush_file(file_, &status_);
    fits_get_hduaddrll(file_, &header, &data, &end, &status_);
    if (status_ == 0) {
      fits_close_file(file_, &status_);
      file_ = nullptr;
    }
    if (status_ != 0) {
      char reason[FLEN_STATUS] = "";
      fits_get_errstatus(status_, reason);
      throw Failure(Status::File, std::string("cannot make the FITS file: ") + reason);
    }
    const auto* first = static_cast<const std::uint8_t*>(memory_);
    return {first, first + static_cast<std::size_t>(end)};
  }

 private:
  void Write(const char* name, const std::string& value, const char* comment, int) {
    fits_write_key_str(file_, name, value.c_str(), comment, &status_);
  }
  void Write(const char* name, std::int64_t value, const char* comment, int) {
    fits_write_key_lng(file_, name, static_cast<LONGLONG>(value), comment, &status_);
  }
  void Write(const char* name, double value, const char* comment, int digits) {
    fits_write_key_dbl(file_, name, value, -digits, comment, &status_);  // negative: trailing zeros are dropped
  }
  void Write(const char* name, bool value, const char* comment, int) {
    fits_write_key_log(file_, name, value ? 1 : 0, comment, &status_);
  }

  std::size_t bytes_;
  void* memory_;
  fitsfile* file_ = nullptr;
  int status_ = 0;
};

// Blue, green, red per pixel become a plane each, red first.
void WritePlanes(MemoryFits& fits, std::span<const std::uint8_t> bytes, std::size_t pixels) {
  std::vector<std::uint8_t> plane(pixels);
  for (std::size_t colour = 0; colour < 3; ++colour) {
    const std::uint8_t* from = bytes.data() + (2 - colour);
    for (std::size_t i = 0; i < pixels; ++i) plane[i] = from[3 * i];
    fits.Pixels(TBYTE, static_cast<LONGLONG>(colour) * static_cast<LONGLONG>(pixels) + 1,
                static_cast<LONGLONG>(pixels), plane.data());
  }
}

void WritePixels(MemoryFits& fits, std::span<const std::uint8_t> bytes, IMG_TYPE format, std::size_t pixels) {
  if (format == ORQ_IMG_RGB24) return WritePlanes(fits, bytes, pixels);
  const int type = format == ORQ_IMG_RAW16 ? TUSHORT : TBYTE;
  fits.Pixels(type, 1, static_cast<LONGLONG>(pixels), bytes.data());
}

}  // namespace

std::vector<std::uint8_t> EncodeFits(std::span<const std::uint8_t> bytes, const FrameFacts& frame, FitsForm form) {
  const FrameRegion& region = frame.info.region;
  const std::size_t pixels = static_cast<std::size_t>(region.width) * static_cast<std::size_t>(region.height);
  if (bytes.size() != pixels * static_cast<std::size_t>(BytesPerPixel(region.format)))
    throw Failure(Status::Invalid, "cannot make the FITS file: the pixels are not those of the region");
  const PointLocale points;  // CFITSIO formats with the locale, and mends only some of it
  MemoryFits fits(bytes.size() + kHeaderRoom);
  std::vector<long> axes = {region.width, region.height};
  if (region.format == ORQ_IMG_RGB24) axes.push_back(3);
  if (form == FitsForm::Compressed) fits.Compress();
  fits.Image(region.format == ORQ_IMG_RAW16 ? USHORT_IMG : BYTE_IMG, std::move(axes));
  fits.Date();
  for (const FitsCard& card : HeaderCards(frame)) fits.Card(card);
  WritePixels(fits, bytes, region.format, pixels);
  return fits.Finish();
}

std::vector<std::uint8_t> EncodeFits(const PlainImage& image, const std::vector<FitsCard>& cards, FitsForm form) {
  const bool wide = image.bytesPerSample == 2;
  const PointLocale points;
  MemoryFits fits(image.samples.size() + kHeaderRoom);
  std::vector<long> axes = {image.width, image.height};
  if (image.planes > 1) axes.push_back(image.planes);
  if (form == FitsForm::Compressed) fits.Compress();
  fits.Image(wide ? USHORT_IMG : BYTE_IMG, std::move(axes));
  fits.Date();
  for (const FitsCard& card : cards) fits.Card(card);
  const std::size_t samples = image.samples.size() / static_cast<std::size_t>(image.bytesPerSample);
  fits.Pixels(wide ? TUSHORT : TBYTE, 1, static_cast<LONGLONG>(samples), image.samples.data());
  return fits.Finish();
}

}  // namespace orq::session
