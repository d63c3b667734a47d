#include "files/FitsWriter.h"

#include <fitsio.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "files/FitsKeywords.h"
#include "files/FrameTime.h"
#include "output/ExitCodes.h"

namespace orq::cli {

namespace {

constexpr std::size_t kFitsBlock = 2880;
constexpr std::size_t kHeaderRoom = 8 * kFitsBlock;

// A file in memory that CFITSIO writes; the first error sticks.
class MemoryFits {
 public:
  explicit MemoryFits(std::size_t expectedBytes) : bytes_(expectedBytes), memory_(std::malloc(expectedBytes)) {
    if (memory_ == nullptr) throw std::bad_alloc();
    fits_create_memfile(&file_, &memory_, &bytes_, kFitsBlock, std::realloc, &status_);
  }
  ~MemoryFits() {
    int status = 0;
    if (file_ != nullptr) fits_close_file(file_, &status);
    std::free(memory_);
  }
  MemoryFits(const MemoryFits&) = delete;
  MemoryFits& operator=(const MemoryFits&) = delete;

  void Image(int bitpix, std::vector<long> axes) {
    fits_create_img(file_, bitpix, static_cast<int>(axes.size()), axes.data(), &status_);
  }
  void Text(OwnName name, std::string_view value, const char* comment) { Write(name.Text(), value, comment); }
  void Integer(OwnName name, std::int64_t value, const char* comment) { Write(name.Text(), value, comment); }
  /// With up to `digits` significant digits, trailing zeros dropped.
  void Real(OwnName name, double value, const char* comment, int digits = kRealDigits) {
    Write(name.Text(), value, comment, digits);
  }
  void Logical(OwnName name, bool value, const char* comment) { Write(name.Text(), value, comment); }
  void Users(const Keyword& keyword) {
    const char* const comment = keyword.comment.empty() ? nullptr : keyword.comment.c_str();
    std::visit([&](const auto& value) { Write(keyword.name.c_str(), value, comment); }, keyword.value);
  }
  void History(const std::string& text) { fits_write_history(file_, text.c_str(), &status_); }
  void Date() { fits_write_date(file_, &status_); }
  void Pixels(int type, LONGLONG firstPixel, LONGLONG count, const void* data) {
    // The library takes a pointer to non-const data but only reads it.
    fits_write_img(file_, type, firstPixel, count, const_cast<void*>(data), &status_);
  }

  std::vector<std::uint8_t> Finish() {
    LONGLONG header = 0;
    LONGLONG data = 0;
    LONGLONG end = 0;
    fits_flush_file(file_, &status_);
    fits_get_hduaddrll(file_, &header, &data, &end, &status_);
    if (status_ == 0) {
      fits_close_file(file_, &status_);
      file_ = nullptr;
    }
    if (status_ != 0) {
      char reason[FLEN_STATUS] = "";
      fits_get_errstatus(status_, reason);
      throw CliError(Status::File, std::string("cannot make the FITS file: ") + reason);
    }
    const auto* first = static_cast<const std::uint8_t*>(memory_);
    return {first, first + static_cast<std::size_t>(end)};
  }

 private:
  static constexpr int kRealDigits = 15;

  void Write(const char* name, std::string_view value, const char* comment) {
    fits_write_key_str(file_, name, std::string(value).c_str(), comment, &status_);
  }
  void Write(const char* name, std::int64_t value, const char* comment) {
    fits_write_key_lng(file_, name, static_cast<LONGLONG>(value), comment, &status_);
  }
  void Write(const char* name, double value, const char* comment, int digits = kRealDigits) {
    fits_write_key_dbl(file_, name, value, -digits, comment, &status_);
  }
  void Write(const char* name, bool value, const char* comment) {
    fits_write_key_log(file_, name, value ? 1 : 0, comment, &status_);
  }

