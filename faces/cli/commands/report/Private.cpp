#include "commands/report/Private.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>

namespace orq::cli {

namespace {

constexpr std::size_t kSerialDigits = 16;
constexpr std::size_t kLeastName = 2;  // one letter says nothing, and is everywhere

bool IsWord(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

std::string Replaced(std::string text, const std::string& what, std::string_view with, bool wholeWords) {
  if (what.size() < kLeastName) return text;
  for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at)) {
    const std::size_t end = at + what.size();
    const bool inWord = (at > 0 && IsWord(text[at - 1])) || (end < text.size() && IsWord(text[end]));
    if (wholeWords && inWord) {
      at = end;
    } else {
      text.replace(at, what.size(), with);
      at += with.size();
    }
  }
  return text;
}

// Others' as well as the user's own.
std::string WithoutHomes(std::string text) {
  constexpr std::string_view kHomes = "/home/";
  for (std::size_t at = text.find(kHomes); at != std::string::npos; at = text.find(kHomes, at)) {
    const std::size_t end = text.find_first_of("/ '\"\n", at + kHomes.size());
    text.replace(at, std::min(end, text.size()) - at, "~");
  }
  return text;
}

std::string WithoutSerials(std::string_view text) {
  std::string kept;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t begin = at;
    while (at < text.size() && IsWord(text[at])) ++at;
    const std::string_view word = text.substr(begin, at - begin);
    const bool serial = word.size() == kSerialDigits &&
                        std::ranges::all_of(word, [](unsigned char c) { return std::isxdigit(c) != 0; });
    kept += serial ? std::string_view("SERIAL") : word;
    if (at < text.size()) kept += text[at++];
  }
  return kept;
}

}  // namespace

PrivateFacts MyPrivateFacts() {
  PrivateFacts facts;
  if (const char* home = std::getenv("HOME")) facts.home = home;
  if (facts.home == "/") facts.home.clear();
  if (const passwd* me = getpwuid(getuid())) facts.user = me->pw_name;
  std::array<char, 256> host{};
  if (gethostname(host.data(), host.size() - 1) == 0) facts.host = host.data();
  return facts;
}

std::string WithoutPrivate(std::string_view text, const PrivateFacts& facts) {
  std::string kept = Replaced(WithoutSerials(text), facts.home, "~", false);
  kept = WithoutHomes(std::move(kept));
  // "root" is every computer's, and so is "localhost".
  if (facts.user != "root") kept = Replaced(std::move(kept), facts.user, "USER", true);
  if (facts.host != "localhost") kept = Replaced(std::move(kept), facts.host, "HOST", true);
  return kept;
}

}  // namespace orq::cli
