#include "image/flash/FlashRecord.h"

#include <array>
#include <cassert>

namespace orq {
namespace {

using Magic = std::array<std::uint8_t, 4>;
constexpr Magic kBitmapMagic{'O', 'R', 'Q', 'D'};
constexpr Magic kPlainMagic{'O', 'R', 'Q', 'G'};

constexpr std::size_t kEntryBytes = 2;
constexpr std::size_t kBlockBytes = 256;
constexpr std::size_t kLargestStep = 2 * kEntryBytes;  // one source byte makes an entry and a block end at most

const Magic& MagicOf(RecordKind kind) {
  return kind == RecordKind::Bitmap ? kBitmapMagic : kPlainMagic;
}

/// The body of a bitmap's record; its end. Stops where the next source byte might not fit a record as long as the
/// source.
std::size_t PutBitmap(std::span<const std::uint8_t> source, std::span<std::uint8_t> record) {
  const std::size_t size = source.size();
  std::size_t end = kRecordHeaderBytes;
  for (std::size_t i = 0; i < size && size > end + kLargestStep; ++i) {
    if (source[i] != 0) {
      record[end] = static_cast<std::uint8_t>((i & 0x0FU) << 4U | (i & 0xFFU) >> 4U);
      record[end + 1] = source[i];
      end += kEntryBytes;
    }
    if (i % kBlockBytes == kBlockBytes - 1 && i + 1 != size) {
      record[end] = record[end + 1] = 0;
      end += kEntryBytes;
    }
  }
  return end;
}

}  // namespace

std::uint32_t MakeRecord(RecordKind kind, std::span<const std::uint8_t> source, std::span<std::uint8_t> record) {
  assert(record.size() >= RecordRoom(kind, source.size()));
  std::size_t length = kRecordHeaderBytes + source.size();
  if (kind == RecordKind::Bitmap)
    length = PutBitmap(source, record);
  else
    std::ranges::copy(source, record.begin() + kRecordHeaderBytes);
  std::ranges::copy(MagicOf(kind), record.begin());
  const auto field = static_cast<std::uint32_t>(length);
  for (std::size_t i = 0; i < 4; ++i) record[4 + i] = static_cast<std::uint8_t>(field >> (24 - 8 * i));
  return field;
}

bool IsRecord(RecordKind kind, std::span<const std::uint8_t> bytes) {
  const Magic& magic = MagicOf(kind);
  return bytes.size() >= kRecordHeaderBytes && std::ranges::equal(magic, bytes.first(magic.size()));
}

std::uint32_t RecordLength(std::span<const std::uint8_t, kRecordHeaderBytes> header) {
  std::uint32_t length = 0;
  for (std::size_t i = 4; i < kRecordHeaderBytes; ++i) length = length << 8U | header[i];
  return length;
}

std::optional<BitmapPlace> ExpandBitmap(std::span<const std::uint8_t> record, std::span<std::uint8_t> bitmap) {
  std::ranges::fill(bitmap, std::uint8_t{0});
  std::int64_t block = 0;
  for (std::size_t at = kRecordHeaderBytes; at + kEntryBytes <= record.size(); at += kEntryBytes) {
    const int place = record[at];
    const std::uint8_t value = record[at + 1];
    if (place == 0 && value == 0) {
      block += kBlockBytes;
      continue;
    }
    const BitmapPlace entry{block, place >> 4, place & 0x0F};
    const auto position = static_cast<std::uint64_t>(entry.block + entry.x + entry.y * 16);
    if (position >= bitmap.size()) return entry;
    bitmap[position] = value;
  }
  return std::nullopt;
}

void ExpandPlain(std::span<const std::uint8_t> record, std::span<std::uint8_t> out) {
  const auto body = record.subspan(std::min(kRecordHeaderBytes, record.size()));
  const std::size_t copied = std::min(body.size(), out.size());
  std::ranges::copy(body.first(copied), out.begin());
  std::ranges::fill(out.subspan(copied), std::uint8_t{0});
}

}  // namespace orq
