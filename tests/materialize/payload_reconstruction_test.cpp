#include "materialize/payload_reconstruction.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <cctype>
#include <filesystem>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "lzfse_encoder/lzfse_encoder.h"
#include "materialize/errors.h"
#include "materialize/worker_fixture.h"

namespace tovrin {
namespace {

const std::string kPath = "/Users/ann/Photos/a.bin";

class PayloadReconstruction : public ReconstructionFixture {
 protected:
  /// Stores `contents` as LZFSE under "packed" and describes it.
  EntrySpec packed(std::string_view contents) {
    const std::string stream = encodeLZFSE(contents);
    put("packed", stream);
    EntrySpec entry = fileEntry(kPath, contents, "packed");
    entry.payloadEncoding = "lzfse";
    entry.storedSize = static_cast<std::int64_t>(stream.size());
    return entry;
  }
  /// Stores `stored` raw and describes it as the extents of a file of `size` bytes.
  EntrySpec sparse(std::string_view stored, std::int64_t size, std::vector<ExtentSpec> extents) {
    put("runs", stored);
    EntrySpec entry;
    entry.path = kPath;
    entry.size = size;
    entry.payloadKey = "runs";
    entry.storedSize = static_cast<std::int64_t>(stored.size());
    entry.sparseExtents = std::move(extents);
    return entry;
  }
  void expectFailure(const EntrySpec& entry, const NSError& error) {
    const auto result = rebuild(entry);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error(), error) << result.error().localizedDescription();
    EXPECT_EQ(leftovers(), 0U);
  }
};

std::int64_t blocksOf(const std::filesystem::path& file) {
  struct stat status{};
  return ::stat(file.c_str(), &status) == 0 ? status.st_blocks : -1;
}

TEST_F(PayloadReconstruction, ofARawPayloadVerifiesSizeAndChecksum) {
  put("k", "contents");
  ASSERT_TRUE(rebuild(fileEntry(kPath, "contents", "k")));
  EXPECT_EQ(rebuiltBytes(), "contents");
  EXPECT_EQ(leftovers(), 1U);
}

TEST_F(PayloadReconstruction, replacesWhatIsAtTheDestination) {
  put("k", "contents");
  writeFile(destination(), "older and much longer contents");
  ASSERT_TRUE(rebuild(fileEntry(kPath, "contents", "k")));
  EXPECT_EQ(rebuiltBytes(), "contents");
}

TEST_F(PayloadReconstruction, failsOnOneWrongBit) {
  put("k", patternedBytes(1'500'000));
  addFault("flip at=1234567 key=k");
  expectFailure(fileEntry(kPath, patternedBytes(1'500'000), "k"), checksumError());
}

TEST_F(PayloadReconstruction, findsAWrongBitAnywhereInALargeFile) {
  constexpr std::int64_t kPartBytes = 2'000'000;
  const std::string contents = patternedBytes(2 * kPartBytes);
  EntrySpec entry = fileEntry(kPath, contents, "first");
  entry.payloadParts = {{"first", 0, kPartBytes, {}}, {"second", kPartBytes, kPartBytes, {}}};
  put("second", contents.substr(kPartBytes));
  for (const std::size_t place : {0, 1'048'576, 1'999'999}) {
    std::string wrong = contents.substr(0, kPartBytes);
    wrong[place] ^= 1;
    put("first", wrong);
    expectFailure(entry, checksumError());
  }
  put("first", contents.substr(0, kPartBytes));
  EXPECT_TRUE(rebuild(entry));
  std::string wrong = contents.substr(kPartBytes);
  wrong.back() ^= 1;
  put("second", wrong);
  expectFailure(entry, checksumError());
}

TEST_F(PayloadReconstruction, findsAWrongBitInALargeDecodedFile) {
  const std::string contents = patternedBytes(3'000'000);
  EntrySpec entry = packed(contents);
  EXPECT_TRUE(rebuild(entry));
  std::string wrong = contents;
  wrong[2'000'000] ^= 1;
  const std::string stream = encodeLZFSE(wrong);
  put("packed", stream);
  entry.storedSize = static_cast<std::int64_t>(stream.size());
  expectFailure(entry, checksumError());
}

TEST_F(PayloadReconstruction, verifiesALargeFileWithItsHoles) {
  const std::string runs = patternedBytes(3'000'000);
  const std::string zeros(1'500'000, '\0');
  const std::string contents = zeros + runs.substr(0, 2'000'000) + zeros + runs.substr(2'000'000) + zeros;
  EntrySpec entry = sparse(runs, 7'500'000, {{1'500'000, 0, 2'000'000}, {5'000'000, 2'000'000, 1'000'000}});
  entry.contentChecksumSHA256 = sha256Hex(contents);
  ASSERT_TRUE(rebuild(entry));
  EXPECT_TRUE(rebuiltBytes() == contents);
  std::swap(entry.sparseExtents[0], entry.sparseExtents[1]);
  EXPECT_TRUE(rebuild(entry)) << "in another order";
  std::string wrong = runs;
  wrong[100] ^= 1;
  put("runs", wrong);
  expectFailure(entry, checksumError());
  std::swap(entry.sparseExtents[0], entry.sparseExtents[1]);
  expectFailure(entry, checksumError());
}

TEST_F(PayloadReconstruction, ofALargeFileThatIsStoppedLeavesNothing) {
  const std::string contents = patternedBytes(4'000'000);
  put("k", contents);
  addFault("stall after=3000000 key=k");
  std::jthread canceller([&] {
    EXPECT_TRUE(worker.waitForArrivals(1));
    stop.request_stop();
  });
  expectFailure(fileEntry(kPath, contents, "k"), NSError::cocoa(CocoaErrorCode::userCancelled));
}

TEST_F(PayloadReconstruction, checksOnlyTheSizeWithoutAChecksum) {
  put("k", "CONTENTS");
  EntrySpec entry = fileEntry(kPath, "contents", "k");
  entry.contentChecksumSHA256.reset();
  EXPECT_TRUE(rebuild(entry));
  entry.size = 9;
  entry.storedSize = 8;
  expectFailure(entry, checksumError());
}

TEST_F(PayloadReconstruction, failsOnAChecksumInUpperCase) {
  put("k", "contents");
  EntrySpec entry = fileEntry(kPath, "contents", "k");
  for (char& digit : *entry.contentChecksumSHA256) digit = static_cast<char>(std::toupper(digit));
  expectFailure(entry, checksumError());
}

TEST_F(PayloadReconstruction, decodesLZFSE) {
  for (const std::size_t size : {0U, 1U, 262144U, 1'000'000U}) {
    const std::string contents = patternedBytes(size / 2) + std::string(size - size / 2, 'z');
    const auto result = rebuild(packed(contents));
    ASSERT_TRUE(result) << size << " " << result.error().localizedDescription();
    EXPECT_TRUE(rebuiltBytes() == contents) << size;
    EXPECT_EQ(leftovers(), 1U);
  }
}

TEST_F(PayloadReconstruction, decodesAStreamThatIsCutIntoParts) {
  const std::string contents = patternedBytes(300'000) + std::string(300'000, 'q');
  const std::string stream = encodeLZFSE(contents);
  const std::size_t cut = stream.size() / 3;
  put("p1", stream.substr(0, cut));
  put("p2", stream.substr(cut));
  EntrySpec entry = fileEntry(kPath, contents, "unused");
  entry.payloadEncoding = "lzfse";
  entry.storedSize = static_cast<std::int64_t>(stream.size());
  entry.payloadParts = {{"p1", 0, static_cast<std::int64_t>(cut), "warp"},
                        {"p2", static_cast<std::int64_t>(cut), static_cast<std::int64_t>(stream.size() - cut), {}}};
  put("p1", stream.substr(0, cut), "tovrin-warped");
  ASSERT_TRUE(rebuild(entry));
  EXPECT_TRUE(rebuiltBytes() == contents);
}

TEST_F(PayloadReconstruction, failsOnLZFSEThatIsCutShortAndLeavesNoDecodedFile) {
  const std::string stream = encodeLZFSE(patternedBytes(400'000));
  for (const std::size_t length :
       {stream.size() - 1, stream.size() - 4, stream.size() / 2, std::size_t{3}, std::size_t{0}}) {
    put("packed", stream.substr(0, length));
    EntrySpec entry = fileEntry(kPath, patternedBytes(400'000), "packed");
    entry.payloadEncoding = "lzfse";
    entry.storedSize = static_cast<std::int64_t>(length);
    expectFailure(entry, NSError::cocoa(CocoaErrorCode::coderInvalidValue));
  }
}

TEST_F(PayloadReconstruction, takesAnEmptyLZFSEPayloadForACutOne) {
  EntrySpec entry = fileEntry(kPath, "", "unused");
  entry.payloadKey.reset();
  entry.payloadEncoding = "lzfse";
  expectFailure(entry, NSError::cocoa(CocoaErrorCode::coderInvalidValue));
}

TEST_F(PayloadReconstruction, failsOnCorruptLZFSE) {
  put("packed", "this is no LZFSE stream");
  EntrySpec entry = fileEntry(kPath, "contents", "packed");
  entry.payloadEncoding = "lzfse";
  entry.storedSize = 23;
  expectFailure(entry, NSError::cocoa(CocoaErrorCode::coderReadCorrupt));
}

TEST_F(PayloadReconstruction, cutsOffLZFSEThatDecodesToMoreThanTheFile) {
  EntrySpec entry = packed(std::string(50'000'000, '\0'));
  entry.size = 1000;
  entry.contentChecksumSHA256.reset();
  expectFailure(entry, checksumError());
}

TEST_F(PayloadReconstruction, failsWhenLZFSEDecodesToLessThanTheFile) {
  EntrySpec entry = packed("contents");
  entry.size = 9;
  expectFailure(entry, checksumError());
}

TEST_F(PayloadReconstruction, passesOnThatTheDecodedFileCannotBeMade) {
  std::filesystem::remove_all(test.directories.temporary);
  const auto result = rebuild(packed("contents"));
  ASSERT_FALSE(result);
  EXPECT_EQ(result.error().domain(), NSCocoaErrorDomain);
  EXPECT_NE(result.error().code(), checksumError().code());
  EXPECT_EQ(leftovers(), 0U);
}

TEST_F(PayloadReconstruction, restoresTheHolesOfASparseFile) {
  const std::string run = patternedBytes(4096);
  ASSERT_TRUE(rebuild(sparse(run, 1'048'576, {{524'288, 0, 4096}})));
  EXPECT_TRUE(rebuiltBytes() == std::string(524'288, '\0') + run + std::string(524'288 - 4096, '\0'));
  EXPECT_LT(blocksOf(destination()) * 512, 524'288);
  EXPECT_EQ(leftovers(), 1U);
}

TEST_F(PayloadReconstruction, verifiesASparseFileWithItsZeros) {
  const std::string whole = std::string(100, '\0') + "data" + std::string(1000, '\0');
  EntrySpec entry = sparse("data", static_cast<std::int64_t>(whole.size()), {{100, 0, 4}});
  entry.contentChecksumSHA256 = fileEntry(kPath, whole, "").contentChecksumSHA256;
  EXPECT_TRUE(rebuild(entry));
  entry.contentChecksumSHA256 = fileEntry(kPath, "data", "").contentChecksumSHA256;
  expectFailure(entry, checksumError());
}

TEST_F(PayloadReconstruction, appliesExtentsInListOrderAndSkipsEmptyOnes) {
  ASSERT_TRUE(rebuild(sparse("aabbcc", 12, {{8, 0, 4}, {0, 4, 2}, {10, 4, 2}, {5, 6, 0}})));
  EXPECT_EQ(rebuiltBytes(), std::string("cc\0\0\0\0\0\0aacc", 12));
}

TEST_F(PayloadReconstruction, restoresHolesOfADecodedFile) {
  const std::string stored = patternedBytes(600'000);
  const std::string stream = encodeLZFSE(stored);
  put("packed", stream);
  EntrySpec entry;
  entry.path = kPath;
  entry.size = 5'000'000;
  entry.payloadKey = "packed";
  entry.payloadEncoding = "lzfse";
  entry.storedSize = static_cast<std::int64_t>(stream.size());
  entry.sparseExtents = {{0, 0, 300'000}, {4'700'000, 300'000, 300'000}};
  ASSERT_TRUE(rebuild(entry));
  EXPECT_TRUE(rebuiltBytes() == stored.substr(0, 300'000) + std::string(4'400'000, '\0') + stored.substr(300'000));
  EXPECT_EQ(leftovers(), 1U);
}

TEST_F(PayloadReconstruction, doesNotMindDecodedBytesBehindTheLastExtent) {
  const std::string stream = encodeLZFSE(patternedBytes(2'000));
  put("packed", stream);
  EntrySpec entry;
  entry.path = kPath;
  entry.size = 4096;
  entry.payloadKey = "packed";
  entry.payloadEncoding = "lzfse";
  entry.storedSize = static_cast<std::int64_t>(stream.size());
  entry.sparseExtents = {{1024, 10, 100}};
  ASSERT_TRUE(rebuild(entry));
  EXPECT_EQ(rebuiltBytes().substr(1024, 100), patternedBytes(2'000).substr(10, 100));
}

TEST_F(PayloadReconstruction, findsDamageBehindTheLastExtent) {
  const std::string stream = encodeLZFSE(patternedBytes(500'000));
  put("packed", stream.substr(0, stream.size() - 1));
  EntrySpec entry;
  entry.path = kPath;
  entry.size = 4096;
  entry.payloadKey = "packed";
  entry.payloadEncoding = "lzfse";
  entry.storedSize = static_cast<std::int64_t>(stream.size()) - 1;
  entry.sparseExtents = {{0, 0, 100}};
  expectFailure(entry, NSError::cocoa(CocoaErrorCode::coderInvalidValue));
}

TEST_F(PayloadReconstruction, failsWhenAnExtentRunsPastTheDecodedBytes) {
  // The stream is longer than what it holds, so the extent passes the manifest's own check.
  const std::string contents = patternedBytes(1000);
  const std::string stream = encodeLZFSE(contents);
  ASSERT_GT(stream.size(), 1000U);
  put("packed", stream);
  EntrySpec entry;
  entry.path = kPath;
  entry.size = 4096;
  entry.payloadKey = "packed";
  entry.payloadEncoding = "lzfse";
  entry.storedSize = static_cast<std::int64_t>(stream.size());
  entry.sparseExtents = {{0, 0, 1001}};
  expectFailure(entry, NSError::cocoa(CocoaErrorCode::fileReadCorruptFile));
}

TEST_F(PayloadReconstruction, makesAFileOfZerosOutOfAnEmptyPayload) {
  EntrySpec entry;
  entry.path = kPath;
  entry.size = 3'000'000;
  entry.storedSize = 0;
  ASSERT_TRUE(rebuild(entry));
  EXPECT_TRUE(rebuiltBytes() == std::string(3'000'000, '\0'));
  EXPECT_EQ(blocksOf(destination()), 0);

  put("empty", "");
  entry.payloadKey = "empty";
  ASSERT_TRUE(rebuild(entry));
  EXPECT_EQ(rebuiltBytes().size(), 3'000'000U);
}

TEST_F(PayloadReconstruction, makesAFileOfZerosOutOfAnEmptyStream) {
  EntrySpec entry = packed("");
  entry.size = 4096;
  entry.contentChecksumSHA256.reset();
  ASSERT_TRUE(rebuild(entry));
  EXPECT_EQ(rebuiltBytes(), std::string(4096, '\0'));
}

TEST_F(PayloadReconstruction, failsWithoutPartsWhenBytesAreStored) {
  EntrySpec entry;
  entry.path = kPath;
  entry.size = 5;
  expectFailure(entry, checksumError());
}

TEST_F(PayloadReconstruction, ofAHardLinkUsesItsPrimarysPayload) {
  EntrySpec link = fileEntry(kPath, "shared contents", "");
  link.payloadKey.reset();
  EntrySpec primary = packed("shared contents");
  primary.path = "/Users/ann/Photos/primary";
  link.hardLinkPrimaryPath = primary.path;
  ASSERT_TRUE(rebuild(link, primary));
  EXPECT_EQ(rebuiltBytes(), "shared contents");
}

TEST_F(PayloadReconstruction, ofAHardLinkChecksItsOwnSizeAndChecksum) {
  EntrySpec link = fileEntry(kPath, "other contents", "");
  link.payloadKey.reset();
  EntrySpec primary = fileEntry("/Users/ann/Photos/primary", "shared contents", "k");
  put("k", "shared contents");
  const auto result = rebuild(link, primary);
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().isSameInstance(checksumError()));
  EXPECT_EQ(leftovers(), 0U);
}

TEST_F(PayloadReconstruction, passesOnThatTheFolderCannotBeMade) {
  put("k", "contents");
  writeFile(destination().parent_path(), "a file where the folder should be");
  const auto result = rebuild(fileEntry(kPath, "contents", "k"));
  ASSERT_FALSE(result);
  EXPECT_TRUE(objectRequests().empty());
}

/// The decoded file and the destination are then on two file systems, where the machine has a second one.
class ReconstructionFromAnotherFileSystem : public PayloadReconstruction {
 protected:
  void SetUp() override {
    PayloadReconstruction::SetUp();
    std::string pattern = "/dev/shm/tovrin-test-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) GTEST_SKIP() << "no second file system";
    other_ = pattern;
    struct stat here{}, there{};
    stat(test.scratch.path().c_str(), &here);
    stat(other_.c_str(), &there);
    if (here.st_dev == there.st_dev) GTEST_SKIP() << "no second file system";
    test.directories.temporary = other_;
  }
  void TearDown() override {
    std::error_code ignored;
    if (!other_.empty()) std::filesystem::remove_all(other_, ignored);
  }

 private:
  std::filesystem::path other_;
};

TEST_F(ReconstructionFromAnotherFileSystem, deliversADecodedFile) {
  const std::string contents = patternedBytes(3'000'000);
  ASSERT_TRUE(rebuild(packed(contents)));
  EXPECT_TRUE(rebuiltBytes() == contents);
  EXPECT_EQ(leftovers(), 1U);
}

TEST_F(ReconstructionFromAnotherFileSystem, replacesWhatIsAtTheDestination) {
  writeFile(destination(), std::string(2'000'000, 'o'));
  ASSERT_TRUE(rebuild(packed("contents")));
  EXPECT_EQ(rebuiltBytes(), "contents");
  EXPECT_EQ(leftovers(), 1U);
}

TEST_F(ReconstructionFromAnotherFileSystem, restoresHoles) {
  const std::string runs = patternedBytes(1'000'000);
  EntrySpec entry = packed(runs);
  entry.size = 5'000'000;
  entry.sparseExtents = {{4'000'000, 0, 1'000'000}};
  const std::string contents = std::string(4'000'000, '\0') + runs;
  entry.contentChecksumSHA256 = sha256Hex(contents);
  ASSERT_TRUE(rebuild(entry));
  EXPECT_TRUE(rebuiltBytes() == contents);
  EXPECT_LT(blocksOf(destination()) * 512, 4'000'000);
  EXPECT_EQ(leftovers(), 1U);
}

TEST_F(ReconstructionFromAnotherFileSystem, leavesNothingOfAWrongFile) {
  EntrySpec entry = packed(patternedBytes(3'000'000));
  entry.contentChecksumSHA256 = sha256Hex(patternedBytes(3'000'000, 2));
  expectFailure(entry, checksumError());
  entry = packed(patternedBytes(3'000'000));
  --entry.size;
  expectFailure(entry, checksumError());
}

}  // namespace
}  // namespace tovrin
