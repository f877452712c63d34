#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "lzfse_encoder/lzfse_encoder.h"
#include "materialize/errors.h"
#include "materialize/fetch_destination.h"
#include "materialize/file_checksum.h"
#include "materialize/lzfse_decoding.h"
#include "materialize/sparse_layout.h"
#include "materialize/symbolic_link.h"
#include "support/test_platform.h"

namespace tovrin {
namespace {

class PayloadFiles : public ::testing::Test {
 protected:
  std::filesystem::path file(std::string_view name) const { return test.scratch / name; }
  FileHandle reading(std::string_view name, std::string_view bytes) {
    writeFile(file(name), bytes);
    return FileHandle::forReading(file(name)).value();
  }
  FileHandle writing(std::string_view name) { return FileHandle::create(file(name)).value(); }

  TestPlatform test;
};

using CopyExactly = PayloadFiles;

TEST_F(CopyExactly, copiesFromBothPositions) {
  FileHandle from = reading("from", "0123456789");
  FileHandle to = writing("to");
  ASSERT_TRUE(from.seek(2));
  ASSERT_TRUE(to.seek(1));
  ASSERT_TRUE(copyExactly(5, from, to, {}));
  EXPECT_EQ(readFile(file("to")), std::string("\00023456", 6));
}

TEST_F(CopyExactly, copiesMoreThanOneChunk) {
  const std::string bytes(1'000'001, 'x');
  FileHandle from = reading("from", bytes);
  FileHandle to = writing("to");
  ASSERT_TRUE(copyExactly(1'000'001, from, to, {}));
  EXPECT_TRUE(readFile(file("to")) == bytes);
}

TEST_F(CopyExactly, failsWhenTheSourceEndsFirst) {
  FileHandle from = reading("from", "0123");
  FileHandle to = writing("to");
  const auto result = copyExactly(5, from, to, {});
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error(), NSError::cocoa(CocoaErrorCode::fileReadCorruptFile));
}

TEST_F(CopyExactly, doesNothingForACountBelowOne) {
  FileHandle from = reading("from", "");
  FileHandle to = writing("to");
  EXPECT_TRUE(copyExactly(0, from, to, {}));
  EXPECT_TRUE(copyExactly(-1, from, to, {}));
}

TEST_F(CopyExactly, endsWhenStopped) {
  FileHandle from = reading("from", "0123");
  FileHandle to = writing("to");
  std::stop_source stop;
  stop.request_stop();
  const auto result = copyExactly(4, from, to, stop.get_token());
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().is(CocoaErrorCode::userCancelled));
}

