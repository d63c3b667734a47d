// A settings file in a directory of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "settings/XmlStore.h"
#include "support/ORQLog.h"
#include "unit/support/TempDirectory.h"

namespace orq::test {

using Bytes = std::vector<unsigned char>;

inline constexpr const char* kFile = "ORQconfig.xml";

inline Bytes BytesOf(const std::string& text) {
  return {text.begin(), text.end()};
}
inline Bytes BytesOf(std::int32_t number) {
  Bytes bytes(sizeof number);
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

inline int Set(xmlHandle key, const std::string& name, int type, const Bytes& data) {
  return XMLSetValueEx(key, name.c_str(), nullptr, type, data.data(), static_cast<int>(data.size()));
}
inline int Set(xmlHandle key, const std::string& name, std::int32_t number) {
  return Set(key, name, 4, BytesOf(number));
}

/// Type and bytes of a value as the store gives them; nothing when it is absent.
inline std::optional<std::pair<int, Bytes>> Query(xmlHandle key, const std::string& name) {
  Bytes data(70'000);
  int type = 0;
  int length = static_cast<int>(data.size());
  if (XMLQueryValueEx(key, name.c_str(), nullptr, &type, data.data(), &length) == 0) return std::nullopt;
  data.resize(static_cast<std::size_t>(length));
  return std::pair(type, data);
}
inline std::optional<std::int32_t> Number(xmlHandle key, const std::string& name) {
  const auto value = Query(key, name);
  if (!value || value->second.size() != sizeof(std::int32_t)) return std::nullopt;
  std::int32_t number = 0;
  std::memcpy(&number, value->second.data(), sizeof number);
  return number;
}

class SettingsTest : public testing::Test {
 protected:
  SettingsTest() {
    // The log file of this process goes where its first line finds it.
    static const TempDirectory state;
    setenv("XDG_STATE_HOME", state.Path().c_str(), 1);
    std::array<char, 4096> path{};
    ORQLog::get_instance().getLogPath(path.data());
    logFile = path.data();
    SetXmlDirectory(directory.string());
    EnableXmlStore(true);
    TakeXmlTrouble();
  }
  ~SettingsTest() override {
    EnableXmlStore(false);
    SetXmlDirectory("");
  }

  std::filesystem::path File() const { return directory / kFile; }
  std::string Text() const { return Text(File()); }
  static std::string Text(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  void WriteText(const std::string& text) const { std::ofstream(File(), std::ios::binary) << text; }
  /// A file with one key, software\Model, that holds these elements.
  void WriteValues(const std::string& elements) const {
    WriteText("<orqcam><key name='software'><key name='Model'>" + elements + "</key></key></orqcam>");
  }
  /// The names beside the settings file, itself included.
  std::set<std::string> Names() const {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) names.insert(entry.path().filename());
    return names;
  }

  xmlHandle Open(const std::string& path = "software\\Model") {
    xmlHandle key;
    EXPECT_NE(XMLOpenKey(kFile, path.c_str(), &key), 0) << path;
    return key;
  }
  xmlHandle Create(const std::string& path = "software\\Model") {
    xmlHandle key;
    EXPECT_NE(XMLCreateKey(kFile, path.c_str(), &key, nullptr), 0) << path;
    return key;
  }
  /// Stores one number and closes.
  void Store(const std::string& path, const std::string& name, std::int32_t number) {
    xmlHandle key = Create(path);
    EXPECT_NE(Set(key, name, number), 0);
    EXPECT_NE(XMLCloseKey(&key), 0) << TakeXmlTrouble();
  }
  /// What the file holds now.
  std::optional<std::int32_t> Stored(const std::string& path, const std::string& name) {
    xmlHandle key;
    if (XMLOpenKey(kFile, path.c_str(), &key) == 0) return std::nullopt;
    const auto number = Number(key, name);
    XMLCloseKey(&key);
    return number;
  }

  const TempDirectory temp;
  const std::filesystem::path directory = temp.Path();
  std::filesystem::path logFile;
};

}  // namespace orq::test
