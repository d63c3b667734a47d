#include "session/fits/FitsCards.h"

#include <algorithm>
#include <utility>

#include "session/fits/FitsKeywords.h"
#include "session/frame/FrameTime.h"
#include "session/frame/Readout.h"

namespace orq::session {

namespace {

/// The cards one after the other; takes only names that are this program's own.
class CardList {
 public:
  void Text(OwnName name, std::string_view value, const char* comment) {
    cards_.push_back({name.Text(), std::string(value), comment});
  }
  void Integer(OwnName name, std::int64_t value, const char* comment) {
    cards_.push_back({name.Text(), value, comment});
  }
  /// With up to `digits` significant digits.
  void Real(OwnName name, double value, const char* comment, int digits = FitsCard().digits) {
    cards_.push_back({name.Text(), value, comment, digits});
  }
  void Logical(OwnName name, bool value, const char* comment) { cards_.push_back({name.Text(), value, comment}); }
  void History(const std::string& text) { cards_.push_back({kHistory, text, {}}); }
  void Users(const Keyword& keyword) { cards_.push_back({keyword.name, keyword.value, keyword.comment}); }
  std::vector<FitsCard> Take() { return std::move(cards_); }

 private:
  std::vector<FitsCard> cards_;
};

constexpr double kTenthsPerSecond = 1e7;
constexpr int kRowTimeDigits = 9;
constexpr int kAllDigits = 17;  // as many as a double has
constexpr int kSiteDigits = 8;  // angles are known in single precision

void AddTimes(CardList& cards, const FrameInfo& info, const std::optional<ClockState>& clock) {
  const RowTimes& times = info.times;
  cards.Text("DATE-OBS", FrameUtc(info, times.begin), "exposure of first row read out starts");
  cards.Text("DATE-END", FrameUtc(info, times.end), "exposure of last row read out ends");
  cards.Text("DATE-AVG", FrameUtc(info, MiddleOf(info)), "middle of DATE-OBS and DATE-END");
  cards.Real("MJD-OBS", ModifiedJulianDate(times.begin), "[d] DATE-OBS as modified Julian date", kAllDigits);
  cards.Text("TIMESYS", "UTC", "time scale of DATE-OBS and DATE-END");
  cards.Text("TIMESRC", TimeSource(info), "clock behind DATE-OBS and DATE-END");
  cards.Real("TIMEUNC", static_cast<double>(times.uncertainty) / kTenthsPerSecond,
             "[s] uncertainty of DATE-OBS and DATE-END");
  if (clock) {
    cards.Logical("CLKSYNC", clock->synchronised, "the computer's clock is synchronised");
    if (clock->synchronised) {
      cards.Real("CLKERR", static_cast<double>(clock->maxErrorUs) / 1e6,
                 "[s] its largest error, as the kernel says");
    }
  }
  if (HasGpsTime(info)) {
    cards.Real("ROWTIME", times.rowInterval / kTenthsPerSecond, "[s] from the start of one row to the next",
               kRowTimeDigits);
  }
}

// A place that the user states counts more than the receiver's.
void AddSite(CardList& cards, const FrameGps& gps, const std::vector<Keyword>& keywords) {
  const auto add = [&](OwnName name, const std::optional<double>& value, const char* comment) {
    const bool stated = std::ranges::find(keywords, name.Text(), &Keyword::name) != keywords.end();
    if (value && !stated) cards.Real(name, *value, comment, kSiteDigits);
  };
  add("SITELAT", gps.latitude, "[deg] latitude by GPS, north positive");
  add("SITELONG", gps.longitude, "[deg] longitude by GPS, east positive");
  add("SITEELEV", gps.altitude, "[m] altitude by GPS");
}

void AddGps(CardList& cards, const FrameInfo& info, const std::vector<Keyword>& keywords) {
  const FrameGps& gps = info.gps;
  if (gps.state == GpsState::None) return;
  cards.Text("GPSSTATE", GpsStateName(gps.state), "what came of asking the camera's GPS");
  if (gps.state == GpsState::Fix || gps.state == GpsState::NoFix)
    cards.Logical("GPSFIX", gps.state == GpsState::Fix, "the receiver had a fix");
  if (gps.state != GpsState::Unreadable) {
    cards.Integer("GPSLINE1", gps.latched.startLine, "sensor line at which time is taken, from 0");
    cards.Integer("GPSLINE2", gps.latched.endLine, "second line at which time is taken");
  }
  if (!HasGpsTimes(gps.state)) return;
  cards.Text("GPSUTC1", FrameUtc(info, gps.latched.start), "start of exposure of line GPSLINE1");
  cards.Text("GPSUTC2", FrameUtc(info, gps.latched.end), "start of exposure of line GPSLINE2");
  cards.Integer("GPSSATS", gps.satellites, "satellites in use");
  AddSite(cards, gps, keywords);
}

void AddSettings(CardList& cards, const FrameInfo& info, const FileContext& context) {
  cards.Real("EXPTIME", static_cast<double>(info.exposureUs) / 1e6, "[s] exposure time");
  cards.Integer("GAIN", info.gain, "gain setting");
  cards.Integer("OFFSET", info.offset, "offset setting");
  // 0: the model does not know. It is computed in single precision.
  if (info.electronsPerAdu > 0.0)
    cards.Real("EGAIN", info.electronsPerAdu, "[e-/ADU] electrons per unit of the pixel values", 7);
  cards.Text("READOUTM", ReadoutName(info.readoutName, info.highSpeed), "readout mode");
  cards.Integer("GAMMA", info.gamma, "brightness curve that was applied; 50: none");
  cards.Text("IMAGETYP", ImageTypeText(context.imageType), "kind of image");
  if (!context.object.empty()) cards.Text("OBJECT", context.object, "what the telescope looks at");
  if (!context.observer.empty()) cards.Text("OBSERVER", context.observer, "who took the image");
}

// Raw pixels are as the sensor measured them: their balance is advice for whoever makes colours of them.
void AddBalance(CardList& cards, const FrameInfo& info) {
  if (info.bayerPattern < 0) return;
  const bool applied = BayerText(info).empty();
  cards.Integer("WB_R", info.whiteBalanceRed,
                applied ? "applied: red was multiplied by WB_R / 50" : "advice, not applied: red times WB_R / 50");
  cards.Integer(
      "WB_B", info.whiteBalanceBlue,
      applied ? "applied: blue was multiplied by WB_B / 50" : "advice, not applied: blue times WB_B / 50");
}

void AddLevels(CardList& cards, const PixelLevels& levels) {
  constexpr int kDigits = 6;
  if (levels.black) cards.Real("PEDESTAL", *levels.black, "[ADU] black level: what no charge reads", kDigits);
  if (levels.saturated) cards.Real("DATAMAX", *levels.saturated, "[ADU] what a full pixel reads", kDigits);
}

void AddClimate(CardList& cards, const FrameFacts& frame) {
  if (frame.sensorC) cards.Real("CCD-TEMP", *frame.sensorC, "[Celsius] temperature of the sensor");
  if (frame.targetC) cards.Real("SET-TEMP", *frame.targetC, "[Celsius] target of the cooler");
  if (frame.coolerPower) cards.Integer("COOLPOWR", *frame.coolerPower, "[%] power of the cooler");
}

// A region may begin in the middle of a pixel of the whole binned sensor.
void AddStart(CardList& cards, OwnName name, int start, int bin, const char* comment) {
  if (start % bin == 0) return cards.Integer(name, start / bin, comment);
  cards.Real(name, static_cast<double>(start) / bin, comment);
}

void AddGeometry(CardList& cards, const FrameInfo& info, const FileContext& context) {
  const FrameRegion& region = info.region;
  cards.Integer("XBINNING", region.bin, "sensor columns per pixel");
  cards.Integer("YBINNING", region.bin, "sensor rows per pixel");
  AddStart(cards, "XORGSUBF", region.startX, region.bin, "[pixel] first column on the sensor, binned");
  AddStart(cards, "YORGSUBF", region.startY, region.bin, "[pixel] first row on the sensor, binned");
  if (context.pixelSizeUm > 0.0) {
    cards.Real("XPIXSZ", context.pixelSizeUm * region.bin, "[um] pixel width, binned");
    cards.Real("YPIXSZ", context.pixelSizeUm * region.bin, "[um] pixel height, binned");
  }
  if (const std::string_view bayer = BayerText(info); !bayer.empty()) {
    cards.Text("BAYERPAT", bayer, "colours of the top left 2x2 pixels, row by row");
    cards.Integer("XBAYROFF", 0, "[pixel] column offset of the pattern");
    cards.Integer("YBAYROFF", 0, "[pixel] row offset of the pattern");
  }
  cards.Text("ROWORDER", "TOP-DOWN", "first row of the data is the top one");
  cards.Text("FLIPPED", FlipName(info), "mirrored: none, h, v or both");
}

// File names may hold what FITS does not take.
std::string Plain(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
  return text;
}

void AddCorrections(CardList& cards, const CorrectionFacts& corrections) {
  if (!corrections.darkFile.empty()) {
    cards.Text("DARKFILE", Plain(corrections.darkFile), "dark that was subtracted");
    cards.History("dark subtracted" + (corrections.dark.empty() ? "" : ": " + corrections.dark));
  }
  if (corrections.hotPixels) cards.History("hot pixels repaired");
}

// The camera's clock and settings are those of the replay; the file's own must not be taken for them.
void AddRecorded(CardList& cards, const RecordedFacts& recorded) {
  if (recorded.file.empty()) return;
  cards.Text("REPLAYED", Plain(recorded.file), "recording that was replayed");
  if (!recorded.dateObs.empty()) cards.Text("REPLDATE", Plain(recorded.dateObs), "DATE-OBS of the recording");
  if (recorded.exposureSeconds) cards.Real("REPLEXPT", *recorded.exposureSeconds, "[s] EXPTIME of the recording");
  if (!recorded.object.empty()) cards.Text("REPLOBJ", Plain(recorded.object), "OBJECT of the recording");
}

}  // namespace

std::vector<FitsCard> HeaderCards(const FrameFacts& frame) {
  const FileContext& context = ContextOf(frame);
  CardList cards;
  if (!context.creator.empty()) cards.Text("SWCREATE", context.creator, "program that wrote this file");
  cards.Text("INSTRUME", context.instrument, "camera");
  AddTimes(cards, frame.info, frame.clock);
  AddGps(cards, frame.info, context.keywords);
  AddSettings(cards, frame.info, context);
  AddBalance(cards, frame.info);
  AddLevels(cards, frame.info.levels);
  AddClimate(cards, frame);
  AddGeometry(cards, frame.info, context);
  cards.Integer("FRAMENO", static_cast<std::int64_t>(frame.number), "number of the frame in its run, from 1");
  cards.Integer("CAMSEQ", frame.info.sequence, "the camera's own frame number, 32 bits");
  AddCorrections(cards, frame.corrections);
  AddRecorded(cards, context.recorded);
  if (!frame.warning.empty()) cards.Text("WARNING", frame.warning, "");
  for (const Keyword& keyword : context.keywords) cards.Users(keyword);
  return cards.Take();
}

}  // namespace orq::session
