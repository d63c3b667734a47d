// Words to the programs that listen for devices.
#pragma once

namespace orq {

/// While it lives, this thread may have umockdev tell the listeners of arrivals and departures, and one that stops
/// listening in the middle of it is left out. Without it, umockdev ends the whole program then.
class TellingListeners {
 public:
  TellingListeners();
  ~TellingListeners();
  TellingListeners(const TellingListeners&) = delete;
  TellingListeners& operator=(const TellingListeners&) = delete;
};

}  // namespace orq
