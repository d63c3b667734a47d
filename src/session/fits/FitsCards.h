// What a file says about a frame: one list of cards for every program, whatever it writes them to.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "session/fits/Keywords.h"
#include "session/frame/FrameFacts.h"

namespace orq::session {

struct FitsCard {
  std::string name;  ///< "HISTORY" may come several times
  KeywordValue value;
  std::string comment;  ///< empty: none; a unit stands in front in brackets
  int digits = 15;      ///< of a real number: how many significant ones count
};

/// The cards of `frame` in the order of a file, the user's keywords last. Not among them is what belongs to one
/// file only: its structure and the date of writing.
std::vector<FitsCard> HeaderCards(const FrameFacts& frame);

}  // namespace orq::session
