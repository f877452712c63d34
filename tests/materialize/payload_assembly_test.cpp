#include "materialize/payload_assembly.h"

#include <signal.h>
#include <sys/resource.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "materialize/errors.h"
#include "materialize/worker_fixture.h"

namespace tovrin {
namespace {

/// Lets no file of this process grow beyond a size.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &previous_);
    const rlimit limit = {.rlim_cur = bytes, .rlim_max = previous_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    previousAction_ = signal(SIGXFSZ, SIG_IGN);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &previous_);
    signal(SIGXFSZ, previousAction_);
  }

 private:
  rlimit previous_;
  void (*previousAction_)(int);
};

class PayloadAssembly : public ReconstructionFixture {
 protected:
  /// An entry whose whole content is the joined parts.
  static EntrySpec joined(std::string_view contents, std::vector<PartSpec> parts) {
    EntrySpec entry = fileEntry("/Users/ann/Photos/a.bin", contents, "unused");
    entry.payloadKey.reset();
    entry.payloadParts = std::move(parts);
    return entry;
  }
};

TEST_F(PayloadAssembly, deliversAPayloadThatIsOneObject) {
  const std::string bytes = patternedBytes(2'500'000);
  put("whole", bytes);
  ASSERT_TRUE(rebuild(joined(bytes, {{"whole", 0, 2'500'000, {}}})));
  EXPECT_EQ(rebuiltBytes(), bytes);
  EXPECT_EQ(fractions, std::vector<double>{1.0});
  EXPECT_EQ(leftovers(), 1U);
}

TEST_F(PayloadAssembly, joinsPartsInTheOrderOfTheirOffsets) {
  put("first", std::string(50, 'a'));
  put("second", std::string(50, 'b'));
  put("third", std::string(20, 'c'));
  const std::string contents = std::string(50, 'a') + std::string(50, 'b') + std::string(20, 'c');
  ASSERT_TRUE(rebuild(joined(contents, {{"third", 100, 20, {}}, {"first", 0, 50, {}}, {"second", 50, 50, {}}})));
  EXPECT_EQ(rebuiltBytes(), contents);
  const std::vector<std::string> inOrder = {"first?bucket=tovrin", "second?bucket=tovrin", "third?bucket=tovrin"};
  EXPECT_EQ(objectRequests(), inOrder);
  const std::vector<double> expected = {50.0 / 120, 100.0 / 120, 1.0};
  EXPECT_EQ(fractions, expected);
}

TEST_F(PayloadAssembly, keepsTheManifestsOrderOfPartsWithEqualOffsets) {
  put("x", "1");
  put("y", "2");
  put("z", "3");
  ASSERT_TRUE(rebuild(joined("123", {{"x", 7, 1, {}}, {"y", 7, 1, {}}, {"z", 7, 1, {}}})));
  EXPECT_EQ(rebuiltBytes(), "123");
}

