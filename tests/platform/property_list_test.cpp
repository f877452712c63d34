#include "platform/property_list.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <random>

namespace tovrin {
namespace {

using Strings = std::vector<std::string>;

std::string bytesOf(const std::vector<unsigned>& values) { return {values.begin(), values.end()}; }

std::string bigEndian(std::uint64_t value) {
  std::string bytes;
  for (int shift = 56; shift >= 0; shift -= 8) bytes += static_cast<char>(value >> shift & 0xFF);
  return bytes;
}

/// A property list of these objects, the first of them the root, with offsets of two bytes and references of one.
std::string listOf(const Strings& objects) {
  std::string bytes = "bplist00";
  std::string offsets;
  for (const std::string& object : objects) {
    offsets += bigEndian(bytes.size()).substr(6);
    bytes += object;
  }
  const std::size_t offsetTable = bytes.size();
  return bytes + offsets + std::string(6, '\0') + "\x02\x01" + bigEndian(objects.size()) + bigEndian(0) +
         bigEndian(offsetTable);
}

// "Tovrin Cached\n2", as the system writes it.
const std::string kOneTag =
    bytesOf({0x62, 0x70, 0x6c, 0x69, 0x73, 0x74, 0x30, 0x30, 0xa1, 0x01, 0x5f, 0x10, 0x0f, 0x54, 0x6f, 0x76,
             0x72, 0x69, 0x6e, 0x20, 0x43, 0x61, 0x63, 0x68, 0x65, 0x64, 0x0a, 0x32, 0x08, 0x0a, 0x00, 0x00,
             0x00, 0x00, 0x00, 0x00, 0x01, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x02, 0x00, 0x00,
             0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x1c});

TEST(PropertyList, writesOneTagByteForByteAsTheSystemDoes) {
  ASSERT_EQ(kOneTag.size(), 62U);
  EXPECT_EQ(encodeBinaryPropertyList({"Tovrin Cached\n2"}), kOneTag);
}

TEST(PropertyList, readsOneTagAsTheSystemWritesIt) {
  EXPECT_EQ(decodeStringArrayPropertyList(kOneTag), Strings{"Tovrin Cached\n2"});
}

TEST(PropertyList, readsWhatItWrote) {
  const std::vector<Strings> lists = {{},
                                      {""},
                                      {"a"},
                                      {"Work\n6", "Tovrin Cached\n2"},
                                      {"fourteen bytes", "fifteen bytes!!"},
                                      {"Arbeit für später", "日本", "😀 and \U0001F3F3"},
                                      {std::string(300, 'x'), std::string(70'000, 'y')},
                                      Strings(300, "equal"),
                                      {"", "a", "", "a"}};
  for (const Strings& list : lists)
    EXPECT_EQ(decodeStringArrayPropertyList(encodeBinaryPropertyList(list).value()), list);
}

TEST(PropertyList, refusesToCutAStringAtANUL) {
  EXPECT_EQ(encodeBinaryPropertyList({"a", std::string("b\0c", 3)}), std::nullopt);
}

TEST(PropertyList, storesEqualStringsOnce) {
  const std::string once = encodeBinaryPropertyList({std::string(1000, 'x')}).value();
  const std::string twice = encodeBinaryPropertyList({std::string(1000, 'x'), std::string(1000, 'x')}).value();
  EXPECT_LT(twice.size(), once.size() + 10);
}

TEST(PropertyList, storesOtherThanASCIIAsUTF16) {
  const std::string bytes = encodeBinaryPropertyList({"ä"}).value();
  EXPECT_NE(bytes.find(std::string("\x61\x00\xe4", 3)), std::string::npos);
}

TEST(PropertyList, readsWideOffsetsReferencesAndCounts) {
  std::string bytes = "bplist00";
  bytes += std::string("\xaf\x10\x01\x00\x00\x01", 6);                     // one reference of three bytes
  bytes += std::string("\x5f\x13\x00\x00\x00\x00\x00\x00\x00\x02hi", 12);  // a count of eight bytes
  bytes += bigEndian(8) + bigEndian(14);
  bytes += std::string(6, '\0') + "\x08\x03" + bigEndian(2) + bigEndian(0) + bigEndian(26);
  EXPECT_EQ(decodeStringArrayPropertyList(bytes), Strings{"hi"});
}

TEST(PropertyList, refusesRootsAndElementsOfOtherKinds) {
  ASSERT_EQ(decodeStringArrayPropertyList(listOf({"\xa1\x01", "\x51x"})), Strings{"x"});
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\x51x"})), std::nullopt) << "a string";
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\xd1\x01\x01", "\x51x"})), std::nullopt) << "a dictionary";
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\x09"})), std::nullopt) << "true";
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\xa1\x01", "\x10\x05"})), std::nullopt) << "an array of a number";
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\xa1\x01", "\x41x"})), std::nullopt) << "an array of data";
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\xa1\x01", "\xa1\x02", "\x51x"})), std::nullopt) << "nested";
}

TEST(PropertyList, refusesWhatIsNoBinaryPropertyList) {
  for (const std::string_view bytes : {"", "b", "bplist00", "Tovrin Cached\n2", "<plist><array/></plist>"})
    EXPECT_EQ(decodeStringArrayPropertyList(bytes), std::nullopt) << bytes;
  EXPECT_EQ(decodeStringArrayPropertyList("bplist15" + kOneTag.substr(8)), std::nullopt);
}

TEST(PropertyList, refusesAnArrayThatHoldsItself) {
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({std::string("\xa1\x00", 2)})), std::nullopt);
}

TEST(PropertyList, refusesArraysThatMultiply) {
  // Ten references at each of twenty levels: a few hundred bytes that stand for 10^20 nodes.
  Strings objects;
  for (char level = 1; level <= 20; ++level) objects.push_back("\xaa" + std::string(10, level));
  objects.emplace_back("\x51x");
  EXPECT_EQ(decodeStringArrayPropertyList(listOf(objects)), std::nullopt);
}

TEST(PropertyList, refusesALongStringRepeatedWithoutMeasure) {
  // 0x7000 references to one string of 0x7000 bytes are 56 KiB that would become 800 MB.
  const std::string references = std::string("\xaf\x11\x70\x00", 4) + std::string(0x7000, '\x01');
  const std::string longString = std::string("\x5f\x11\x70\x00", 4) + std::string(0x7000, 'x');
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({references, longString})), std::nullopt);
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\xa2\x01\x01", longString}))->size(), 2U);
}

