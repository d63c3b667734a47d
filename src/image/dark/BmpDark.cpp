// The full-sensor dark image as a BMP file.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "camera/CameraBase.h"
#include "image/dark/BmpFile.h"
#include "image/dark/DarkImage.h"
#include "support/DbgPrint.h"
#include "support/TextSink.h"

namespace {

/// What loading a file answers.
enum LoadStatus : int { kUnusable = 0, kLoaded = 1, kCannotOpen = 6, kWrongSize = 7 };

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, CloseFile>;

/// A null path is one that no file has.
const char* PathOrEmpty(const char* path) {
  return path == nullptr ? "" : path;
}

template <class Bytes>
void Write(std::FILE* file, const Bytes& bytes) {
  std::fwrite(bytes.data(), 1, bytes.size(), file);
}

template <class Bytes>
bool Read(std::FILE* file, Bytes& bytes) {
  return std::fread(bytes.data(), 1, bytes.size(), file) == bytes.size();
}

void PrintSize(const char* what, std::size_t bytes) {
  orq::PrintText(orq::TextStream::Output, std::string(what) + " size=" + std::to_string(bytes) + '\n');
}

/// Keeps `path`, which may be the kept path itself, cut to what fits with its end mark.
void Remember(std::array<char, 256>& kept, const char* path) {
  const std::size_t length = ::strnlen(path, kept.size() - 1);
  std::memmove(kept.data(), path, length);
  std::fill(kept.begin() + static_cast<std::ptrdiff_t>(length), kept.end(), '\0');
}

/// Reads both headers and judges them: `kLoaded` when the pixels of a `width` x `height` dark follow at
/// `pixelOffset`.
LoadStatus ReadHeaders(std::FILE* file, int width, int height, std::uint32_t& pixelOffset) {
  constexpr const char* kTag = "LoadBMPFromFile";
  orq::BmpFileHeader fileHeader;
  PrintSize("bmpheader", fileHeader.size());
  if (!Read(file, fileHeader)) {
    DbgPrint(-1, kTag, "Read bmp header failed!\n");
    return kUnusable;
  }
  const orq::BmpFileFields fields = orq::ReadBmpFileHeader(fileHeader);
  if (fields.type != orq::kBmpType) {
    DbgPrint(-1, kTag, "bmp header err\n");
    return kUnusable;
  }
  orq::BmpInfoHeader infoHeader;
  PrintSize("bmpinfo", infoHeader.size());
  if (!Read(file, infoHeader)) {
    DbgPrint(-1, kTag, "Read bmp information failed!\n");
    return kUnusable;
  }
  const orq::BmpInfoFields info = orq::ReadBmpInfoHeader(infoHeader);
  if (info.width != width) {
    DbgPrint(-1, kTag, "bmp width err: iMaxWidth=%d Wbmp=%d\n", width, info.width);
    return kWrongSize;
  }
  if (info.height != height) {
    DbgPrint(-1, kTag, "bmp height err\n");
    return kWrongSize;
  }
  if (info.bitsPerPixel != 8) {
    DbgPrint(-1, kTag, "bmp biBitCount err\n");
    return kUnusable;
  }
  pixelOffset = fields.pixelOffset;
  return kLoaded;
}

std::size_t SensorPixels(const CCameraBase& camera) {
  return static_cast<std::size_t>(std::max<std::int32_t>(camera.iMaxWidth, 0)) *
         static_cast<std::size_t>(std::max<std::int32_t>(camera.iMaxHeight, 0));
}

// Rows stand without padding, so that `held` may end before the image that the headers promise: zeros follow.
bool WriteBmp(const char* path, int width, int height, std::span<const std::uint8_t> held) {
  const FilePtr file(std::fopen(PathOrEmpty(path), "wb+"));
  if (!file) return false;
  Write(file.get(), orq::MakeBmpFileHeader(width, height));
  Write(file.get(), orq::MakeBmpInfoHeader(width, height));
  Write(file.get(), orq::GreyBmpPalette());
  const std::uint64_t size = orq::BmpImageBytes(width, height);
  const std::size_t written = std::min<std::uint64_t>(held.size(), size);
  std::fwrite(held.data(), 1, written, file.get());
  for (std::uint64_t missing = size - written; missing > 0; --missing) std::fputc(0, file.get());
  return true;
}

}  // namespace

bool CCameraBase::CreateBMP(int width, int height, const unsigned char* data, const char* path) {
  if (width < 0 || height < 0 || data == nullptr) return false;
  return WriteBmp(path, width, height, {data, orq::BmpImageBytes(width, height)});
}

bool CCameraBase::SaveBMPToFile(const char* path) {
  path = PathOrEmpty(path);
  {
    const std::lock_guard lock(DarkAccumMutex);
    if (pDarkFull) WriteBmp(path, iMaxWidth, iMaxHeight, {pDarkFull.get(), SensorPixels(*this)});
  }
  Remember(BMPPATH, path);
  DbgPrint(-1, "SaveBMPToFile", "Save file %s --> succeed!\n", path);
  return true;
}

int CCameraBase::LoadBMPFromFile(const char* path) {
  path = PathOrEmpty(path);
  FilePtr file(std::fopen(path, "rb"));
  if (!file) {
    UsingDark(false);
    DbgPrint(-1, "LoadBMPFromFile", "Open file %s failed!\n", path);
    return kCannotOpen;
  }
  std::uint32_t pixelOffset = 0;
  const LoadStatus status = ReadHeaders(file.get(), iMaxWidth, iMaxHeight, pixelOffset);
  if (status != kLoaded) return status;
  {
    const std::scoped_lock lock(DarkAccumMutex, DarkBufMutex);
    const std::size_t pixels = SensorPixels(*this);
    if (!pDarkFull) pDarkFull = std::make_unique<std::uint8_t[]>(pixels);
    if (!pDarkBuf) pDarkBuf = orq::MakeNeutralDark(pixels, iDarkAverage);
    // A file that ends too early leaves the rest of the dark image as it was.
    if (::fseeko(file.get(), static_cast<off_t>(pixelOffset), SEEK_SET) == 0)
      static_cast<void>(std::fread(pDarkFull.get(), 1, pixels, file.get()));
  }
  AdjustDarkBuff();
  UsingDark(true);
  Remember(BMPPATH, path);
  file.reset();
  DbgPrint(-1, "LoadBMPFromFile", "Open file %s --> succeed!\n", path);
  return kLoaded;
}
