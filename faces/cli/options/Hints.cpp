#include "options/Hints.h"

namespace orq::cli {

namespace {

struct Hint {
  std::string_view library;
  std::string_view tool;
};

constexpr Hint kBeginnings[] = {
    {"file name: ", "--output: "},
    {"the keyword ", "--keyword "},
};

constexpr Hint kPhrases[] = {
    {"or name another file", "or give another --output"},
    {"name a file where you may write", "give an --output where you may write"},
    {"or name a file on another disk", "or give an --output on another disk"},
    {"give a shorter file name", "give a shorter --output"},
    {"name another file, or allow overwriting", "give another --output, or --overwrite"},
    {"give another name, or allow overwriting", "give another name, or --overwrite"},
    {"as the list of cameras shows it", "as orqcam list shows it"},
    {"choose others, or let them follow the region",
     "choose others with 'orqcam gps lines', or let them follow the region with 'orqcam gps lines --follow'"},
    {"choose another dark, or none", "choose again with orqcam dark use or dark off"},
    {"name a folder for it", "name a directory with --backup"},
    {"name another folder for the backup", "name another directory with --backup"},
    {"what flash held before is in '", "what flash held before: orqcam flash restore '"},
    {"take a dark and store its hot pixels first", "build one with orqcam hotpixels build --save"},
};

}  // namespace

std::string WithHints(std::string_view message) {
  std::string text(message);
  for (const Hint& hint : kBeginnings)
    if (text.starts_with(hint.library)) return text.replace(0, hint.library.size(), hint.tool);
  for (const Hint& hint : kPhrases) {
    const std::size_t at = text.find(hint.library);
    if (at != std::string::npos) return text.replace(at, hint.library.size(), hint.tool);
  }
  return text;
}

}  // namespace orq::cli