class SparseLayout : public PayloadFiles {
 protected:
  /// What is said to stand while the extents are written.
  std::vector<std::int64_t> written(std::vector<TovrinWarpSharedSparseExtent> extents) {
    writeFile(file("stored"), std::string(600'000, 'x'));
    std::vector<std::int64_t> ends;
    EXPECT_TRUE(writeSparseFile(file("stored"), file("sparse"), 2'000'000, extents,
                                [&](std::int64_t end) { ends.push_back(end); }, {}));
    return ends;
  }
};

TEST_F(SparseLayout, saysWhatIsWritten) {
  const std::vector<std::int64_t> expected{100 + 262'144, 300'100, 1'500'000 + 10};
  EXPECT_EQ(written({{100, 0, 300'000}, {500'000, 0, 0}, {1'500'000, 300'000, 10}}), expected);
}

TEST_F(SparseLayout, saysNothingWhenItMayWriteWhatIsWrittenOnceMore) {
  EXPECT_TRUE(written({{100, 0, 300'000}, {300'099, 300'000, 10}}).empty());
  EXPECT_TRUE(written({{500'000, 0, 10}, {100, 10, 10}}).empty());
}

TEST_F(SparseLayout, thatCannotBeMadeSaysSoInOneWay) {
  writeFile(file("stored"), "x");
  const auto result = writeSparseFile(file("stored"), file("no folder/sparse"), 1, {}, [](std::int64_t) {}, {});
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().is(CocoaErrorCode::fileWriteUnknown)) << result.error().code();
}

using LZFSEDecoding = PayloadFiles;
constexpr DecodedSizeLimit kNoLimit{1'000'000'000, DecodedSizeLimit::Surplus::isAnError};
const WrittenBytes nobodyAsks = [](std::int64_t) {};

TEST_F(LZFSEDecoding, saysWhatIsWritten) {
  FileHandle input = reading("packed", encodeLZFSE(std::string(900'000, 'x')));
  FileHandle output = writing("decoded");
  std::int64_t end = 0;
  const auto written = [&](std::int64_t newEnd) {
    EXPECT_GE(newEnd, end);
    EXPECT_EQ(readFile(file("decoded")).size(), newEnd);
    end = newEnd;
  };
  ASSERT_TRUE(decodeLZFSE(input, output, kNoLimit, written, {}));
  EXPECT_EQ(end, 900'000);
}

TEST_F(LZFSEDecoding, doesNotLookBehindTheEndOfTheStream) {
  FileHandle input = reading("packed", encodeLZFSE("contents") + "and then something else");
  FileHandle output = writing("decoded");
  ASSERT_TRUE(decodeLZFSE(input, output, kNoLimit, nobodyAsks, {}));
  EXPECT_EQ(readFile(file("decoded")), "contents");
}

TEST_F(LZFSEDecoding, allowsExactlyTheLimit) {
  const std::string bytes(300'000, 'x');
  FileHandle input = reading("packed", encodeLZFSE(bytes));
  FileHandle output = writing("decoded");
  EXPECT_TRUE(decodeLZFSE(input, output, {300'000, DecodedSizeLimit::Surplus::isAnError}, nobodyAsks, {}));
  EXPECT_EQ(readFile(file("decoded")).size(), 300'000U);
}

TEST_F(LZFSEDecoding, takesOneByteMoreForAWrongFile) {
  FileHandle input = reading("packed", encodeLZFSE(std::string(300'001, 'x')));
  FileHandle output = writing("decoded");
  const auto result = decodeLZFSE(input, output, {300'000, DecodedSizeLimit::Surplus::isAnError}, nobodyAsks, {});
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().isSameInstance(checksumError()));
  EXPECT_LE(readFile(file("decoded")).size(), 300'000U);
}

TEST_F(LZFSEDecoding, canDropWhatIsOfNoUse) {
  FileHandle input = reading("packed", encodeLZFSE(std::string(900'000, 'x')));
  FileHandle output = writing("decoded");
  ASSERT_TRUE(decodeLZFSE(input, output, {300'000, DecodedSizeLimit::Surplus::isDropped}, nobodyAsks, {}));
  EXPECT_EQ(readFile(file("decoded")).size(), 300'000U);
}

TEST_F(LZFSEDecoding, endsWhenStopped) {
  FileHandle input = reading("packed", encodeLZFSE(std::string(900'000, 'x')));
  FileHandle output = writing("decoded");
  std::stop_source stop;
  stop.request_stop();
  EXPECT_TRUE(
      decodeLZFSE(input, output, kNoLimit, nobodyAsks, stop.get_token()).error().is(CocoaErrorCode::userCancelled));
}

using FileChecksum = PayloadFiles;

TEST_F(FileChecksum, isLowerCaseHexadecimal) {
  writeFile(file("abc"), "abc");
  EXPECT_EQ(sha256HexOfFile(file("abc")).value(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  writeFile(file("empty"), "");
  EXPECT_EQ(sha256HexOfFile(file("empty")).value(), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
}

TEST_F(FileChecksum, passesOnThatTheFileIsMissing) {
  EXPECT_TRUE(sha256HexOfFile(file("nowhere")).error().is(CocoaErrorCode::fileReadNoSuchFile));
}

TEST_F(FileChecksum, endsWhenStopped) {
  writeFile(file("abc"), "abc");
  std::stop_source stop;
  stop.request_stop();
  EXPECT_TRUE(sha256HexOfFile(file("abc"), stop.get_token()).error().is(CocoaErrorCode::userCancelled));
}

using SymbolicLink = PayloadFiles;

TEST_F(SymbolicLink, holdsItsTargetAsItStands) {
  const std::filesystem::path link = file("new folder") / "link";
  for (const std::string_view target : {"../elsewhere/x y", "/absolute", "a//b/./", "nowhere"}) {
    ASSERT_TRUE(makeSymlink(link, target));
    EXPECT_EQ(std::filesystem::read_symlink(link).native(), target);
  }
}

TEST_F(SymbolicLink, replacesWhatIsThere) {
  writeFile(file("link"), "a file");
  ASSERT_TRUE(makeSymlink(file("link"), "target"));
  EXPECT_TRUE(std::filesystem::is_symlink(file("link")));
}

TEST_F(SymbolicLink, needsATarget) {
  EXPECT_TRUE(makeSymlink(file("link"), std::nullopt).error().isSameInstance(notOnDemandError()));
  EXPECT_TRUE(makeSymlink(file("link"), "").error().isSameInstance(notOnDemandError()));
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(file("link"))));
}

TEST_F(SymbolicLink, isNotMadeOfATargetWithANUL) {
  EXPECT_TRUE(
      makeSymlink(file("link"), std::string_view("a\0b", 3)).error().is(CocoaErrorCode::fileReadInvalidFileName));
  EXPECT_FALSE(std::filesystem::exists(std::filesystem::symlink_status(file("link"))));
}

TEST_F(SymbolicLink, passesOnThatTheTargetIsTooLong) {
  EXPECT_FALSE(makeSymlink(file("link"), std::string(5000, 'x')));
}

using FetchDestination = PayloadFiles;

TEST_F(FetchDestination, isAFreshNameWithTheEntrysExtension) {
  const auto first = chooseDestination(test.directories, "/Users/ann/holiday.2024.JPG");
  const auto second = chooseDestination(test.directories, "/Users/ann/holiday.2024.JPG");
  ASSERT_TRUE(first && second);
  EXPECT_NE(*first, *second);
  EXPECT_EQ(first->parent_path(), test.directories.providerTemporary->value() / "TovrinFileProvider");
  EXPECT_EQ(first->extension(), ".JPG");
  EXPECT_EQ(first->stem().native().size(), 36U);
  EXPECT_TRUE(std::filesystem::is_directory(first->parent_path()));
}

TEST_F(FetchDestination, hasTheExtensionWarpWhereTheNameHasNone) {
  for (const std::string_view path : {"/a/README", "/a/.bashrc", "/a/b.", "/a.b/c", "/a/x.y z"}) {
    EXPECT_EQ(deliveredExtension(path), "warp") << path;
  }
}

TEST_F(FetchDestination, doesNotOutgrowAFileName) {
  EXPECT_EQ(deliveredExtension("/a/b." + std::string(218, 'x')), std::string(218, 'x'));
  EXPECT_EQ(deliveredExtension("/a/b." + std::string(219, 'x')), "warp");
}

TEST_F(FetchDestination, withoutAManagerIsAWorkerThatCannotBeReached) {
  test.directories.providerTemporary.reset();
  EXPECT_TRUE(chooseDestination(test.directories, "/a/b.c").error().isSameInstance(notReachableError()));
}

TEST_F(FetchDestination, passesOnTheManagersErrorAndThatOfTheFolder) {
  const NSError error(NSCocoaErrorDomain, 4101, "The manager is not well.");
  test.directories.providerTemporary = failure(error);
  EXPECT_EQ(chooseDestination(test.directories, "/a/b.c").error(), error);
  test.directories.providerTemporary = file("plain file");
  writeFile(file("plain file"), "x");
  EXPECT_FALSE(chooseDestination(test.directories, "/a/b.c"));
}

}  // namespace
}  // namespace tovrin
