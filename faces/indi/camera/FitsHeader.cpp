#include "camera/FitsHeader.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <vector>

namespace orq::indi {
namespace {

/// INDI writes these from what clients have set or from the sensor as a whole; they are true only when the library
/// says the same.
constexpr const char* kOnlyOurs[] = {"BAYERPAT", "XBAYROFF", "YBAYROFF", "DATAMIN",
                                     "DATAMAX",  "OBJECT",   "OBSERVER"};

void writeCard(fitsfile* file, const orq_card& card, int* status) {
  const char* const comment = card.comment[0] == '\0' ? nullptr : card.comment;
  if (std::strcmp(card.name, "HISTORY") == 0) {
    fits_write_history(file, card.text, status);
    return;
  }
  switch (card.type) {
    case ORQ_CARD_LOGICAL:
      fits_update_key_log(file, card.name, static_cast<int>(card.integer), comment, status);
      return;
    case ORQ_CARD_INTEGER:
      fits_update_key_lng(file, card.name, static_cast<LONGLONG>(card.integer), comment, status);
      return;
    case ORQ_CARD_TEXT:
      fits_update_key_str(file, card.name, card.text, comment, status);
      return;
    default: {
      // As text, with the digits that the library gives it.
      std::array<char, FLEN_CARD> line{};
      std::snprintf(line.data(), line.size(), "%-8s= %20s%s%s", card.name, card.text,
                    comment != nullptr ? " / " : "", comment != nullptr ? comment : "");
      fits_update_card(file, card.name, line.data(), status);
    }
  }
}

}  // namespace

void writeHeader(fitsfile* file, const Frame& frame) {
  if (!frame || file == nullptr) return;
  const std::vector<orq_card> cards = frame.header();
  for (const char* name : kOnlyOurs) {
    int status = 0;
    const bool ours = std::any_of(cards.begin(), cards.end(),
                                  [&](const orq_card& card) { return std::strcmp(card.name, name) == 0; });
    if (!ours) fits_delete_key(file, name, &status);  // not there: nothing to do
  }
  for (const orq_card& card : cards) {
    int status = 0;  // a card that cannot be written does not keep the others out
    writeCard(file, card, &status);
  }
}

}  // namespace orq::indi
