// Versions and words.
#include <string>

#include "api/Guard.h"
#include "link/WireProtocol.h"
#include "link/usb/LibusbPort.h"
#include "support/BayerNames.h"

static_assert(ORQ_USB_VENDOR_ID == orq::wire::kVendorId);

const char* orq_status_name(orq_status status) {
  switch (status) {
    case ORQ_OK:
      return "ok";
    case ORQ_ERROR_INVALID:
      return "invalid";
    case ORQ_ERROR_NOT_FOUND:
      return "not-found";
    case ORQ_ERROR_PERMISSION:
      return "permission";
    case ORQ_ERROR_BUSY:
      return "busy";
    case ORQ_ERROR_LOST:
      return "lost";
    case ORQ_ERROR_TIMEOUT:
      return "timeout";
    case ORQ_ERROR_CANCELLED:
      return "cancelled";
    case ORQ_ERROR_UNSUPPORTED:
      return "unsupported";
    case ORQ_ERROR_REFUSED:
      return "refused";
    case ORQ_ERROR_STATE:
      return "state";
    case ORQ_ERROR_RANGE:
      return "range";
    case ORQ_ERROR_FILE:
      return "file";
    case ORQ_ERROR_MEMORY:
      return "memory";
    case ORQ_ERROR_INTERNAL:
      return "internal";
    default:
      return "unknown";
  }
}

const char* orq_bayer_name(int32_t bayer) {
  const std::string_view name = orq::BayerNameOf(bayer);
  return name.empty() ? "" : name.data();  // the name of a literal: a zero follows
}

void orq_library_version(int32_t* major, int32_t* minor, int32_t* patch) {
  if (major != nullptr) *major = ORQCAM_VERSION_MAJOR;
  if (minor != nullptr) *minor = ORQCAM_VERSION_MINOR;
  if (patch != nullptr) *patch = ORQCAM_VERSION_PATCH;
}

const char* orq_usb_version(void) {
  static const std::string version = orq::LibusbVersion();
  return version.c_str();
}
