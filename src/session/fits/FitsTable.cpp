#include "session/fits/FitsTable.h"

#include <algorithm>
#include <bit>
#include <map>

#include "session/fits/FitsCube.h"
#include "session/fits/Keywords.h"
#include "support/Text.h"

namespace orq::session {
namespace {

constexpr std::size_t kValueColumn = 10;
constexpr std::size_t kValueChars = 20;

std::string Card(std::string_view name, const std::string& value, std::string_view comment) {
  std::string card(name);
  card.resize(kValueColumn - 2, ' ');
  card += "= " + value;
  if (!comment.empty()) {
    card += " / ";
    card += comment;
  }
  card.resize(kFitsCardChars, ' ');
  return card;
}

std::string RightAligned(const std::string& value) {
  return std::string(kValueChars - std::min(value.size(), kValueChars), ' ') + value;
}

std::size_t RowBytes(std::span<const FitsColumn> columns) {
  std::size_t bytes = 0;
  for (const FitsColumn& column : columns) bytes += column.bytes;
  return bytes;
}

std::string TableHeader(std::string_view name, std::span<const FitsColumn> columns, std::string_view cards,
                        std::uint64_t rows) {
  std::string text = TextCard("XTENSION", "BINTABLE", "a table");
  text += IntegerCard("BITPIX", 8, "bytes");
  text += IntegerCard("NAXIS", 2, "columns of bytes, and rows");
  text += IntegerCard("NAXIS1", RowBytes(columns), "bytes of a row");
  text += IntegerCard("NAXIS2", rows, "rows");
  text += IntegerCard("PCOUNT", 0, "nothing behind the table");
  text += IntegerCard("GCOUNT", 1, "one table");
  text += IntegerCard("TFIELDS", columns.size(), "columns");
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const std::string number = std::to_string(i + 1);
    text += TextCard("TTYPE" + number, columns[i].name, columns[i].comment);
    text += TextCard("TFORM" + number, columns[i].form, "");
    if (!columns[i].unit.empty()) text += TextCard("TUNIT" + number, columns[i].unit, "");
  }
  text += TextCard("EXTNAME", name, "");
  text += cards;
  text += "END";
  text.resize(WholeBlocks(text.size()), ' ');
  return text;
}

}  // namespace

std::string IntegerCard(std::string_view name, std::uint64_t value, std::string_view comment) {
  return Card(name, RightAligned(std::to_string(value)), comment);
}

std::string LogicalCard(std::string_view name, bool value, std::string_view comment) {
  return Card(name, RightAligned(value ? "T" : "F"), comment);
}

std::string TextCard(std::string_view name, std::string_view value, std::string_view comment) {
  constexpr std::size_t kLeastTextChars = 8;
  std::string text(value);
  if (text.size() < kLeastTextChars) text.resize(kLeastTextChars, ' ');
  text = "'" + text + "'";
  if (text.size() < kValueChars) text.resize(kValueChars, ' ');
  return Card(name, text, comment);
}

FitsRow& FitsRow::Integer(std::int64_t value, std::size_t bytes) {
  for (std::size_t i = bytes; i > 0; --i)
    rows_.push_back(static_cast<std::uint8_t>(static_cast<std::uint64_t>(value) >> (8 * (i - 1))));
  return *this;
}

FitsRow& FitsRow::Real(double value) {
  return Integer(std::bit_cast<std::int64_t>(value));
}

FitsRow& FitsRow::Text(std::string_view text, std::size_t chars) {
  std::string cut(text.substr(0, chars));
  cut.resize(chars, ' ');
  rows_.insert(rows_.end(), cut.begin(), cut.end());
  return *this;
}

std::span<const std::uint8_t> FitsRowReader::Take(std::size_t bytes) {
  const std::span<const std::uint8_t> taken = rest_.first(std::min(bytes, rest_.size()));
  rest_ = rest_.subspan(taken.size());
  return taken;
}

std::int64_t FitsRowReader::Integer(std::size_t bytes) {
  std::uint64_t value = 0;
  for (const std::uint8_t byte : Take(bytes)) value = value << 8U | byte;
  return bytes == sizeof(std::int32_t) ? static_cast<std::int32_t>(value) : static_cast<std::int64_t>(value);
}

double FitsRowReader::Real() {
  return std::bit_cast<double>(Integer());
}

std::string FitsRowReader::Text(std::size_t chars) {
  const std::span<const std::uint8_t> taken = Take(chars);
  std::string text(taken.begin(), taken.end());
  text.resize(text.find_last_not_of(' ') + 1);
  return text;
}

std::vector<std::uint8_t> FitsTable(std::string_view name, std::span<const FitsColumn> columns,
                                    std::string_view cards, std::span<const std::uint8_t> rows) {
  const std::string header =
      TableHeader(name, columns, cards, rows.size() / std::max<std::size_t>(RowBytes(columns), 1));
  std::vector<std::uint8_t> bytes(header.begin(), header.end());
  bytes.insert(bytes.end(), rows.begin(), rows.end());
  bytes.resize(WholeBlocks(bytes.size()), 0);
  return bytes;
}

std::optional<FitsTablePlace> FindFitsTable(std::span<const std::uint8_t> start, std::string_view name,
                                            std::span<const FitsColumn> columns) {
  std::map<std::string, KeywordValue> values;
  const std::string_view text(reinterpret_cast<const char*>(start.data()), start.size());
  const std::size_t bytes = FitsHeaderBytes(text);
  for (std::size_t at = 0; at < bytes; at += kFitsCardChars)
    if (const auto card = ParseCard(text.substr(at, kFitsCardChars))) values[card->name] = card->value;
  const auto is = [&values](const std::string& key, const KeywordValue& value) {
    const auto found = values.find(key);
    return found != values.end() && found->second == value;
  };
  const auto whole = [](std::uint64_t value) { return KeywordValue(static_cast<std::int64_t>(value)); };
  bool same = is("XTENSION", std::string("BINTABLE")) && is("EXTNAME", std::string(name)) &&
              is("NAXIS1", whole(RowBytes(columns))) && is("TFIELDS", whole(columns.size()));
  for (std::size_t i = 0; i < columns.size(); ++i) {
    const std::string number = std::to_string(i + 1);
    same = same && is("TTYPE" + number, std::string(columns[i].name)) &&
           is("TFORM" + number, std::string(columns[i].form));
  }
  const auto* const rows = std::get_if<std::int64_t>(&values["NAXIS2"]);
  if (!same || rows == nullptr || *rows < 0) return std::nullopt;
  return FitsTablePlace{.offset = bytes, .rows = static_cast<std::uint64_t>(*rows)};
}

}  // namespace orq::session
