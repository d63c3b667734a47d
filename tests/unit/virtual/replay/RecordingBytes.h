// Small recordings, byte by byte.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

namespace orq::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes FromText(std::string_view text) {
  return {text.begin(), text.end()};
}

inline Bytes Join(Bytes head, const Bytes& tail) {
  head.insert(head.end(), tail.begin(), tail.end());
  return head;
}

/// A header of these cards (without END) in whole blocks.
inline Bytes FitsHeaderBytes(const std::vector<std::string>& cards) {
  std::string text;
  for (std::string card : cards) {
    card.resize(80, ' ');
    text += card;
  }
  text += "END";
  text.resize((text.size() + 2879) / 2880 * 2880, ' ');
  return FromText(text);
}

inline std::string Card(std::string key, const std::string& value) {
  key.resize(8, ' ');
  return key + "= " + value;
}

inline Bytes Padded(Bytes bytes) {
  bytes.resize((bytes.size() + 2879) / 2880 * 2880, 0);
  return bytes;
}

/// Samples as 16-bit words, most significant byte first.
inline Bytes BigEndian(const std::vector<std::uint16_t>& samples) {
  Bytes bytes;
  for (const std::uint16_t s : samples) {
    bytes.push_back(static_cast<std::uint8_t>(s >> 8));
    bytes.push_back(static_cast<std::uint8_t>(s & 0xFF));
  }
  return bytes;
}

inline Bytes LittleEndian(const std::vector<std::uint16_t>& samples) {
  Bytes bytes;
  for (const std::uint16_t s : samples) {
    bytes.push_back(static_cast<std::uint8_t>(s & 0xFF));
    bytes.push_back(static_cast<std::uint8_t>(s >> 8));
  }
  return bytes;
}

inline void Put32(Bytes& bytes, std::int32_t value) {
  for (int i = 0; i < 4; ++i)
    bytes.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(value) >> (8 * i)));
}

struct SerFields {
  std::int32_t colour = 0, byteOrder = 0, width = 4, height = 2, depth = 8, frames = 1;
};

inline Bytes SerHeaderBytes(const SerFields& f) {
  Bytes bytes = FromText("LUCAM-RECORDER");
  for (const std::int32_t field : {0, f.colour, f.byteOrder, f.width, f.height, f.depth, f.frames})
    Put32(bytes, field);
  bytes.resize(178, 0);
  return bytes;
}

/// A file in the temporary folder, removed at the end.
class TemporaryFile {
 public:
  explicit TemporaryFile(const Bytes& bytes, const std::string& name = "recording") {
    path_ = (std::filesystem::temp_directory_path() / (name + "." + std::to_string(::getpid()))).string();
    std::ofstream(path_, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  }
  ~TemporaryFile() { std::filesystem::remove(path_); }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace orq::test
