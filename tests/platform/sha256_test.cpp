#include "platform/sha256.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace tovrin {
namespace {

std::span<const std::byte> bytesOf(std::string_view text) { return std::as_bytes(std::span(text)); }

TEST(SHA256, matchesPublishedDigests) {
  EXPECT_EQ(sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(sha256Hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(sha256Hex(std::string(1'000'000, 'a')), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(SHA256, isTheSameInPiecesOfAnySize) {
  std::string bytes;
  for (int i = 0; i < 1000; ++i) bytes += static_cast<char>(i * 31);
  const std::string whole = sha256Hex(bytes);
  for (const std::size_t size : {1u, 3u, 63u, 64u, 65u, 128u, 999u, 1000u}) {
    SHA256 hash;
    for (std::size_t i = 0; i < bytes.size(); i += size) hash.update(bytesOf(std::string_view(bytes).substr(i, size)));
    EXPECT_EQ(hash.finalizeHex(), whole) << size;
  }
}

TEST(SHA256, takesEmptyPieces) {
  SHA256 hash;
  hash.update({});
  hash.update(bytesOf("abc"));
  hash.update({});
  EXPECT_EQ(hash.finalizeHex(), sha256Hex("abc"));
}

TEST(SHA256, movesWithWhatItHasSeen) {
  SHA256 first;
  first.update(bytesOf("a"));
  SHA256 second(std::move(first));
  second.update(bytesOf("b"));
  SHA256 third;
  third = std::move(second);
  third.update(bytesOf("c"));
  EXPECT_EQ(third.finalizeHex(), sha256Hex("abc"));
}

}  // namespace
}  // namespace tovrin
