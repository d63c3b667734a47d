#include "output/ExitCodes.h"

#include <gtest/gtest.h>

namespace orq::cli {
namespace {

TEST(ExitCodes, FollowTheStatusOfAFailure) {
  EXPECT_EQ(ExitCodeOf(Failure(Status::Invalid, "")), 2);
  EXPECT_EQ(ExitCodeOf(Failure(Status::Lost, "")), 4);
  for (const Status status : {Status::NotFound, Status::Permission, Status::Busy, Status::Timeout,
                              Status::Cancelled, Status::Unsupported, Status::Refused, Status::State,
                              Status::Range, Status::File, Status::Memory, Status::Internal}) {
    EXPECT_EQ(ExitCodeOf(Failure(status, "")), 1) << TextOf(status);
    EXPECT_EQ(ExitCodeOf(CliError(status, "")), 1) << TextOf(status);
  }
}

TEST(ExitCodes, OfTheCommandLineItselfSayMore) {
  const CliError none(kExitNoCamera, "there is no camera 7");
  EXPECT_EQ(ExitCodeOf(none), 3);
  EXPECT_EQ(none.Code(), Status::NotFound);
  EXPECT_STREQ(none.what(), "there is no camera 7");
  EXPECT_EQ(CliError(kExitUsage, "").Code(), Status::Invalid);
  EXPECT_EQ(CliError(kExitCameraLost, "").Code(), Status::Lost);
  EXPECT_EQ(CliError(kExitFailed, "").Code(), Status::State);
}

TEST(ExitCodes, EveryStatusHasItsName) {
  const char* const names[] = {"ok",    "invalid", "not-found", "permission",  "busy",
                               "lost",  "timeout", "cancelled", "unsupported", "refused",
                               "state", "range",   "file",      "memory",      "internal"};
  int number = 0;
  for (const char* const name : names) EXPECT_STREQ(TextOf(static_cast<Status>(-number++)), name);
}

}  // namespace
}  // namespace orq::cli
