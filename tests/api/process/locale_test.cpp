// All tests of the interface follow the user's locale, which may have a decimal comma; the library must not.
#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>

namespace orq {
namespace {

// Before any test.
const bool isSet = std::setlocale(LC_ALL, "") != nullptr;

TEST(Locale, IsTheOneThatWasAskedFor) {
  const char* const point = std::getenv("ORQ_API_DECIMAL_POINT");
  if (point == nullptr) return;
  EXPECT_TRUE(isSet);
  EXPECT_STREQ(std::localeconv()->decimal_point, point);
}

}  // namespace
}  // namespace orq
