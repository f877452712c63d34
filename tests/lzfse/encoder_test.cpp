#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include "lzfse/decode_stream.h"
#include "lzfse/fixtures.h"
#include "lzfse_encoder/lzfse_encoder.h"

namespace tovrin {
namespace {

std::string randomBytes(std::size_t size) {
  std::mt19937_64 random(7);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

/// Words in a natural mixture: a few of them very often.
std::string text(std::size_t size) {
  constexpr std::array<std::string_view, 16> kWords{"the",    "of",   "file",  "folder", "reads",  "a",
                                                    "part",   "when", "which", "bytes",  "stored", "and",
                                                    "worker", "into", "is",    "by"};
  std::mt19937_64 random(11);
  std::string words;
  while (words.size() < size) {
    words += kWords[std::min(random() % 16, random() % 16)];
    words += random() % 9 == 0 ? ".\n" : " ";
  }
  words.resize(size);
  return words;
}

std::string repeated(std::string_view pattern, std::size_t size) {
  std::string bytes;
  while (bytes.size() < size) bytes += pattern;
  bytes.resize(size);
  return bytes;
}

void expectRoundTrip(const std::string& bytes) {
  const std::string encoded = encodeLZFSE(bytes);
  const DecodedStream decoded = decodeStream(encoded);
  ASSERT_EQ(decoded.status, COMPRESSION_STATUS_END) << bytes.size() << " bytes";
  ASSERT_EQ(decoded.unread, 0U);
  ASSERT_TRUE(decoded.bytes == bytes) << bytes.size() << " bytes";
  EXPECT_LE(encoded.size(), bytes.size() + 12 + bytes.size() / 1000);
}

constexpr std::array<std::size_t, 22> kSizes{0,     1,     2,     3,      4,      5,      15,   16,
                                             17,    100,   1000,  4094,   4095,   4096,   4097, 9999,
                                             40000, 65536, 99999, 262144, 262145, 1300000};

TEST(LZFSEEncoder, givesBackText) {
  for (const std::size_t size : kSizes) expectRoundTrip(text(size));
}

TEST(LZFSEEncoder, givesBackZeros) {
  for (const std::size_t size : kSizes) expectRoundTrip(std::string(size, '\0'));
}

TEST(LZFSEEncoder, givesBackRandomBytes) {
  for (const std::size_t size : kSizes) expectRoundTrip(randomBytes(size));
}

TEST(LZFSEEncoder, givesBackEveryPeriod) {
  for (std::size_t period = 1; period <= 70; ++period) {
    const std::string pattern = randomBytes(period);
    for (const std::size_t size : {500UL, 4095UL, 9000UL}) expectRoundTrip(repeated(pattern, size));
  }
}

TEST(LZFSEEncoder, givesBackSmallInputsOfEverySize) {
  const std::string words = text(700);
  for (std::size_t size = 0; size <= words.size(); ++size) expectRoundTrip(words.substr(0, size));
}

TEST(LZFSEEncoder, givesBackMatchesAtEveryReach) {
  for (const std::size_t distance :
       {1535UL, 1536UL, 16383UL, 16384UL, 65535UL, 65536UL, 262138UL, 262139UL, 262140UL}) {
    const std::string bytes = randomBytes(distance);
    expectRoundTrip(bytes + bytes.substr(0, 3000));
  }
}

TEST(LZFSEEncoder, givesBackWhatTheTestStreamsHold) {
  for (const GoodStream& good : goodStreams(goodStreamsFolder())) {
    if (good.decodedBytes > 1'000'000) continue;
    expectRoundTrip(decodeStream(good.stream).bytes);
  }
}

TEST(LZFSEEncoder, doesNotDependOnHowTheBytesArrive) {
  const std::string bytes = text(600'000) + randomBytes(50'000);
  for (const std::size_t piece : {997UL, 65536UL, 262144UL, 600'001UL}) {
    std::string encoded;
    LZFSEEncoder encoder;
    for (std::size_t offset = 0; offset < bytes.size(); offset += piece) {
      const std::string_view part = std::string_view(bytes).substr(offset, piece);
      encoder.append(std::as_bytes(std::span(part)), encoded);
    }
    encoder.finish(encoded);
    EXPECT_TRUE(encoded == encodeLZFSE(bytes)) << piece;
  }
}

TEST(LZFSEEncoder, halvesText) {
  for (const std::size_t size : {2000UL, 4096UL, 100'000UL, 2'000'000UL}) {
    EXPECT_LT(encodeLZFSE(text(size)).size(), size / 2);
  }
}

TEST(LZFSEEncoder, choosesTheBlockThatFits) {
  EXPECT_TRUE(encodeLZFSE(text(1000)).starts_with("bvxn"));
  EXPECT_TRUE(encodeLZFSE(text(5000)).starts_with("bvx2"));
  EXPECT_TRUE(encodeLZFSE(randomBytes(1000)).starts_with("bvx-"));
  EXPECT_TRUE(encodeLZFSE(randomBytes(5000)).starts_with("bvx-"));
}

}  // namespace
}  // namespace tovrin
