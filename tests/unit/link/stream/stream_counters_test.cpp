#include "link/stream/StreamCounters.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <set>
#include <string_view>

namespace orq {
namespace {

constexpr std::size_t kCounters = sizeof(StreamCounters) / sizeof(std::uint64_t);

TEST(StreamCounterNames, NameEveryCounterOnce) {
  ASSERT_EQ(std::size(kStreamCounterNames), kCounters);
  StreamCounters counters;
  std::set<std::string_view> names;
  for (const StreamCounterName& counter : kStreamCounterNames) {
    EXPECT_EQ(counters.*counter.member, 0U) << counter.name << " is listed twice";
    counters.*counter.member = 1;
    names.insert(counter.name);
  }
  EXPECT_EQ(names.size(), kCounters);
}

// A listing reads like the record.
TEST(StreamCounterNames, FollowTheMembersInOrder) {
  std::uint64_t at = 0;
  for (const StreamCounterName& counter : kStreamCounterNames) {
    StreamCounters counters;
    counters.*counter.member = 1;
    std::uint64_t words[kCounters];
    std::memcpy(words, &counters, sizeof(words));
    EXPECT_EQ(words[at], 1U) << counter.name;
    ++at;
  }
}

}  // namespace
}  // namespace orq
