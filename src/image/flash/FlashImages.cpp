// The image record and the parameter page in the camera's flash.
#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

#include "camera/CameraBase.h"
#include "camera/FlashAccess.h"
#include "image/flash/FlashLayout.h"
#include "image/flash/FlashRecord.h"
#include "link/WireProtocol.h"
#include "support/DbgPrint.h"

namespace {

using orq::FlashAccess;
using orq::kFlashChunkBytes;
using orq::kFlashPageBytes;
using orq::kParameterAddress;
using orq::kRecordAddress;
using orq::RecordKind;
namespace wire = orq::wire;

constexpr int kAttempts = 3;
using Chunk = std::array<unsigned char, kFlashChunkBytes>;
using Page = std::array<unsigned char, kFlashPageBytes>;

RecordKind KindOf(bool bHPC) {
  return bHPC ? RecordKind::Bitmap : RecordKind::Plain;
}

constexpr std::uint32_t RoundedUp(std::uint32_t bytes, std::uint32_t unit) {
  return (bytes + unit - 1) / unit * unit;
}

bool InParameterPage(int offset, int len) {
  constexpr int kBytes = kFlashPageBytes;
  return offset >= 0 && len >= 0 && offset <= kBytes && len <= kBytes - offset;
}

/// Writes `bytes` at `address` and reads them back; whether they are the same. Whether the camera took the write
/// shows in what is read.
bool WriteAndCompare(CCameraFX3& link, std::uint32_t address, std::span<unsigned char> bytes) {
  const auto count = static_cast<std::uint32_t>(bytes.size());
  link.WriteToSPIFlash(bytes.data(), address, count, wire::kReqFlashWrite);
  Chunk stored;
  return link.ReadFromSPIFlash(stored.data(), address, count, wire::kReqFlashRead) &&
         std::equal(bytes.begin(), bytes.end(), stored.begin());
}

/// Writes until what is read back is right, three times at most; `report` is told the number of each attempt that
/// failed.
template <class Report>
bool WriteVerified(CCameraFX3& link, std::uint32_t address, std::span<unsigned char> bytes, Report report) {
  for (int attempt = 1; attempt <= kAttempts; ++attempt) {
    if (WriteAndCompare(link, address, bytes)) return true;
    report(attempt);
  }
  return false;
}

/// Erases as many sectors of the record area as `length` bytes touch.
bool EraseForRecord(CCameraFX3& link, std::uint32_t length) {
  const std::uint32_t end =
      orq::kRecordSector + RoundedUp(length, orq::kFlashSectorBytes) / orq::kFlashSectorBytes;
  for (std::uint32_t sector = orq::kRecordSector; sector < end; ++sector) {
    if (link.EraseSectorOfSPIFlash(sector, wire::kReqFlashErase) != 0) {
      DbgPrint(-1, "CompressAndWriteIntoFLASH", "Erase SPI FLASH sector %d failed :\n", static_cast<int>(sector));
      return false;
    }
  }
  return true;
}

bool WriteWholeChunks(CCameraFX3& link, std::span<unsigned char> record) {
  const std::size_t chunks = record.size() / kFlashChunkBytes;
  for (std::size_t k = 0; k < chunks; ++k) {
    const auto address = static_cast<std::uint32_t>(kRecordAddress + k * kFlashChunkBytes);
    const auto report = [k](int attempt) {
      DbgPrint(-1, "CompressAndWriteIntoFLASH", "fail %d try again :%d\n", static_cast<int>(k), attempt);
    };
    if (!WriteVerified(link, address, record.subspan(k * kFlashChunkBytes, kFlashChunkBytes), report))
      return false;
  }
  return true;
}

/// Writes what is left behind the whole chunks, in whole pages filled up with zeros. A record that ends with a
/// chunk has no such rest and counts as not saved: that is the result callers of this camera family rely on.
bool WriteRest(CCameraFX3& link, std::span<const unsigned char> record) {
  const std::size_t chunk = record.size() / kFlashChunkBytes;
  const auto rest = record.subspan(chunk * kFlashChunkBytes);
  if (rest.empty()) return false;
  Chunk pages{};
  std::ranges::copy(rest, pages.begin());
  const auto report = [chunk](int attempt) {
    DbgPrint(-1, "CompressAndWriteIntoFLASH", "last fail %d try again :%d\n", static_cast<int>(chunk), attempt);
  };
  return WriteVerified(link, static_cast<std::uint32_t>(kRecordAddress + chunk * kFlashChunkBytes),
                       std::span(pages).first(RoundedUp(static_cast<std::uint32_t>(rest.size()), kFlashPageBytes)),
                       report);
}

/// Reads chunk `k` of the record area, in three attempts at most.
bool ReadChunk(CCameraFX3& link, std::uint32_t k, unsigned char* chunk) {
  for (int attempt = 1; attempt <= kAttempts; ++attempt) {
    if (link.ReadFromSPIFlash(chunk, kRecordAddress + k * kFlashChunkBytes, kFlashChunkBytes, wire::kReqFlashRead))
      return true;
    DbgPrint(-1, "ReadFromFLAHAndUnCompress", "fail %d\n", static_cast<int>(k));
  }
  return false;
}

/// The whole record whose first chunk is `first`; null when a chunk cannot be read. What cannot be read of the
/// rest behind the whole chunks stays zero.
std::unique_ptr<unsigned char[]> ReadRecord(CCameraFX3& link, std::span<const unsigned char> first,
                                            std::uint32_t length) {
  const std::uint32_t chunks = length / kFlashChunkBytes;
  const std::uint32_t rest = length % kFlashChunkBytes;
  const std::uint32_t room = RoundedUp(length, kFlashChunkBytes);
  auto record = std::make_unique<unsigned char[]>(room);
  std::copy_n(first.begin(), std::min<std::size_t>(first.size(), room), record.get());
  for (std::uint32_t k = 1; k < chunks; ++k)
    if (!ReadChunk(link, k, record.get() + k * kFlashChunkBytes)) return nullptr;
  if (rest > 0) {
    const std::uint32_t offset = chunks * kFlashChunkBytes;
    link.ReadFromSPIFlash(record.get() + offset, kRecordAddress + offset, RoundedUp(rest, kFlashPageBytes),
                          wire::kReqFlashRead);
  }
  return record;
}

/// Bytes of a bitmap of the sensor, one bit per pixel.
std::size_t SensorBitmapBytes(const orq::GeometryState& sensor) {
  const std::int64_t bytes = std::int64_t{sensor.iMaxWidth} * sensor.iMaxHeight / 8;
  return static_cast<std::size_t>(std::max<std::int64_t>(bytes, 0));
}

}  // namespace

