#include "session/recording/CubeSink.h"

#include <algorithm>
#include <utility>

#include "session/recording/cube/CubeTimes.h"

namespace orq::session {
namespace {

// What only one of the frames has is told by the table.
std::vector<FitsCard> CardsOf(const FrameFacts& facts) {
  std::vector<FitsCard> cards = HeaderCards(facts);
  std::erase_if(cards, [](const FitsCard& card) { return card.name == "FRAMENO" || card.name == "CAMSEQ"; });
  return cards;
}

}  // namespace

CubeSink::CubeSink(const std::string& path, Existing existing, const FrameFacts& expected,
                   std::function<int()> beforeWrite)
    : shape_(CubeShapeOf(expected.info.region)), facts_(expected), file_(path, existing, std::move(beforeWrite)) {
  const std::vector<std::uint8_t> header = CubeHeader(shape_, 0, CardsOf(facts_));
  headerBytes_ = header.size();
  file_.Append(header);
  Flush();
}

std::uint64_t CubeSink::Frames() const {
  return rows_.size() / kTimesRowBytes;
}

int CubeSink::Put(std::span<const std::uint8_t> pixels, const RecordedFrame& frame, const Facts& facts) {
  if (rows_.empty()) facts_ = facts();
  facts_.info.times.end = frame.end;
  AddTimesRow(frame, rows_);
  CubeSamples(pixels, facts_.info.region.format, samples_);
  return file_.Append(samples_);
}

int CubeSink::FillUp() {
  const std::uint64_t end = headerBytes_ + Frames() * shape_.FrameBytes();
  return file_.WriteAt(end, std::vector<std::uint8_t>(WholeBlocks(end) - end, 0));
}

int CubeSink::Announce(std::uint64_t frames) {
  announced_ = frames;
  return file_.WriteAt(0, CubeHeader(shape_, frames, CardsOf(facts_), headerBytes_));
}

int CubeSink::Flush() {
  if (const int error = file_.Flush(); error != 0) return error;
  if (announced_ == Frames()) return 0;
  if (const int error = FillUp(); error != 0) return error;
  return Announce(Frames());
}

// The disk has the frames before it has a header that announces them.
int CubeSink::Sync() {
  if (const int error = file_.Flush(); error != 0) return error;
  if (const int error = FillUp(); error != 0) return error;
  if (const int error = file_.Sync(); error != 0) return error;
  if (const int error = Announce(Frames()); error != 0) return error;
  return file_.Sync();
}

int CubeSink::Keep(std::uint64_t& frames) {
  const std::uint64_t written = file_.Written() - std::min(file_.Written(), headerBytes_);
  frames = std::min({frames, Frames(), written / shape_.FrameBytes()});
  rows_.resize(static_cast<std::size_t>(frames * kTimesRowBytes));
  // At no moment does the header announce what is not there.
  if (announced_ > frames) {
    if (const int error = Announce(frames); error != 0) return error;
  }
  return file_.Cut(headerBytes_ + frames * shape_.FrameBytes());
}

int CubeSink::Finish() {
  const std::uint64_t end = headerBytes_ + Frames() * shape_.FrameBytes();
  if (const int error = FillUp(); error != 0) return error;
  if (const int error = file_.WriteAt(WholeBlocks(end), TimesTable(rows_)); error != 0) return error;
  if (const int error = file_.Sync(); error != 0) return error;
  if (const int error = Announce(Frames()); error != 0) return error;
  return file_.Sync();
}

std::uint64_t CubeSink::BytesOf(std::uint64_t frames) const {
  static const std::uint64_t kTableHeader = TimesTable({}).size();
  return headerBytes_ + WholeBlocks(frames * shape_.FrameBytes()) + kTableHeader +
         WholeBlocks(frames * kTimesRowBytes);
}

}  // namespace orq::session
