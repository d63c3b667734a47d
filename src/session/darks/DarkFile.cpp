#include "session/darks/DarkFile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <limits>
#include <mutex>
#include <nlohmann/json.hpp>
#include <span>
#include <string_view>
#include <type_traits>

#include "image/dark/BmpFile.h"
#include "session/Failure.h"
#include "session/files/FileNames.h"
#include "session/files/SafeFile.h"
#include "session/text/Units.h"
#include "support/CheckSum.h"
#include "support/Text.h"

namespace orq::session {

namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kDarkExtension = ".bmp";
constexpr const char* kDescriptionExtension = ".json";
constexpr const char* kFormatKey = "orqcam_dark";
constexpr int kFormat = 1;
constexpr std::size_t kLargestDescription = std::size_t{64} << 10;
constexpr std::size_t kLargestDark = std::size_t{1} << 30;

[[noreturn]] void NoDark(const std::string& path, const std::string& why) {
  throw Failure(Status::File, "'" + path + "' is no dark: " + why);
}

template <class Header>
Header HeaderAt(const std::vector<std::uint8_t>& bytes, std::size_t at) {
  Header header{};
  std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), header.size(), header.begin());
  return header;
}

void JudgeDark(const std::string& path, DarkFile& dark) {
  if (dark.bytes.size() < kBmpFileHeaderBytes + kBmpInfoHeaderBytes) NoDark(path, "it is too short");
  const BmpFileFields file = ReadBmpFileHeader(HeaderAt<BmpFileHeader>(dark.bytes, 0));
  const BmpInfoFields info = ReadBmpInfoHeader(HeaderAt<BmpInfoHeader>(dark.bytes, kBmpFileHeaderBytes));
  if (file.type != kBmpType) NoDark(path, "it is no BMP file");
  if (info.bitsPerPixel != 8) NoDark(path, Format("it has %u bits per pixel, not 8", info.bitsPerPixel));
  if (info.width <= 0 || info.height <= 0) NoDark(path, Format("it has %d x %d pixels", info.width, info.height));
  const std::uint64_t pixels = static_cast<std::uint64_t>(info.width) * static_cast<std::uint64_t>(info.height);
  if (file.pixelOffset + pixels > dark.bytes.size()) NoDark(path, "it ends before its last pixel");
  dark.width = info.width;
  dark.height = info.height;
}

// As text: a JSON number holds 53 bits everywhere.
std::string SumText(const DarkFile& dark) {
  return Format("%016llx", static_cast<unsigned long long>(CheckSum(dark.bytes)));
}

Json DescriptionJson(const DarkFile& dark) {
  const DarkDescription& description = *dark.description;
  const DarkFacts& facts = description.facts;
  Json json;
  json[kFormatKey] = kFormat;
  json["model"] = description.model;
  json["serial"] = description.serial;
  json["width"] = dark.width;
  json["height"] = dark.height;
  json["exposure_us"] = facts.exposureUs;
  json["gain"] = facts.gain;
  json["offset"] = facts.offset;
  if (facts.sensorC) json["temperature_c"] = *facts.sensorC;
  if (facts.readout) {
    json["readout_mode"] = facts.readout->mode;
    json["readout_name"] = facts.readout->name;
  }
  json["taken_unix_us"] = facts.takenUnixUs;
  json["taken_utc"] = IsoUtc(facts.takenUnixUs);
  json["frames"] = facts.frames;
  json["average"] = facts.average;
  json["hot_pixels"] = facts.hotPixels;
  json["bad_rows"] = facts.badRows;
  json["check_sum"] = SumText(dark);
  return json;
}

/// A number of the description; false when it is missing, something else or out of range.
template <class T>
bool Take(const Json& json, const char* key, T& value) {
  const auto found = json.find(key);
  if (found == json.end() || !found->is_number()) return false;
  if constexpr (std::is_floating_point_v<T>) {
    value = found->template get<T>();
    return std::isfinite(value);
  } else {
    if (!found->is_number_integer()) return false;
    if (found->is_number_unsigned() &&
        found->template get<std::uint64_t>() > static_cast<std::uint64_t>(std::numeric_limits<T>::max()))
      return false;
    if (!found->is_number_unsigned() &&
        found->template get<std::int64_t>() < static_cast<std::int64_t>(std::numeric_limits<T>::min()))
      return false;
    value = found->template get<T>();
    return true;
  }
}

bool Take(const Json& json, const char* key, std::string& text) {
  const auto found = json.find(key);
  if (found == json.end() || !found->is_string()) return false;
  text = found->get<std::string>();
  return true;
}

