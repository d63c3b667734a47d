// The driver: a device that is always there, and one for every further camera that is plugged in.
#include "Driver.h"

#include <memory>

namespace orq::indi {
namespace {

// INDI's library has main(); a driver is what its static objects are.
const std::unique_ptr<Driver> driver = std::make_unique<Driver>();

}  // namespace

Driver::Driver() : first_("ORQ Camera", {{}, true}) {}

}  // namespace orq::indi
