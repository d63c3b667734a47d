#include "unit/devices/SleepLog.h"

#include <unistd.h>

namespace sleeps {

std::function<void(unsigned)> onSleep;

}  // namespace sleeps

extern "C" int __wrap_usleep(useconds_t us) {
  if (sleeps::onSleep) sleeps::onSleep(us);
  return 0;
}
