// The wire form of the device link: vendor requests, FPGA and sensor registers, the frame stream.
// Shared by the link and the virtual firmware; described byte by byte in docs/wire-protocol.md.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace orq::wire {

// USB identity ---------------------------------------------------------------------------------------------

/// Vendor id of every camera; an unassigned number that belongs to no camera maker.
inline constexpr std::uint16_t kVendorId = 0xF055;
inline constexpr int kConfiguration = 1;
inline constexpr int kInterface = 0;
inline constexpr std::uint8_t kFrameEndpoint = 0x81;  ///< bulk IN
inline constexpr int kSuperSpeedPacket = 1024;
inline constexpr int kHighSpeedPacket = 512;

// Vendor requests -------------------------------------------------------------------------------------------

/// Request byte of a vendor control transfer. Direction, value and index stand beside each.
enum Request : std::uint8_t {
  kReqStopSensorClock = 0xAE,   ///< out, no data
  kReqStartSensorClock = 0xAF,  ///< out, no data
  kReqGuideOn = 0xB0,           ///< out, value = direction
  kReqGuideOff = 0xB1,          ///< out, value = direction
  kReqBoardTemperature = 0xB3,  ///< in, 2 bytes
  kReqTransferCount = 0xB5,     ///< out, value = high 16 bits of the block count, index = low 16 bits
  kReqFocusMotor = 0xBA,        ///< in: value = driver register, 1 byte; out: value = register, index = byte
  kReqFlashWrite = 0xC2,        ///< out, value = address >> 16, index = address & 0xFFFF, data
  kReqFlashRead = 0xC3,         ///< in, value = address >> 16, index = address & 0xFFFF, data
  kReqFlashErase = 0xC4,        ///< out, value = sector number
  kReqTemperatureAdc = 0xC7,    ///< in, 2 bytes
  kReqSerialNumber = 0xC8,      ///< in, 8 bytes
  kReqReadFpga = 0xD0,          ///< in, value = register, 1 byte
  kReqWriteFpga = 0xD1,         ///< out, value = register, index = byte to write, no data
  kReqReadSensor = 0xD2,        ///< in, value = register, 1 byte
  kReqWriteSensor = 0xD3,       ///< out, value = register, index = byte to write, no data
  kReqFirmwareVersion = 0xD4,   ///< in, 4 bytes: major, minor, patch, protocol
  kReqMainBoardType = 0xD5,     ///< in, 1 byte
  kReqGpifBusWidth = 0xD6,      ///< out, value 1 = 32-bit image bus, 0 = released for flash access
  kReqSoftTrigger = 0xD7,       ///< out, no data: one exposure in a software-triggered mode
  kReqGpsBlock = 0xD8,    ///< in, value 0 = start line, 1 = end line; latch counter, then a block of version 0
  kReqGpsLatch = 0xD9,    ///< in: latch counter, start and end block of version 1, all of one latch
  kReqAdcChannel = 0xE9,  ///< in, 2 bytes
};

inline constexpr std::size_t kFirmwareVersionBytes = 4;
/// Largest data stage that the link sends in one flash request.
inline constexpr std::uint32_t kFlashTransferBytes = 2048;
/// One transfer block; frames are announced to the controller in these.
inline constexpr int kBlockBytes = 49152;

// FPGA registers (8 bits each; multi-byte values least significant byte first) -----------------------------

