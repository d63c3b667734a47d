// The image record of the flash: any bytes as a record, any bytes as a source.
// Input: a byte of options (bit 0 plain, bit 1 the input is a source), two bytes of bitmap size, the bytes.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "image/flash/FlashRecord.h"

namespace {

using namespace orq;
using Bytes = std::vector<std::uint8_t>;

void Require(bool condition) {
  if (!condition) std::abort();
}

void ExpandAnything(RecordKind kind, std::span<const std::uint8_t> record, std::size_t size) {
  Bytes out(size, 0xEE);
  if (kind == RecordKind::Plain) {
    ExpandPlain(record, out);
    return;
  }
  const auto outside = ExpandBitmap(record, out);
  if (!outside) return;
  const auto position = static_cast<std::uint64_t>(outside->block + outside->x + 16 * outside->y);
  Require(outside->block % 256 == 0 && outside->x < 16 && outside->y < 16 && position >= size);
}

void MakeAndExpand(RecordKind kind, std::span<const std::uint8_t> source) {
  Bytes record(RecordRoom(kind, source.size()));
  const std::uint32_t length = MakeRecord(kind, source, record);
  Require(length >= kRecordHeaderBytes && length <= record.size());
  Require(IsRecord(kind, record));
  Require(RecordLength(std::span(record).first<kRecordHeaderBytes>()) == length);
  record.resize(length);
  Bytes out(source.size(), 0xEE);
  if (kind == RecordKind::Plain) {
    ExpandPlain(record, out);
    Require(std::ranges::equal(out, source));
    return;
  }
  Require(!ExpandBitmap(record, out));
  // A prefix of the source is there; behind the cut all is zero.
  const auto cut = std::ranges::mismatch(out, source).in1;
  Require(std::all_of(cut, out.end(), [](std::uint8_t byte) { return byte == 0; }));
  Require(cut == out.end() || length + 4 >= source.size());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 3) return 0;
  const std::span<const std::uint8_t> input(data + 3, size - 3);
  const RecordKind kind = (data[0] & 1U) != 0 ? RecordKind::Plain : RecordKind::Bitmap;
  if ((data[0] & 2U) != 0)
    MakeAndExpand(kind, input);
  else
    ExpandAnything(kind, input, data[1] * 256U + data[2]);
  return 0;
}
