// A binary table of a FITS file, and the cards that the format itself defines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orq::session {

inline constexpr std::size_t kFitsCardChars = 80;

std::string IntegerCard(std::string_view name, std::uint64_t value, std::string_view comment);
std::string LogicalCard(std::string_view name, bool value, std::string_view comment);
/// `value` without quotes in it.
std::string TextCard(std::string_view name, std::string_view value, std::string_view comment);

/// A column: its type as TFORM has it ("1K", "27A"), its unit or none, and what it is.
struct FitsColumn {
  std::string_view name;
  std::string_view form;
  std::size_t bytes;
  std::string_view unit;
  std::string_view comment;
};

/// A row while it is put together, from the left: most significant bytes first.
class FitsRow {
 public:
  explicit FitsRow(std::vector<std::uint8_t>& rows) : rows_(rows) {}
  FitsRow& Integer(std::int64_t value, std::size_t bytes = sizeof(std::int64_t));
  FitsRow& Real(double value);
  /// Cut, or filled up with blanks.
  FitsRow& Text(std::string_view text, std::size_t chars);

 private:
  std::vector<std::uint8_t>& rows_;
};

/// And taken apart again, as many bytes as there are.
class FitsRowReader {
 public:
  explicit FitsRowReader(std::span<const std::uint8_t> row) : rest_(row) {}
  /// Of eight bytes, or of four with its sign.
  std::int64_t Integer(std::size_t bytes = sizeof(std::int64_t));
  double Real();
  /// Without the blanks at its end.
  std::string Text(std::size_t chars);

 private:
  std::span<const std::uint8_t> Take(std::size_t bytes);
  std::span<const std::uint8_t> rest_;
};

/// The extension `name`: `rows` as FitsRow puts them; `cards` behind those of its structure.
std::vector<std::uint8_t> FitsTable(std::string_view name, std::span<const FitsColumn> columns,
                                    std::string_view cards, std::span<const std::uint8_t> rows);

/// Where the rows of such a table stand.
struct FitsTablePlace {
  std::size_t offset = 0;  ///< from the beginning of the extension
  std::uint64_t rows = 0;
};
/// Nothing when `start`, the first bytes of an extension, is no header of the table `name` with these columns.
/// Cards beside those of its structure may be any.
std::optional<FitsTablePlace> FindFitsTable(std::span<const std::uint8_t> start, std::string_view name,
                                            std::span<const FitsColumn> columns);

}  // namespace orq::session
