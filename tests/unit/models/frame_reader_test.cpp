// Several readers of the same frames.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <vector>

#include "models/camera/FrameMailbox.h"

namespace orq {
namespace {

using Result = FrameMailbox::Result;

constexpr std::size_t kFrame = 16;
const auto kMayCome = [] { return true; };
const auto kNoneComes = [] { return false; };

void Publish(FrameMailbox& mailbox, std::uint32_t sequence) {
  FrameInfo info;
  info.sequence = sequence;
  std::ranges::fill(mailbox.Work(), static_cast<std::uint8_t>(sequence));
  mailbox.Publish(info);
}

std::vector<std::uint32_t> Sequences(FrameMailbox& mailbox, FrameReader& reader) {
  std::vector<std::uint32_t> sequences;
  FramePtr frame;
  while (mailbox.Fetch(reader, 0, kMayCome, frame) == Result::Frame) sequences.push_back(frame->Info().sequence);
  return sequences;
}

TEST(FrameReader, GetsEveryFrameInOrder) {
  FrameMailbox mailbox(100 * kFrame);
  ASSERT_TRUE(mailbox.Prepare(kFrame));
  Publish(mailbox, 1);
  const auto reader = mailbox.OpenReader(ReadMode::Every, 4);
  for (const std::uint32_t n : {2U, 3U, 4U}) Publish(mailbox, n);
  EXPECT_EQ(Sequences(mailbox, *reader), (std::vector<std::uint32_t>{2, 3, 4})) << "from its opening on";
  for (const std::uint32_t n : {5U, 6U, 7U}) Publish(mailbox, n);
  EXPECT_EQ(Sequences(mailbox, *reader), (std::vector<std::uint32_t>{5, 6, 7})) << "round the end of its line";
  EXPECT_EQ(mailbox.Counts(*reader).delivered, 6U);
}

TEST(FrameReader, LeavesOutAndCountsWhatFindsItsLineFull) {
  FrameMailbox mailbox(100 * kFrame);
  ASSERT_TRUE(mailbox.Prepare(kFrame));
  const auto reader = mailbox.OpenReader(ReadMode::Every, 2);
  for (const std::uint32_t n : {1U, 2U, 3U, 4U}) Publish(mailbox, n);
  EXPECT_EQ(mailbox.Counts(*reader).waiting, 2U);
  EXPECT_EQ(mailbox.Counts(*reader).missed, 2U);
  EXPECT_EQ(Sequences(mailbox, *reader), (std::vector<std::uint32_t>{1, 2}));
}

TEST(FrameReader, OfTheNewestIsNotDisturbedByOthers) {
  FrameMailbox mailbox(100 * kFrame);
  ASSERT_TRUE(mailbox.Prepare(kFrame));
  const auto newest = mailbox.OpenReader(ReadMode::Newest, 1);
  const auto every = mailbox.OpenReader(ReadMode::Every, 8);
  for (const std::uint32_t n : {1U, 2U, 3U}) Publish(mailbox, n);
  EXPECT_EQ(Sequences(mailbox, *newest), (std::vector<std::uint32_t>{3}));
  EXPECT_EQ(mailbox.Counts(*newest).missed, 2U);
  EXPECT_EQ(Sequences(mailbox, *every), (std::vector<std::uint32_t>{1, 2, 3}));
  FramePtr own;
  ASSERT_EQ(mailbox.Fetch(0, kMayCome, own), Result::Frame);
  EXPECT_EQ(own->Info().sequence, 3U);
}

TEST(FrameReader, SharesTheFrameItself) {
  FrameMailbox mailbox(100 * kFrame);
  ASSERT_TRUE(mailbox.Prepare(kFrame));
  const auto a = mailbox.OpenReader(ReadMode::Newest, 1);
  const auto b = mailbox.OpenReader(ReadMode::Every, 1);
  const std::uint8_t* const work = mailbox.Work().data();
  Publish(mailbox, 9);
  FramePtr ofA;
  FramePtr ofB;
  ASSERT_EQ(mailbox.Fetch(*a, 0, kMayCome, ofA), Result::Frame);
  ASSERT_EQ(mailbox.Fetch(*b, 0, kMayCome, ofB), Result::Frame);
  EXPECT_EQ(ofA->Pixels().data(), work);
  EXPECT_EQ(ofB->Pixels().data(), work);
  for (std::uint32_t n = 10; n < 20; ++n) Publish(mailbox, n);
  EXPECT_EQ(std::ranges::count(ofA->Pixels(), 9), static_cast<std::ptrdiff_t>(kFrame))
      << "held frames stay as they are";
}

TEST(FrameReader, HoldingEverythingStopsPublishingAndNothingElse) {
  FrameMailbox mailbox(3 * kFrame);
  ASSERT_TRUE(mailbox.Prepare(kFrame));
  const auto reader = mailbox.OpenReader(ReadMode::Every, 8);
  for (const std::uint32_t n : {1U, 2U, 3U}) Publish(mailbox, n);
  EXPECT_TRUE(mailbox.Work().empty());
  mailbox.CountNoBuffer();
  EXPECT_EQ(mailbox.NoBuffer(), 1U);
  FramePtr frame;
  ASSERT_EQ(mailbox.Fetch(*reader, 0, kMayCome, frame), Result::Frame);
  frame = FramePtr();
  EXPECT_FALSE(mailbox.Work().empty());
}

TEST(FrameReader, IsWokenWhenItIsClosed) {
  FrameMailbox mailbox(10 * kFrame);
  const auto reader = mailbox.OpenReader(ReadMode::Every, 2);
  std::atomic<bool> asked{false};
  std::thread waiting([&] {
    FramePtr frame;
    const auto mayCome = [&] { return asked = true; };
    EXPECT_EQ(mailbox.Fetch(*reader, -1, mayCome, frame), Result::Closed);
  });
  while (!asked) std::this_thread::yield();
  mailbox.CloseReader(*reader);
  waiting.join();
}

TEST(FrameReader, GivesItsFramesBackWhenItIsClosed) {
  FrameMailbox mailbox(2 * kFrame);
  ASSERT_TRUE(mailbox.Prepare(kFrame));
  const auto reader = mailbox.OpenReader(ReadMode::Every, 2);
  Publish(mailbox, 1);
  Publish(mailbox, 2);
  EXPECT_TRUE(mailbox.Work().empty());
  mailbox.CloseReader(*reader);
  EXPECT_FALSE(mailbox.Work().empty());
}

TEST(FrameReader, OfEveryFrameKeepsItsLineWhenOldFramesAreDropped) {
  FrameMailbox mailbox(10 * kFrame);
  ASSERT_TRUE(mailbox.Prepare(kFrame));
  const auto every = mailbox.OpenReader(ReadMode::Every, 4);
  const auto newest = mailbox.OpenReader(ReadMode::Newest, 1);
  Publish(mailbox, 1);
  mailbox.Discard();
  FramePtr frame;
  EXPECT_EQ(mailbox.Fetch(*newest, 0, kNoneComes, frame), Result::Ended);
  EXPECT_EQ(mailbox.Fetch(0, kNoneComes, frame), Result::Ended);
  EXPECT_EQ(Sequences(mailbox, *every), (std::vector<std::uint32_t>{1}));
}

TEST(FrameReader, ThereAreAsManyAsAreAllowed) {
  FrameMailbox mailbox(10 * kFrame);
  std::vector<std::shared_ptr<FrameReader>> readers;
  for (std::size_t i = 0; i < FrameMailbox::kMostReaders; ++i) {
    readers.push_back(mailbox.OpenReader(ReadMode::Newest, 1));
    ASSERT_TRUE(readers.back());
  }
  EXPECT_FALSE(mailbox.OpenReader(ReadMode::Newest, 1));
  mailbox.CloseReader(*readers.front());
  EXPECT_TRUE(mailbox.OpenReader(ReadMode::Newest, 1));
}

TEST(FrameMailbox, RingsWhenItsFrameComesAndGoes) {
  FrameMailbox mailbox(10 * kFrame);
  ASSERT_TRUE(mailbox.Prepare(kFrame));
  std::vector<bool> rings;
  mailbox.SetDoorbell([&](bool waits) { rings.push_back(waits); });
  Publish(mailbox, 1);
  FramePtr frame;
  mailbox.Fetch(0, kMayCome, frame);
  Publish(mailbox, 2);
  mailbox.Discard();
  EXPECT_EQ(rings, (std::vector<bool>{false, true, false, true, false}));
}

TEST(FrameMailbox, NumbersFramesFromOne) {
  FrameMailbox mailbox(10 * kFrame);
  ASSERT_TRUE(mailbox.Prepare(kFrame));
  FramePtr frame;
  for (std::uint64_t n = 1; n <= 3; ++n) {
    Publish(mailbox, 77);
    ASSERT_EQ(mailbox.Fetch(0, kMayCome, frame), Result::Frame);
    EXPECT_EQ(frame->Number(), n);
  }
}

}  // namespace
}  // namespace orq
