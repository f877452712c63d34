#include "platform/darwin/values.h"

#include <gtest/gtest.h>

#include "edge/driver.h"
#include "platform/darwin/errors.h"
#include "shared/manifest.h"

namespace tovrin {

namespace {

class Values : public Driver {};

TEST_F(Values, textsKeepEveryCharacter) {
  for (const std::string_view kept : {std::string_view(""), std::string_view("a\0b", 3), std::string_view("e\u0301"),
                                      std::string_view("\u00e9"), std::string_view("\U0001F600")}) {
    EXPECT_EQ(toText(toNSString(kept)), kept);
  }
}

TEST_F(Values, textsThatAreNotUTF8AreShownByteForByte) { EXPECT_EQ(text(toNSString("a\xff")), "a\u00ff"); }

TEST_F(Values, textsWithHalfASurrogatePairAreEmpty) {
  const unichar half = 0xD83D;
  EXPECT_EQ(toText([NSString stringWithCharacters:&half length:1]), "");
}

TEST_F(Values, bytesMayBeAny) {
  const std::string bytes("\0\xff\n", 3);
  EXPECT_EQ(toBytes(toNSData(bytes)), bytes);
  EXPECT_EQ(toBytes(toNSData("")), "");
}

TEST_F(Values, pathsComeBackFromTheirURLs) {
  for (const char* path : {"/tmp/a b", "/tmp/a%20b", "/tmp/a?b#c", "/tmp/\u00e9e\u0301", "/tmp/\u65e5\u672c", "/tmp/;"})
    EXPECT_EQ(toPath(toFileURL(path)), path);
}

TEST_F(Values, thereIsNoPathOfNoURL) { EXPECT_EQ(toPath(nil), std::nullopt); }

TEST_F(Values, datesAreCountedFrom1970) { EXPECT_EQ(toNSDate({1.5}).timeIntervalSince1970, 1.5); }

TEST_F(Values, errorsKeepDomainCodeAndDescription) {
  const NSError error("Domain", -7, "A sentence.");
  EXPECT_EQ(text(toNSError(error)), "Domain -7 A sentence.");
  EXPECT_EQ(fromNSError(toNSError(error)), error);
  EXPECT_EQ(text(toNSError(NSError::posix(60, "Please try again."))), "NSPOSIXErrorDomain 60 Please try again.");
}

TEST_F(Values, errorsOfTheCoreHaveTheDomainsOfFoundation) {
  EXPECT_TRUE([toNSError(NSError::cocoa(CocoaErrorCode::userCancelled)).domain isEqualToString: ::NSCocoaErrorDomain]);
  EXPECT_TRUE([toNSError(NSError::url(URLErrorCode::timedOut)).domain isEqualToString: ::NSURLErrorDomain]);
  EXPECT_TRUE([toNSError(NSError::posix(1)).domain isEqualToString: ::NSPOSIXErrorDomain]);
}

TEST_F(Values, errorsOfADecoderSayWhatWasWrong) {
  const auto decoded = decodeManifest("{}");
  ASSERT_FALSE(decoded);
  ASSERT_NE(decoded.error().decodingFailure(), nullptr);
  NSString* reason = [toNSError(decoded.error()).userInfo objectForKey:NSDebugDescriptionErrorKey];
  EXPECT_EQ(text(reason), decoded.error().decodingFailure()->debugDescription);
}

}  // namespace

}  // namespace tovrin
