// What a report leaves out.
#include "commands/report/Private.h"

#include <gtest/gtest.h>

#include "commands/report/KernelLines.h"

namespace orq::cli {
namespace {

const PrivateFacts kAnna{.home = "/srv/people/anna", .user = "anna", .host = "dome"};

TEST(WithoutPrivate, LeavesOutHomesNamesAndSerialNumbers) {
  EXPECT_EQ(WithoutPrivate("open /srv/people/anna/m42.fits", kAnna), "open ~/m42.fits");
  EXPECT_EQ(WithoutPrivate("/home/bert/x and '/home/carl'", kAnna), "~/x and '~'");
  EXPECT_EQ(WithoutPrivate("anna@dome: annals of the domes", kAnna), "USER@HOST: annals of the domes");
  EXPECT_EQ(WithoutPrivate("serial:9bdf8764f06b32e1, 9bdf8764f06b32e12", kAnna),
            "serial:SERIAL, 9bdf8764f06b32e12");
}

TEST(WithoutPrivate, LeavesWhatIsEverybodys) {
  const PrivateFacts root{.home = "", .user = "root", .host = "localhost"};
  EXPECT_EQ(WithoutPrivate("root hub of localhost", root), "root hub of localhost");
  EXPECT_EQ(WithoutPrivate("", kAnna), "");
}

TEST(CameraLines, AreThoseOfOurPlacesOnTheBus) {
  const char* log =
      "<6>[1.0] usb 1-1: New USB device found, idVendor=1234, idProduct=0001\n"
      "<6>[1.1] usb 1-1: Product: Telephone\n"
      "<6>[2.0] usb 2-1: New USB device found, idVendor=f055, idProduct=4001\n"
      "<6>[2.1] usb 2-1: SerialNumber: 0123\n"
      "<6>[3.0] usb 2-1: USB disconnect, device number 3\n"
      "<4>[3.1] usbfs: process 77 did not claim interface 0 before use\n"
      "<6>[4.0] eth0: link up\n";
  const std::vector<std::string> lines = CameraLines(log);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_NE(lines[0].find("f055"), std::string::npos);
  EXPECT_NE(lines[1].find("disconnect"), std::string::npos);
  EXPECT_NE(lines[2].find("usbfs"), std::string::npos);
}

}  // namespace
}  // namespace orq::cli
