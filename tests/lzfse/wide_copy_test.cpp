#include "lzfse/wide_copy.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "lzfse/limits.h"

namespace tovrin::lzfse {
namespace {

constexpr std::size_t kHistory = 100;

/// `kHistory` bytes that are all different, then room for `count` more and the slack, not a byte more.
std::vector<std::uint8_t> bufferFor(std::size_t count) {
  std::vector<std::uint8_t> bytes(kHistory + count + kCopySlack, 0xee);
  for (std::size_t i = 0; i < kHistory; ++i) bytes[i] = static_cast<std::uint8_t>(i);
  return bytes;
}

std::vector<std::size_t> counts() {
  std::vector<std::size_t> counts(140);
  std::ranges::generate(counts, [count = 0UL]() mutable { return count++; });
  counts.insert(counts.end(), {kMaxLZVNRun, kMaxLiteralRun, kMaxMatchLength});
  return counts;
}

TEST(WideCopy, repeatsMatchesAsIfByteByByte) {
  for (std::size_t distance = 1; distance <= kHistory; ++distance) {
    for (const std::size_t count : counts()) {
      std::vector<std::uint8_t> expected = bufferFor(count);
      for (std::size_t i = kHistory; i < kHistory + count; ++i) expected[i] = expected[i - distance];
      std::vector<std::uint8_t> bytes = bufferFor(count);
      copyMatch(bytes.data() + kHistory, distance, count);
      ASSERT_TRUE(std::equal(bytes.begin(), bytes.end() - kCopySlack, expected.begin())) << distance << " " << count;
    }
  }
}

TEST(WideCopy, takesLiteralsOver) {
  for (const std::size_t count : counts()) {
    const std::vector<std::uint8_t> literals(count + kCopySlack, 0x11);
    std::vector<std::uint8_t> bytes = bufferFor(count);
    wideCopy(bytes.data() + kHistory, literals.data(), count);
    EXPECT_TRUE(std::all_of(bytes.begin() + kHistory, bytes.begin() + static_cast<std::ptrdiff_t>(kHistory + count),
                            [](std::uint8_t byte) { return byte == 0x11; }))
        << count;
  }
}

}  // namespace
}  // namespace tovrin::lzfse
