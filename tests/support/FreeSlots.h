// How many of a ring's slots are free.
#pragma once

#include <vector>

#include "link/stream/CirBuf.h"

namespace orq::test {

/// Takes them all and gives them back, so nobody may be filling slots meanwhile.
inline int FreeSlots(CirBuf& ring) {
  std::vector<CirBuf::Slot*> taken;
  while (CirBuf::Slot* slot = ring.BeginFrame()) taken.push_back(slot);
  for (CirBuf::Slot* slot : taken) ring.AbortFrame(*slot);
  return static_cast<int>(taken.size());
}

}  // namespace orq::test
