#include "session/recording/SerSink.h"

#include <algorithm>
#include <bit>
#include <ctime>
#include <iterator>
#include <utility>

#include "support/LittleEndian.h"

namespace orq::session {
namespace {

constexpr std::int64_t kTenthsPerSecond = 10'000'000;

std::int32_t ColourOf(IMG_TYPE format, int bayerPattern) {
  constexpr std::int32_t kPatterns[] = {kSerRggb, kSerBggr, kSerGrbg, kSerGbrg};
  if (format == ORQ_IMG_RGB24) return kSerBgr;
  const bool raw = format == ORQ_IMG_RAW8 || format == ORQ_IMG_RAW16;
  if (!raw || bayerPattern < 0 || bayerPattern >= static_cast<int>(std::size(kPatterns))) return kSerMono;
  return kPatterns[bayerPattern];
}

}  // namespace

std::int64_t LocalTenths(std::int64_t utcTenths) {
  const auto seconds = static_cast<std::time_t>(utcTenths / kTenthsPerSecond);
  std::tm local{};
  if (localtime_r(&seconds, &local) == nullptr) return utcTenths;
  return utcTenths + local.tm_gmtoff * kTenthsPerSecond;
}

SerHeader SerHeaderFor(const FrameRegion& region, int bayerPattern) {
  SerHeader header;
  header.colour = ColourOf(region.format, bayerPattern);
  header.byteOrder = std::endian::native == std::endian::little ? 0 : 1;
  header.width = region.width;
  header.height = region.height;
  header.depth = region.format == ORQ_IMG_RAW16 ? 16 : 8;
  return header;
}

std::vector<std::uint8_t> SerTrailer(std::span<const std::int64_t> serTimes) {
  std::vector<std::uint8_t> bytes(serTimes.size() * kSerTimeBytes);
  for (std::size_t i = 0; i < serTimes.size(); ++i)
    PutLittle(bytes, i * kSerTimeBytes, kSerTimeBytes, static_cast<std::uint64_t>(serTimes[i]));
  return bytes;
}

SerSink::SerSink(const std::string& path, Existing existing, const SerHeader& header,
                 std::function<int()> beforeWrite)
    : header_(header), file_(path, existing, std::move(beforeWrite)) {
  header_.frames = 0;
  file_.Append(EncodeSerHeader(header_));
}

int SerSink::Put(std::span<const std::uint8_t> pixels, const RecordedFrame& frame, const Facts&) {
  times_.push_back(SerTimeOf(frame.begin));
  return file_.Append(pixels);
}

int SerSink::Keep(std::uint64_t& frames) {
  const std::uint64_t written = file_.Written() - std::min<std::uint64_t>(file_.Written(), kSerHeaderBytes);
  frames = std::min({frames, static_cast<std::uint64_t>(times_.size()), written / header_.FrameBytes()});
  times_.resize(static_cast<std::size_t>(frames));
  return file_.Cut(kSerHeaderBytes + frames * header_.FrameBytes());
}

int SerSink::Finish() {
  const std::uint64_t end = kSerHeaderBytes + times_.size() * header_.FrameBytes();
  if (const int error = file_.WriteAt(end, SerTrailer(times_)); error != 0) return error;
  if (const int error = file_.Sync(); error != 0) return error;
  header_.frames = static_cast<std::int32_t>(times_.size());
  if (!times_.empty()) {
    const std::int64_t first = times_.front() - SerTimeOf(0);
    header_.utcTime = times_.front();
    header_.localTime = SerTimeOf(LocalTenths(first));
  }
  if (const int error = file_.WriteAt(0, EncodeSerHeader(header_)); error != 0) return error;
  return file_.Sync();
}

std::uint64_t SerSink::BytesOf(std::uint64_t frames) const {
  return kSerHeaderBytes + frames * (header_.FrameBytes() + kSerTimeBytes);
}

}  // namespace orq::session
