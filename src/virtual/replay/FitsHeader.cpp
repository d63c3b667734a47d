#include "virtual/replay/FitsHeader.h"

#include <charconv>
#include <cmath>
#include <map>
#include <string_view>

#include "virtual/replay/RecordedFrames.h"
#include "virtual/sensor/BayerMosaic.h"

namespace orq {
namespace {

constexpr std::size_t kCardBytes = 80;

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

/// Keywords with values, in the order of the cards.
class Cards {
 public:
  /// Reads up to END; false with a reason when the header is not one.
  bool Read(std::string_view text, std::string& error) {
    for (std::size_t at = 0; at + kCardBytes <= text.size(); at += kCardBytes) {
      const std::string_view card = text.substr(at, kCardBytes);
      for (const char c : card) {
        if (c < ' ' || c > '~') {
          error = "FITS header holds bytes that are not text";
          return false;
        }
      }
      if (card.starts_with("END") && card.find_first_not_of(' ', 3) == std::string_view::npos) {
        bytes_ = (at / kFitsBlock + 1) * kFitsBlock;
        return true;
      }
      if (card.substr(8, 2) != "= ") continue;
      const std::string_view field = card.substr(0, 8);
      const std::string_view key = Trimmed(field);
      if (key.empty() || !field.starts_with(key) || key.find(' ') != std::string_view::npos) {
        error = "FITS keyword does not start at the left";
        return false;
      }
      if (!values_.emplace(key, Position{at / kCardBytes, card.substr(10)}).second) {
        error = "FITS keyword " + std::string(key) + " stands twice";
        return false;
      }
    }
    error = "truncated: the file ends before its FITS header does (there is no END)";
    return false;
  }

  std::size_t Bytes() const { return bytes_; }
  bool Has(std::string_view key) const { return values_.contains(key); }
  bool StandsAt(std::string_view key, std::size_t card) const {
    const auto found = values_.find(key);
    return found != values_.end() && found->second.card == card;
  }
  /// The value without its comment; empty when absent.
  std::string_view Value(std::string_view key) const {
    const auto found = values_.find(key);
    if (found == values_.end()) return {};
    const std::string_view text = Trimmed(found->second.text);
    if (text.starts_with('\'')) {
      const std::size_t end = text.find('\'', 1);
      return end == std::string_view::npos ? std::string_view{} : Trimmed(text.substr(1, end - 1));
    }
    return Trimmed(text.substr(0, text.find('/')));
  }
  /// A text whole: a quote inside it stands twice.
  std::string Text(std::string_view key) const {
    const auto found = values_.find(key);
    if (found == values_.end()) return {};
    const std::string_view card = Trimmed(found->second.text);
    if (!card.starts_with('\'')) return std::string(Value(key));
    std::string text;
    for (std::size_t at = 1; at < card.size(); ++at) {
      const bool quote = card[at] == '\'';
      if (quote && (at + 1 == card.size() || card[at + 1] != '\'')) break;
      if (quote) ++at;
      text += card[at];
    }
    text.resize(text.find_last_not_of(' ') + 1);
    return text;
  }
  template <class Number>
  std::optional<Number> Get(std::string_view key) const {
    std::string_view text = Value(key);
    if (text.starts_with('+')) text.remove_prefix(1);
    Number number{};
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    return number;
  }

 private:
  struct Position {
    std::size_t card;
    std::string_view text;
  };
  std::map<std::string_view, Position> values_;
  std::size_t bytes_ = 0;
};

/// The cards that the standard puts first, in its order.
bool CheckOrder(const Cards& cards, std::int64_t axes, std::string& error) {
  bool ordered = cards.StandsAt("SIMPLE", 0) && cards.StandsAt("BITPIX", 1) && cards.StandsAt("NAXIS", 2);
  for (std::int64_t i = 1; i <= axes; ++i)
    ordered = ordered && cards.StandsAt("NAXIS" + std::to_string(i), static_cast<std::size_t>(2 + i));
  if (!ordered || cards.Value("SIMPLE") != "T") {
    error = "FITS header is damaged: SIMPLE, BITPIX, NAXIS and the axes must come first";
    return false;
  }
  return true;
}

/// Values must be whole numbers as they stand, or unsigned 16 bit through BZERO.
bool CheckScaling(const Cards& cards, std::int64_t bitpix, std::string& error) {
  const auto stated = [&](std::string_view key, double absent) {
    return cards.Has(key) ? cards.Get<double>(key) : std::optional<double>(absent);
  };
  const std::optional<double> scale = stated("BSCALE", 1.0);
  const std::optional<double> zero = stated("BZERO", 0.0);
  if (scale == 1.0 && (zero == 0.0 || (zero == 32768.0 && bitpix == 16))) return true;
  error = "FITS image is scaled (BSCALE, BZERO); only plain and unsigned 16-bit images can be replayed";
  return false;
}

/// -1 when no (known) pattern is stated.
int PatternOf(const Cards& cards) {
  const int corner = BayerByName(cards.Value("BAYERPAT")).value_or(-1);
  const int dx = cards.Get<int>("XBAYROFF").value_or(0);
  const int dy = cards.Get<int>("YBAYROFF").value_or(0);
  return MovedPattern(corner, dx & 1, dy & 1);
}

RecordedFacts FactsOf(const Cards& cards) {
  std::optional<double> exposure = cards.Get<double>("EXPTIME");
  if (exposure && !std::isfinite(*exposure)) exposure.reset();
  return {
      .file = {}, .dateObs = cards.Text("DATE-OBS"), .exposureSeconds = exposure, .object = cards.Text("OBJECT")};
}

}  // namespace

std::optional<FitsHeader> ParseFitsHeader(std::span<const std::uint8_t> bytes, std::string& error) {
  Cards cards;
  if (!cards.Read({reinterpret_cast<const char*>(bytes.data()), bytes.size()}, error)) return std::nullopt;
  const auto bitpix = cards.Get<std::int64_t>("BITPIX");
  const auto axes = cards.Get<std::int64_t>("NAXIS");
  if (axes == 0) {
    error = "FITS file holds no image in its primary part (compressed images are not read)";
    return std::nullopt;
  }
  if (!bitpix || (*bitpix != 8 && *bitpix != 16)) {
    error = "FITS image must have 8 or 16 bits (BITPIX)";
    return std::nullopt;
  }
  if (!axes || (*axes != 2 && *axes != 3)) {
    error = "FITS image must have two axes, or three with a frame per plane";
    return std::nullopt;
  }
  if (!CheckOrder(cards, *axes, error) || !CheckScaling(cards, *bitpix, error)) return std::nullopt;
  if (cards.Has("GROUPS")) {
    error = "FITS random groups are not images";
    return std::nullopt;
  }
  const std::int64_t width = cards.Get<std::int64_t>("NAXIS1").value_or(0);
  const std::int64_t height = cards.Get<std::int64_t>("NAXIS2").value_or(0);
  const std::int64_t frames = *axes == 3 ? cards.Get<std::int64_t>("NAXIS3").value_or(0) : 1;
  const auto present = static_cast<std::int64_t>(bytes.size()) - static_cast<std::int64_t>(cards.Bytes());
  if (!CheckGeometry(width, height, frames, static_cast<int>(*bitpix / 8), present, error)) return std::nullopt;
  return FitsHeader{.bitpix = static_cast<int>(*bitpix),
                    .width = static_cast<int>(width),
                    .height = static_cast<int>(height),
                    .frames = static_cast<int>(frames),
                    .bayer = PatternOf(cards),
                    .dataOffset = cards.Bytes(),
                    .facts = FactsOf(cards)};
}

}  // namespace orq
