// The image record in flash: a header, then either the non-zero bytes of a bitmap or the source as it is.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace orq {

enum class RecordKind : std::uint8_t { Bitmap, Plain };

inline constexpr std::size_t kRecordHeaderBytes = 8;

/// Bytes that the record of a source may take: a bitmap's is cut short rather than longer than its source.
constexpr std::size_t RecordRoom(RecordKind kind, std::size_t sourceBytes) {
  return kind == RecordKind::Bitmap ? std::max(sourceBytes, kRecordHeaderBytes) : sourceBytes + kRecordHeaderBytes;
}

/// Makes the record of `source` at the start of `record`, which holds `RecordRoom` bytes; returns its length.
std::uint32_t MakeRecord(RecordKind kind, std::span<const std::uint8_t> source, std::span<std::uint8_t> record);

/// Whether `bytes` begin with the header of a record of this kind.
bool IsRecord(RecordKind kind, std::span<const std::uint8_t> bytes);
/// The length field of the header at the start of `bytes`: the whole record's length as it claims.
std::uint32_t RecordLength(std::span<const std::uint8_t, kRecordHeaderBytes> header);

/// Where an entry of a bitmap record points: the first source byte of its block, and the position inside.
struct BitmapPlace {
  std::int64_t block = 0;
  int x = 0;  ///< position modulo 16
  int y = 0;  ///< position divided by 16
};

/// Expands a bitmap record into `bitmap`, zero where the record says nothing. Half an entry at the record's end is
/// ignored. Returns the first entry that lies outside `bitmap`, nothing when all lie inside.
std::optional<BitmapPlace> ExpandBitmap(std::span<const std::uint8_t> record, std::span<std::uint8_t> bitmap);

/// Copies the body of a plain record into `out`, zero behind its end.
void ExpandPlain(std::span<const std::uint8_t> record, std::span<std::uint8_t> out);

}  // namespace orq
