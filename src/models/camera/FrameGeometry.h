// From the region that a user wants to what the FPGA sends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "link/CameraFX3.h"
#include "models/camera/FrameTypes.h"
#include "models/table/ModelData.h"

namespace orq {

/// Bytes of one pixel of a delivered frame.
int BytesPerPixel(IMG_TYPE format);
/// For users: "raw8", "rgb24", "raw16", "y8".
const char* FormatName(IMG_TYPE format);

/// The nearest region that the model's rules allow; see CModelCamera::FitRegion.
bool FitRegionTo(const ModelData& model, const FrameRegion& wanted, FrameRegion& fitted, std::string& reason);
/// The model with the part of its sensor that frames can show: a sensor whose width or height is no multiple of
/// the region's step loses the last columns and rows. Dark and hot pixel images have the size of the largest
/// frame.
ModelData UsablePart(ModelData model);
/// The whole sensor at bin 1, 16 bit.
FrameRegion FullRegion(const ModelData& model);

/// Which part of a bin factor the FPGA takes and which the host. Hardware bins by 2 only: bin 3 is left to the
/// host, and bin 4 is two stages of 2.
struct BinStages {
  int hardware = 1;
  int host = 1;
};
BinStages StagesOf(int bin, bool hardwareBin);

/// One frame on its way from the wire to the caller.
struct FrameSetup {
  FrameRegion region;
  BinStages stages;
  bool wide = false;      ///< samples are transferred with 16 bits
  bool msbFirst = false;  ///< and most significant byte first; the stream brings them into host order
  /// Automatic control, which goes by the model's name, takes 16-bit samples as most significant byte first.
  bool autoMsbFirst = false;
  int rawPattern = -1;  ///< Bayer pattern of the region as transferred; -1: none

  int TransferWidth() const { return region.width * stages.host; }
  int TransferHeight() const { return region.height * stages.host; }
  std::size_t RowBytes() const { return static_cast<std::size_t>(TransferWidth()) * (wide ? 2 : 1); }
  std::size_t TransferSamples() const;
  std::size_t OutputSamples() const;
  std::size_t OutputBytes() const;
  StreamFormat WireFormat() const;
  /// Header, payload and trailer.
  std::size_t WireBytes() const;
};
/// `hardwareBin`: it is switched on; models whose FPGA bins bin in hardware without it.
FrameSetup SetupFor(const ModelData& model, const FrameRegion& region, bool hardwareBin);

/// Colours of the top left 2 x 2 delivered pixels of a raw frame, after flips and binning; -1: none. `mixed`:
/// pixels of different colours are binned together.
int DeliveredPattern(const FrameSetup& setup, bool flipHorizontal, bool flipVertical, bool mixed);

/// Electrons per unit of the delivered values. `perAdc` is what one ADC unit is worth at the frame's gain.
/// 16-bit samples are left-aligned and averaged by every binning on the host, 8-bit samples are the top bits and
/// summed by it: a sum keeps the electrons per unit, an average of n samples counts n times the electrons.
double ElectronsPerUnit(const ModelData& model, const FrameSetup& setup, double perAdc);

/// Time that a row of the wire takes on USB 2 when the port is the limit, at most; 0.1 µs.
double Usb2RowTenths(const FrameSetup& setup);

/// How fast a frame leaves the camera.
struct Readout {
  std::uint32_t lineTimeNs = 0;
  int bandwidthPercent = 100;
  bool usb3 = true;
};

/// Largest error of a frame's arrival time, µs: 1 ms for the computer, and the time in which the first transfer
/// filled (a transfer is seen when it is full). That is taken from the sensor's readout, from the link's speed and
/// from how long the rest of the frame took (`durationNs`, first to last bytes), whichever is longest.
std::int64_t ArrivalUncertaintyUs(const FrameSetup& setup, const Readout& readout, std::uint64_t durationNs);

}  // namespace orq