TEST(PropertyList, refusesCountsAndReferencesThatLeaveTheBytes) {
  const std::string huge("\x13\x7f\xff\xff\xff\xff\xff\xff\xff", 9);
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\xaf" + huge})), std::nullopt);
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\xa1\x01", "\x5f" + huge})), std::nullopt);
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\xa1\x01", "\x6f" + huge})), std::nullopt);
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\xa1\x01", "\x5f"})), std::nullopt);
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\xa1\x01", "\x5f\x1f"})), std::nullopt);
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\xa1\x01", "\x55x"})), std::nullopt);
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\xa1\x07", "\x51x"})), std::nullopt);
}

TEST(PropertyList, refusesASCIITextThatIsNone) {
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\xa1\x01", "\x52\xc3\xa4"})), std::nullopt);
}

TEST(PropertyList, replacesHalfASurrogatePair) {
  EXPECT_EQ(decodeStringArrayPropertyList(listOf({"\xa1\x01", std::string("\x63\x00\x61\xd8\x3d\x00\x62", 7)})),
            Strings{"a\uFFFDb"});
}

TEST(PropertyList, survivesEveryCutAndEveryChangedByte) {
  const std::string list = encodeBinaryPropertyList({"Work\n6", "Grün\n2", std::string(20, 'x')}).value();
  for (std::size_t length = 0; length < list.size(); ++length)
    EXPECT_EQ(decodeStringArrayPropertyList(std::string_view(list).substr(0, length)), std::nullopt);
  for (std::size_t at = 0; at < list.size(); ++at) {
    for (int value = 0; value < 256; ++value) {
      std::string changed = list;
      changed[at] = static_cast<char>(value);
      std::ignore = decodeStringArrayPropertyList(changed);
    }
  }
}

TEST(PropertyList, survivesManyChangedBytes) {
  const std::string list = encodeBinaryPropertyList({"Work\n6", "Grün\n2", std::string(20, 'x')}).value();
  std::mt19937 random(1);  // the same bytes in every run
  for (int round = 0; round < 20'000; ++round) {
    std::string changed = list;
    for (int change = 0; change < 4; ++change) changed[random() % changed.size()] = static_cast<char>(random());
    std::ignore = decodeStringArrayPropertyList(changed);
  }
}

}  // namespace
}  // namespace tovrin
