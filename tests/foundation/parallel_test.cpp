#include "foundation/parallel.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <vector>

namespace tovrin {
namespace {

TEST(InParallel, callsTheWorkOnceForEveryIndex) {
  for (const std::size_t count : {0U, 1U, 2U, 3U, 1000U}) {
    std::vector<std::atomic<int>> calls(count);
    inParallel(count, [&](std::size_t index) { ++calls[index]; });
    for (const auto& ofIndex : calls) EXPECT_EQ(ofIndex, 1);
  }
}

TEST(InParallel, hasDoneAllOfItWhenItReturns) {
  std::vector<int> squares(500);
  inParallel(squares.size(), [&](std::size_t index) { squares[index] = static_cast<int>(index * index); });
  for (std::size_t index = 0; index < squares.size(); ++index) {
    EXPECT_EQ(squares[index], static_cast<int>(index * index));
  }
}

}  // namespace
}  // namespace tovrin
