// The contents of a settings file: named values under key paths. Knows nothing of files.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orq {

/// What a file and its parts may have at most; what is beyond is refused.
inline constexpr std::size_t kMaxXmlBytes = std::size_t{1} << 20;
inline constexpr int kMaxXmlDepth = 32;                        ///< of elements
inline constexpr std::size_t kMaxXmlNameBytes = 1024;          ///< of a key path or the name of a value
inline constexpr std::size_t kMaxXmlValueBytes = 64UL * 1024;  ///< of one value

/// Type codes with a form of their own in the file; any other code is kept as well.
inline constexpr int kXmlBytes = 3;
inline constexpr int kXmlInteger = 4;  ///< 32 bits, host byte order

/// One stored value.
struct XmlValue {
  int type = 0;
  std::vector<unsigned char> data;
  bool operator==(const XmlValue&) const = default;
};
/// Values by name.
using XmlValues = std::map<std::string, XmlValue>;

/// Values in the order in which they are to be stored; each name once.
using XmlChanges = std::vector<std::pair<std::string, XmlValue>>;

/// One key that holds values.
struct XmlKey {
  std::string path;  ///< as the store's operations take it
  XmlValues values;
};

/// A tree of keys. A key path is a text whose parts are separated by backslashes. What a user added to the file
/// (comments, further elements and attributes) is kept. Of two entries of one name the first counts.
class XmlDocument {
 public:
  /// One without keys.
  XmlDocument();
  ~XmlDocument();
  XmlDocument(XmlDocument&& other) noexcept;
  XmlDocument& operator=(XmlDocument&& other) noexcept;

  /// Nothing, with a one-line reason, when `text` is no settings file, or is too large or too deeply nested.
  static std::optional<XmlDocument> Parse(std::string_view text, std::string& reason);
  std::string Text() const;

  /// The values of a key; nothing when there is no such key. Values that make no sense are left out.
  std::optional<XmlValues> Read(std::string_view path) const;
  /// Makes the key if need be; true when it was not there. False as well for a path of too many parts.
  bool Create(std::string_view path);
  /// Stores `values` in the key, which is made if need be; true when that changed anything.
  bool Merge(std::string_view path, const XmlChanges& values);
  /// Removes a key with all that is in it; true when it was there.
  bool Remove(std::string_view path);
  /// All keys that hold values, in the order of the file.
  std::vector<XmlKey> Keys() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace orq