inline constexpr std::uint16_t kFpgaRun = 0x00;         ///< bit 0: frame output runs
inline constexpr std::uint16_t kFpgaUpdateHold = 0x01;  ///< 1: register writes wait, 0: they take effect together
inline constexpr std::uint16_t kFpgaTriggerInput = 0x02;  ///< bits below
inline constexpr std::uint16_t kFpgaSyncControl = 0x03;   ///< bits below
inline constexpr std::uint16_t kFpgaSyncADelay = 0x04;    ///< 4 bytes, µs
inline constexpr std::uint16_t kFpgaSyncAKeep = 0x08;     ///< 4 bytes, µs
inline constexpr std::uint16_t kFpgaSyncBDelay = 0x0C;    ///< 4 bytes, µs
inline constexpr std::uint16_t kFpgaSyncBKeep = 0x10;     ///< 4 bytes, µs
inline constexpr std::uint16_t kFpgaFormat = 0x14;        ///< bits below
inline constexpr std::uint16_t kFpgaBin = 0x15;           ///< hardware bin factor, 1 to 4
inline constexpr std::uint16_t kFpgaFanControl = 0x19;
inline constexpr std::uint16_t kFpgaType = 0x1C;       ///< board and FPGA type code, read only
inline constexpr std::uint16_t kFpgaMonoBin = 0x27;    ///< bit 7 clear: mono bin on
inline constexpr std::uint16_t kFpgaStartX = 0x28;     ///< 2 bytes, sensor pixels
inline constexpr std::uint16_t kFpgaStartY = 0x2A;     ///< 2 bytes, sensor pixels
inline constexpr std::uint16_t kFpgaWidth = 0x2C;      ///< 2 bytes, transferred samples per row
inline constexpr std::uint16_t kFpgaHeight = 0x2E;     ///< 2 bytes, transferred rows
inline constexpr std::uint16_t kFpgaExposure = 0x30;   ///< 5 bytes, µs
inline constexpr std::uint16_t kFpgaBandwidth = 0x35;  ///< percent of the full readout rate, 1 to 100
inline constexpr std::uint16_t kFpgaHighSpeed = 0x36;  ///< bit 0: 10-bit fast readout
inline constexpr std::uint16_t kFpgaSingle = 0x37;     ///< bit 0: one exposure per start of frame output
inline constexpr std::uint16_t kFpgaHostMode = 0x45;   ///< bit 0: host is USB 3; bit 1: single exposures
inline constexpr std::uint16_t kFpgaGpsStatus = 0x46;
inline constexpr std::uint16_t kFpgaGpsStartLine = 0x47;  ///< 2 bytes
inline constexpr std::uint16_t kFpgaGpsEndLine = 0x49;    ///< 2 bytes
inline constexpr std::uint16_t kFpgaGpsFollowed = 0x4B;   ///< 2 + 2 bytes: the lines that a host set by itself
inline constexpr std::uint16_t kFpgaGpsStartBlock = 0x50;
inline constexpr std::uint16_t kFpgaGpsLatchCount = 0x88;  ///< 4 bytes, of the latch whose blocks are read
inline constexpr std::uint16_t kFpgaGpsEndBlock = 0x90;
inline constexpr std::uint16_t kFpgaExposureCount = 0xD0;   ///< 5 bytes, FPGA ticks, read only
inline constexpr std::uint16_t kFpgaCoolerPower = 0xE0;     ///< cooler drive, 0 (off) to 255 (full)
inline constexpr std::uint16_t kFpgaHeater = 0xE1;          ///< window heater drive, 0 (off) to 255
inline constexpr std::uint16_t kFpgaCoolerWatchdog = 0xE2;  ///< seconds after the last write to the cooler drive
                                                            ///< until it falls to 0 by itself; 0: never
inline constexpr std::uint16_t kFpgaCoolerTarget = 0xE3;    ///< the host's target, whole degrees Celsius, two's
                                                            ///< complement: kept for the next program only
inline constexpr std::uint16_t kFpgaFanSpeed = 0xFA;
inline constexpr std::uint16_t kFpgaLed = 0xFB;
inline constexpr std::uint16_t kFpgaHubState = 0xFC;
inline constexpr std::uint16_t kFpgaHubCommand = 0xFD;
inline constexpr std::uint16_t kFpgaAdjustable = 0xFE;

/// 4 bytes: tells with which of the host's settings a frame was exposed. Latched when an exposure begins.
inline constexpr std::uint16_t kFpgaSettingsTag = 0x38;

inline constexpr std::uint8_t kRunOutput = 0x01;

inline constexpr std::uint8_t kTriggerEnable = 0x01;      ///< expose on triggers only
inline constexpr std::uint8_t kTriggerExternal = 0x02;    ///< source: 1 external input, 0 software request
inline constexpr std::uint8_t kTriggerEdge = 0x04;        ///< type: 1 edge, 0 level
inline constexpr std::uint8_t kTriggerActiveHigh = 0x08;  ///< 1 rising edge or high level, 0 falling or low
inline constexpr std::uint8_t kTriggerSoftMode = 0x10;    ///< the trigger unit ignores its input

