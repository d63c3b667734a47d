#include "emulation/bus/Sysfs.h"

#include <cstdio>
#include <string_view>

#include "link/WireProtocol.h"

namespace orq {
namespace {

/// Builds one device's paragraph.
class Paragraph {
 public:
  explicit Paragraph(const std::string& path)
      : text_("P: " + path.substr(std::string_view("/sys").size()) + "\n") {}

  Paragraph& Property(const char* key, const std::string& value) { return Line("E: ", key, value); }
  /// Attribute files end in a line end.
  Paragraph& Attribute(const char* key, const std::string& value) { return Line("A: ", key, value + "\\n"); }
  Paragraph& BareAttribute(const char* key, const std::string& value) { return Line("A: ", key, value); }
  Paragraph& Binary(const char* key, const Bytes& bytes) {
    std::string hex;
    for (const std::uint8_t byte : bytes) {
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02X", byte);
      hex += digits;
    }
    return Line("H: ", key, hex);
  }
  std::string Text() const { return text_ + "\n"; }

 private:
  Paragraph& Line(const char* kind, const char* key, const std::string& value) {
    text_ += std::string(kind) + key + "=" + value + "\n";
    return *this;
  }
  std::string text_;
};

std::string Hex(int value, int digits) {
  char text[16];
  std::snprintf(text, sizeof text, "%0*x", digits, static_cast<unsigned>(value));
  return text;
}

std::string Padded(int value) {
  char text[16];
  std::snprintf(text, sizeof text, "%03d", value);
  return text;
}

std::string DeviceParagraph(const SysfsPlace& place, const UsbIdentity& identity) {
  constexpr int kUsbMajor = 189;
  constexpr int kDevicesPerBus = 128;
  const std::string minor = std::to_string((place.bus - 1) * kDevicesPerBus + place.address - 1);
  Bytes descriptors = DeviceDescriptor(identity);
  const Bytes configuration = ConfigurationDescriptor(identity);
  descriptors.insert(descriptors.end(), configuration.begin(), configuration.end());

  Paragraph text(SysfsPath(place));
  text.Property("SUBSYSTEM", "usb")
      .Property("DEVTYPE", "usb_device")
      .Property("DEVNAME", "/dev/bus/usb/" + Padded(place.bus) + "/" + Padded(place.address))
      .Property("MAJOR", std::to_string(kUsbMajor))
      .Property("MINOR", minor)
      .Property("BUSNUM", Padded(place.bus))
      .Property("DEVNUM", Padded(place.address))
      .Property("PRODUCT", Hex(wire::kVendorId, 1) + "/" + Hex(identity.productId, 1) + "/100")
      .BareAttribute("dev", std::to_string(kUsbMajor) + ":" + minor)
      .Attribute("busnum", std::to_string(place.bus))
      .Attribute("devnum", std::to_string(place.address))
      .Attribute("devpath", std::to_string(place.port))
      .Attribute("speed", identity.superSpeed ? "5000" : "480")
      .Attribute("version", identity.superSpeed ? " 3.00" : " 2.10")
      .Attribute("maxchild", "0")
      .Attribute("idVendor", Hex(wire::kVendorId, 4))
      .Attribute("idProduct", Hex(identity.productId, 4))
      .Attribute("bcdDevice", "0100")
      .Attribute("bDeviceClass", "00")
      .Attribute("bDeviceSubClass", "00")
      .Attribute("bDeviceProtocol", "00")
      .Attribute("bMaxPacketSize0", identity.superSpeed ? "9" : "64")
      .Attribute("bNumConfigurations", "1")
      .Attribute("bNumInterfaces", " 1")
      .Attribute("bmAttributes", "80")
      .Attribute("bMaxPower", identity.superSpeed ? "896mA" : "500mA")
      .Attribute("manufacturer", std::string(kManufacturer))
      .Attribute("product", identity.product)
      .BareAttribute("bConfigurationValue", place.configured ? "1\\n" : "")
      .Binary("descriptors", descriptors);
  if (!identity.serial.empty()) text.Attribute("serial", identity.serial);
  return text.Text();
}

std::string InterfaceParagraph(const SysfsPlace& place) {
  return Paragraph(SysfsInterfacePath(place))
      .Property("SUBSYSTEM", "usb")
      .Property("DEVTYPE", "usb_interface")
      .Property("INTERFACE", "255/0/0")
      .Attribute("bInterfaceNumber", "00")
      .Attribute("bAlternateSetting", " 0")
      .Attribute("bNumEndpoints", "01")
      .Attribute("bInterfaceClass", "ff")
      .Attribute("bInterfaceSubClass", "00")
      .Attribute("bInterfaceProtocol", "00")
      .Text();
}

}  // namespace

std::string SysfsPath(const SysfsPlace& place) {
  const std::string bus = std::to_string(place.bus);
  return "/sys/devices/platform/orq-emulation/usb" + bus + "/" + bus + "-" + std::to_string(place.port);
}

std::string SysfsInterfacePath(const SysfsPlace& place) {
  return SysfsPath(place) + "/" + std::to_string(place.bus) + "-" + std::to_string(place.port) + ":1.0";
}

std::string SysfsDescription(const SysfsPlace& place, const UsbIdentity& identity) {
  return DeviceParagraph(place, identity) + InterfaceParagraph(place);
}

std::string SysfsConfiguration(bool configured) {
  return configured ? "1\n" : "";
}

}  // namespace orq
