#include "link/usb/LibusbDevices.h"

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

namespace orq {

UsbSpeed LibusbSpeed(libusb_device* device) {
  switch (libusb_get_device_speed(device)) {
    case LIBUSB_SPEED_LOW:
      return UsbSpeed::Low;
    case LIBUSB_SPEED_FULL:
      return UsbSpeed::Full;
    case LIBUSB_SPEED_HIGH:
      return UsbSpeed::High;
    case LIBUSB_SPEED_SUPER:
      return UsbSpeed::Super;
    case LIBUSB_SPEED_SUPER_PLUS:
      return UsbSpeed::SuperPlus;
    default:
      return UsbSpeed::Unknown;
  }
}

namespace {

/// The ports on the way to the device, as `LibusbDevice::Place` keeps them; 0 when libusb cannot tell them.
std::uint64_t PathOf(libusb_device* device) {
  std::array<std::uint8_t, 8> ports{};
  libusb_get_port_numbers(device, ports.data(), static_cast<int>(ports.size()));
  return std::accumulate(ports.begin(), ports.end(), std::uint64_t{0},
                         [](std::uint64_t path, std::uint8_t port) { return path << 8 | port; });
}

}  // namespace

LibusbDevice::LibusbDevice(libusb_device* device) : device_(libusb_ref_device(device)) {
  place_.bus = libusb_get_bus_number(device);
  place_.address = libusb_get_device_address(device);
  place_.path = PathOf(device);
  libusb_device_descriptor descriptor{};
  if (libusb_get_device_descriptor(device, &descriptor) != LIBUSB_SUCCESS) return;
  vendorId_ = descriptor.idVendor;
  productId_ = descriptor.idProduct;
}

LibusbDevice::LibusbDevice(LibusbDevice&& other) noexcept
    : device_(std::exchange(other.device_, nullptr)),
      place_(other.place_),
      vendorId_(other.vendorId_),
      productId_(other.productId_) {}

LibusbDevice& LibusbDevice::operator=(LibusbDevice&& other) noexcept {
  std::swap(device_, other.device_);
  place_ = other.place_;
  vendorId_ = other.vendorId_;
  productId_ = other.productId_;
  return *this;
}

LibusbDevice::~LibusbDevice() {
  if (device_ != nullptr) libusb_unref_device(device_);
}

bool LibusbDevice::IsConfigured() const {
  libusb_config_descriptor* descriptor = nullptr;
  if (libusb_get_active_config_descriptor(device_, &descriptor) != LIBUSB_SUCCESS) return false;
  libusb_free_config_descriptor(descriptor);
  return true;
}

int ListLibusbDevices(libusb_context* context, std::uint16_t vendorId, std::vector<LibusbDevice>& found) {
  libusb_device** list = nullptr;
  const auto count = libusb_get_device_list(context, &list);
  if (count < 0) return static_cast<int>(count);
  for (libusb_device** entry = list; *entry != nullptr; ++entry) {
    LibusbDevice device(*entry);
    if (device.VendorId() == vendorId) found.push_back(std::move(device));
  }
  libusb_free_device_list(list, 1);
  std::sort(found.begin(), found.end(),
            [](const LibusbDevice& a, const LibusbDevice& b) { return a.Where() < b.Where(); });
  return LIBUSB_SUCCESS;
}

}  // namespace orq
