#include "host/open_rate.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "support/test_platform.h"

namespace tovrin::host {
namespace {

constexpr std::size_t kLimit = 3;

class OpenRateOfPrograms : public testing::Test {
 protected:
  /// How many of so many opens were told to be too many.
  int told(std::string_view program, int opens) {
    int count = 0;
    for (int i = 0; i < opens; ++i) count += rate_.countOpen(program) ? 1 : 0;
    return count;
  }

  TestClock clock_;
  OpenRate rate_{clock_, kLimit};
};

TEST_F(OpenRateOfPrograms, isUsualUpToTheLimit) { EXPECT_EQ(told("grep", 3), 0); }

TEST_F(OpenRateOfPrograms, isToldOnceWhenTheLimitIsPassed) {
  EXPECT_EQ(told("grep", 3), 0);
  EXPECT_TRUE(rate_.countOpen("grep"));
  EXPECT_EQ(told("grep", 100), 0);
}

TEST_F(OpenRateOfPrograms, isCountedForEachProgramAlone) {
  EXPECT_EQ(told("grep", 3), 0);
  EXPECT_EQ(told("rg", 3), 0);
  EXPECT_TRUE(rate_.countOpen("rg"));
  EXPECT_TRUE(rate_.countOpen("grep"));
}

TEST_F(OpenRateOfPrograms, isToldAgainInTheNextWindow) {
  EXPECT_EQ(told("grep", 10), 1);
  clock_.advance(59.9);
  EXPECT_EQ(told("grep", 10), 0);
  clock_.advance(0.2);
  EXPECT_EQ(told("grep", 3), 0);
  EXPECT_EQ(told("grep", 10), 1);
}

TEST_F(OpenRateOfPrograms, startsTheWindowWithTheFirstOpen) {
  EXPECT_EQ(told("grep", 3), 0);
  clock_.advance(61);
  EXPECT_EQ(told("grep", 3), 0);
}

TEST_F(OpenRateOfPrograms, tellsOneOfManyThreads) {
  std::atomic<int> count = 0;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) threads.emplace_back([&] { count += told("grep", 100); });
  }
  EXPECT_EQ(count.load(), 1);
}

}  // namespace
}  // namespace tovrin::host
