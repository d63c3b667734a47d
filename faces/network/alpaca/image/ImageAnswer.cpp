#include "alpaca/image/ImageAnswer.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "alpaca/image/Transpose.h"

namespace orq::network::alpaca {
namespace {

constexpr std::size_t kHeaderFields = 11;
constexpr std::size_t kHeaderBytes = 4 * kHeaderFields;
constexpr std::uint32_t kInt32 = 2;
constexpr std::uint32_t kByte = 6;
constexpr std::uint32_t kUInt16 = 8;
// What is turned at a time stays in the cache of a core until it is sent.
constexpr std::size_t kBlockBytes = std::size_t{512} * 1024;
constexpr std::size_t kColumnsTogether = 8;

using Header = std::array<std::uint8_t, kHeaderBytes>;

// Fields of 32 bits, least significant byte first.
Header headerOf(const Call& call, std::int32_t error, const Image* image) {
  const std::uint32_t sent = image == nullptr ? 0 : image->sampleBytes == 1 ? kByte : kUInt16;
  const std::array<std::uint32_t, kHeaderFields> fields = {
      1,
      static_cast<std::uint32_t>(error),
      call.transaction(),
      nextTransaction(),
      kHeaderBytes,
      image == nullptr ? 0 : kInt32,
      sent,
      image == nullptr ? 0U : 2U,
      image == nullptr ? 0U : static_cast<std::uint32_t>(image->width),
      image == nullptr ? 0U : static_cast<std::uint32_t>(image->height),
      0};
  Header header{};
  std::size_t at = 0;
  for (const std::uint32_t field : fields)
    for (unsigned shift = 0; shift < 32; shift += 8) header[at++] = static_cast<std::uint8_t>(field >> shift);
  return header;
}

std::vector<std::pair<std::string, std::string>> bytesType() {
  return {{"Content-Type", "application/imagebytes"}};
}

std::size_t columnBytesOf(const Image& image) {
  return static_cast<std::size_t>(image.height) * static_cast<std::size_t>(image.sampleBytes);
}

[[maybe_unused]] void swapSamples(std::uint8_t* bytes, std::size_t size) {
  for (std::size_t i = 0; i + 1 < size; i += 2) std::swap(bytes[i], bytes[i + 1]);
}

// The header with the first columns, then whole columns, as many as there is room for.
std::size_t fillBytes(const Header& header, const Image& image, std::uint64_t at, std::uint8_t* to,
                      std::size_t room) {
  std::size_t written = 0;
  if (at == 0) {
    std::memcpy(to, header.data(), header.size());
    written = header.size();
    at = header.size();
  }
  const auto columnBytes = columnBytesOf(image);
  const std::size_t first = static_cast<std::size_t>(at - header.size()) / columnBytes;
  const std::size_t count =
      std::min((room - written) / columnBytes, static_cast<std::size_t>(image.width) - first);
  writeColumns(image, first, count, to + written);
  if constexpr (std::endian::native == std::endian::big) {
    if (image.sampleBytes == 2) swapSamples(to + written, count * columnBytes);
  }
  return written + count * columnBytes;
}

// Columns as text, a piece of a column at a time; what did not fit the last time is kept.
class ColumnsText {
 public:
  ColumnsText(std::shared_ptr<const Image> image, std::string before, std::string after)
      : image_(std::move(image)), pending_(std::move(before)), after_(std::move(after)) {}

  std::size_t fill(char* to, std::size_t room) {
    while (pending_.size() < room && !ended_) addColumn();
    const std::size_t count = std::min(room, pending_.size());
    std::memcpy(to, pending_.data(), count);
    pending_.erase(0, count);
    return count;
  }

 private:
  void addColumn() {
    if (column_ == image_->width) {
      pending_ += after_;
      ended_ = true;
      return;
    }
    const auto height = static_cast<std::size_t>(image_->height);
    samples_.resize(height * static_cast<std::size_t>(image_->sampleBytes));
    writeColumns(*image_, static_cast<std::size_t>(column_), 1, samples_.data());
    pending_ += column_ == 0 ? "[" : ",[";
    std::array<char, 8> digits{};
    for (std::size_t y = 0; y < height; ++y) {
      std::uint16_t value = samples_[y];
      if (image_->sampleBytes == 2) std::memcpy(&value, samples_.data() + 2 * y, sizeof value);
      if (y > 0) pending_ += ',';
      pending_.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
    }
    pending_ += ']';
    ++column_;
  }

  std::shared_ptr<const Image> image_;
  std::vector<std::uint8_t> samples_;
  std::string pending_;
  std::string after_;
  int column_ = 0;
  bool ended_ = false;
};

}  // namespace

bool takesBytes(const Request& request) {
  std::string accept = request.header("Accept").value_or("");
  std::transform(accept.begin(), accept.end(), accept.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return accept.find("application/imagebytes") != std::string::npos;
}

Response bytesAnswer(const Call& call, const std::shared_ptr<const Image>& image) {
  const Header header = headerOf(call, 0, image.get());
  const auto columnBytes = columnBytesOf(*image);
  const std::size_t columns =
      std::max<std::size_t>(kBlockBytes / columnBytes / kColumnsTogether, 1) * kColumnsTogether;
  GeneratedBody body;
  body.size = kHeaderBytes + columnBytes * static_cast<std::uint64_t>(image->width);
  body.block = kHeaderBytes + columnBytes * columns;
  body.fill = [header, image](std::uint64_t at, char* to, std::size_t room) {
    return fillBytes(header, *image, at, reinterpret_cast<std::uint8_t*>(to), room);
  };
  return {200, bytesType(), std::move(body)};
}

Response bytesFailure(const Call& call, const CallFailure& failure) {
  const Header header = headerOf(call, failure.number, nullptr);
  return {200, bytesType(), std::string(header.begin(), header.end()) + failure.text};
}

Response textAnswer(const Call& call, const std::shared_ptr<const Image>& image) {
  const std::string after = "],\"ClientTransactionID\":" + std::to_string(call.transaction()) +
                            ",\"ServerTransactionID\":" + std::to_string(nextTransaction()) +
                            ",\"ErrorNumber\":0,\"ErrorMessage\":\"\"}";
  const auto text = std::make_shared<ColumnsText>(image, "{\"Type\":2,\"Rank\":2,\"Value\":[", after);
  constexpr std::uint64_t kMostChars = 6;  // of a value, with its comma
  GeneratedBody body;
  body.most = static_cast<std::uint64_t>(image->width) * static_cast<std::uint64_t>(image->height) * kMostChars;
  body.block = kBlockBytes;
  body.fill = [text](std::uint64_t, char* to, std::size_t room) { return text->fill(to, room); };
  return {200, {{"Content-Type", "application/json"}}, std::move(body)};
}

}  // namespace orq::network::alpaca
