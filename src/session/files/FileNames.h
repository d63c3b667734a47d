// Names of output files, made from a pattern.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace orq::session {

enum class FileKind { Fits, CompressedFits, Png, Raw, Ser, Folder };
/// What a file holds, which decides the kinds that it may be of.
enum class FileUse { Frame, Recording, Folder };

/// What a name can be made of.
struct NameFacts {
  std::uint64_t number = 1;      ///< {n}: number of the frame in this run, from 1; {n:04} with leading zeros
  std::int64_t unixUs = 0;       ///< {date} 2026-11-21 and {time} 04-42-31.123, start of exposure, UTC
  std::string camera;            ///< {camera}: short model name
  std::string serial;            ///< {serial}
  std::string object;            ///< {object}
  std::string imageType;         ///< {type}: light, dark, bias or flat
  std::string format;            ///< {format}
  std::uint64_t exposureUs = 0;  ///< {exposure}: 5s, 200ms, 1500us
  int gain = 0;                  ///< {gain}
  int offset = 0;                ///< {offset}
  int bin = 1;                   ///< {bin}
};

/// A pattern with placeholders in braces ({{ and }} are plain braces). Its extension decides the kind of file; a
/// folder needs none.
class FilePattern {
 public:
  /// Throws Failure (invalid) that lists the right placeholders or extensions.
  explicit FilePattern(std::string_view pattern, FileUse use = FileUse::Frame);

  std::string Expand(const NameFacts& facts) const;
  FileKind Kind() const { return kind_; }
  bool Has(std::string_view placeholder) const;

 private:
  struct Piece {
    bool placeholder = false;
    std::string text;  ///< the text itself, or the placeholder's name
    int digits = 0;    ///< least digits of a number
  };
  std::vector<Piece> pieces_;
  FileKind kind_ = FileKind::Fits;
};

/// `path` with its extension, which may be ".fits.fz", replaced (".png").
std::string WithExtension(const std::string& path, std::string_view extension);

}  // namespace orq::session