  std::size_t bytes_;
  void* memory_;
  fitsfile* file_ = nullptr;
  int status_ = 0;
};

constexpr double kTenthsPerSecond = 1e7;
constexpr int kRowTimeDigits = 9;
constexpr int kAllDigits = 17;  // as many as a double has
constexpr int kSiteDigits = 8;  // angles are known in single precision

void WriteTimes(MemoryFits& fits, const FrameInfo& info, const std::optional<ClockState>& clock) {
  const RowTimes& times = info.times;
  fits.Text("DATE-OBS", FrameUtc(info, times.begin), "exposure of first row read out starts");
  fits.Text("DATE-END", FrameUtc(info, times.end), "exposure of last row read out ends");
  fits.Text("DATE-AVG", FrameUtc(info, MiddleOf(info)), "middle of DATE-OBS and DATE-END");
  fits.Real("MJD-OBS", ModifiedJulianDate(times.begin), "[d] DATE-OBS as modified Julian date", kAllDigits);
  fits.Text("TIMESYS", "UTC", "time scale of DATE-OBS and DATE-END");
  fits.Text("TIMESRC", TimeSource(info), "clock behind DATE-OBS and DATE-END");
  fits.Real("TIMEUNC", static_cast<double>(times.uncertainty) / kTenthsPerSecond,
            "[s] uncertainty of DATE-OBS and DATE-END");
  if (clock) {
    fits.Logical("CLKSYNC", clock->synchronised, "the computer's clock is synchronised");
    if (clock->synchronised) {
      fits.Real("CLKERR", static_cast<double>(clock->maxErrorUs) / 1e6,
                "[s] its largest error, as the kernel says");
    }
  }
  if (HasGpsTime(info)) {
    fits.Real("ROWTIME", times.rowInterval / kTenthsPerSecond, "[s] from the start of one row to the next",
              kRowTimeDigits);
  }
}

// A place that the user states counts more than the receiver's.
void WriteSite(MemoryFits& fits, const FrameGps& gps, std::span<const Keyword> keywords) {
  const auto write = [&](OwnName name, const std::optional<double>& value, const char* comment) {
    const bool stated = std::ranges::find(keywords, name.Text(), &Keyword::name) != keywords.end();
    if (value && !stated) fits.Real(name, *value, comment, kSiteDigits);
  };
  write("SITELAT", gps.latitude, "[deg] latitude by GPS, north positive");
  write("SITELONG", gps.longitude, "[deg] longitude by GPS, east positive");
  write("SITEELEV", gps.altitude, "[m] altitude by GPS");
}

void WriteGps(MemoryFits& fits, const FrameInfo& info, std::span<const Keyword> keywords) {
  const FrameGps& gps = info.gps;
  if (gps.state == GpsState::None) return;
  fits.Text("GPSSTATE", GpsStateName(gps.state), "what came of asking the camera's GPS");
  if (gps.state == GpsState::Fix || gps.state == GpsState::NoFix) {
    fits.Logical("GPSFIX", gps.state == GpsState::Fix, "the receiver had a fix");
  }
  if (gps.state != GpsState::Unreadable) {
    fits.Integer("GPSLINE1", gps.latched.startLine, "sensor line at which time is taken, from 0");
    fits.Integer("GPSLINE2", gps.latched.endLine, "second line at which time is taken");
  }
  if (!HasGpsTimes(gps.state)) return;
  fits.Text("GPSUTC1", FrameUtc(info, gps.latched.start), "start of exposure of line GPSLINE1");
  fits.Text("GPSUTC2", FrameUtc(info, gps.latched.end), "start of exposure of line GPSLINE2");
  fits.Integer("GPSSATS", gps.satellites, "satellites in use");
  WriteSite(fits, gps, keywords);
}

void WriteSettings(MemoryFits& fits, const FrameInfo& info, const FileContext& context) {
  fits.Real("EXPTIME", static_cast<double>(info.exposureUs) / 1e6, "[s] exposure time");
  fits.Integer("GAIN", info.gain, "gain setting");
  fits.Integer("OFFSET", info.offset, "offset setting");
  // 0: the model does not know. It is computed in single precision.
  if (info.electronsPerAdu > 0.0) {
    fits.Real("EGAIN", info.electronsPerAdu, "[e-/ADU] electrons per unit of the pixel values", 7);
  }
  fits.Text("READOUTM", info.highSpeed ? "High speed" : "Normal", "readout mode");
  fits.Integer("GAMMA", info.gamma, "brightness curve that was applied; 50: none");
  fits.Text("IMAGETYP", context.imageType, "kind of image");
  if (!context.object.empty()) fits.Text("OBJECT", context.object, "what the telescope looks at");
  if (!context.observer.empty()) fits.Text("OBSERVER", context.observer, "who took the image");
}

// Raw pixels are as the sensor measured them: their balance is advice for whoever makes colours of them.
void WriteBalance(MemoryFits& fits, const FrameInfo& info) {
  if (info.bayerPattern < 0) return;
  const bool applied = BayerText(info).empty();
  fits.Integer("WB_R", info.whiteBalanceRed,
               applied ? "applied: red was multiplied by WB_R / 50" : "advice, not applied: red times WB_R / 50");
  fits.Integer(
      "WB_B", info.whiteBalanceBlue,
      applied ? "applied: blue was multiplied by WB_B / 50" : "advice, not applied: blue times WB_B / 50");
}

void WriteLevels(MemoryFits& fits, const PixelLevels& levels) {
  constexpr int kDigits = 6;
  if (levels.black) fits.Real("PEDESTAL", *levels.black, "[ADU] black level: what no charge reads", kDigits);
  if (levels.saturated) fits.Real("DATAMAX", *levels.saturated, "[ADU] what a full pixel reads", kDigits);
}

void WriteClimate(MemoryFits& fits, const Frame& frame) {
  if (frame.sensorC) fits.Real("CCD-TEMP", *frame.sensorC, "[Celsius] temperature of the sensor");
  if (frame.targetC) fits.Real("SET-TEMP", *frame.targetC, "[Celsius] target of the cooler");
  if (frame.coolerPower) fits.Integer("COOLPOWR", *frame.coolerPower, "[%] power of the cooler");
}

// A region may begin in the middle of a pixel of the whole binned sensor.
void WriteStart(MemoryFits& fits, OwnName name, int start, int bin, const char* comment) {
  if (start % bin == 0) return fits.Integer(name, start / bin, comment);
  fits.Real(name, static_cast<double>(start) / bin, comment);
}

void WriteGeometry(MemoryFits& fits, const FrameInfo& info, const FileContext& context) {
  const FrameRegion& region = info.region;
  fits.Integer("XBINNING", region.bin, "sensor columns per pixel");
  fits.Integer("YBINNING", region.bin, "sensor rows per pixel");
  WriteStart(fits, "XORGSUBF", region.startX, region.bin, "[pixel] first column on the sensor, binned");
  WriteStart(fits, "YORGSUBF", region.startY, region.bin, "[pixel] first row on the sensor, binned");
  if (context.pixelSizeUm > 0.0) {
    fits.Real("XPIXSZ", context.pixelSizeUm * region.bin, "[um] pixel width, binned");
    fits.Real("YPIXSZ", context.pixelSizeUm * region.bin, "[um] pixel height, binned");
  }
  if (const std::string_view bayer = BayerText(info); !bayer.empty()) {
    fits.Text("BAYERPAT", bayer, "colours of the top left 2x2 pixels, row by row");
    fits.Integer("XBAYROFF", 0, "[pixel] column offset of the pattern");
    fits.Integer("YBAYROFF", 0, "[pixel] row offset of the pattern");
  }
  fits.Text("ROWORDER", "TOP-DOWN", "first row of the data is the top one");
  fits.Text("FLIPPED", FlipName(info), "mirrored: none, h, v or both");
}

// File names may hold what FITS does not take.
std::string Plain(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return text;
}

void WriteCorrections(MemoryFits& fits, const CorrectionFacts& corrections) {
  if (!corrections.darkFile.empty()) {
    fits.Text("DARKFILE", Plain(corrections.darkFile), "dark that was subtracted");
    fits.History("dark subtracted" + (corrections.dark.empty() ? "" : ": " + corrections.dark));
  }
  if (corrections.hotPixels) fits.History("hot pixels repaired");
}

// The camera's clock and settings are those of the replay; the file's own must not be taken for them.
void WriteRecorded(MemoryFits& fits, const RecordedFacts& recorded) {
  if (recorded.file.empty()) return;
  fits.Text("REPLAYED", Plain(recorded.file), "recording that was replayed");
  if (!recorded.dateObs.empty()) fits.Text("REPLDATE", Plain(recorded.dateObs), "DATE-OBS of the recording");
  if (recorded.exposureSeconds) fits.Real("REPLEXPT", *recorded.exposureSeconds, "[s] EXPTIME of the recording");
  if (!recorded.object.empty()) fits.Text("REPLOBJ", Plain(recorded.object), "OBJECT of the recording");
}

// Blue, green, red per pixel become a plane each, red first.
void WritePlanes(MemoryFits& fits, const Frame& frame, std::size_t pixels) {
  std::vector<std::uint8_t> plane(pixels);
  for (std::size_t colour = 0; colour < 3; ++colour) {
    const std::uint8_t* from = frame.bytes.data() + (2 - colour);
    for (std::size_t i = 0; i < pixels; ++i) plane[i] = from[3 * i];
    fits.Pixels(TBYTE, static_cast<LONGLONG>(colour * pixels + 1), static_cast<LONGLONG>(pixels), plane.data());
  }
}

void WritePixels(MemoryFits& fits, const Frame& frame, std::size_t pixels) {
  if (frame.info.region.format == ORQ_IMG_RGB24) return WritePlanes(fits, frame, pixels);
  const int type = frame.info.region.format == ORQ_IMG_RAW16 ? TUSHORT : TBYTE;
  fits.Pixels(type, 1, static_cast<LONGLONG>(pixels), frame.bytes.data());
}

}  // namespace

std::vector<std::uint8_t> EncodeFits(const Frame& frame, std::uint64_t number, const FileContext& context,
                                     std::span<const Keyword> keywords) {
  const FrameRegion& region = frame.info.region;
  const std::size_t pixels = static_cast<std::size_t>(region.width) * static_cast<std::size_t>(region.height);
  MemoryFits fits(frame.bytes.size() + kHeaderRoom);
  std::vector<long> axes = {region.width, region.height};
  if (region.format == ORQ_IMG_RGB24) axes.push_back(3);
  fits.Image(region.format == ORQ_IMG_RAW16 ? USHORT_IMG : BYTE_IMG, std::move(axes));
  fits.Date();
  fits.Text("SWCREATE", "orqcam " ORQCAM_VERSION, "program that wrote this file");
  fits.Text("INSTRUME", context.instrument, "camera");
  WriteTimes(fits, frame.info, frame.clock);
  WriteGps(fits, frame.info, keywords);
  WriteSettings(fits, frame.info, context);
  WriteBalance(fits, frame.info);
  WriteLevels(fits, frame.info.levels);
  WriteClimate(fits, frame);
  WriteGeometry(fits, frame.info, context);
  fits.Integer("FRAMENO", static_cast<std::int64_t>(number), "number of the frame in its run, from 1");
  fits.Integer("CAMSEQ", frame.info.sequence, "the camera's own frame number, 32 bits");
  WriteCorrections(fits, frame.corrections);
  WriteRecorded(fits, context.recorded);
  if (!frame.warning.empty()) fits.Text("WARNING", frame.warning, nullptr);
  for (const Keyword& keyword : keywords) fits.Users(keyword);
  WritePixels(fits, frame, pixels);
  return fits.Finish();
}

}  // namespace orq::cli
