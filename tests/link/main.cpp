// Runs the tests; or, when told so, acts as another process that uses the bus.
#include <gtest/gtest.h>
#include <signal.h>

#include <cstring>

#include "OtherProcess.h"

int main(int argc, char** argv) {
  // A terminal that stands for a device file can become this process's own, and hangs up at an unplug.
  ::signal(SIGHUP, SIG_IGN);
  if (argc == 3 && std::strcmp(argv[1], orq::test::kOtherProcess) == 0)
    return orq::test::ActAsOtherProcess(argv[2]);
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
