#include "virtual/device/StateFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "support/CheckSum.h"

namespace orq {
namespace {

// File: magic, format version, product id, serial number, sector count, count of sensor registers, FPGA registers;
// per sensor register that is not 0 its number and value; per flash sector that is not erased its number and
// contents; the temperatures of a cooled sensor and its warm side (hundredths of a degree) and the Unix time in
// ms, 0 when the cooler was off; a check sum over all before it. Integers little-endian. A camera without kept
// registers has none of either kind: its count is kNoRegisters and the FPGA's are 0.
constexpr char kMagic[8] = {'O', 'R', 'Q', 'V', 'S', 'T', 'A', 'T'};
constexpr std::uint16_t kVersion = 3;
constexpr std::uint16_t kVersionWithoutWarmth = 2;
constexpr std::uint32_t kNoRegisters = 0xFFFFFFFF;
constexpr std::size_t kFpgaOffset = 8 + 2 + 2 + 8 + 2 + 4;
constexpr std::size_t kHeadBytes = kFpgaOffset + FpgaRegisters::kCount;
constexpr std::size_t kRegisterEntryBytes = 2 + 1;
constexpr std::size_t kSectorEntryBytes = 2 + SpiFlash::kSectorBytes;
constexpr std::size_t kWarmthBytes = 4 + 4 + 8;
constexpr double kHundredths = 100.0;
constexpr std::size_t kSumBytes = 8;
constexpr std::size_t kMaxBytes = kHeadBytes + kSensorRegisters * kRegisterEntryBytes +
                                  SpiFlash::kSectors * kSectorEntryBytes + kWarmthBytes + kSumBytes;

using Bytes = std::vector<std::uint8_t>;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FilePtr = std::unique_ptr<std::FILE, CloseFile>;

void Put(Bytes& out, std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

std::uint64_t Get(std::span<const std::uint8_t> in, std::size_t offset, int bytes) {
  std::uint64_t value = 0;
  for (int i = 0; i < bytes; ++i) value |= std::uint64_t{in[offset + static_cast<std::size_t>(i)]} << (8 * i);
  return value;
}

std::string Because(const std::string& what, const std::string& path) {
  return what + " state file '" + path + "': " + std::strerror(errno);
}

/// The whole file, at most one byte more than a state file can have; false on a read error.
bool ReadAll(std::FILE* file, Bytes& bytes) {
  bytes.resize(kMaxBytes + 1);
  bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file));
  return std::ferror(file) == 0;
}

/// How many entries of each kind a file claims to hold.
struct Counts {
  std::size_t sectors;
  std::size_t registers;
  bool hasRegisters;
};

Counts CountsOf(std::span<const std::uint8_t> bytes) {
  const std::uint64_t registers = Get(bytes, 22, 4);
  const bool has = registers != kNoRegisters;
  return {Get(bytes, 20, 2), has ? registers : 0, has};
}

std::size_t WarmthBytes(std::span<const std::uint8_t> bytes) {
  return Get(bytes, 8, 2) == kVersionWithoutWarmth ? 0 : kWarmthBytes;
}

bool Intact(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < kHeadBytes + kSumBytes || std::memcmp(bytes.data(), kMagic, sizeof kMagic) != 0 ||
      (Get(bytes, 8, 2) != kVersion && Get(bytes, 8, 2) != kVersionWithoutWarmth))
    return false;
  const Counts counts = CountsOf(bytes);
  if (counts.sectors > SpiFlash::kSectors || counts.registers > kSensorRegisters) return false;
  const std::size_t sectorsAt = kHeadBytes + counts.registers * kRegisterEntryBytes;
  if (bytes.size() != sectorsAt + counts.sectors * kSectorEntryBytes + WarmthBytes(bytes) + kSumBytes)
    return false;
  const std::size_t body = bytes.size() - kSumBytes;
  if (Get(bytes, body, 8) != CheckSum(bytes.first(body))) return false;
  for (std::size_t i = 0; i < counts.sectors; ++i)
    if (Get(bytes, sectorsAt + i * kSectorEntryBytes, 2) >= SpiFlash::kSectors) return false;
  return true;
}

DeviceRegisters UnpackRegisters(std::span<const std::uint8_t> bytes, std::size_t count) {
  DeviceRegisters registers;
  std::ranges::copy(bytes.subspan(kFpgaOffset, FpgaRegisters::kCount), registers.fpga.begin());
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t entry = kHeadBytes + i * kRegisterEntryBytes;
    registers.sensor[Get(bytes, entry, 2)] = bytes[entry + 2];
  }
  return registers;
}

std::optional<DeviceWarmth> UnpackWarmth(std::span<const std::uint8_t> bytes) {
  if (WarmthBytes(bytes) == 0) return std::nullopt;
  const std::size_t at = bytes.size() - kSumBytes - kWarmthBytes;
  const auto celsius = [&](std::size_t offset) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(Get(bytes, offset, 4))) / kHundredths;
  };
  const DeviceWarmth warmth{celsius(at), celsius(at + 4), static_cast<std::int64_t>(Get(bytes, at + 8, 8))};
  return warmth.unixMs != 0 ? std::optional(warmth) : std::nullopt;
}

