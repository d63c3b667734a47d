#include "settings/XmlDocument.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "SettingsFixture.h"
#include "settings/XmlText.h"

namespace orq::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;

std::string Escaped(const std::string& text) {
  return EscapeBytes(BytesOf(text));
}

TEST(XmlText, LeavesPrintableTextAlone) {
  for (const char* text :
       {"", "plain", "/home/me/dark 1.bmp", "a<b>&\"'", "\u00e9t\u00e9 \u65e5\u672c \U0001F52D"})
    EXPECT_EQ(Escaped(text), text);
}

TEST(XmlText, EscapesWhatXmlCannotHold) {
  EXPECT_EQ(Escaped(std::string("a\0b\n\t\x7f", 6)), "a%00b%0A%09%7F");
  EXPECT_EQ(Escaped("100%"), "100%25");
  EXPECT_EQ(Escaped("\xff\xfe"), "%FF%FE");
  EXPECT_EQ(Escaped("\xc3"), "%C3");                       // cut short
  EXPECT_EQ(Escaped("\xc0\xaf"), "%C0%AF");                // longer than it need be
  EXPECT_EQ(Escaped("\xe0\x80\x80"), "%E0%80%80");         // longer than it need be
  EXPECT_EQ(Escaped("\xed\xa0\x80"), "%ED%A0%80");         // half of a pair
  EXPECT_EQ(Escaped("\xef\xbf\xbf"), "%EF%BF%BF");         // no character
  EXPECT_EQ(Escaped("\xc2\x85"), "%C2%85");                // a control character
  EXPECT_EQ(Escaped("\xf4\x90\x80\x80"), "%F4%90%80%80");  // beyond the last
}

TEST(XmlText, EveryByteComesBack) {
  Bytes all;
  for (int first = 0; first < 256; ++first) {
    for (const int second : {0, 0x25, 0x41, 0x80, 0xBF, 0xC3, 0xFF}) {
      all.push_back(static_cast<unsigned char>(first));
      all.push_back(static_cast<unsigned char>(second));
    }
  }
  EXPECT_EQ(UnescapeBytes(EscapeBytes(all)), all);
}

TEST(XmlText, AStrayPercentSignStandsForItself) {
  EXPECT_EQ(UnescapeBytes("5% %zz %4"), BytesOf("5% %zz %4"));
  EXPECT_EQ(UnescapeBytes("%4a%4A"), BytesOf("JJ"));
  EXPECT_EQ(UnescapeBytes("%41"), BytesOf("A"));
}

std::optional<XmlValue> ValueOf(const std::string& element) {
  std::string reason;
  const auto document = XmlDocument::Parse("<orqcam><key name='K'>" + element + "</key></orqcam>", reason);
  EXPECT_TRUE(document) << reason;
  const auto values = document->Read("K");
  EXPECT_TRUE(values);
  const auto found = values->find("v");
  return found == values->end() ? std::nullopt : std::optional(found->second);
}

TEST(XmlDocument, IntegersAreDecimal) {
  EXPECT_EQ(ValueOf("<int name='v' value='-12'/>"), (XmlValue{4, BytesOf(-12)}));
  EXPECT_EQ(ValueOf("<int name='v' value='2147483647'/>"), (XmlValue{4, BytesOf(2147483647)}));
}

TEST(XmlDocument, NumbersBeyondTheLimitsCountAsTheLimit) {
  EXPECT_EQ(ValueOf("<int name='v' value='2147483648'/>"), (XmlValue{4, BytesOf(2147483647)}));
  EXPECT_EQ(ValueOf("<int name='v' value='99999999999999999999999'/>"), (XmlValue{4, BytesOf(2147483647)}));
  EXPECT_EQ(ValueOf("<int name='v' value='-99999999999999999999999'/>"), (XmlValue{4, BytesOf(-2147483647 - 1)}));
  EXPECT_EQ(ValueOf("<byte name='v' value='256'/>"), (XmlValue{3, Bytes{255}}));
  EXPECT_EQ(ValueOf("<byte name='v' value='-1'/>"), (XmlValue{3, Bytes{0}}));
}

