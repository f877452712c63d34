#include "foundation/encoding.h"

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>

namespace tovrin {
namespace {

using namespace std::string_literals;

TEST(Base64, encodesWithPadding) {
  EXPECT_EQ(base64Encode(""), "");
  EXPECT_EQ(base64Encode("f"), "Zg==");
  EXPECT_EQ(base64Encode("fo"), "Zm8=");
  EXPECT_EQ(base64Encode("foo"), "Zm9v");
  EXPECT_EQ(base64Encode("foob"), "Zm9vYg==");
  EXPECT_EQ(base64Encode("/Users"), "L1VzZXJz");
  EXPECT_EQ(base64Encode("\xFB\xEF\xBE"), "++++");
  EXPECT_EQ(base64Encode("\xFF\xFF\xFF"), "////");
}

TEST(Base64, leavesThePaddingOutForURLs) {
  EXPECT_EQ(base64URLEncode(""), "");
  EXPECT_EQ(base64URLEncode("f"), "Zg");
  EXPECT_EQ(base64URLEncode("fo"), "Zm8");
  EXPECT_EQ(base64URLEncode("foo"), "Zm9v");
  EXPECT_EQ(base64URLEncode("\xFB\xEF\xBE"), "----");
  EXPECT_EQ(base64URLEncode("\xFF\xFF\xFF"), "____");
}

TEST(Base64, decodesWhatItEncodes) {
  std::mt19937 random(1);
  std::uniform_int_distribution<int> byte(0, 255);
  std::string bytes;
  for (int length = 0; length < 300; ++length) {
    ASSERT_EQ(base64Decode(base64Encode(bytes)), bytes) << length;
    bytes += static_cast<char>(byte(random));
  }
}

TEST(Base64, needsThePadding) {
  EXPECT_EQ(base64Decode("Zg"), std::nullopt);
  EXPECT_EQ(base64Decode("Zg="), std::nullopt);
  EXPECT_EQ(base64Decode("Zm8"), std::nullopt);
  EXPECT_EQ(base64Decode("Zm9vYg="), std::nullopt);
}

TEST(Base64, ignoresSurplusPadding) {
  EXPECT_EQ(base64Decode("Zg==="), "f");
  EXPECT_EQ(base64Decode("Zm8=="), "fo");
  EXPECT_EQ(base64Decode("Zm9v="), "foo");
  EXPECT_EQ(base64Decode("L1VzZXJz=="), "/Users");
  EXPECT_EQ(base64Decode("L1VzZXJz===="), "/Users");
}

TEST(Base64, rejectsOneDigitThatNoByteFills) {
  EXPECT_EQ(base64Decode("Z==="), std::nullopt);
  EXPECT_EQ(base64Decode("Z"), std::nullopt);
  EXPECT_EQ(base64Decode("Zm9vY==="), std::nullopt);
}

TEST(Base64, rejectsEverythingOutsideTheAlphabet) {
  for (int c = 0; c < 256; ++c) {
    const char character = static_cast<char>(c);
    const bool isDigit =
        (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' || c == '/';
    for (std::size_t position = 0; position < 3; ++position) {
      std::string text = "AAAA";
      text[position] = character;
      EXPECT_EQ(base64Decode(text).has_value(), isDigit) << c << " at " << position;
    }
  }
  EXPECT_EQ(base64Decode("Zm9v\n"), std::nullopt);
  EXPECT_EQ(base64Decode(" Zm9v"), std::nullopt);
  EXPECT_EQ(base64Decode("Zg==Zg=="), std::nullopt);
}

TEST(Base64, doesNotLookAtUnusedBits) {
  EXPECT_EQ(base64Decode("YQ=="), "a");
  EXPECT_EQ(base64Decode("YR=="), "a");
  EXPECT_EQ(base64Decode("YWJ="), base64Decode("YWI="));
}

TEST(Base64, decodesNothingToNothing) { EXPECT_EQ(base64Decode(""), ""); }

TEST(Base64, decodesPaddingAloneToOneZeroByte) {
  EXPECT_EQ(base64Decode("===="), "\0"s);
  EXPECT_EQ(base64Decode("======"), "\0"s);
  EXPECT_EQ(base64Decode("="), "");
  EXPECT_EQ(base64Decode("==="), "");
}

TEST(Hex, hasTwoLowerCaseDigitsPerByte) {
  constexpr std::array bytes{std::byte{0x00}, std::byte{0x0F}, std::byte{0xA9}, std::byte{0xFF}};
  EXPECT_EQ(hexEncode(bytes), "000fa9ff");
  EXPECT_EQ(hexEncode({}), "");
}

TEST(ASCII, endsAt127WhereverTheByteStands) {
  EXPECT_TRUE(isASCII(""));
  for (std::size_t size = 1; size < 50; ++size) {
    EXPECT_TRUE(isASCII(std::string(size, '\x7F')));
    for (std::size_t position = 0; position < size; ++position) {
      std::string text(size, 'a');
      text[position] = '\x80';
      EXPECT_FALSE(isASCII(text)) << position << " of " << size;
    }
  }
}

TEST(UTF8, acceptsWellFormedText) {
  for (const std::string& text :
       {""s, "a"s, "é"s, "日本"s, "😀"s, "\0"s, "\xF4\x8F\xBF\xBF"s, "\xED\x9F\xBF"s, "\uFFFE"s}) {
    EXPECT_TRUE(isValidUTF8(text)) << text;
  }
}

TEST(UTF8, rejectsMalformedText) {
  for (const std::string& text :
       {"\x80"s, "\xC3"s, "a\xC3"s, "\xC0\x80"s, "\xC1\xBF"s, "\xE0\x80\x80"s, "\xE2\x82"s, "\xED\xA0\x80"s,
        "\xF0\x80\x80\x80"s, "\xF4\x90\x80\x80"s, "\xF8\x88\x80\x80\x80"s, "\xFF"s, "\xC3("s}) {
    EXPECT_FALSE(isValidUTF8(text));
    EXPECT_FALSE(isValidUTF8(std::string(200, 'a') + text)) << "behind many good bytes";
  }
}

}  // namespace
}  // namespace tovrin
