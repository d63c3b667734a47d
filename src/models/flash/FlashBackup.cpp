#include "models/flash/FlashBackup.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string_view>

#include "camera/FlashAccess.h"
#include "link/WireProtocol.h"
#include "support/CheckSum.h"
#include "support/Hex.h"
#include "support/LittleEndian.h"

namespace orq {
namespace {

// File: magic, format version, product id, serial number, first address, byte count, contents, a check sum over
// all before it. Integers little-endian.
constexpr std::array<std::uint8_t, 8> kMagic{'O', 'R', 'Q', 'F', 'L', 'A', 'S', 'H'};
constexpr std::uint16_t kVersion = 1;
constexpr std::size_t kVersionAt = 8, kProductAt = 10, kSerialAt = 12, kAddressAt = 20, kCountAt = 24;
constexpr std::size_t kHeadBytes = 28;
constexpr std::size_t kSumBytes = 8;
constexpr std::size_t kFileBytes = kHeadBytes + kBackupBytes + kSumBytes;

constexpr int kAttempts = 3;
constexpr int kNamesPerSecond = 100;
constexpr mode_t kPrivateDirectory = 0700;

using Chunk = std::array<std::uint8_t, kFlashChunkBytes>;

FlashOutcome Fail(FlashResult result, std::string reason) {
  return {result, std::move(reason)};
}

FlashOutcome NotWhole() {
  return Fail(FlashResult::Refused, "the backup is not whole");
}

std::string At(std::uint32_t address) {
  std::array<char, 24> text{};
  std::snprintf(text.data(), text.size(), " at 0x%05X", static_cast<unsigned>(address));
  return text.data();
}

/// The watcher's word; without one nobody ever wants to stop.
bool GoesOn(const FlashWatcher& watcher, const char* step, std::uint32_t done) {
  return !watcher || watcher({step, done, kBackupBytes});
}

bool ReadChunk(CCameraBase& camera, std::uint32_t address, std::span<std::uint8_t> chunk) {
  for (int attempt = 0; attempt < kAttempts; ++attempt)
    if (camera.ReadFromSPIFlash(chunk.data(), address, static_cast<std::uint32_t>(chunk.size()),
                                wire::kReqFlashRead))
      return true;
  return false;
}

/// Reads `bytes` from `address` on; watched, when there is a watcher, as `step` with `done` bytes behind it.
FlashOutcome ReadBytes(CCameraBase& camera, std::uint32_t address, std::span<std::uint8_t> bytes,
                       const FlashWatcher& watcher, const char* step) {
  for (std::uint32_t offset = 0; offset < bytes.size(); offset += kFlashChunkBytes) {
    const std::uint32_t at = address + offset;
    if (!GoesOn(watcher, step, at - kBackupAddress))
      return Fail(FlashResult::Cancelled, std::string("stopped while ") + step + " flash");
    if (!ReadChunk(camera, at, bytes.subspan(offset, kFlashChunkBytes)))
      return Fail(FlashResult::CameraFailed, "cannot read flash" + At(at));
  }
  return {};
}

/// Programs a chunk of an erased sector until it reads back right.
bool WriteChunk(CCameraBase& camera, std::uint32_t address, std::span<const std::uint8_t> chunk) {
  Chunk wanted;
  std::ranges::copy(chunk, wanted.begin());
  const bool erased = std::ranges::all_of(chunk, [](std::uint8_t byte) { return byte == 0xFF; });
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    if (!erased) camera.WriteToSPIFlash(wanted.data(), address, kFlashChunkBytes, wire::kReqFlashWrite);
    Chunk stored;
    if (ReadChunk(camera, address, stored) && stored == wanted) return true;
  }
  return false;
}

FlashOutcome WriteSector(CCameraBase& camera, std::uint32_t address, std::span<const std::uint8_t> sector) {
  if (camera.EraseSectorOfSPIFlash(address / kFlashSectorBytes, wire::kReqFlashErase) != 0)
    return Fail(FlashResult::CameraFailed, "cannot erase flash" + At(address));
  for (std::uint32_t offset = 0; offset < kFlashSectorBytes; offset += kFlashChunkBytes)
    if (!WriteChunk(camera, address + offset, sector.subspan(offset, kFlashChunkBytes)))
      return Fail(FlashResult::CameraFailed, "flash does not keep what is written" + At(address + offset));
  return {};
}

bool HasSerial(const _ORQ_ID& id) {
  return std::ranges::any_of(
      id.id, [](std::uint8_t byte) { return byte != 0; });
}

/// "flash-0123456789abcdef-20260131T235959Z"
std::string BackupName(const FlashImage& image, std::time_t when) {
  std::tm utc{};
  ::gmtime_r(&when, &utc);
  std::array<char, 32> stamp{};
  std::strftime(stamp.data(), stamp.size(), "%Y%m%dT%H%M%SZ", &utc);
  return "flash-" + Hex(image.serial.id) + "-" + stamp.data();
}

FlashOutcome FileFail(const char* what, const std::string& path, const std::string& why) {
  return Fail(FlashResult::FileFailed, std::string("cannot ") + what + " '" + path + "': " + why);
}

}  // namespace

