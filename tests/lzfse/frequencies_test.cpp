#include "lzfse/frequencies.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace tovrin::lzfse {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// 360 codes of two zero bits.
const Bytes kAllZero(90, 0);

TEST(PackedFrequencies, areAllZeroWithoutAnyCodes) {
  const auto frequencies = unpackFrequencies({});
  ASSERT_TRUE(frequencies);
  EXPECT_TRUE(std::ranges::all_of(frequencies->all, [](std::uint16_t frequency) { return frequency == 0; }));
}

TEST(PackedFrequencies, useTwoToFourteenBits) {
  // 0, 1, 2, 3, 7, 23, 1047 from the lowest bit upwards: 00 10 001 101 11011 11110111 11111111111111
  const std::uint64_t codes = 0b11111111111111'11110111'11011'101'001'10'00;
  Bytes packed(5);
  for (std::size_t i = 0; i < packed.size(); ++i) packed[i] = static_cast<std::uint8_t>(codes >> 8 * i);
  // 37 bits are used; 353 more codes of two zeros follow.
  packed.resize((37 + 353 * 2 + 7) / 8, 0);
  const auto frequencies = unpackFrequencies(packed);
  ASSERT_TRUE(frequencies);
  const std::vector<std::uint16_t> first(frequencies->all.begin(), frequencies->all.begin() + 8);
  EXPECT_EQ(first, (std::vector<std::uint16_t>{0, 1, 2, 3, 7, 23, 1047, 0}));
}

TEST(PackedFrequencies, mustUseUpTheirBytes) {
  EXPECT_TRUE(unpackFrequencies(kAllZero));
  Bytes packed = kAllZero;
  packed.push_back(0);
  EXPECT_FALSE(unpackFrequencies(packed));
}

TEST(PackedFrequencies, mustBeComplete) {
  Bytes packed = kAllZero;
  packed.pop_back();
  EXPECT_FALSE(unpackFrequencies(packed));
  EXPECT_FALSE(unpackFrequencies(Bytes{0}));
}

TEST(PackedFrequencies, mayHaveAnyBitsBehindTheLastCode) {
  // One code of five bits instead of two leaves five spare bits in the last byte.
  Bytes packed = kAllZero;
  packed[0] = 0b00000011;
  packed.push_back(0b11111000);
  EXPECT_TRUE(unpackFrequencies(packed));
}

}  // namespace
}  // namespace tovrin::lzfse
