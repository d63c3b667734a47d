// Numbers with decimal points, whatever the program's locale.
#pragma once

#include <locale.h>  // NOLINT(modernize-deprecated-headers): uselocale is POSIX

namespace orq {

/// While it lives, the C functions of this thread write and read numbers with a decimal point; other threads keep
/// what the program has chosen.
class PointLocale {
 public:
  PointLocale()
      : points_(::newlocale(LC_ALL_MASK, "C", nullptr)), before_(::uselocale(points_)) {}  // null: as it is
  ~PointLocale() {
    ::uselocale(before_);
    if (points_ != nullptr) ::freelocale(points_);
  }
  PointLocale(const PointLocale&) = delete;
  PointLocale& operator=(const PointLocale&) = delete;

 private:
  locale_t points_;
  locale_t before_;
};

}  // namespace orq