FlashOutcome FlashUsable(const CCameraBase& camera) {
  if (camera.bOpened == 0) return Fail(FlashResult::Refused, "the camera is not open");
  if (camera.IsCaptureRunning())
    return Fail(FlashResult::Refused, "flash cannot be used while capture runs; stop it first");
  return {};
}

FlashOutcome ReadFlashPart(CCameraBase& camera, std::uint32_t address, std::span<std::uint8_t> bytes) {
  if (auto usable = FlashUsable(camera); !usable.Done()) return usable;
  const FlashAccess access(camera);
  return ReadBytes(camera, address, bytes, {}, "reading");
}

FlashOutcome ReadFlashImage(CCameraBase& camera, FlashImage& image, const FlashWatcher& watcher) {
  if (auto usable = FlashUsable(camera); !usable.Done()) return usable;
  FlashImage fresh;
  fresh.productId = camera.iPID;
  camera.GetSerialNumber(&fresh.serial);  // without one it stays zero
  fresh.bytes.resize(kBackupBytes);
  const FlashAccess access(camera);
  FlashOutcome outcome = ReadBytes(camera, kBackupAddress, fresh.bytes, watcher, "reading");
  if (outcome.Done()) image = std::move(fresh);
  return outcome;
}

FlashOutcome RestoreFlashImage(CCameraBase& camera, const FlashImage& image, const FlashWatcher& watcher) {
  if (auto usable = FlashUsable(camera); !usable.Done()) return usable;
  if (image.bytes.size() != kBackupBytes) return NotWhole();
  const FlashAccess access(camera);
  std::vector<std::uint8_t> stored(kFlashSectorBytes);
  for (std::uint32_t offset = 0; offset < kBackupBytes; offset += kFlashSectorBytes) {
    const auto wanted = std::span(image.bytes).subspan(offset, kFlashSectorBytes);
    FlashOutcome outcome = ReadBytes(camera, kBackupAddress + offset, stored, watcher, "restoring");
    if (outcome.Done() && !std::ranges::equal(stored, wanted))
      outcome = WriteSector(camera, kBackupAddress + offset, wanted);
    if (!outcome.Done()) return outcome;
  }
  return {};
}

FlashOutcome CompareFlashImage(CCameraBase& camera, const FlashImage& image, const FlashWatcher& watcher) {
  if (image.bytes.size() != kBackupBytes) return NotWhole();
  if (auto usable = FlashUsable(camera); !usable.Done()) return usable;
  std::vector<std::uint8_t> stored(kBackupBytes);
  const FlashAccess access(camera);
  FlashOutcome outcome = ReadBytes(camera, kBackupAddress, stored, watcher, "comparing");
  const auto difference = std::ranges::mismatch(stored, image.bytes).in1 - stored.begin();
  if (outcome.Done() && static_cast<std::size_t>(difference) != stored.size()) {
    outcome = Fail(FlashResult::Differs,
                   "flash differs from the backup" + At(kBackupAddress + static_cast<std::uint32_t>(difference)));
  }
  return outcome;
}

bool IsImageOf(CCameraBase& camera, const FlashImage& image) {
  if (image.productId != camera.iPID) return false;
  if (!HasSerial(image.serial)) return true;
  // A camera that does not tell its number may be any.
  _ORQ_ID serial{};
  return camera.GetSerialNumber(&serial) && std::ranges::equal(serial.id, image.serial.id);
}