TEST_F(PayloadAssembly, neverHasTwoPartsUnderway) {
  std::vector<PartSpec> parts;
  std::string contents;
  for (int index = 0; index < 6; ++index) {
    const std::string key = "part-" + std::to_string(index);
    const std::string bytes = patternedBytes(70'000, static_cast<std::uint32_t>(index));
    put(key, bytes);
    parts.push_back({key, static_cast<std::int64_t>(contents.size()), 70'000, {}});
    contents += bytes;
  }
  ASSERT_TRUE(rebuild(joined(contents, parts)));
  EXPECT_EQ(rebuiltBytes(), contents);
  EXPECT_EQ(worker.mostObjectRequestsAtOnce(), 1U);
}

TEST_F(PayloadAssembly, takesThePayloadKeyFromTheBackupBucket) {
  put("single", "contents", "tovrin");
  put("single", "someone else's", "tovrin-warped");
  ASSERT_TRUE(rebuild(fileEntry("/Users/ann/Photos/a.txt", "contents", "single")));
  EXPECT_EQ(rebuiltBytes(), "contents");
}

TEST_F(PayloadAssembly, prefersPartsToThePayloadKey) {
  put("single", "wrong");
  put("part", "right");
  EntrySpec entry = joined("right", {{"part", 0, 5, {}}});
  entry.payloadKey = "single";
  ASSERT_TRUE(rebuild(entry));
  EXPECT_EQ(rebuiltBytes(), "right");
}

TEST_F(PayloadAssembly, takesEachPartFromItsNamespace) {
  put("p", "backup", "tovrin");
  put("p", "warped", "tovrin-warped");
  ASSERT_TRUE(rebuild(joined("backupwarpedbackup", {{"p", 0, 6, "backup"}, {"p", 6, 6, "warp"}, {"p", 12, 6, {}}})));
  EXPECT_EQ(rebuiltBytes(), "backupwarpedbackup");
}

TEST_F(PayloadAssembly, appendsWholeObjectsWhateverSizeTheirPartsClaim) {
  put("p", "0123456789");
  ASSERT_TRUE(rebuild(joined("0123456789", {{"p", 3, 4, {}}})));
  EXPECT_EQ(rebuiltBytes(), "0123456789");
}

TEST_F(PayloadAssembly, usesOnlyTheSliceOfABundle) {
  const std::string bundle = patternedBytes(8192);
  put("bundle", bundle);
  EntrySpec entry = joined(bundle.substr(4096, 10), {{"bundle", 4096, 10, {}}});
  entry.uploadStrategy = "bundle-direct-unpacked";
  ASSERT_TRUE(rebuild(entry));
  EXPECT_EQ(rebuiltBytes(), bundle.substr(4096, 10));
}

TEST_F(PayloadAssembly, joinsSlicesOfSeveralBundles) {
  const std::string bundle = patternedBytes(3'000'000);
  put("b1", bundle);
  put("b2", bundle);
  const std::string contents = bundle.substr(1'000'000, 1'500'000) + bundle.substr(2'000'000, 900'000);
  EntrySpec entry = joined(contents, {{"b2", 2'000'000, 900'000, {}}, {"b1", 1'000'000, 1'500'000, {}}});
  entry.uploadStrategy = "bundle-direct-unpacked";
  ASSERT_TRUE(rebuild(entry));
  EXPECT_TRUE(rebuiltBytes() == contents);
}

TEST_F(PayloadAssembly, doesNotReadABundleBeyondItsSlice) {
  put("bundle", "0123456789");
  addFault("endless key=bundle");
  EntrySpec entry = joined("0123", {{"bundle", 0, 4, {}}});
  entry.uploadStrategy = "bundle-direct-unpacked";
  entry.contentChecksumSHA256.reset();
  EXPECT_TRUE(rebuild(entry));
}

TEST_F(PayloadAssembly, missesBytesWhenABundleEndsInsideTheSlice) {
  put("bundle", "0123456789");
  for (const std::int64_t offset : {8, 10, 4096}) {
    EntrySpec entry = joined("0123", {{"bundle", offset, 4, {}}});
    entry.uploadStrategy = "bundle-direct-unpacked";
    const auto result = rebuild(entry);
    ASSERT_FALSE(result) << offset;
    EXPECT_TRUE(result.error().isSameInstance(checksumError())) << offset;
  }
}

TEST_F(PayloadAssembly, copiesNothingOfAnEmptySliceButAsksForIt) {
  put("bundle", "0123456789");
  EntrySpec entry = joined("", {{"bundle", 4, 0, {}}});
  entry.uploadStrategy = "bundle-direct-unpacked";
  ASSERT_TRUE(rebuild(entry));
  EXPECT_EQ(rebuiltBytes(), "");
  EXPECT_EQ(objectRequests().size(), 1U);
}

TEST_F(PayloadAssembly, takesOtherStrategiesForWholeObjects) {
  put("p", "0123456789");
  for (const std::string_view strategy : {"bundle", "Bundle-direct-unpacked", "multipart", ""}) {
    EntrySpec entry = joined("0123456789", {{"p", 3, 4, {}}});
    entry.uploadStrategy = strategy;
    EXPECT_TRUE(rebuild(entry)) << strategy;
  }
}

TEST_F(PayloadAssembly, failsWhenThePartsDeliverFewerOrMoreBytes) {
  put("p", "0123456789");
  for (const std::int64_t storedSize : {0, 9, 11}) {
    EntrySpec entry = joined("0123456789", {{"p", 0, 10, {}}});
    entry.storedSize = storedSize;
    const auto result = rebuild(entry);
    ASSERT_FALSE(result) << storedSize;
    EXPECT_TRUE(result.error().isSameInstance(checksumError())) << storedSize;
    EXPECT_EQ(leftovers(), 0U);
  }
}

TEST_F(PayloadAssembly, failsOnTheByteCountBeforeItDecodesAnything) {
  put("p", "no LZFSE at all");
  EntrySpec entry = joined("whatever", {{"p", 0, 15, {}}});
  entry.payloadEncoding = "lzfse";
  entry.storedSize = 14;
  EXPECT_TRUE(rebuild(entry).error().isSameInstance(checksumError()));
}

TEST_F(PayloadAssembly, cutsOffAWorkerThatNeverStopsSending) {
  put("p", "x");
  put("q", "y");
  for (const std::string_view fault :
       {"endless key=p times=1", "endless key=q times=1", "resize bytes=50000000 key=q times=1"}) {
    addFault(fault);
    const auto result = rebuild(joined("xy", {{"p", 0, 1, {}}, {"q", 1, 1, {}}}));
    ASSERT_FALSE(result) << fault;
    EXPECT_TRUE(result.error().isSameInstance(checksumError())) << fault;
    EXPECT_EQ(leftovers(), 0U);
    worker.clearFaults();
  }
}

TEST_F(PayloadAssembly, ofNoPartsIsAnEmptyStoredFile) {
  EntrySpec entry = joined("", {});
  ASSERT_TRUE(rebuild(entry));
  EXPECT_EQ(rebuiltBytes(), "");
  EXPECT_TRUE(objectRequests().empty());
  entry.storedSize = 1;
  EXPECT_TRUE(rebuild(entry).error().isSameInstance(checksumError()));
}

TEST_F(PayloadAssembly, passesOnWhyAPartFailedAndLeavesNothing) {
  put("p", patternedBytes(50'000));
  const EntrySpec entry = joined(patternedBytes(50'000) + "tail", {{"p", 0, 50'000, {}}, {"q", 50'000, 4, {}}});
  auto result = rebuild(entry);
  EXPECT_TRUE(result.error().isSameInstance(notReachableError())) << "q is missing";
  EXPECT_EQ(leftovers(), 0U);

  put("q", "tail");
  addFault("cut after=2 key=q");
  result = rebuild(entry);
  EXPECT_TRUE(result.error().is(URLErrorCode::networkConnectionLost));
  EXPECT_EQ(leftovers(), 0U);
}

TEST_F(PayloadAssembly, asksForNoFurtherPartAfterAFailure) {
  put("r", "x");
  EXPECT_FALSE(rebuild(joined("xxx", {{"p", 0, 1, {}}, {"q", 1, 1, {}}, {"r", 2, 1, {}}})));
  EXPECT_EQ(objectRequests().size(), 1U);
}

TEST_F(PayloadAssembly, hidesItsFileFromOtherUsersAndFromListings) {
  put("p", "0123456789");
  put("q", "0123456789");
  addFault("stall after=5 key=q");
  std::filesystem::path hidden;
  std::filesystem::perms permissions{};
  std::jthread canceller([&] {
    EXPECT_TRUE(worker.waitForArrivals(2));
    for (const auto& file : std::filesystem::directory_iterator(destination().parent_path())) {
      hidden = file.path();
      permissions = file.status().permissions();
    }
    stop.request_stop();
  });
  EXPECT_FALSE(rebuild(joined("01234567890123456789", {{"p", 0, 10, {}}, {"q", 10, 10, {}}})));
  canceller.join();
  EXPECT_TRUE(hidden.filename().native().starts_with(".")) << hidden;
  EXPECT_EQ(permissions, std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(PayloadAssembly, writesABundlesSliceAndNothingElse) {
  put("bundle", patternedBytes(5'000'000));
  EntrySpec entry = joined(patternedBytes(5'000'000).substr(4'000'000, 1000), {{"bundle", 4'000'000, 1000, {}}});
  entry.uploadStrategy = "bundle-direct-unpacked";
  const FileSizeLimit limit(1000);
  EXPECT_TRUE(rebuild(entry));
}

TEST_F(PayloadAssembly, writesOneByteTooManyOfAWholeObjectAtMost) {
  put("p", patternedBytes(1'000'000));
  const EntrySpec entry = joined(patternedBytes(1000), {{"p", 0, 1000, {}}});
  const FileSizeLimit limit(1001);
  const auto result = rebuild(entry);
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().isSameInstance(checksumError()));
  EXPECT_EQ(leftovers(), 0U);
}

TEST_F(PayloadAssembly, writesNoMoreOfALongErrorAnswerThanOfTheObject) {
  put("p", std::string(5000, 'p'));
  addFault("status code=500 key=p body=" + std::string(1'000'000, 'e'));
  EntrySpec entry = joined(std::string(1000, 'p'), {{"p", 4000, 1000, {}}});
  const FileSizeLimit limit(1001);
  for (const std::string_view strategy : {"bundle-direct-unpacked", "multipart"}) {
    entry.uploadStrategy = strategy;
    const auto result = rebuild(entry);
    ASSERT_FALSE(result) << strategy;
    EXPECT_TRUE(result.error().isSameInstance(notReachableError())) << strategy;
    EXPECT_EQ(leftovers(), 0U) << strategy;
  }
}

TEST_F(PayloadAssembly, passesOnWhyItsFileCannotBeWritten) {
  put("p", patternedBytes(1'000'000));
  const FileSizeLimit limit(100'000);
  const auto result = rebuild(joined(patternedBytes(1'000'000), {{"p", 0, 1'000'000, {}}}));
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().is(CocoaErrorCode::fileWriteUnknown));
  EXPECT_EQ(leftovers(), 0U);
}

TEST_F(PayloadAssembly, thatWasStoppedLeavesNothing) {
  put("p", "0123456789");
  put("q", "0123456789");
  const EntrySpec entry = joined("01234567890123456789", {{"p", 0, 10, {}}, {"q", 10, 10, {}}});
  addFault("stall after=5 key=q");
  std::jthread canceller([&] {
    EXPECT_TRUE(worker.waitForArrivals(2));
    stop.request_stop();
  });
  const auto result = rebuild(entry);
  ASSERT_FALSE(result);
  EXPECT_TRUE(result.error().is(CocoaErrorCode::userCancelled));
  EXPECT_EQ(leftovers(), 0U);
}

}  // namespace
}  // namespace tovrin