void PackWarmth(const DeviceMemory& memory, Bytes& bytes) {
  const DeviceWarmth warmth =
      memory.registers && memory.registers->warmth ? *memory.registers->warmth : DeviceWarmth();
  const auto hundredths = [](double celsius) {
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(std::lround(celsius * kHundredths)));
  };
  Put(bytes, hundredths(warmth.sensorC), 4);
  Put(bytes, hundredths(warmth.hotSideC), 4);
  Put(bytes, static_cast<std::uint64_t>(warmth.unixMs), 8);
}

void Unpack(std::span<const std::uint8_t> bytes, DeviceMemory& memory) {
  const Counts counts = CountsOf(bytes);
  std::ranges::copy(bytes.subspan(12, 8), memory.serial.begin());
  memory.registers.reset();
  if (counts.hasRegisters) {
    memory.registers = UnpackRegisters(bytes, counts.registers);
    memory.registers->warmth = UnpackWarmth(bytes);
  }
  memory.flash = SpiFlash();
  for (std::size_t i = 0; i < counts.sectors; ++i) {
    const std::size_t entry = kHeadBytes + counts.registers * kRegisterEntryBytes + i * kSectorEntryBytes;
    const auto sector = static_cast<std::uint32_t>(Get(bytes, entry, 2));
    std::ranges::copy(bytes.subspan(entry + 2, SpiFlash::kSectorBytes),
                      memory.flash.Cells(sector * SpiFlash::kSectorBytes, SpiFlash::kSectorBytes).begin());
  }
}

bool Erased(std::span<const std::uint8_t> cells) {  // every byte equals the next, and the first is erased
  return cells[0] == 0xFF && std::memcmp(cells.data(), cells.data() + 1, cells.size() - 1) == 0;
}

/// The entries of the sensor registers that are not 0; their number in `count`.
Bytes PackSensor(const DeviceRegisters& registers, std::uint32_t& count) {
  Bytes entries;
  for (std::size_t reg = 0; reg < kSensorRegisters; ++reg) {
    if (registers.sensor[reg] != 0) {
      Put(entries, reg, 2);
      entries.push_back(registers.sensor[reg]);
      ++count;
    }
  }
  return entries;
}

Bytes PackSectors(const SpiFlash& flash, std::uint16_t& count) {
  Bytes entries;
  for (std::uint32_t sector = 0; sector < SpiFlash::kSectors; ++sector) {
    const auto cells = flash.Read(sector * SpiFlash::kSectorBytes, SpiFlash::kSectorBytes);
    if (!Erased(cells)) {
      Put(entries, sector, 2);
      entries.insert(entries.end(), cells.begin(), cells.end());
      ++count;
    }
  }
  return entries;
}

Bytes Pack(std::uint16_t productId, const DeviceMemory& memory) {
  std::uint16_t sectorCount = 0;
  const Bytes sectors = PackSectors(memory.flash, sectorCount);
  std::uint32_t registerCount = 0;
  const Bytes registers = memory.registers ? PackSensor(*memory.registers, registerCount) : Bytes();
  const auto fpga = memory.registers ? memory.registers->fpga : decltype(DeviceRegisters::fpga){};

  Bytes bytes(std::begin(kMagic), std::end(kMagic));
  Put(bytes, kVersion, 2);
  Put(bytes, productId, 2);
  bytes.insert(bytes.end(), memory.serial.begin(), memory.serial.end());
  Put(bytes, sectorCount, 2);
  Put(bytes, memory.registers ? registerCount : kNoRegisters, 4);
  bytes.insert(bytes.end(), fpga.begin(), fpga.end());
  bytes.insert(bytes.end(), registers.begin(), registers.end());
  bytes.insert(bytes.end(), sectors.begin(), sectors.end());
  PackWarmth(memory, bytes);
  Put(bytes, CheckSum(bytes), 8);
  return bytes;
}

bool WriteAll(const std::string& path, std::span<const std::uint8_t> bytes) {
  FilePtr file(std::fopen(path.c_str(), "wb"));
  if (file == nullptr || std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size()) return false;
  return std::fclose(file.release()) == 0;
}

}  // namespace

StateLoad LoadState(const std::string& path, std::uint16_t productId, DeviceMemory& memory, std::string& error) {
  const FilePtr file(std::fopen(path.c_str(), "rb"));
  if (file == nullptr) {
    if (errno == ENOENT) return StateLoad::Missing;
    error = Because("cannot open", path);
    return StateLoad::Failed;
  }
  Bytes bytes;
  if (!ReadAll(file.get(), bytes)) {
    error = Because("cannot read", path);
    return StateLoad::Failed;
  }
  if (!Intact(bytes)) {
    error = "state file '" + path + "' is damaged or no virtual camera's state; name another or delete it";
    return StateLoad::Failed;
  }
  if (Get(bytes, 10, 2) != productId) {
    error = "state file '" + path + "' belongs to another camera model; name another";
    return StateLoad::Failed;
  }
  Unpack(bytes, memory);
  return StateLoad::Loaded;
}

bool SaveState(const std::string& path, std::uint16_t productId, const DeviceMemory& memory, std::string& error) {
  const std::string fresh = path + "." + std::to_string(::getpid()) + ".new";
  if (WriteAll(fresh, Pack(productId, memory)) && std::rename(fresh.c_str(), path.c_str()) == 0) return true;
  error = Because("cannot write", path);
  ::unlink(fresh.c_str());
  return false;
}

}  // namespace orq