FlashOutcome SaveFlashImage(const std::string& path, const FlashImage& image, Existing existing) {
  if (image.bytes.size() != kBackupBytes) return NotWhole();
  std::vector<std::uint8_t> file(kFileBytes);
  std::ranges::copy(kMagic, file.begin());
  PutLittle(file, kVersionAt, 2, kVersion);
  PutLittle(file, kProductAt, 2, static_cast<std::uint64_t>(image.productId));
  std::ranges::copy(image.serial.id, file.begin() + kSerialAt);
  PutLittle(file, kAddressAt, 4, kBackupAddress);
  PutLittle(file, kCountAt, 4, kBackupBytes);
  std::ranges::copy(image.bytes, file.begin() + kHeadBytes);
  PutLittle(file, kHeadBytes + kBackupBytes, kSumBytes,
            CheckSum(std::span(file).first(kHeadBytes + kBackupBytes)));
  const int error = PutFile(path, file, existing, Durability::Synced);
  if (error != 0) return FileFail("write", path, std::strerror(error));
  return {};
}

FlashOutcome LoadFlashImage(const std::string& path, FlashImage& image) {
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  std::vector<std::uint8_t> bytes(kFileBytes + 1);
  file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!file.is_open() || file.bad())
    return FileFail("read", path, errno != 0 ? std::strerror(errno) : "input error");
  bytes.resize(static_cast<std::size_t>(file.gcount()));
  if (bytes.size() < kMagic.size() || !std::equal(kMagic.begin(), kMagic.end(), bytes.begin()))
    return FileFail("use", path, "it is no backup of flash");
  const std::span all(bytes);
  if (bytes.size() < kHeadBytes || GetLittle(all, kVersionAt, 2) != kVersion)
    return FileFail("use", path, "it is damaged or from a newer version of this program");
  if (bytes.size() != kFileBytes || GetLittle(all, kAddressAt, 4) != kBackupAddress ||
      GetLittle(all, kCountAt, 4) != kBackupBytes ||
      GetLittle(all, kHeadBytes + kBackupBytes, kSumBytes) != CheckSum(all.first(kHeadBytes + kBackupBytes)))
    return FileFail("use", path, "it is damaged");
  image.productId = static_cast<std::int32_t>(GetLittle(all, kProductAt, 2));
  std::copy_n(bytes.begin() + kSerialAt, std::size(image.serial.id), image.serial.id);
  image.bytes.assign(bytes.begin() + kHeadBytes, bytes.begin() + kHeadBytes + kBackupBytes);
  return {};
}

FlashOutcome BackUpFlash(CCameraBase& camera, const std::string& directory, FlashBackup& backup,
                         const FlashWatcher& watcher) {
  FlashBackup fresh;
  FlashOutcome outcome = ReadFlashImage(camera, fresh.image, watcher);
  if (!outcome.Done()) return outcome;
  std::error_code ignored;  // what cannot be made shows when the file is written
  std::filesystem::create_directories(std::filesystem::path(directory).parent_path(), ignored);
  ::mkdir(directory.c_str(), kPrivateDirectory);
  const std::string name = directory + "/" + BackupName(fresh.image, std::time(nullptr));
  for (int attempt = 1; attempt <= kNamesPerSecond; ++attempt) {
    fresh.path = name + (attempt == 1 ? "" : "-" + std::to_string(attempt)) + ".orqflash";
    outcome = SaveFlashImage(fresh.path, fresh.image, Existing::Keep);
    if (outcome.Done()) backup = std::move(fresh);
    if (outcome.Done() || !std::filesystem::exists(fresh.path, ignored)) break;
  }
  return outcome;
}

FlashOutcome StoreUserId(CCameraBase& camera, const _ORQ_ID& id, const FlashImage& before,
                         const FlashWatcher& watcher) {
  if (auto usable = FlashUsable(camera); !usable.Done()) return usable;
  if (before.bytes.size() != kBackupBytes) return NotWhole();
  FlashImage after = before;
  const auto page = after.bytes.begin() + (kParameterAddress - kBackupAddress);
  std::ranges::copy(id.id, std::ranges::copy(std::string_view("ID"), page).out);
  // Storing erases the sector behind the page, and only what is read back tells whether it succeeded. Making flash
  // like the image that it must be now settles both; to stop half-way would leave the sector erased.
  camera.SetIDToSPI(id);
  const FlashWatcher noStop = [&watcher](const FlashProgress& progress) {
    if (watcher) watcher(progress);
    return true;
  };
  return RestoreFlashImage(camera, after, noStop);
}

}  // namespace orq
