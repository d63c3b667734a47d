#include "settings/XmlStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "SettingsFixture.h"

namespace orq::test {
namespace {

using testing::ElementsAre;
using testing::Optional;
using testing::Pair;

static_assert(sizeof(xmlHandle) == 8);
static_assert(std::is_trivially_copyable_v<xmlHandle>);

using XmlStore = SettingsTest;

TEST_F(XmlStore, OpeningNeedsTheFileAndTheKey) {
  xmlHandle key{{1, 1}};
  EXPECT_EQ(XMLOpenKey(kFile, "software\\Model", &key), 0);
  EXPECT_THAT(key.words, ElementsAre(0, 0));
  EXPECT_TRUE(Names().empty());
  WriteValues("");
  EXPECT_EQ(XMLOpenKey(kFile, "software\\Other", &key), 0);
  EXPECT_EQ(XMLOpenKey(kFile, "Model", &key), 0);
  EXPECT_NE(XMLOpenKey(kFile, "software\\Model", &key), 0);
  EXPECT_NE(XMLOpenKey(kFile, "software", &key), 0);
}

TEST_F(XmlStore, CreatingMakesFileAndKey) {
  xmlHandle key;
  EXPECT_NE(XMLCreateKey(kFile, "software\\Model", &key, nullptr), 0);
  xmlHandle other;
  EXPECT_NE(XMLOpenKey(kFile, "software\\Model", &other), 0);
  EXPECT_NE(XMLCloseKey(&key), 0);
  EXPECT_NE(XMLOpenKey(kFile, "software\\Model", &other), 0);
}

TEST_F(XmlStore, CreatingAKeyThatIsThereOpensIt) {
  Store("software\\Model", "a", 1);
  xmlHandle key;
  EXPECT_NE(XMLCreateKey(kFile, "software\\Model", &key, "a class"), 0);
  EXPECT_EQ(Number(key, "a"), 1);
}

TEST_F(XmlStore, ValuesReachTheFileWhenTheKeyIsClosed) {
  xmlHandle key = Create();
  EXPECT_NE(Set(key, "a", 7), 0);
  EXPECT_EQ(Stored("software\\Model", "a"), std::nullopt);
  EXPECT_NE(XMLCloseKey(&key), 0);
  EXPECT_EQ(Stored("software\\Model", "a"), 7);
}

TEST_F(XmlStore, AnOpenKeyShowsWhatWasStoredInIt) {
  Store("software\\Model", "a", 1);
  xmlHandle key = Open();
  EXPECT_EQ(Number(key, "a"), 1);
  Set(key, "a", 2);
  EXPECT_EQ(Number(key, "a"), 2);
  Set(key, "a", 3);
  EXPECT_EQ(Number(key, "a"), 3);
}

TEST_F(XmlStore, ANewValueReplacesTheOldOneWithItsTypeAndLength) {
  Store("software\\Model", "a", 1);
  xmlHandle key = Open();
  Set(key, "a", 3, BytesOf("a longer text"));
  XMLCloseKey(&key);
  EXPECT_THAT(Query(Open(), "a"), Optional(Pair(3, BytesOf("a longer text"))));
}

TEST_F(XmlStore, AQueryCopiesTheSmallerOfLengthAndRoom) {
  xmlHandle key = Create();
  Set(key, "v", 3, BytesOf("abcdef"));
  for (const bool fromFile : {false, true}) {
    if (fromFile) {
      XMLCloseKey(&key);
      key = Open();
    }
    for (int room = 0; room <= 10; ++room) {
      Bytes data(12, '.');
      int type = 0;
      int length = room;
      EXPECT_NE(XMLQueryValueEx(key, "v", nullptr, &type, data.data(), &length), 0);
      const auto copied = static_cast<std::size_t>(std::min(room, 6));
      EXPECT_EQ(data, BytesOf(std::string("abcdef").substr(0, copied) + std::string(12 - copied, '.')));
      EXPECT_EQ(type, 3);
      EXPECT_EQ(length, 6);
    }
  }
}

TEST_F(XmlStore, AQueryForWhatIsAbsentWritesNothing) {
  const xmlHandle key = Create();
  unsigned char data = 'x';
  int type = 11;
  int length = 1;
  EXPECT_EQ(XMLQueryValueEx(key, "absent", nullptr, &type, &data, &length), 0);
  EXPECT_EQ(data, 'x');
  EXPECT_EQ(type, 11);
  EXPECT_EQ(length, 1);
}

TEST_F(XmlStore, AQueryWithoutRoomCopiesNothing) {
  const xmlHandle key = Create();
  Set(key, "v", 3, BytesOf("abc"));
  unsigned char data = 'x';
  for (const int room : {0, -1, -2'147'483'647}) {
    int length = room;
    EXPECT_NE(XMLQueryValueEx(key, "v", nullptr, nullptr, &data, &length), 0);
    EXPECT_EQ(data, 'x');
    EXPECT_EQ(length, 3);
  }
}

TEST_F(XmlStore, AQueryMayLeaveOutWhatItDoesNotWant) {
  const xmlHandle key = Create();
  Set(key, "v", 3, BytesOf("abc"));
  unsigned char data = 'x';
  int length = 5;
  int type = 0;
  EXPECT_NE(XMLQueryValueEx(key, "v", nullptr, &type, nullptr, nullptr), 0);
  EXPECT_NE(XMLQueryValueEx(key, "v", nullptr, nullptr, nullptr, &length), 0);
  EXPECT_EQ(length, 3);
  EXPECT_NE(XMLQueryValueEx(key, "v", nullptr, nullptr, &data, nullptr), 0);
  EXPECT_EQ(data, 'x');
}

TEST_F(XmlStore, ACopyOfAHandleIsTheSameKey) {
  xmlHandle key = Create();
  xmlHandle copy = key;
  Set(copy, "a", 5);
  EXPECT_EQ(Number(key, "a"), 5);
  EXPECT_NE(XMLCloseKey(&key), 0);
  EXPECT_EQ(Set(copy, "a", 6), 0);
  EXPECT_EQ(XMLCloseKey(&copy), 0);
  EXPECT_EQ(Stored("software\\Model", "a"), 5);
}

TEST_F(XmlStore, ClosedHandlesStandForNothing) {
  xmlHandle key = Create();
  Set(key, "a", 1);
  const xmlHandle stale = key;
  EXPECT_NE(XMLCloseKey(&key), 0);
  EXPECT_THAT(key.words, ElementsAre(0, 0));
  EXPECT_EQ(XMLCloseKey(&key), 0);
  // Its place is taken by another key, which it must not reach.
  const xmlHandle other = Create("software\\Other");
  EXPECT_EQ(Set(stale, "a", 2), 0);
  EXPECT_EQ(Query(stale, "a"), std::nullopt);
  xmlHandle again = stale;
  EXPECT_EQ(XMLCloseKey(&again), 0);
  EXPECT_NE(Set(other, "a", 3), 0);
}

TEST_F(XmlStore, ForgedHandlesStandForNothing) {
  xmlHandle key = Create();
  Set(key, "a", 1);
  std::vector<xmlHandle> handles{
      {{key.words[0], key.words[1] - 1}}};  // elsewhere, older numbers may still be open
  for (const std::uint32_t first : {0U, 1U, 2U, 63U, 64U, 65U, 0x7FFFFFFFU, 0xFFFFFFFFU})
    for (const std::uint32_t second : {0U, key.words[1] + 1, 0xFFFFFFFFU}) handles.push_back({{first, second}});
  for (xmlHandle& forged : handles) {
    EXPECT_EQ(Set(forged, "a", 2), 0);
    EXPECT_EQ(Query(forged, "a"), std::nullopt);
    EXPECT_EQ(XMLCloseKey(&forged), 0);
  }
  EXPECT_EQ(Number(key, "a"), 1);
}

TEST_F(XmlStore, LeakedHandlesKeepNobodyOut) {
  std::vector<xmlHandle> leaked;
  for (int i = 0; i < 1000; ++i) {
    leaked.push_back(Create());
    EXPECT_NE(Set(leaked.back(), "a", i), 0);
  }
  // The last 64 are open, the others have made room for them.
  EXPECT_EQ(Query(leaked[935], "a"), std::nullopt);
  EXPECT_EQ(Number(leaked[936], "a"), 936);
  EXPECT_EQ(Number(leaked[999], "a"), 999);
  EXPECT_NE(XMLCloseKey(&leaked[999]), 0);
  EXPECT_EQ(Stored("software\\Model", "a"), 999);
}

TEST_F(XmlStore, TwoOpenKeysDoNotLoseEachOthersValues) {
  xmlHandle a = Create("software\\A");
  xmlHandle b = Create("software\\B");
  xmlHandle again = Create("software\\A");
  Set(a, "one", 1);
  Set(b, "one", 2);
  Set(again, "two", 3);
  XMLCloseKey(&a);
  XMLCloseKey(&b);
  XMLCloseKey(&again);
  EXPECT_EQ(Stored("software\\A", "one"), 1);
  EXPECT_EQ(Stored("software\\A", "two"), 3);
  EXPECT_EQ(Stored("software\\B", "one"), 2);
}

TEST_F(XmlStore, WhatIsMissingIsRefused) {
  xmlHandle key = Create();
  EXPECT_EQ(XMLOpenKey(nullptr, "a", &key), 0);
  key = Create();
  EXPECT_EQ(XMLOpenKey(kFile, nullptr, &key), 0);
  EXPECT_EQ(XMLOpenKey(kFile, "software\\Model", nullptr), 0);
  EXPECT_EQ(XMLCreateKey(nullptr, "a", &key, nullptr), 0);
  EXPECT_EQ(XMLCreateKey(kFile, nullptr, &key, nullptr), 0);
  EXPECT_EQ(XMLCreateKey(kFile, "a", nullptr, nullptr), 0);
  EXPECT_EQ(XMLCloseKey(nullptr), 0);
  key = Create();
  const unsigned char data = 1;
  EXPECT_EQ(XMLSetValueEx(key, nullptr, nullptr, 3, &data, 1), 0);
  EXPECT_EQ(XMLSetValueEx(key, "a", nullptr, 3, nullptr, 1), 0);
  EXPECT_EQ(XMLSetValueEx(key, "a", nullptr, 3, &data, -1), 0);
  EXPECT_NE(XMLSetValueEx(key, "a", nullptr, 3, nullptr, 0), 0);
  EXPECT_EQ(XMLQueryValueEx(key, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST_F(XmlStore, NamesAndValuesAreBounded) {
  xmlHandle key = Create();
  EXPECT_NE(Set(key, std::string(1024, 'n'), 1), 0);
  EXPECT_EQ(Set(key, std::string(1025, 'n'), 1), 0);
  EXPECT_NE(Set(key, "long", 3, Bytes(65'536)), 0);
  EXPECT_EQ(Set(key, "longer", 3, Bytes(65'537)), 0);
  xmlHandle other;
  EXPECT_EQ(XMLCreateKey(kFile, std::string(1025, 'k').c_str(), &other, nullptr), 0);
  EXPECT_NE(XMLCloseKey(&key), 0);
  EXPECT_THAT(Query(Open(), "long"), Optional(Pair(3, Bytes(65'536))));
}

TEST_F(XmlStore, AKeyTakesManyValuesButNotAnyNumber) {
  xmlHandle key = Create();
  int taken = 0;
  for (int i = 0; i < 2000; ++i) taken += Set(key, "v" + std::to_string(i), i) != 0 ? 1 : 0;
  EXPECT_EQ(taken, 1024);
  EXPECT_NE(Set(key, "v0", 77), 0);
  EXPECT_NE(XMLCloseKey(&key), 0);
  EXPECT_EQ(Stored("software\\Model", "v0"), 77);
  EXPECT_EQ(Stored("software\\Model", "v1023"), 1023);
}

TEST_F(XmlStore, NamesMayHoldAnything) {
  const std::string path = "software\\<\"&'>/%41 \x01\xff";
  Store(path, "\xffname\n<>", 4);
  EXPECT_EQ(Stored(path, "\xffname\n<>"), 4);
  EXPECT_EQ(Stored("software\\<\"&'>/A \x01\xff", "\xffname\n<>"), std::nullopt);
}

TEST_F(XmlStore, CanBeSwitchedOff) {
  Store("software\\Model", "a", 1);
  EnableXmlStore(false);
  xmlHandle key;
  EXPECT_EQ(XMLOpenKey(kFile, "software\\Model", &key), 0);
  EXPECT_EQ(XMLCreateKey(kFile, "software\\Model", &key, nullptr), 0);
  EXPECT_EQ(XMLCreateKey(kFile, "software\\New", &key, nullptr), 0);
  EnableXmlStore(true);
  EXPECT_EQ(Stored("software\\Model", "a"), 1);
  EXPECT_EQ(Stored("software\\New", "a"), std::nullopt);
}

TEST_F(XmlStore, AnAbsoluteNameIsTakenAsItStands) {
  const std::string absolute = (directory / "other.xml").string();
  SetXmlDirectory("/nowhere");
  xmlHandle key;
  EXPECT_NE(XMLCreateKey(absolute.c_str(), "k", &key, nullptr), 0);
  EXPECT_TRUE(std::filesystem::exists(absolute));
  EXPECT_EQ(XmlPath(absolute), absolute);
  EXPECT_EQ(XmlPath("x.xml"), "/nowhere/x.xml");
}

TEST_F(XmlStore, WithoutADirectoryFilesLieInTheCurrentOne) {
  SetXmlDirectory("");
  EXPECT_EQ(XmlPath(kFile), kFile);
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(directory);
  Store("software\\Model", "a", 1);
  std::filesystem::current_path(before);
  EXPECT_EQ(Names().count(kFile), 1U);
}

TEST_F(XmlStore, AKeyIsWrittenToTheFileThatWasOpened) {
  SetXmlDirectory("");
  const auto elsewhere = directory / "elsewhere";
  std::filesystem::create_directory(elsewhere);
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(directory);
  xmlHandle created = Create("software\\A");
  xmlHandle opened = Open("software\\A");
  Set(created, "one", 1);
  Set(opened, "two", 2);
  std::filesystem::current_path(elsewhere);
  EXPECT_NE(XMLCloseKey(&created), 0);
  EXPECT_NE(XMLCloseKey(&opened), 0);
  std::filesystem::current_path(before);
  SetXmlDirectory(directory.string());
  EXPECT_EQ(Stored("software\\A", "one"), 1);
  EXPECT_EQ(Stored("software\\A", "two"), 2);
  EXPECT_TRUE(std::filesystem::is_empty(elsewhere));
}

TEST_F(XmlStore, WithoutACurrentDirectoryNothingIsKept) {
  SetXmlDirectory("");
  const auto gone = directory / "gone";
  std::filesystem::create_directory(gone);
  const auto before = std::filesystem::current_path();
  std::filesystem::current_path(gone);
  std::filesystem::remove(gone);
  xmlHandle key;
  EXPECT_EQ(XMLCreateKey(kFile, "software\\Model", &key, nullptr), 0);
  EXPECT_EQ(TakeXmlTrouble(),
            "settings file ORQconfig.xml: cannot be locked, so nothing was written: No such file or directory");
  std::filesystem::current_path(before);
}

TEST_F(XmlStore, MakesItsDirectoryForTheUserAlone) {
  const auto deep = directory / "config" / "orqcam";
  SetXmlDirectory(deep.string());
  EXPECT_EQ(Stored("software\\Model", "a"), std::nullopt);
  EXPECT_TRUE(Names().empty());
  Store("software\\Model", "a", 1);
  EXPECT_EQ(Stored("software\\Model", "a"), 1);
  EXPECT_EQ(std::filesystem::status(deep).permissions(), std::filesystem::perms::owner_all);
}

TEST_F(XmlStore, TheUsersDirectoryFollowsTheEnvironment) {
  const char* home = std::getenv("HOME");
  const std::string oldHome = home != nullptr ? home : "";
  setenv("HOME", "/home/me", 1);
  setenv("XDG_CONFIG_HOME", "/conf", 1);
  EXPECT_EQ(UserConfigDirectory(), "/conf/orqcam");
  setenv("XDG_CONFIG_HOME", "relative", 1);
  EXPECT_EQ(UserConfigDirectory(), "/home/me/.config/orqcam");
  unsetenv("XDG_CONFIG_HOME");
  EXPECT_EQ(UserConfigDirectory(), "/home/me/.config/orqcam");
  unsetenv("HOME");
  EXPECT_EQ(UserConfigDirectory(), "");
  if (home != nullptr) setenv("HOME", oldHome.c_str(), 1);
}

TEST_F(XmlStore, ListsWhatTheFileHolds) {
  std::string trouble;
  EXPECT_TRUE(ListXmlKeys(kFile, trouble).empty());
  EXPECT_EQ(trouble, "");
  Store("software\\A", "x", 1);
  Store("software\\B", "y", 2);
  const auto keys = ListXmlKeys(kFile, trouble);
  ASSERT_EQ(keys.size(), 2U);
  EXPECT_EQ(keys[0].path, "software\\A");
  EXPECT_EQ(keys[1].values.at("y").data, BytesOf(2));
  EXPECT_EQ(trouble, "");
}

TEST_F(XmlStore, RemovesOneKeyOnly) {
  Store("software\\A", "x", 1);
  Store("software\\B", "y", 2);
  std::string trouble;
  EXPECT_TRUE(RemoveXmlKey(kFile, "software\\A", trouble));
  EXPECT_EQ(Stored("software\\A", "x"), std::nullopt);
  EXPECT_EQ(Stored("software\\B", "y"), 2);
  EXPECT_TRUE(RemoveXmlKey(kFile, "software\\A", trouble));
  EXPECT_EQ(trouble, "");
}

TEST_F(XmlStore, RemovingFromNoFileMakesNone) {
  std::string trouble;
  EXPECT_TRUE(RemoveXmlKey(kFile, "software\\A", trouble));
  EXPECT_TRUE(Names().empty());
}

}  // namespace
}  // namespace orq::test
