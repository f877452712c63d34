#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "platform/sha256.h"
#include "tools/warp_fixture.h"

namespace tovrin {
namespace {

using Encoding = TovrinWarpSharedPayloadEncoding;

class WarpPayload : public WarpTest {
 protected:
  void writeUsualFiles() {
    writeFile(folder / "empty", "");
    writeFile(folder / "one", "1");
    writeFile(folder / "text.txt", repetitiveBytes(300'000));
    writeFile(folder / "deep/down/noise #1 +%41.bin", sampleBytes(700'000));
    writeFile(folder / "deep/caf\xC3\xA9", "accent");
    writeSparse(folder / "sparse", 3'000'000, 1'000'000, sampleBytes(5000));
  }
  /// A file of `size` with `data` at `offset` and holes around it.
  static void writeSparse(const std::filesystem::path& path, std::uintmax_t size, std::streamoff offset,
                          const std::string& data) {
    writeFile(path, "");
    std::filesystem::resize_file(path, size);
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(offset);
    file << data;
  }
};

class WarpOptions : public WarpPayload, public testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(WarpOptions, giveBackEveryFileToTheProvider) {
  writeUsualFiles();
  const ProgramResult made = make(GetParam());
  ASSERT_EQ(made.status, 0) << made.errors;
  expectEveryFileToComeBack(manifest());
}

using Words = std::vector<std::string>;
INSTANTIATE_TEST_SUITE_P(Combinations, WarpOptions,
                         testing::Values(Words{}, Words{"--layout", "object", "--encoding", "raw"},
                                         Words{"--layout", "object", "--encoding", "lzfse"},
                                         Words{"--layout", "parts", "--encoding", "raw", "--part-size", "100KiB"},
                                         Words{"--layout", "parts", "--encoding", "lzfse", "--part-size", "1000"},
                                         Words{"--layout", "bundle", "--encoding", "raw"},
                                         Words{"--layout", "bundle", "--encoding", "lzfse"},
                                         Words{"--layout", "bundle", "--bundle-size", "1"},
                                         Words{"--layout", "object", "--keys", "paths"},
                                         Words{"--layout", "parts", "--keys", "paths"}, Words{"--namespace", "backup"},
                                         Words{"--namespace", "none", "--layout", "parts"}, Words{"--sparse", "never"},
                                         Words{"--no-checksums"}, Words{"--part-size", "200000"}));

TEST_F(WarpPayload, isOneObjectInTheBucketOfPayloadKeys) {
  const std::string bytes = sampleBytes(100'000);
  writeFile(folder / "a", bytes);
  ASSERT_EQ(make({"--layout", "object", "--encoding", "raw"}).status, 0);
  const auto warp = manifest();
  const auto& file = entry(warp, "a");
  ASSERT_TRUE(file.payloadKey);
  EXPECT_TRUE(file.payloadParts.empty());
  EXPECT_EQ(file.size, 100'000);
  EXPECT_EQ(file.storedSize, 100'000);
  EXPECT_EQ(file.contentChecksumSHA256, sha256Hex(bytes));
  EXPECT_EQ(object("tovrin", *file.payloadKey), bytes);
}

TEST_F(WarpPayload, isSeveralPartsInTheBucketOfWarps) {
  const std::string bytes = sampleBytes(2500);
  writeFile(folder / "a", bytes);
  ASSERT_EQ(make({"--layout", "parts", "--encoding", "raw", "--part-size", "1000"}).status, 0);
  const auto warp = manifest();
  const auto& file = entry(warp, "a");
  EXPECT_FALSE(file.payloadKey);
  ASSERT_EQ(file.payloadParts.size(), 3u);
  EXPECT_EQ(file.rare->multipartPartCount, 3);
  EXPECT_EQ(file.rare->multipartPartSizeBytes, 1000);
  for (std::size_t i = 0; i < 3; ++i) {
    const auto& part = file.payloadParts[i];
    EXPECT_EQ(part.namespace_, TovrinPayloadNamespace::warp);
    EXPECT_EQ(part.offset, static_cast<std::int64_t>(i) * 1000);
    EXPECT_EQ(part.size, i < 2 ? 1000 : 500);
    EXPECT_EQ(object("tovrin-warped", part.key), bytes.substr(i * 1000, 1000));
  }
}

TEST_F(WarpPayload, sharesABundleUntilThatIsFull) {
  for (const char name : {'a', 'b', 'c', 'd'}) writeFile(folder / std::string(1, name), std::string(400, name));
  ASSERT_EQ(make({"--layout", "bundle", "--encoding", "raw", "--bundle-size", "1000"}).status, 0);
  const auto warp = manifest();
  std::vector<std::string> keys;
  for (const char name : {'a', 'b', 'c', 'd'}) {
    const auto& file = entry(warp, std::string_view(&name, 1));
    EXPECT_EQ(file.uploadStrategy, "bundle-direct-unpacked");
    ASSERT_EQ(file.payloadParts.size(), 1u);
    const auto& part = file.payloadParts[0];
    EXPECT_EQ(part.offset, name == 'b' || name == 'd' ? 400 : 0);
    EXPECT_EQ(object("tovrin-warped", part.key).substr(static_cast<std::size_t>(part.offset), 400),
              std::string(400, name));
    keys.emplace_back(part.key);
  }
  EXPECT_EQ(keys[0], keys[1]);
  EXPECT_NE(keys[1], keys[2]);
  EXPECT_EQ(keys[2], keys[3]);
  EXPECT_EQ(object("tovrin-warped", keys[3]).size(), 800u);
}

TEST_F(WarpPayload, countsItsStoredSizeBeforeDecoding) {
  const std::string bytes = repetitiveBytes(200'000);
  writeFile(folder / "a", bytes);
  ASSERT_EQ(make({"--layout", "object", "--encoding", "lzfse"}).status, 0);
  const auto warp = manifest();
  const auto& file = entry(warp, "a");
  EXPECT_EQ(file.payloadEncoding, Encoding::lzfse);
  EXPECT_EQ(file.size, 200'000);
  EXPECT_EQ(file.storedSize, static_cast<std::int64_t>(object("tovrin", *file.payloadKey).size()));
  EXPECT_EQ(file.contentChecksumSHA256, sha256Hex(bytes));
}

TEST_F(WarpPayload, isEncodedOnlyWhereThatSavesSpace) {
  writeFile(folder / "noise", sampleBytes(100'000));
  writeFile(folder / "text", repetitiveBytes(100'000));
  ASSERT_EQ(make({"--layout", "object", "--encoding", "lzfse"}).status, 0);
  const bool saves = entry(manifest(), "text").storedSize < 90'000;
  ASSERT_EQ(make({"--layout", "object"}).status, 0);
  const auto warp = manifest();
  EXPECT_EQ(entry(warp, "noise").payloadEncoding, Encoding::raw);
  EXPECT_EQ(entry(warp, "text").payloadEncoding, saves ? Encoding::lzfse : Encoding::raw);
}

TEST_F(WarpPayload, namesTheNamespaceThatItWasTold) {
  writeFile(folder / "a", "bytes");
  ASSERT_EQ(make({"--layout", "parts", "--namespace", "backup"}).status, 0);
  {
    const auto warp = manifest();
    EXPECT_EQ(entry(warp, "a").payloadParts[0].namespace_, TovrinPayloadNamespace::backup);
    EXPECT_EQ(object("tovrin", entry(warp, "a").payloadParts[0].key), "bytes");
  }
  ASSERT_EQ(make({"--layout", "parts", "--namespace", "none"}).status, 0);
  EXPECT_EQ(entry(manifest(), "a").payloadParts[0].namespace_, std::nullopt);
}

TEST_F(WarpPayload, leavesHolesOut) {
  const std::string data = sampleBytes(4096);
  writeSparse(folder / "a", 1 << 20, 512 << 10, data);
  ASSERT_EQ(make({"--layout", "object", "--encoding", "lzfse"}).status, 0);
  const auto warp = manifest();
  const auto& file = entry(warp, "a");
  if (file.rare->sparseExtents.empty()) GTEST_SKIP() << "this file system keeps no holes";
  EXPECT_EQ(file.size, 1 << 20);
  EXPECT_EQ(file.payloadEncoding, Encoding::raw);
  EXPECT_EQ(file.storedSize, 4096);
  ASSERT_EQ(file.rare->sparseExtents.size(), 1u);
  EXPECT_EQ(file.rare->sparseExtents[0],
            (TovrinWarpSharedSparseExtent{.logicalOffset = 512 << 10, .storedOffset = 0, .length = 4096}));
  EXPECT_EQ(object("tovrin", *file.payloadKey), data);
  EXPECT_EQ(file.contentChecksumSHA256, sha256Hex(readFile(folder / "a")));
}

TEST_F(WarpPayload, isNothingForAFileThatIsOneHole) {
  writeFile(folder / "a", "");
  std::filesystem::resize_file(folder / "a", 1 << 20);
  ASSERT_EQ(make().status, 0);
  const auto warp = manifest();
  const auto& file = entry(warp, "a");
  if (file.storedSize != 0) GTEST_SKIP() << "this file system keeps no holes";
  EXPECT_FALSE(file.payloadKey);
  EXPECT_TRUE(file.payloadParts.empty());
  expectEveryFileToComeBack(warp);
}

TEST_F(WarpPayload, keepsHolesAsZerosWhenTold) {
  writeSparse(folder / "a", 1 << 20, 512 << 10, "data");
  ASSERT_EQ(make({"--sparse", "never", "--layout", "object", "--encoding", "raw"}).status, 0);
  EXPECT_EQ(entry(manifest(), "a").storedSize, 1 << 20);
}

TEST_F(WarpPayload, isNothingForAnEmptyFile) {
  writeFile(folder / "a", "");
  ASSERT_EQ(make({"--encoding", "lzfse"}).status, 0);
  const auto warp = manifest();
  const auto& file = entry(warp, "a");
  EXPECT_EQ(file.storedSize, 0);
  EXPECT_EQ(file.payloadEncoding, Encoding::raw);
  EXPECT_FALSE(file.payloadKey);
  EXPECT_EQ(file.contentChecksumSHA256, sha256Hex(""));
}

TEST_F(WarpPayload, ofAFurtherLinkRepeatsThatOfThePrimary) {
  writeFile(folder / "a/first", sampleBytes(1000));
  std::filesystem::create_hard_link(folder / "a/first", folder / "second");
  ASSERT_EQ(make().status, 0);
  const auto warp = manifest();
  const auto &first = entry(warp, "a/first"), &second = entry(warp, "second");
  EXPECT_EQ(second.rare->hardLinkPrimaryPath, first.relativePath);
  EXPECT_FALSE(first.rare->hardLinkPrimaryPath);
  struct stat attributes{};
  ASSERT_EQ(::stat((folder / "second").c_str(), &attributes), 0);
  for (const auto* link : {&first, &second}) {
    ASSERT_TRUE(link->rare->hardLinkIdentity);
    EXPECT_EQ(link->rare->hardLinkIdentity->inode, attributes.st_ino);
    EXPECT_EQ(link->rare->hardLinkIdentity->deviceID, attributes.st_dev);
  }
  EXPECT_EQ(second.payloadParts, first.payloadParts);
  EXPECT_EQ(second.contentChecksumSHA256, first.contentChecksumSHA256);
  expectEveryFileToComeBack(warp);
}

TEST_F(WarpPayload, ofAFurtherLinkCanBeLeftToThePrimary) {
  writeFile(folder / "first", repetitiveBytes(1000));
  std::filesystem::create_hard_link(folder / "first", folder / "second");
  ASSERT_EQ(make({"--hard-links", "primary"}).status, 0);
  const auto warp = manifest();
  EXPECT_TRUE(entry(warp, "second").payloadParts.empty());
  EXPECT_FALSE(entry(warp, "second").payloadKey);
  EXPECT_EQ(entry(warp, "second").storedSize, entry(warp, "first").storedSize);
  expectEveryFileToComeBack(warp);
}

TEST_F(WarpPayload, isSentToAWorker) {
  writeUsualFiles();
  LoopbackWorker worker({.root = objects, .password = "pass"});
  ASSERT_TRUE(worker.start());
  for (int time = 0; time < 2; ++time) {  // the second time the buckets are there already
    const ProgramResult made = make({"--put", "http://" + worker.address(), "--keys", "paths", "--layout", "object"});
    ASSERT_EQ(made.status, 0) << made.errors;
  }
  const auto warp = manifest();
  EXPECT_EQ(entry(warp, "deep/down/noise #1 +%41.bin").payloadKey, "W1/objects/deep/down/noise #1 +%41.bin");
  expectEveryFileToComeBack(warp);
}

TEST_F(WarpPayload, thatTheWorkerRefusesMakesNoWarp) {
  writeUsualFiles();
  LoopbackWorker worker({.root = objects, .password = "pass"});
  ASSERT_TRUE(worker.start());
  const std::vector<std::string> words{"--put", "http://" + worker.address(), "--layout", "object"};
  for (const char* fault : {"status code=503 route=object", "silent seconds=0 route=object", "status code=401"}) {
    ASSERT_TRUE(worker.addFault(fault));
    const ProgramResult made = make(words);
    EXPECT_EQ(made.status, 1) << fault;
    EXPECT_EQ(made.output, "");
    EXPECT_NE(made.errors, "");
    worker.clearFaults();
  }
  worker.stop();
  EXPECT_EQ(make(words).status, 1);
  EXPECT_FALSE(std::filesystem::exists(container / "Warp/ManifestMirror/W1.json"));
}

TEST_F(WarpPayload, passesThroughBoundedMemory) {
  constexpr int kMegabytes = 128;
  constexpr std::size_t kMostGrowthKiB = 64 << 10;
  const std::vector<std::string> words{"--layout", "parts", "--encoding", "lzfse", "--part-size", "1MiB"};
  const std::string block = repetitiveBytes(1 << 20);
  writeFile(folder / "a", block);
  const std::size_t before = make(words).peakResidentKiB;
  std::ofstream file(folder / "a", std::ios::binary);
  for (int i = 0; i < kMegabytes; ++i) file << block;
  file.close();
  const ProgramResult made = make(words);
  ASSERT_EQ(made.status, 0) << made.errors;
  EXPECT_LT(made.peakResidentKiB, before + kMostGrowthKiB);
}

}  // namespace
}  // namespace tovrin