std::unique_ptr<unsigned char[]> CCameraBase::Compress(const unsigned char* src, int size, int* outLength,
                                                       bool bHPC) {
  constexpr int kLargest = INT_MAX - static_cast<int>(orq::kRecordHeaderBytes);
  if (outLength != nullptr) *outLength = 0;
  if (size < 0 || size > kLargest || (src == nullptr && size > 0)) return nullptr;
  const std::span source(src, static_cast<std::size_t>(size));
  const std::size_t room = orq::RecordRoom(KindOf(bHPC), source.size());
  auto record = std::make_unique<unsigned char[]>(room);
  const std::uint32_t length = orq::MakeRecord(KindOf(bHPC), source, {record.get(), room});
  if (outLength != nullptr) *outLength = static_cast<int>(length);
  return record;
}

std::unique_ptr<unsigned char[]> CCameraBase::Uncompress(const unsigned char* record, int length, bool bHPC) {
  const std::span bytes(record, record == nullptr ? 0 : static_cast<std::size_t>(std::max(length, 0)));
  const std::size_t size = bHPC ? SensorBitmapBytes(*this) : bytes.size();
  auto result = std::make_unique<unsigned char[]>(size);
  if (!bHPC) {
    orq::ExpandPlain(bytes, {result.get(), size});
  } else if (const auto outside = orq::ExpandBitmap(bytes, {result.get(), size})) {
    DbgPrint(-1, "Uncompress", "Uncompress over flow,block%d,x%d,y%d\n", static_cast<int>(outside->block),
             outside->x, outside->y);
    return nullptr;
  }
  return result;
}

