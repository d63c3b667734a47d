#include "session/files/FileNames.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>

#include "session/Failure.h"
#include "session/text/Units.h"
#include "support/Text.h"

namespace orq::session {

namespace {

constexpr std::array<std::string_view, 12> kPlaceholders = {
    "n", "date", "time", "camera", "serial", "object", "type", "format", "exposure", "gain", "offset", "bin"};
constexpr int kMostDigits = 9;

std::string Known() {
  std::vector<std::string> names;
  names.reserve(kPlaceholders.size());
  for (const std::string_view name : kPlaceholders) names.push_back("{" + std::string(name) + "}");
  return Join(names);
}

[[noreturn]] void Refuse(const std::string& message) {
  throw Failure(Status::Invalid, "file name: " + message);
}

// Without the extension of compressed FITS files that stands after the other one.
std::string_view Uncompressed(std::string_view path) {
  constexpr std::string_view kBoth = ".fits.fz";
  constexpr std::string_view kSecond = ".fz";
  if (path.size() < kBoth.size() || Lower(path.substr(path.size() - kBoth.size())) != kBoth) return path;
  return path.substr(0, path.size() - kSecond.size());
}

FileKind KindOf(std::string_view pattern, FileUse use) {
  if (use == FileUse::Folder) return FileKind::Folder;
  const std::string extension = Lower(std::filesystem::path(pattern).extension().string());
  if (use == FileUse::Recording) {
    if (extension == ".ser") return FileKind::Ser;
    if (extension == ".fits" || extension == ".fit") return FileKind::Fits;
    Refuse("'" + std::string(pattern) + "' must end in .ser, in .fits or .fit for a cube, or in / for a folder");
  }
  if (Uncompressed(pattern) != pattern) return FileKind::CompressedFits;
  if (extension == ".fits" || extension == ".fit") return FileKind::Fits;
  if (extension == ".png") return FileKind::Png;
  if (extension == ".raw") return FileKind::Raw;
  Refuse("'" + std::string(pattern) + "' must end in .fits.fz, .fits, .fit, .png or .raw");
}

int Digits(std::string_view name, std::string_view text) {
  const bool number = name == "n";
  const bool digits = !text.empty() && text.size() <= 3 &&
                      std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
  const int value = digits ? std::stoi(std::string(text)) : 0;
  if (!number || value < 1 || value > kMostDigits) Refuse("a width is for {n} only, from {n:01} to {n:09}");
  return value;
}

// Blanks make scripts stumble, slashes would leave the directory.
std::string Plain(std::string_view text) {
  std::string plain;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool good = byte >= 0x80 || std::isalnum(byte) != 0 || c == '-' || c == '_' || c == '.' || c == '+';
    plain += good ? c : '_';
  }
  return plain.empty() || plain.starts_with('.') ? "none" + plain : plain;
}

std::string ClockText(std::int64_t unixUs) {
  std::string time = IsoUtc(unixUs).substr(11, 12);  // hh:mm:ss.mmm
  std::replace(time.begin(), time.end(), ':', '-');
  return time;
}

std::string Value(std::string_view name, const NameFacts& facts) {
  if (name == "date") return IsoUtc(facts.unixUs).substr(0, 10);
  if (name == "time") return ClockText(facts.unixUs);
  if (name == "camera") return Plain(facts.camera);
  if (name == "serial") return Plain(facts.serial);
  if (name == "object") return Plain(facts.object);
  if (name == "type") return Plain(facts.imageType);
  if (name == "format") return Plain(facts.format);
  if (name == "exposure") return ExposureText(facts.exposureUs);
  if (name == "gain") return std::to_string(facts.gain);
  if (name == "offset") return std::to_string(facts.offset);
  return std::to_string(facts.bin);
}

}  // namespace

FilePattern::FilePattern(std::string_view pattern, FileUse use) : kind_(KindOf(pattern, use)) {
  const std::filesystem::path path(Uncompressed(pattern));
  if (kind_ == FileKind::Folder ? !path.has_filename() : !path.has_extension()) Refuse("the file has no name");
  std::string text;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char c = pattern[i];
    const bool doubled = i + 1 < pattern.size() && pattern[i + 1] == c;
    if (c != '{' && c != '}') {
      text += c;
    } else if (doubled) {
      text += c;
      ++i;
    } else if (c == '}') {
      Refuse("'}' without '{'; write }} for a plain brace");
    } else {
      const std::size_t end = pattern.find('}', i);
      if (end == std::string_view::npos) Refuse("'{' without '}'; write {{ for a plain brace");
      const std::string_view inside = pattern.substr(i + 1, end - i - 1);
      const std::size_t colon = inside.find(':');
      const std::string_view name = inside.substr(0, colon);
      if (std::find(kPlaceholders.begin(), kPlaceholders.end(), name) == kPlaceholders.end())
        Refuse("unknown placeholder {" + std::string(name) + "}; there are " + Known());
      const int digits = colon == std::string_view::npos ? 1 : Digits(name, inside.substr(colon + 1));
      if (!text.empty()) pieces_.push_back({false, text, 0});
      text.clear();
      pieces_.push_back({true, std::string(name), digits});
      i = end;
    }
  }
  if (!text.empty()) pieces_.push_back({false, text, 0});
}

std::string FilePattern::Expand(const NameFacts& facts) const {
  std::string path;
  for (const Piece& piece : pieces_)
    if (!piece.placeholder)
      path += piece.text;
    else if (piece.text == "n")
      path += Format("%0*llu", piece.digits, static_cast<unsigned long long>(facts.number));
    else
      path += Value(piece.text, facts);
  return path;
}

bool FilePattern::Has(std::string_view placeholder) const {
  return std::any_of(
      pieces_.begin(), pieces_.end(),
      [&](const Piece& piece) { return piece.placeholder && piece.text == placeholder; });
}

std::string WithExtension(const std::string& path, std::string_view extension) {
  return std::filesystem::path(Uncompressed(path)).replace_extension(extension).string();
}

}  // namespace orq::session
