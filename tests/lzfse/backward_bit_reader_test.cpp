#include "lzfse/backward_bit_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "lzfse/bits.h"

namespace tovrin::lzfse {
namespace {

/// In front of a payload, where the block's header lies.
constexpr std::size_t kInFront = 7;

/// Bytes of a payload, in an allocation of no more than may be touched.
std::vector<std::uint8_t> around(const std::vector<std::uint8_t>& payload, std::uint8_t surroundings) {
  std::vector<std::uint8_t> bytes(kInFront + payload.size() + kReadBehind, surroundings);
  std::ranges::copy(payload, bytes.begin() + kInFront);
  return bytes;
}

TEST(BackwardBitReader, readsFromTheLastByteAndTheTopmostBitDown) {
  const auto bytes = around({0b00000001, 0b10000110, 0b00101011}, 0xff);
  BackwardBitReader reader(bytes.data() + kInFront, 3, 2);
  auto next = reader.next();
  EXPECT_EQ(next.take<PortableBits>(3), 0b101U);
  EXPECT_EQ(next.take<PortableBits>(0), 0U);
  EXPECT_EQ(next.take<PortableBits>(5), 0b01110U);
  EXPECT_TRUE(reader.skip(8));
  EXPECT_EQ(reader.next().take<PortableBits>(14), 0b00011000000001U);
  EXPECT_TRUE(reader.skip(14));
  EXPECT_TRUE(reader.skip(0));
  EXPECT_FALSE(reader.skip(1));
}

TEST(BackwardBitReader, hasNothingToReadInAnEmptyPayload) {
  const auto bytes = around({}, 0xff);
  BackwardBitReader reader(bytes.data() + kInFront, 0, 0);
  EXPECT_EQ(reader.next().take<PortableBits>(0), 0U);
  EXPECT_TRUE(reader.skip(0));
  EXPECT_FALSE(reader.skip(1));
}

TEST(BackwardBitReader, readsNothingOfWhatIsAroundThePayload) {
  std::mt19937_64 random(5);
  for (std::size_t size = 1; size < 40; ++size) {
    std::vector<std::uint8_t> payload(size);
    for (std::uint8_t& byte : payload) byte = static_cast<std::uint8_t>(random());
    for (std::uint32_t unusedBits = 0; unusedBits < 8; ++unusedBits) {
      const auto zeros = around(payload, 0);
      const auto ones = around(payload, 0xff);
      BackwardBitReader first(zeros.data() + kInFront, size, unusedBits);
      BackwardBitReader second(ones.data() + kInFront, size, unusedBits);
      std::size_t left = size * 8 - unusedBits;
      while (left > 0) {
        const std::uint64_t count = std::min<std::uint64_t>(1 + random() % 23, left);
        ASSERT_EQ(first.next().take<PortableBits>(count), second.next().take<PortableBits>(count));
        ASSERT_TRUE(first.skip(count) && second.skip(count));
        left -= count;
      }
      EXPECT_FALSE(first.skip(1));
    }
  }
}

TEST(BackwardBitReader, wantsBitsWithoutDataToBeClear) {
  const std::uint8_t byte = 0b00010000;
  EXPECT_TRUE(BackwardBitReader::unusedBitsAreClear(&byte, 1, 3));
  EXPECT_FALSE(BackwardBitReader::unusedBitsAreClear(&byte, 1, 4));
  EXPECT_TRUE(BackwardBitReader::unusedBitsAreClear(&byte, 0, 0));
  EXPECT_FALSE(BackwardBitReader::unusedBitsAreClear(&byte, 0, 1));
}

}  // namespace
}  // namespace tovrin::lzfse