bool CCameraBase::CompressAndWriteIntoFLASH(const unsigned char* src, unsigned int size, bool bHPC) {
  int length = 0;
  const auto record = Compress(src, static_cast<int>(std::min<unsigned int>(size, INT_MAX)), &length, bHPC);
  if (!record) return false;
  DbgPrint(-1, "CompressAndWriteIntoFLASH", "SaveHPC: Compressed length: %d :\n", length);
  const FlashAccess access(*this);
  if (!access) return false;
  if (std::cmp_greater(length, orq::kRecordAreaBytes)) {
    DbgPrint(-1, "CompressAndWriteIntoFLASH", "SaveHPC: Compressed length too big\n");
    return false;
  }
  const std::span bytes(record.get(), static_cast<std::size_t>(length));
  return EraseForRecord(*this, static_cast<std::uint32_t>(length)) && WriteWholeChunks(*this, bytes) &&
         WriteRest(*this, bytes);
}

bool CCameraBase::ReadFromFLAHAndUnCompress(unsigned char* dst, unsigned int size, bool bHPC) {
  if (dst == nullptr && size > 0) return false;
  const FlashAccess access(*this);
  if (!access) return false;
  Chunk first{};  // a read that fails leaves zeros, and they are no record
  ReadFromSPIFlash(first.data(), kRecordAddress, kFlashChunkBytes, wire::kReqFlashRead);
  if (!orq::IsRecord(KindOf(bHPC), first)) {
    DbgPrint(-1, "ReadFromFLAHAndUnCompress",
             bHPC ? "Read SPI Flash get a HPC fail \n" : "Read SPI Flash get a image fail \n");
    return false;
  }
  const std::uint32_t length = orq::RecordLength(std::span(first).first<orq::kRecordHeaderBytes>());
  if (length > orq::kRecordAreaBytes) {
    DbgPrint(-1, "ReadFromFLAHAndUnCompress", "LoadHPCTable: HPC data length too big\n");
    return false;
  }
  DbgPrint(-1, "ReadFromFLAHAndUnCompress", "LoadHPC: Compressed length: %d :\n", static_cast<int>(length));
  const auto record = ReadRecord(*this, first, length);
  if (!record) return false;
  const auto result = Uncompress(record.get(), static_cast<int>(length), bHPC);
  if (!result) return false;
  const std::size_t available = bHPC ? SensorBitmapBytes(*this) : length;
  const std::size_t copied = std::min<std::size_t>(size, available);
  std::fill(std::copy_n(result.get(), copied, dst), dst + size, static_cast<unsigned char>(0));
  return true;
}

bool CCameraBase::ReadSPI(unsigned char* dst, int offset, int len) {
  if (dst == nullptr || !InParameterPage(offset, len)) return false;
  Page page{};
  const FlashAccess access(*this);
  if (!access) return false;
  const bool read = ReadFromSPIFlash(page.data(), kParameterAddress, kFlashPageBytes, wire::kReqFlashRead);
  if (read) std::copy_n(page.begin() + offset, len, dst);
  return read;
}

bool CCameraBase::WriteSPI(const unsigned char* src, int offset, int len) {
  if (src == nullptr || !InParameterPage(offset, len)) return false;
  Page page{};
  const FlashAccess access(*this);
  if (!access) return false;
  const bool read = ReadFromSPIFlash(page.data(), kParameterAddress, kFlashPageBytes, wire::kReqFlashRead);
  if (EraseSectorOfSPIFlash(orq::kParameterSector, wire::kReqFlashErase) != 0) {
    DbgPrint(-1, "WriteSPI", "Erase SPI FLASH sector %d failed :\n", static_cast<int>(orq::kParameterSector));
    return read;
  }
  std::copy_n(src, len, page.begin() + offset);
  return WriteVerified(*this, kParameterAddress, page,
                       [](int attempt) { DbgPrint(-1, "WriteSPI", "fail %d try again\n", attempt); });
}
