// Part of every test program: cameras neither find nor leave a settings file, unless a test asks for it.
#include <gtest/gtest.h>

#include "settings/XmlStore.h"

namespace {

class NoSettings : public testing::Environment {
 public:
  void SetUp() override { orq::EnableXmlStore(false); }
};

[[maybe_unused]] const testing::Environment* const g_noSettings =
    testing::AddGlobalTestEnvironment(new NoSettings);

}  // namespace
