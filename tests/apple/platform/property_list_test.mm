#include "platform/property_list.h"

#include <gtest/gtest.h>

#import <Foundation/Foundation.h>

namespace tovrin {

namespace {

using Strings = std::vector<std::string>;

TEST(PropertyListOfFoundation, comesBackAsItWas) {
  for (const Strings& strings : {Strings{}, Strings{"Tovrin Cached\n2"}, Strings{"a", "a", ""},
                                 Strings{"gr\u00fcn\n2", "\u65e5\u672c", "\U0001F600"}}) {
    const auto bytes = encodeBinaryPropertyList(strings);
    ASSERT_TRUE(bytes);
    EXPECT_EQ(bytes->substr(0, 8), "bplist00");
    EXPECT_EQ(decodeStringArrayPropertyList(*bytes), strings);
  }
}

/// As macOS writes one tag.
TEST(PropertyListOfFoundation, readsWhatFinderWrites) {
  const std::string bytes = std::string("bplist00\xa1\x01\x5f\x10\x0fTovrin Cached\n2\x08\x0a", 30) +
                            std::string(6, '\0') + std::string("\x01\x01", 2) +
                            std::string("\0\0\0\0\0\0\0\x02\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\x1c", 24);
  ASSERT_EQ(bytes.size(), 62U);
  EXPECT_EQ(decodeStringArrayPropertyList(bytes), Strings{"Tovrin Cached\n2"});
}

TEST(PropertyListOfFoundation, isNothingWhenItIsNotAnArrayOfStrings) {
  EXPECT_EQ(decodeStringArrayPropertyList(""), std::nullopt);
  EXPECT_EQ(decodeStringArrayPropertyList("bplist00 and what is none"), std::nullopt);
  @autoreleasepool {
    for (id root in @[ @"text", @[ @1 ], @[ @"text", @[] ], @{@"key" : @"text"} ]) {
      NSData* data = [NSPropertyListSerialization dataWithPropertyList:root
                                                                format:NSPropertyListBinaryFormat_v1_0
                                                               options:0
                                                                 error:nullptr];
      const std::string_view bytes(static_cast<const char*>(data.bytes), data.length);
      EXPECT_EQ(decodeStringArrayPropertyList(bytes), std::nullopt);
    }
  }
}

TEST(PropertyListOfFoundation, holdsNoNUL) {
  EXPECT_EQ(encodeBinaryPropertyList({std::string("a\0b", 3)}), std::nullopt);
}

}  // namespace

}  // namespace tovrin