// False when it is no description of a dark.
bool ParseDescription(const Json& json, DarkDescription& description, std::string& sum) {
  DarkFacts& facts = description.facts;
  int format = 0;
  if (!json.is_object() || !Take(json, kFormatKey, format) || format != kFormat) return false;
  float celsius = 0.0F;
  if (Take(json, "temperature_c", celsius)) facts.sensorC = celsius;
  Readout readout;
  if (Take(json, "readout_mode", readout.mode) && Take(json, "readout_name", readout.name))
    facts.readout = readout;
  return Take(json, "model", description.model) && Take(json, "serial", description.serial) &&
         Take(json, "exposure_us", facts.exposureUs) && Take(json, "gain", facts.gain) &&
         Take(json, "offset", facts.offset) && Take(json, "taken_unix_us", facts.takenUnixUs) &&
         Take(json, "frames", facts.frames) && Take(json, "average", facts.average) &&
         Take(json, "hot_pixels", facts.hotPixels) && Take(json, "bad_rows", facts.badRows) &&
         Take(json, "check_sum", sum);
}

void ReadDescription(const std::string& path, DarkFile& dark) {
  std::vector<std::uint8_t> bytes;
  const std::string name = DescriptionPath(path);
  const int error = ReadWholeFile(name, kLargestDescription, bytes);
  if (error == ENOENT) return;
  DarkDescription description;
  std::string sum;
  if (error != 0)
    dark.trouble = "cannot read '" + name + "': " + std::strerror(error);
  else if (!ParseDescription(Json::parse(bytes, nullptr, false), description, sum))
    dark.trouble = "'" + name + "' does not describe a dark";
  else if (sum != SumText(dark))
    dark.trouble = "'" + name + "' describes another dark";
  else
    dark.description = std::move(description);
}

}  // namespace

std::string DescriptionPath(const std::string& path) {
  return WithExtension(path, kDescriptionExtension);
}

DarkFile MakeDarkFile(CModelCamera& camera, DarkDescription description) {
  DarkFile dark;
  dark.width = camera.iMaxWidth;
  dark.height = camera.iMaxHeight;
  const auto append = [&dark](const auto& bytes) {
    dark.bytes.insert(dark.bytes.end(), bytes.begin(), bytes.end());
  };
  append(MakeBmpFileHeader(dark.width, dark.height));
  append(MakeBmpInfoHeader(dark.width, dark.height));
  append(GreyBmpPalette());
  {
    const std::scoped_lock lock(camera.DarkAccumMutex);
    if (!camera.pDarkFull) throw Failure(Status::State, "the camera has no dark");
    append(std::span<const std::uint8_t>(
        camera.pDarkFull.get(), static_cast<std::size_t>(dark.width) * static_cast<std::size_t>(dark.height)));
  }
  // Rows stand without padding; the file is as long as its header says.
  dark.bytes.resize(kBmpPixelOffset + BmpImageBytes(dark.width, dark.height));
  dark.description = std::move(description);
  return dark;
}

DarkFile ReadDarkFile(const std::string& path) {
  DarkFile dark;
  const int error = ReadWholeFile(path, kLargestDark, dark.bytes);
  if (error != 0) throw Failure(Status::File, "cannot read the dark '" + path + "': " + std::strerror(error));
  JudgeDark(path, dark);
  ReadDescription(path, dark);
  return dark;
}

void DemandGeometry(const CModelCamera& camera, const DarkFile& dark, const std::string& path) {
  if (dark.width == camera.iMaxWidth && dark.height == camera.iMaxHeight) return;
  throw Failure(Status::Range, Format("the dark '%s' has %d x %d pixels, the camera's sensor %d x %d",
                                      path.c_str(), dark.width, dark.height, camera.iMaxWidth, camera.iMaxHeight));
}

void DemandDarkName(const std::string& path) {
  if (std::string_view(path).ends_with(kDarkExtension) && path != kDarkExtension) return;
  throw Failure(Status::Invalid, "the name of a dark ends in .bmp: '" + path + "'");
}

void CheckDarkWritable(const std::string& path, Existing existing) {
  for (const std::string& name : {path, DescriptionPath(path)}) DemandWritable(name, existing);
}

void WriteDarkFile(const std::string& path, const DarkFile& dark, Existing existing) {
  CheckDarkWritable(path, existing);
  const std::string description = DescriptionPath(path);
  // Whatever may fail for want of room comes before the first change.
  const std::string waiting = description + ".part";
  if (dark.description) {
    const std::string text = DescriptionJson(dark).dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
    const std::vector<std::uint8_t> bytes(text.begin(), text.end());
    const int error = PutFile(waiting, bytes, Existing::Overwrite, Durability::Synced);
    if (error != 0) CannotWrite(description, error);
  }
  if (const int error = PutFile(path, dark.bytes, existing, Durability::Synced); error != 0) {
    unlink(waiting.c_str());
    CannotWrite(path, error);
  }
  if (!dark.description) {
    unlink(description.c_str());  // of the dark that was there before
  } else if (std::rename(waiting.c_str(), description.c_str()) != 0) {
    const int error = errno;
    unlink(waiting.c_str());
    CannotWrite(description, error);
  }
}

}  // namespace orq::session