TEST(XmlDocument, WhatIsNoValueIsAbsent) {
  for (const char* element :
       {"<int name='v' value=''/>", "<int name='v' value='12x'/>", "<int name='v' value='0x10'/>",
        "<int name='v' value=' 1'/>", "<int name='v'/>", "<byte name='v' value='on'/>",
        "<data name='v' value='1'/>", "<data name='v' type='x' value='1'/>", "<other name='v' value='1'/>",
        "<key name='v' value='1'/>"})
    EXPECT_EQ(ValueOf(element), std::nullopt) << element;
}

TEST(XmlDocument, AValueThatIsTooLargeIsAbsent) {
  EXPECT_EQ(ValueOf("<text name='v' value='" + std::string(65'536, 'x') + "'/>")->data.size(), 65'536U);
  EXPECT_EQ(ValueOf("<text name='v' value='" + std::string(65'537, 'x') + "'/>"), std::nullopt);
}

TEST(XmlDocument, OfTwoValuesTheFirstCounts) {
  EXPECT_EQ(ValueOf("<int name='v' value='1'/><int name='v' value='2'/>"), (XmlValue{4, BytesOf(1)}));
  EXPECT_EQ(ValueOf("<int name='v' value='?'/><int name='v' value='2'/>"), (XmlValue{4, BytesOf(2)}));
}

TEST(XmlDocument, KeepsEveryTypeAndLength) {
  const XmlChanges values = {{"int", {4, BytesOf(5)}},           {"byte", {3, Bytes{200}}},
                             {"text", {3, BytesOf("a\"<&>'b")}}, {"none", {3, {}}},
                             {"short int", {4, Bytes{1, 2}}},    {"other", {-7, Bytes{0, 255, '%'}}},
                             {"int bytes", {3, BytesOf(5)}},     {"empty int", {4, {}}}};
  XmlDocument document;
  EXPECT_TRUE(document.Merge("K", values));
  std::string reason;
  const auto again = XmlDocument::Parse(document.Text(), reason);
  ASSERT_TRUE(again) << reason;
  EXPECT_THAT(again->Read("K"), Optional(XmlValues(values.begin(), values.end())));
}

TEST(XmlDocument, IsReadable) {
  XmlDocument document;
  document.Merge("software\\Model A", {{"Gain", {4, BytesOf(120)}}, {"AutoExp", {3, Bytes{1}}}});
  document.Merge("software\\Model A", {{"BMPPATH", {3, BytesOf("/d/x.bmp")}}, {"odd", {9, Bytes{1, 'z'}}}});
  EXPECT_EQ(document.Text(), R"(<?xml version="1.0" encoding="UTF-8"?>
<orqcam>
  <key name="software">
    <key name="Model A">
      <int name="Gain" value="120" />
      <byte name="AutoExp" value="1" />
      <text name="BMPPATH" value="/d/x.bmp" />
      <data name="odd" value="%01z" type="9" />
    </key>
  </key>
</orqcam>
)");
}

TEST(XmlDocument, MergingTheSameAgainChangesNothing) {
  XmlDocument document;
  EXPECT_TRUE(document.Merge("K", {{"a", {4, BytesOf(1)}}}));
  EXPECT_FALSE(document.Merge("K", {{"a", {4, BytesOf(1)}}}));
  EXPECT_TRUE(document.Merge("K", {{"a", {3, BytesOf(1)}}}));
  EXPECT_TRUE(document.Merge("K", {{"b", {3, {}}}}));
  EXPECT_FALSE(document.Merge("K", {}));
}

TEST(XmlDocument, KeepsWhatAUserAdded) {
  std::string reason;
  auto document = XmlDocument::Parse(
      "<!-- mine --><orqcam><key name='K' note='n'><!-- why --><int name='a' value='1' "
      "unit='s'/><extra/></key></orqcam>",
      reason);
  ASSERT_TRUE(document) << reason;
  document->Merge("K", {{"a", {4, BytesOf(2)}}});
  for (const char* part :
       {"<!-- mine -->", "note=\"n\"", "<!-- why -->", "unit=\"s\"", "<extra />", "value=\"2\""})
    EXPECT_THAT(document->Text(), HasSubstr(part));
}

TEST(XmlDocument, ReadsOtherEncodingsAndWritesUtf8) {
  std::u16string wide =
      u"\ufeff<?xml version='1.0' encoding='UTF-16'?><orqcam><key name='K'><text name='v' value='\u00e9'/>"
      u"</key></orqcam>";
  std::string reason;
  const auto document =
      XmlDocument::Parse({reinterpret_cast<const char*>(wide.data()), wide.size() * sizeof(char16_t)}, reason);
  ASSERT_TRUE(document) << reason;
  EXPECT_EQ(document->Read("K")->at("v").data, BytesOf("\u00e9"));
  EXPECT_THAT(document->Text(), HasSubstr("encoding=\"UTF-8\""));
}

TEST(XmlDocument, NamesMayHoldAnything) {
  XmlDocument document;
  const std::string path = std::string("software\\") + "<&\"'>/%41 \x01\xff\n";
  EXPECT_TRUE(document.Merge(path, {{"", {4, BytesOf(1)}}, {"<\xff%", {4, BytesOf(2)}}}));
  std::string reason;
  const auto again = XmlDocument::Parse(document.Text(), reason);
  ASSERT_TRUE(again) << reason;
  EXPECT_EQ(again->Read(path)->at("").data, BytesOf(1));
  EXPECT_EQ(again->Read(path)->at("<\xff%").data, BytesOf(2));
  ASSERT_EQ(again->Keys().size(), 1U);
  EXPECT_EQ(again->Keys()[0].path, path);
  EXPECT_FALSE(again->Read("software\\<&\"'>/A"));
}

TEST(XmlDocument, KeyPathsAreExact) {
  XmlDocument document;
  document.Merge("software\\Model", {{"a", {4, BytesOf(1)}}});
  for (const char* other : {"", "Model", "software\\model", "software\\Model\\", "\\software\\Model",
                            "software/Model", "software\\Model\\a", "software\\Mode"})
    EXPECT_FALSE(document.Read(other)) << other;
  EXPECT_TRUE(document.Read("software"));
}

TEST(XmlDocument, EmptyPartsAreNamesOfTheirOwn) {
  XmlDocument document;
  document.Merge("software\\", {{"a", {4, BytesOf(1)}}});
  document.Merge("", {{"a", {4, BytesOf(2)}}});
  EXPECT_EQ(document.Read("software\\")->at("a").data, BytesOf(1));
  EXPECT_EQ(document.Read("")->at("a").data, BytesOf(2));
  EXPECT_TRUE(document.Read("software")->empty());
  EXPECT_EQ(document.Keys().size(), 2U);
}

TEST(XmlDocument, CreatesOnce) {
  XmlDocument document;
  EXPECT_TRUE(document.Create("a\\b\\c"));
  EXPECT_FALSE(document.Create("a\\b\\c"));
  EXPECT_FALSE(document.Create("a\\b"));
  EXPECT_TRUE(document.Read("a\\b\\c"));
}

TEST(XmlDocument, RefusesAPathOfTooManyParts) {
  XmlDocument document;
  std::string path = "0";
  for (int parts = 1; parts < 30; ++parts) path += "\\0";
  EXPECT_TRUE(document.Create(path));
  std::string reason;
  EXPECT_TRUE(XmlDocument::Parse(document.Text(), reason)) << reason;
  EXPECT_FALSE(document.Create(path + "\\0"));
  EXPECT_FALSE(document.Merge(path + "\\0", {{"a", {4, BytesOf(1)}}}));
  EXPECT_FALSE(document.Read(path + "\\0"));
}

TEST(XmlDocument, RemovesAKeyWithAllInIt) {
  XmlDocument document;
  document.Merge("software\\A", {{"a", {4, BytesOf(1)}}});
  document.Merge("software\\A\\deeper", {{"a", {4, BytesOf(1)}}});
  document.Merge("software\\B", {{"a", {4, BytesOf(2)}}});
  EXPECT_TRUE(document.Remove("software\\A"));
  EXPECT_FALSE(document.Remove("software\\A"));
  EXPECT_FALSE(document.Read("software\\A\\deeper"));
  EXPECT_TRUE(document.Read("software\\B"));
}

TEST(XmlDocument, ListsTheKeysThatHoldValues) {
  XmlDocument document;
  document.Merge("s\\B", {{"x", {4, BytesOf(1)}}});
  document.Merge("s\\A", {{"y", {4, BytesOf(2)}}});
  document.Merge("s\\B\\C", {{"z", {4, BytesOf(3)}}});
  document.Create("s\\empty");
  std::vector<std::string> paths;
  for (const XmlKey& key : document.Keys()) paths.push_back(key.path);
  EXPECT_THAT(paths, ElementsAre("s\\B", "s\\B\\C", "s\\A"));
}

std::string WhyNot(const std::string& text) {
  std::string reason;
  EXPECT_FALSE(XmlDocument::Parse(text, reason)) << text.substr(0, 100);
  EXPECT_EQ(reason.find('\n'), std::string::npos);
  return reason;
}

TEST(XmlDocument, RefusesWhatIsNoSettingsFile) {
  for (const char* text : {"", " ", "text", "<orqcam>", "<orqcam", "<orqcam></other>", "<?xml version='1.0'?>",
                           "<orqcam><key name='K'", "\xff\xfe"})
    EXPECT_THAT(WhyNot(text), HasSubstr("it is no XML")) << text;
  EXPECT_EQ(WhyNot("<settings/>"), "it holds no settings");
}

TEST(XmlDocument, RefusesAFileThatIsTooLarge) {
  const std::string head = "<orqcam><!--";
  const std::string tail = "--></orqcam>";
  std::string reason;
  EXPECT_TRUE(
      XmlDocument::Parse(head + std::string(kMaxXmlBytes - head.size() - tail.size(), 'x') + tail, reason));
  EXPECT_EQ(WhyNot(head + std::string(kMaxXmlBytes - head.size() - tail.size() + 1, 'x') + tail),
            "it is larger than 1048576 bytes");
}

TEST(XmlDocument, RefusesAFileThatIsNestedTooDeeply) {
  const auto nested = [](int depth) {
    std::string text = "<orqcam>";
    for (int i = 1; i < depth; ++i) text += "<a>";
    for (int i = 1; i < depth; ++i) text += "</a>";
    return text + "</orqcam>";
  };
  std::string reason;
  EXPECT_TRUE(XmlDocument::Parse(nested(32), reason)) << reason;
  EXPECT_EQ(WhyNot(nested(33)), "it is nested too deeply");
  EXPECT_EQ(WhyNot(nested(140'000)), "it is nested too deeply");
}

TEST(XmlDocument, DoesNotExpandEntities) {
  std::string reason;
  const auto document = XmlDocument::Parse(
      "<!DOCTYPE orqcam [<!ENTITY e SYSTEM '/etc/passwd'>]><orqcam><key name='K'><text name='v' "
      "value='&e;'/></key>"
      "</orqcam>",
      reason);
  ASSERT_TRUE(document) << reason;
  EXPECT_EQ(document->Read("K")->at("v").data, BytesOf("&e;"));
}

}  // namespace
}  // namespace orq::test
