#include "platform/clock.h"

#include <gtest/gtest.h>

#include "tests/support/fake_clock.h"

namespace {

TEST(Clock, OverridesNestAndEnd) {
  platform::Clock& system = platform::clock();
  {
    const test_support::FakeClock outer;
    {
      test_support::FakeClock inner;
      platform::clock().sleep(7);
      EXPECT_EQ(inner.pauses(), (std::vector<std::int64_t>{7}));
    }
    EXPECT_EQ(&platform::clock(), &outer);
    EXPECT_TRUE(outer.pauses().empty());
  }
  EXPECT_EQ(&platform::clock(), &system);
}

TEST(Clock, TheSystemsOwnDoesNotPauseForNothing) {
  platform::clock().sleep(0);
  platform::clock().sleep(-1);
  const std::time_t before = std::time(nullptr);
  EXPECT_GE(platform::clock().now(), before);
}

}  // namespace
