// What clients write: parameters, addresses, hosts.
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>

#include "http/Address.h"
#include "http/Parameters.h"

namespace orq::network {
namespace {

using namespace std::string_literals;

TEST(Parameters, KeepOrderAndResolveEscapesOnce) {
  const std::optional<Parameters> read = Parameters::parse("a=1&b=two+words%21&a=3&c&=d&e=%2525&f=x=y&&");
  ASSERT_TRUE(read);
  const std::vector<std::pair<std::string, std::string>> wanted = {
      {"a", "1"}, {"b", "two words!"}, {"a", "3"}, {"c", ""}, {"", "d"}, {"e", "%25"}, {"f", "x=y"}};
  EXPECT_EQ(read->all(), wanted);
  EXPECT_EQ(read->find("a"), "1");
  EXPECT_EQ(read->find("A"), std::nullopt);
  EXPECT_EQ(read->find("A", Case::ignored), "1");
  EXPECT_EQ(read->find("nothing"), std::nullopt);
}

TEST(Parameters, AreRefusedWhereAnEscapeIsNone) {
  for (const std::string& text : {"a=%"s, "a=%1"s, "%zz=1"s, "a=%1g"s, "a=%00"s, "a=b\0c"s, "a=%-1"s, "a=%+1"s})
    EXPECT_FALSE(Parameters::parse(text)) << text;
  EXPECT_EQ(unescape("a+b%2F", false), "a+b/");
}

TEST(Address, IsReadAndWritten) {
  for (const char* const text : {"127.0.0.1", "0.0.0.0", "192.168.1.254", "::1", "::", "fe80::1", "2001:db8::7"}) {
    const std::optional<Address> read = Address::parse(text);
    ASSERT_TRUE(read) << text;
    EXPECT_EQ(read->text(), text);
  }
  for (const std::string& text :
       {""s, "localhost"s, "127.1"s, "1.2.3.4.5"s, "1.2.3.256"s, "[::1]"s, "::1%lo"s, " ::1"s, "1.2.3.4\0"s})
    EXPECT_FALSE(Address::parse(text)) << text;
  EXPECT_EQ(Address::parse("::ffff:10.0.0.1"), Address::parse("10.0.0.1"));
}

TEST(Address, KnowsThisComputerAndAll) {
  for (const char* const text : {"127.0.0.1", "127.255.0.3", "::1"})
    EXPECT_TRUE(Address::parse(text)->isLoopback());
  for (const char* const text : {"128.0.0.1", "::2", "::", "1::1"})
    EXPECT_FALSE(Address::parse(text)->isLoopback());
  for (const char* const text : {"0.0.0.0", "::"}) EXPECT_TRUE(Address::parse(text)->isAny()) << text;
  for (const char* const text : {"0.0.0.1", "::1"}) EXPECT_FALSE(Address::parse(text)->isAny()) << text;
}

TEST(AddressBlock, HoldsWhatItsBitsSay) {
  struct Row {
    const char* block;
    const char* address;
    bool holds;
  };
  for (const Row& row : {Row{"192.168.1.0/24", "192.168.1.255", true}, Row{"192.168.1.0/24", "192.168.2.0", false},
                         Row{"10.0.0.0/9", "10.127.1.1", true}, Row{"10.0.0.0/9", "10.128.0.0", false},
                         Row{"10.1.2.3", "10.1.2.3", true}, Row{"10.1.2.3/32", "10.1.2.2", false},
                         Row{"0.0.0.0/0", "8.8.8.8", true}, Row{"0.0.0.0/0", "2001:db8::1", false},
                         Row{"fd00::/8", "fdff::1", true}, Row{"fd00::/8", "fe00::", false},
                         Row{"::/0", "1.2.3.4", true}, Row{"::ffff:10.0.0.0/104", "10.9.9.9", true}}) {
    const std::optional<AddressBlock> block = AddressBlock::parse(row.block);
    ASSERT_TRUE(block) << row.block;
    EXPECT_EQ(block->holds(*Address::parse(row.address)), row.holds) << row.block << " " << row.address;
  }
}

TEST(AddressBlock, IsRefusedWhereItMayMeanAnother) {
  for (const char* const text : {"", "/", "10.0.0.0/", "10.0.0.0/33", "10.0.0.0/-1", "10.0.0.0/8x", "10.0.0.1/8",
                                 "::/129", "fd00::1/8", "10.0.0.0/ 8", "name/8", "10.0.0.0/8/8"})
    EXPECT_FALSE(AddressBlock::parse(text)) << text;
}

TEST(Host, IsWhatStandsBeforeThePort) {
  struct Row {
    const char* text;
    const char* host;
  };
  for (const Row& row : {Row{"pi.local", "pi.local"}, Row{"PI.Local:8080", "pi.local"}, Row{"pi.", "pi"},
                         Row{"127.0.0.1:1", "127.0.0.1"}, Row{"[::1]", "::1"}, Row{"[FE80::1]:65535", "fe80::1"}})
    EXPECT_EQ(hostOf(row.text), row.host) << row.text;
  for (const char* const text :
       {"", ":80", "a:b", "a:", "a:65536", "a b", "a/b", "a@b", "[::1", "::1", "[1.2.3.4]", "[::ffff:1.2.3.4]",
        "[::1]x", "pi..", ".pi", ".", "a..b:80", "a:80:80", "\xc3\xa9"})
    EXPECT_FALSE(hostOf(text)) << text;
}

}  // namespace
}  // namespace orq::network
