#include "host/error_numbers.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>

#include "materialize/errors.h"

namespace tovrin::host {
namespace {

int atOpen(const NSError& error) { return errorNumber(error, Operation::open); }
int atClose(const NSError& error) { return errorNumber(error, Operation::closeEdit); }
int cocoa(CocoaErrorCode code) { return atOpen(NSError::cocoa(code)); }
int url(URLErrorCode code) { return atOpen(NSError::url(code)); }

TEST(ErrorNumbers, nameEachOfTheSystemsOwnErrors) {
  EXPECT_EQ(atOpen(readOnlyError()), EROFS);
  EXPECT_EQ(atOpen(notOnDemandError()), EINVAL);
  EXPECT_EQ(atOpen(notReachableError()), EHOSTUNREACH);
  EXPECT_EQ(atOpen(checksumError()), EIO);
}

TEST(ErrorNumbers, ofAWarpThatIsRestoredDependOnTheOperation) {
  EXPECT_EQ(atOpen(restoringError()), ESTALE);
  EXPECT_EQ(atClose(restoringError()), EBUSY);
}

TEST(ErrorNumbers, areTheSameAtCloseForEverythingElse) {
  EXPECT_EQ(atClose(readOnlyError()), EROFS);
  EXPECT_EQ(atClose(notReachableError()), EHOSTUNREACH);
  EXPECT_EQ(atClose(checksumError()), EIO);
  EXPECT_EQ(atClose({NSPOSIXErrorDomain, 60}), EBUSY);
}

TEST(ErrorNumbers, ofABusyLockSayBusyAndNothingAboutStreams) {
  EXPECT_EQ(atOpen({NSPOSIXErrorDomain, 60}), EBUSY);
  EXPECT_EQ(atClose({NSPOSIXErrorDomain, 60}), EBUSY);
}

TEST(ErrorNumbers, ofFilesSayWhatIsWrongWithThem) {
  EXPECT_EQ(cocoa(CocoaErrorCode::fileReadNoSuchFile), EHOSTUNREACH);
  EXPECT_EQ(atClose(NSError::cocoa(CocoaErrorCode::fileReadNoSuchFile)), ENOENT);
  EXPECT_EQ(cocoa(CocoaErrorCode::fileReadNoPermission), EACCES);
  EXPECT_EQ(cocoa(CocoaErrorCode::fileWriteNoPermission), EACCES);
  EXPECT_EQ(cocoa(CocoaErrorCode::fileReadInvalidFileName), ENAMETOOLONG);
  EXPECT_EQ(atOpen({NSCocoaErrorDomain, 514}), ENAMETOOLONG);
  EXPECT_EQ(cocoa(CocoaErrorCode::fileWriteFileExists), EEXIST);
  EXPECT_EQ(cocoa(CocoaErrorCode::fileWriteOutOfSpace), ENOSPC);
  EXPECT_EQ(cocoa(CocoaErrorCode::fileWriteVolumeReadOnly), EROFS);
  EXPECT_EQ(cocoa(CocoaErrorCode::featureUnsupported), EROFS);
}

TEST(ErrorNumbers, ofBadDataAreInputErrors) {
  EXPECT_EQ(cocoa(CocoaErrorCode::fileReadCorruptFile), EIO);
  EXPECT_EQ(cocoa(CocoaErrorCode::propertyListReadCorrupt), EIO);
  EXPECT_EQ(cocoa(CocoaErrorCode::coderReadCorrupt), EIO);
  EXPECT_EQ(cocoa(CocoaErrorCode::coderValueNotFound), EIO);
  EXPECT_EQ(cocoa(CocoaErrorCode::coderInvalidValue), EIO);
  EXPECT_EQ(atOpen(NSError::decoding({})), EIO);
}

TEST(ErrorNumbers, ofWhatNobodyKnowsAreInputErrors) {
  EXPECT_EQ(cocoa(CocoaErrorCode::fileReadUnknown), EIO);
  EXPECT_EQ(cocoa(CocoaErrorCode::fileWriteUnknown), EIO);
  EXPECT_EQ(atOpen({NSCocoaErrorDomain, 99}), EIO);
  EXPECT_EQ(atOpen({NSURLErrorDomain, -5}), EIO);
  EXPECT_EQ(atOpen({"AnotherDomain", EBUSY}), EIO);
}

TEST(ErrorNumbers, ofTheUsersCancellingAreInterruptions) {
  EXPECT_EQ(cocoa(CocoaErrorCode::userCancelled), EINTR);
  EXPECT_EQ(url(URLErrorCode::cancelled), EINTR);
}

TEST(ErrorNumbers, ofAServerThatIsNotThereSayUnreachable) {
  EXPECT_EQ(url(URLErrorCode::cannotConnectToHost), EHOSTUNREACH);
  EXPECT_EQ(url(URLErrorCode::cannotFindHost), EHOSTUNREACH);
  EXPECT_EQ(url(URLErrorCode::networkConnectionLost), EHOSTUNREACH);
  EXPECT_EQ(url(URLErrorCode::badURL), EHOSTUNREACH);
  EXPECT_EQ(url(URLErrorCode::unknown), EHOSTUNREACH);
  EXPECT_EQ(url(URLErrorCode::resourceUnavailable), EHOSTUNREACH);
  EXPECT_EQ(atOpen({NSURLErrorDomain, -1006}), EHOSTUNREACH);
  EXPECT_EQ(atOpen({NSURLErrorDomain, -1009}), EHOSTUNREACH);
}

TEST(ErrorNumbers, ofAServerThatIsThereSayWhatItDid) {
  EXPECT_EQ(url(URLErrorCode::timedOut), ETIMEDOUT);
  EXPECT_EQ(url(URLErrorCode::badServerResponse), EPROTO);
  EXPECT_EQ(url(URLErrorCode::httpTooManyRedirects), EPROTO);
  EXPECT_EQ(url(URLErrorCode::cannotWriteToFile), EIO);
}

TEST(ErrorNumbers, ofTheSystemStayAsTheyAre) {
  for (const int number : {ENOENT, EACCES, ENOSPC, ENOMEM, EMFILE, ETIMEDOUT, EDQUOT, EHWPOISON})
    EXPECT_EQ(atOpen(NSError::posix(number)), number) << strerrorname_np(number);
}

TEST(ErrorNumbers, neverMakeAProgramTryAgainForEver) { EXPECT_EQ(atOpen(NSError::posix(EAGAIN)), EBUSY); }

TEST(ErrorNumbers, areAlwaysOnesOfThisSystem) {
  for (const std::int64_t code : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{41}, std::int64_t{512},
                                  std::int64_t{516}, std::int64_t{1} << 32, std::int64_t{-1} << 40})
    EXPECT_EQ(atOpen({NSPOSIXErrorDomain, code}), EIO) << code;
}

}  // namespace
}  // namespace tovrin::host
