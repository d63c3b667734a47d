// The FITS keywords that a user cannot take for his own, in one table that the writer and the check share.
#pragma once

#include <cstddef>
#include <iterator>
#include <string_view>

namespace orq::session {

struct OwnKeyword {
  std::string_view name;
  std::string_view option = {};  ///< with which the user sets it; empty: he does not
  bool usersCounts = false;      ///< a value that the user states is written instead
};

/// What this program writes, in the order of the file. The writer takes no name that is not here.
inline constexpr OwnKeyword kOwnKeywords[] = {
    {"DATE"},
    {"SWCREATE"},
    {"INSTRUME"},
    {"DATE-OBS"},
    {"DATE-END"},
    {"DATE-AVG"},
    {"MJD-OBS"},
    {"TIMESYS"},
    {"TIMESRC"},
    {"TIMEUNC"},
    {"CLKSYNC"},
    {"CLKERR"},
    {"ROWTIME"},
    {"GPSSTATE"},
    {"GPSFIX"},
    {"GPSLINE1"},
    {"GPSLINE2"},
    {"GPSUTC1"},
    {"GPSUTC2"},
    {"GPSSATS"},
    {.name = "SITELAT", .usersCounts = true},
    {.name = "SITELONG", .usersCounts = true},
    {.name = "SITEELEV", .usersCounts = true},
    {"EXPTIME"},
    {"GAIN"},
    {"OFFSET"},
    {"EGAIN"},
    {"READOUTM"},
    {"GAMMA"},
    {"IMAGETYP", "--image-type"},
    {"OBJECT", "--object"},
    {"OBSERVER", "--observer"},
    {"WB_R"},
    {"WB_B"},
    {"PEDESTAL"},
    {"DATAMAX"},
    {"CCD-TEMP"},
    {"SET-TEMP"},
    {"COOLPOWR"},
    {"XBINNING"},
    {"YBINNING"},
    {"XORGSUBF"},
    {"YORGSUBF"},
    {"XPIXSZ"},
    {"YPIXSZ"},
    {"BAYERPAT"},
    {"XBAYROFF"},
    {"YBAYROFF"},
    {"ROWORDER"},
    {"FLIPPED"},
    {"FRAMENO"},
    {"CAMSEQ"},
    {"DARKFILE"},
    {"REPLAYED"},
    {"REPLDATE"},
    {"REPLEXPT"},
    {"REPLOBJ"},
    {"WARNING"},
};

/// Structure and history of a file, which the format itself defines; and NAXIS with a number behind it.
inline constexpr std::string_view kFormatKeywords[] = {
    "SIMPLE",   "XTENSION", "BITPIX",   "NAXIS",    "EXTEND",  "PCOUNT",  "GCOUNT",
    "GROUPS",   "BZERO",    "BSCALE",   "BLANK",    "END",     "COMMENT", "HISTORY",
    "CONTINUE", "HIERARCH", "LONGSTRN", "CHECKSUM", "DATASUM", "INHERIT",
};

/// A line of history: text that may come several times.
inline constexpr const char* kHistory = "HISTORY";

/// Its row in kOwnKeywords; as many as there are rows when this program does not write it. A number, because a
/// sanitizing compiler takes no pointer into the table for a constant.
constexpr std::size_t FindOwnKeyword(std::string_view name) {
  std::size_t row = 0;
  while (row < std::size(kOwnKeywords) && kOwnKeywords[row].name != name) ++row;
  return row;
}

/// The name of one of `kOwnKeywords`; any other does not compile.
class OwnName {
 public:
  // Implicit: the writer's calls name the keyword in place.
  consteval OwnName(const char* name) : text_(name) {
    if (FindOwnKeyword(name) == std::size(kOwnKeywords)) throw "kOwnKeywords does not hold this name";
  }
  constexpr const char* Text() const { return text_; }

 private:
  const char* text_;
};

}  // namespace orq::session
