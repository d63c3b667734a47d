// What the library keeps for the user (darks, the debug log, backups of flash) goes to a folder of the test
// program's own. It asks for that folder's place once, so it is the same for all tests.
#include <cstdlib>

#include "unit/support/TempDirectory.h"

namespace {

class OwnState {
 public:
  OwnState() { ::setenv("XDG_STATE_HOME", folder_.Path().c_str(), 1); }

 private:
  TempDirectory folder_;
};

[[maybe_unused]] const OwnState g_ownState;  // NOLINT(cert-err58-cpp): without it no test is to begin

}  // namespace
