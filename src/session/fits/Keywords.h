// FITS keywords that a user adds to the files.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace orq::session {

/// A logical, an integer, a real number or text.
using KeywordValue = std::variant<bool, std::int64_t, double, std::string>;

struct Keyword {
  std::string name;  ///< 1 to 8 of A-Z 0-9 - _
  KeywordValue value;
  std::string comment;
};

/// "KEY=VALUE" or "KEY=VALUE / comment". The value is a logical (T, F), a number or text; a comment begins at " /
/// " only. Text in single quotes may hold that, too, and is text even when it looks like a number. Throws Failure
/// (usage) for what FITS does not allow, for what does not fit one card, and for keywords that orqcam writes
/// itself.
Keyword ParseKeyword(std::string_view text);

/// A card as it stands in a file, of any keyword; HISTORY has its text. Nothing for cards without a value, and for
/// those that break the rules of FITS.
std::optional<Keyword> ParseCard(std::string_view card);

/// Throws Failure (invalid) when `text` is not fit to be a text value: printable ASCII of at most 68 characters.
/// `option` is where it came from.
void CheckTextValue(std::string_view text, std::string_view option);

/// Whether a comment has room beside a text value on one card.
bool CommentFits(std::string_view text, std::string_view comment);

}  // namespace orq::session
