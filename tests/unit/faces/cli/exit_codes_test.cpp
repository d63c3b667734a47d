#include "output/ExitCodes.h"

#include <gtest/gtest.h>

namespace orq::cli {
namespace {

TEST(ExitCodes, FollowTheStatusOfAnError) {
  for (orq_status status = ORQ_ERROR_INTERNAL; status < ORQ_OK; ++status) {
    const int expected = status == ORQ_ERROR_INVALID ? 2 : status == ORQ_ERROR_LOST ? 4 : 1;
    EXPECT_EQ(ExitCodeOf(Error(status, "")), expected) << orq_status_name(status);
    EXPECT_EQ(ExitCodeOf(CliError(status, "")), expected) << orq_status_name(status);
  }
}

TEST(ExitCodes, OfTheCommandLineItselfSayMore) {
  const CliError none(kExitNoCamera, "there is no camera 7");
  EXPECT_EQ(ExitCodeOf(none), 3);
  EXPECT_EQ(none.status(), ORQ_ERROR_NOT_FOUND);
  EXPECT_STREQ(none.what(), "there is no camera 7");
  EXPECT_EQ(CliError(kExitUsage, "").status(), ORQ_ERROR_INVALID);
  EXPECT_EQ(CliError(kExitCameraLost, "").status(), ORQ_ERROR_LOST);
  EXPECT_EQ(CliError(kExitFailed, "").status(), ORQ_ERROR_STATE);
}

}  // namespace
}  // namespace orq::cli
