#include "session/fits/Keywords.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>

#include "session/Failure.h"
#include "session/fits/FitsKeywords.h"
#include "support/Text.h"

namespace orq::session {

namespace {

constexpr std::size_t kNameChars = 8;
constexpr std::size_t kTextChars = 68;  // of a string value, quotes counted double
constexpr std::size_t kCardChars = 80;
constexpr std::size_t kValueColumn = 10;      // "KEYWORD = "
constexpr std::size_t kLeastValueChars = 20;  // shorter values are padded up to the comment column

[[noreturn]] void Refuse(std::string_view text, const std::string& reason) {
  throw Failure(Status::Invalid, "the keyword " + std::string(text) + ": " + reason);
}

bool Printable(std::string_view text) {
  return std::all_of(
      text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

std::string_view Trim(std::string_view text) {
  while (text.starts_with(' ')) text.remove_prefix(1);
  while (text.ends_with(' ')) text.remove_suffix(1);
  return text;
}

std::size_t QuotedChars(std::string_view text) {
  const auto quotes = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\''));
  return text.size() + quotes;
}

bool IsName(std::string_view name) {
  return !name.empty() && name.size() <= kNameChars &&
         std::all_of(
             name.begin(), name.end(),
             [](unsigned char c) { return std::isupper(c) != 0 || std::isdigit(c) != 0 || c == '-' || c == '_'; });
}

std::string ParseName(std::string_view whole, std::string_view text) {
  std::string name(text);
  std::transform(name.begin(), name.end(), name.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  if (!IsName(name)) Refuse(whole, "a keyword has 1 to 8 letters, digits, '-' or '_'");
  const std::size_t row = FindOwnKeyword(name);
  const OwnKeyword* const own = row < std::size(kOwnKeywords) ? &kOwnKeywords[row] : nullptr;
  if (own != nullptr && !own->option.empty()) Refuse(whole, name + " is set with " + std::string(own->option));
  if (own != nullptr && !own->usersCounts) Refuse(whole, name + " is reserved: orqcam writes it");
  const bool format = std::ranges::find(kFormatKeywords, name) != std::end(kFormatKeywords) ||
                      (name.starts_with("NAXIS") && name.size() > 5);
  if (format) Refuse(whole, name + " is reserved: the FITS format defines it");
  return name;
}

// Text in quotes from the front of `rest`; what follows stays in `rest`. Nothing: the quote is not closed.
std::optional<std::string> TakeQuoted(std::string_view& rest) {
  std::string value;
  for (std::size_t i = 1; i < rest.size(); ++i) {
    if (rest[i] != '\'') {
      value += rest[i];
    } else if (i + 1 < rest.size() && rest[i + 1] == '\'') {
      value += rest[++i];
    } else {
      rest.remove_prefix(i + 1);
      return value;
    }
  }
  return std::nullopt;
}

decltype(Keyword::value) ParseValue(std::string_view text) {
  if (text == "T" || text == "F") return text == "T";
  std::string_view digits = text;
  if (digits.starts_with('+')) digits.remove_prefix(1);
  const char* const end = digits.data() + digits.size();
  std::int64_t integer = 0;
  const auto whole = std::from_chars(digits.data(), end, integer);
  if (!digits.empty() && whole.ec == std::errc() && whole.ptr == end) return integer;
  double real = 0.0;
  const auto fraction = std::from_chars(digits.data(), end, real);
  if (!digits.empty() && fraction.ec == std::errc() && fraction.ptr == end && std::isfinite(real)) return real;
  return std::string(text);
}

}  // namespace

void CheckTextValue(std::string_view text, std::string_view option) {
  if (!Printable(text) || QuotedChars(text) > kTextChars) {
    throw Failure(Status::Invalid, std::string(option) + " '" + std::string(text) +
                                       "': FITS takes at most 68 printable ASCII characters");
  }
}

bool CommentFits(std::string_view text, std::string_view comment) {
  const std::size_t valueChars = std::max(kLeastValueChars, QuotedChars(text) + 2);
  const std::size_t commentChars = comment.empty() ? 0 : comment.size() + 3;
  return kValueColumn + valueChars + commentChars <= kCardChars;
}

Keyword ParseKeyword(std::string_view text) {
  const std::size_t equals = text.find('=');
  if (equals == std::string_view::npos) Refuse(text, "write KEY=VALUE or 'KEY=VALUE / comment'");
  Keyword keyword;
  keyword.name = ParseName(text, Trim(text.substr(0, equals)));
  std::string_view rest = text.substr(equals + 1);
  if (!Printable(rest)) Refuse(text, "FITS takes printable ASCII only");
  if (Trim(rest).starts_with('\'')) {
    rest = Trim(rest);
    const std::optional<std::string> quoted = TakeQuoted(rest);
    if (!quoted) Refuse(text, "the quote is not closed");
    keyword.value = *quoted;
    rest = Trim(rest);
    if (!rest.empty() && !rest.starts_with('/')) Refuse(text, "only / comment may follow the closing quote");
    if (!rest.empty()) keyword.comment = Trim(rest.substr(1));
  } else {
    // Telescopes are called "Newton 150/750": a slash alone is part of the value.
    constexpr std::string_view kSeparator = " / ";
    const std::size_t slash = rest.find(kSeparator);
    keyword.value = ParseValue(Trim(rest.substr(0, slash)));
    if (slash != std::string_view::npos) keyword.comment = Trim(rest.substr(slash + kSeparator.size()));
  }
  const auto* const value = std::get_if<std::string>(&keyword.value);
  if (value != nullptr && QuotedChars(*value) > kTextChars) Refuse(text, "the text is longer than 68 characters");
  if (!CommentFits(value != nullptr ? *value : std::string(), keyword.comment))
    Refuse(text, "the comment is too long for one card");
  return keyword;
}

std::optional<Keyword> ParseCard(std::string_view card) {
  const std::string_view name = Trim(card.substr(0, kNameChars));
  if (card.size() < kValueColumn || !card.starts_with(name) || !IsName(name) || !Printable(card))
    return std::nullopt;
  if (name == kHistory) return Keyword{std::string(name), std::string(Trim(card.substr(kNameChars))), {}};
  if (card.substr(kNameChars, kValueColumn - kNameChars) != "= ") return std::nullopt;
  Keyword keyword{std::string(name), {}, {}};
  std::string_view rest = Trim(card.substr(kValueColumn));
  if (rest.starts_with('\'')) {
    std::optional<std::string> quoted = TakeQuoted(rest);
    if (!quoted) return std::nullopt;
    quoted->resize(quoted->find_last_not_of(' ') + 1);  // blanks at its end mean nothing
    keyword.value = *quoted;
  } else {
    const std::string_view value = Trim(rest.substr(0, rest.find('/')));
    if (value.empty()) return std::nullopt;
    keyword.value = ParseValue(value);
  }
  const std::size_t slash = rest.find('/');
  if (slash != std::string_view::npos) keyword.comment = Trim(rest.substr(slash + 1));
  return keyword;
}

}  // namespace orq::session
