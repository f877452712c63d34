#include "materialize/errors.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace tovrin {
namespace {

TEST(Errors, carryDomainCodeAndSentence) {
  EXPECT_EQ(readOnlyError(), NSError(NSCocoaErrorDomain, 3328, "Tovrin warped files are read-only from Finder."));
  EXPECT_EQ(notOnDemandError(), NSError(NSCocoaErrorDomain, 262, "Only warped files can be opened on demand."));
  EXPECT_EQ(notReachableError(),
            NSError(NSCocoaErrorDomain, -1004, "Ombrel Cloud is not reachable for on-demand file download."));
  EXPECT_EQ(checksumError(),
            NSError(NSCocoaErrorDomain, 259, "The downloaded warped file did not match its manifest checksum."));
  EXPECT_EQ(restoringError(), NSError(NSCocoaErrorDomain, 4,
                                      "This Warp is being restored or removed. Finder kept the local edit; try again "
                                      "after Tovrin finishes."));
}

TEST(Errors, areBuiltOnce) {
  EXPECT_TRUE(readOnlyError().isSameInstance(readOnlyError()));
  EXPECT_TRUE(notOnDemandError().isSameInstance(notOnDemandError()));
  EXPECT_TRUE(notReachableError().isSameInstance(notReachableError()));
  EXPECT_TRUE(checksumError().isSameInstance(checksumError()));
  EXPECT_TRUE(restoringError().isSameInstance(restoringError()));
}

TEST(Errors, notReachableIsInTheCocoaDomainAndNotInTheURLDomain) {
  EXPECT_EQ(notReachableError().domain(), NSCocoaErrorDomain);
  EXPECT_EQ(notReachableError().code(), -1004);
  EXPECT_FALSE(notReachableError().is(URLErrorCode::cannotConnectToHost));
}

TEST(Errors, thatShareACodeShowDifferentSentences) {
  const NSError corruptFile = NSError::cocoa(CocoaErrorCode::fileReadCorruptFile);
  EXPECT_EQ(corruptFile.code(), checksumError().code());
  EXPECT_NE(corruptFile.localizedDescription(), checksumError().localizedDescription());
}

TEST(Errors, namesThePathWhoseMetadataCannotBeRead) {
  const NSError error = metadataReadError("/tmp/a b.txt", ENOENT);
  EXPECT_EQ(error.domain(), NSPOSIXErrorDomain);
  EXPECT_EQ(error.code(), ENOENT);
  EXPECT_EQ(error.localizedDescription(), "Could not read file metadata for /tmp/a b.txt.");
}

}  // namespace
}  // namespace tovrin