inline constexpr std::uint8_t kSyncAEnable = 0x01;
inline constexpr std::uint8_t kSyncBEnable = 0x02;
inline constexpr std::uint8_t kSyncAHigh = 0x04;  ///< output A active high
inline constexpr std::uint8_t kSyncBHigh = 0x08;

inline constexpr std::uint8_t kFormat16Bit = 0x01;     ///< two bytes per sample, left-aligned; else the top 8 bits
inline constexpr std::uint8_t kFormatMsbFirst = 0x02;  ///< 16-bit samples most significant byte first

inline constexpr std::uint8_t kHostUsb3 = 0x01;
inline constexpr std::uint8_t kHostSnap = 0x02;

inline constexpr std::size_t kGpsBlockV1Bytes = 55;  ///< in the FPGA's registers
inline constexpr std::size_t kGpsBlockV0Bytes = 56;  ///< behind the counter of a GPS block request
inline constexpr std::size_t kGpsLatchCountBytes = 4;
inline constexpr std::size_t kGpsLatchBytes = kGpsLatchCountBytes + 2 * kGpsBlockV1Bytes;

// Sensor registers (16-bit address, 8 bits each) -----------------------------------------------------------

inline constexpr std::uint16_t kSensorStandby = 0x0100;     ///< 1: standby, 0: running
inline constexpr std::uint16_t kSensorGain = 0x0204;        ///< 2 bytes, gain setting
inline constexpr std::uint16_t kSensorBlackLevel = 0x0208;  ///< 2 bytes, offset setting

inline constexpr std::uint16_t kSensorTemperature = 0x013A;   ///< 2 bytes, two's complement, 1/256 °C
inline constexpr std::uint16_t kSensorIdentityPage = 0x0A02;  ///< 0x7F selects the identity
inline constexpr std::uint16_t kSensorIdentityRead = 0x0A00;  ///< 1 fetches it
inline constexpr std::uint16_t kSensorIdentity = 0x0A27;      ///< 11 bytes, read only

// Frame stream ---------------------------------------------------------------------------------------------

/// A frame on the wire: header, payload, trailer, ended by a short or zero-length packet. All integers
/// little-endian.
inline constexpr std::uint32_t kHeaderMagic = 0x4651524FU;   ///< "ORQF" in stream order
inline constexpr std::uint32_t kTrailerMagic = 0x4551524FU;  ///< "ORQE" in stream order
inline constexpr std::size_t kHeaderBytes = 64;
inline constexpr std::size_t kTrailerBytes = 16;

struct FrameHeader {
  std::uint32_t sequence = 0;      ///< counts up by one per frame that the sensor exposed, wraps
  std::uint32_t payloadBytes = 0;  ///< bytes between header and trailer
  std::uint16_t width = 0;         ///< samples per row
  std::uint16_t height = 0;        ///< rows
  std::uint16_t startX = 0;        ///< sensor pixels
  std::uint16_t startY = 0;
  std::uint8_t bin = 1;     ///< hardware bin factor
  std::uint8_t format = 0;  ///< `kFormat…` bits
  std::uint8_t adcBits = 0;
  std::uint8_t flags = 0;      ///< bit 0: taken by a trigger
  std::uint32_t gpsLatch = 0;  ///< counter of the latch that belongs to this frame, 0: none does
  std::uint64_t exposureUs = 0;
  std::uint16_t gain = 0;         ///< gain setting the frame was taken with
  std::uint16_t blackLevel = 0;   ///< offset setting the frame was taken with
  std::uint32_t settingsTag = 0;  ///< what register `kFpgaSettingsTag` held when the exposure began
  std::uint8_t readoutMode = 0;   ///< of the sensor
};

void PutHeader(const FrameHeader& header, std::span<std::uint8_t, kHeaderBytes> out);
/// The header in `bytes`; nothing when its magic or version does not match.
std::optional<FrameHeader> GetHeader(std::span<const std::uint8_t> bytes);

void PutTrailer(std::uint32_t sequence, std::uint32_t payloadBytes, std::span<std::uint8_t, kTrailerBytes> out);
/// The sequence number in a trailer; nothing when its magic or payload length does not match.
std::optional<std::uint32_t> GetTrailer(std::span<const std::uint8_t> bytes, std::uint32_t payloadBytes);

}  // namespace orq::wire
