#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <climits>

#include "support/FlashPort.h"
#include "support/RecordingCamera.h"

namespace {

using orq::test::BareCamera;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kPage = 0x70000;
// Bus released, 256 bytes from 0x70000, bus back.
constexpr const char* kBusOff = "40 D6 00 00 00 00 00 00";
constexpr const char* kReadPage = "C0 C3 07 00 00 00 00 01";
constexpr const char* kBusOn = "40 D6 01 00 00 00 00 00";

class Identity : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(camera.OpenCamera(0), 1);
    camera.port->TakeEvents();
    std::fill(std::begin(id.id), std::end(id.id), std::uint8_t{0xEE});
  }
  void Store(std::uint32_t offset, std::initializer_list<std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes) camera.port->flash[kPage + offset++] = byte;
  }

  BareCamera camera;
  _ORQ_ID id{};
};

TEST_F(Identity, TheUserIdIsReadFromTheParameterPage) {
  Store(0, {'I', 'D', 1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_TRUE(camera.GetIDFromSPI(&id));
  EXPECT_THAT(id.id, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre(kBusOff, kReadPage, kBusOn));
}

TEST_F(Identity, AnIdOfZerosIsAnId) {
  Store(0, {'I', 'D', 0, 0, 0, 0, 0, 0, 0, 0});
  EXPECT_TRUE(camera.GetIDFromSPI(&id));
  EXPECT_THAT(id.id, Each(0));
}

TEST_F(Identity, AnErasedPageHasNoId) {
  EXPECT_FALSE(camera.GetIDFromSPI(&id));
  EXPECT_THAT(id.id, Each(0xEE));
}

TEST_F(Identity, HalfATagIsNoTag) {
  Store(0, {'I', 'd', 1, 2, 3, 4, 5, 6, 7, 8});
  EXPECT_FALSE(camera.GetIDFromSPI(&id));
  Store(0, {'i', 'D'});
  EXPECT_FALSE(camera.GetIDFromSPI(&id));
  EXPECT_THAT(id.id, Each(0xEE));
}

TEST_F(Identity, AnUnreadablePageGivesNoIdAndTheBusBack) {
  Store(0, {'I', 'D', 1, 2, 3, 4, 5, 6, 7, 8});
  camera.port->refusedRequests.insert(0xC3);
  EXPECT_FALSE(camera.GetIDFromSPI(&id));
  EXPECT_THAT(id.id, Each(0xEE));
  EXPECT_EQ(camera.port->TakeEvents().back(), kBusOn);
}

TEST_F(Identity, APartOfTheParameterPageIsReadAtItsOffset) {
  Store(250, {10, 11, 12, 13, 14, 15});
  std::array<unsigned char, 8> bytes{};
  EXPECT_TRUE(camera.ReadSPI(bytes.data(), 250, 6));
  EXPECT_THAT(bytes, ElementsAre(10, 11, 12, 13, 14, 15, 0, 0));
  EXPECT_TRUE(camera.ReadSPI(bytes.data(), 256, 0));
}

TEST_F(Identity, NothingIsReadOutsideTheParameterPage) {
  std::array<unsigned char, 8> bytes{};
  const std::array<std::pair<int, int>, 6> outside{
      {{250, 7}, {257, 0}, {-1, 4}, {0, -1}, {INT_MAX, 1}, {1, INT_MAX}}};
  for (const auto& [offset, len] : outside)
    EXPECT_FALSE(camera.ReadSPI(bytes.data(), offset, len)) << offset << ", " << len;
  EXPECT_THAT(bytes, Each(0));
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
}

TEST(UserId, IsStoredBehindItsTagAtTheStartOfTheParameterPage) {
  orq::test::FlashCamera camera;
  camera.flash->SetBytes(kPage + 9, {0x77, 0x66, 0x55});
  EXPECT_TRUE(camera.SetIDToSPI({{1, 2, 3, 4, 5, 6, 7, 8}}));
  EXPECT_THAT(camera.flash->TakeSetups(), ElementsAre(kBusOff, kReadPage, "40 C4 07 00 00 00 00 00",
                                                      "40 C2 07 00 00 00 00 01", kReadPage, kBusOn));
  EXPECT_THAT(camera.flash->Bytes(kPage, 12), ElementsAre(0x49, 0x44, 1, 2, 3, 4, 5, 6, 7, 8, 0x66, 0x55));
  _ORQ_ID id{};
  EXPECT_TRUE(camera.GetIDFromSPI(&id));
  EXPECT_THAT(id.id, ElementsAre(1, 2, 3, 4, 5, 6, 7, 8));
}

TEST(UserId, ThatReadsBackWrongIsNotStored) {
  orq::test::FlashCamera camera;
  camera.flash->flippedWrites = {1, 2, 3};
  EXPECT_FALSE(camera.SetIDToSPI({{1, 2, 3, 4, 5, 6, 7, 8}}));
}

TEST_F(Identity, TheSerialNumberIsOneRequest) {
  camera.port->answers[0xC8] = {0xDE, 0xAD, 0xBE, 0xEF, 0, 1, 2, 3};
  EXPECT_TRUE(camera.GetSerialNumber(&id));
  EXPECT_THAT(id.id, ElementsAre(0xDE, 0xAD, 0xBE, 0xEF, 0, 1, 2, 3));
  EXPECT_THAT(camera.port->TakeEvents(), ElementsAre("C0 C8 00 00 00 00 08 00"));
}

TEST_F(Identity, OneByteMakesASerialNumber) {
  camera.port->answers[0xC8] = {0, 0, 0, 0, 0, 0, 0, 9};
  EXPECT_TRUE(camera.GetSerialNumber(&id));
  EXPECT_THAT(id.id, ElementsAre(0, 0, 0, 0, 0, 0, 0, 9));
}

TEST_F(Identity, EightZerosAreNoSerialNumber) {
  camera.port->answers[0xC8] = {0, 0, 0, 0, 0, 0, 0, 0};
  EXPECT_FALSE(camera.GetSerialNumber(&id));
  EXPECT_THAT(id.id, Each(0xEE));
}

TEST_F(Identity, ARefusedOrShortAnswerIsNoSerialNumber) {
  camera.port->answers[0xC8] = {1, 2, 3};
  EXPECT_FALSE(camera.GetSerialNumber(&id));
  camera.port->refusedRequests.insert(0xC8);
  EXPECT_FALSE(camera.GetSerialNumber(&id));
  EXPECT_THAT(id.id, Each(0xEE));
}

TEST_F(Identity, ReadingIntoNothingFailsWithoutARequest) {
  EXPECT_FALSE(camera.GetIDFromSPI(nullptr));
  EXPECT_FALSE(camera.GetSerialNumber(nullptr));
  EXPECT_FALSE(camera.ReadSPI(nullptr, 0, 1));
  EXPECT_THAT(camera.port->TakeEvents(), IsEmpty());
}

}  // namespace
