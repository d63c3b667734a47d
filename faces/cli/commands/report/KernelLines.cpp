#include "commands/report/KernelLines.h"

#include <orqcam/orqcam.h>
#include <sys/klog.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "support/Text.h"

namespace orq::cli {

namespace {

constexpr int kReadAll = 3;
constexpr int kSizeOf = 10;

// "usb 2-1" of "[ 12.3] usb 2-1: New USB device found, idVendor=...".
std::string PlaceOf(const std::string& line) {
  const std::size_t usb = line.find("usb ");
  if (usb == std::string::npos) return {};
  const std::size_t end = line.find(':', usb);
  return end == std::string::npos ? std::string() : line.substr(usb, end - usb);
}

bool ConcernsUsbItself(const std::string& line) {
  return line.find("xhci_hcd") != std::string::npos || line.find("usbfs") != std::string::npos;
}

}  // namespace

std::vector<std::string> CameraLines(std::string_view kernelLog) {
  const std::string vendor = Format("idVendor=%04x", ORQ_USB_VENDOR_ID);
  const std::vector<std::string> lines = Split(kernelLog, '\n');
  std::vector<std::string> places;
  for (const std::string& line : lines)
    if (line.find(vendor) != std::string::npos) places.push_back(PlaceOf(line));
  std::vector<std::string> kept;
  for (const std::string& line : lines) {
    const std::string place = PlaceOf(line);
    const bool ours = !place.empty() && std::ranges::find(places, place) != places.end();
    if ((ours || ConcernsUsbItself(line)) && line.find("SerialNumber:") == std::string::npos) kept.push_back(line);
  }
  return kept;
}

std::string ReadKernelLog(std::string& trouble) {
  const int size = klogctl(kSizeOf, nullptr, 0);
  std::string log(static_cast<std::size_t>(std::max(size, 0)), '\0');
  const int got = size > 0 ? klogctl(kReadAll, log.data(), size) : size;
  if (got < 0) trouble = std::string("cannot be read: ") + std::strerror(errno) + "; run orqcam report with sudo";
  log.resize(static_cast<std::size_t>(std::max(got, 0)));
  return log;
}

}  // namespace orq::cli
