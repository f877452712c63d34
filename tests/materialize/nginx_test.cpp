#include "support/nginx.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "lzfse_encoder/lzfse_encoder.h"
#include "materialize/errors.h"
#include "materialize/fetch_fixture.h"

namespace tovrin {
namespace {

const std::string kFile = "/Users/ann/Photos/holiday.jpg";

std::string accountsJSON(int ready) {
  std::string list;
  for (int index = 0; index < ready; ++index) {
    list += std::string(index == 0 ? "" : ",") +
            R"({"id":"a","balance":1000000000000000000000000,"drift":-250000000000000000000000,"requiresSync":false})";
  }
  return "[" + list + "]";
}

/// The same fetches against a web server that others wrote.
class FetchFromNginx : public FetchFixture {
 protected:
  void SetUp() override {
    FetchFixture::SetUp();
    nginx.putAccounts(accountsJSON(10));
  }
  FetchOutcome fetchEntry(const EntrySpec& entry) {
    install({entry});
    installConnection(test, nginx.address(), nginx.password());
    return fetch(entry.path);
  }
  void expectDelivered(const EntrySpec& entry, const std::string& contents) {
    const FetchOutcome outcome = fetchEntry(entry);
    ASSERT_TRUE(outcome.file) << outcome.error->localizedDescription();
    EXPECT_TRUE(readFile(*outcome.file) == contents);
    EXPECT_EQ(filesMade(), 1U);
  }

  NginxServer nginx;
};

TEST_F(FetchFromNginx, deliversARawFile) {
  const std::string contents = patternedBytes(5'000'000);
  nginx.putObject("tovrin", "warps/W1/my photo #1.jpg", contents);
  expectDelivered(fileEntry(kFile, contents, "warps/W1/my photo #1.jpg"), contents);
  EXPECT_EQ(nginx.requests().back(), "200 /api/worker/object/warps/W1/my%20photo%20%231.jpg?bucket=tovrin");
}

TEST_F(FetchFromNginx, deliversAnEmptyFile) {
  nginx.putObject("tovrin", "empty", "");
  expectDelivered(fileEntry(kFile, "", "empty"), "");
}

TEST_F(FetchFromNginx, joinsPartsOfBothBuckets) {
  const std::string contents = patternedBytes(3'000'000);
  nginx.putObject("tovrin-warped", "p1", contents.substr(0, 1'000'000));
  nginx.putObject("tovrin", "p2", contents.substr(1'000'000));
  EntrySpec entry = fileEntry(kFile, contents, "");
  entry.payloadKey.reset();
  entry.payloadParts = {{"p2", 1'000'000, 2'000'000, "backup"}, {"p1", 0, 1'000'000, "warp"}};
  expectDelivered(entry, contents);
}

TEST_F(FetchFromNginx, readsASliceOfABundleWithoutTheRest) {
  const std::string bundle = patternedBytes(20'000'000);
  nginx.putObject("tovrin-warped", "bundle", bundle);
  EntrySpec entry = fileEntry(kFile, bundle.substr(4096, 10), "");
  entry.payloadKey.reset();
  entry.payloadParts = {{"bundle", 4096, 10, "warp"}};
  entry.uploadStrategy = "bundle-direct-unpacked";
  expectDelivered(entry, bundle.substr(4096, 10));
}

TEST_F(FetchFromNginx, decodesLZFSE) {
  const std::string contents = std::string(1'000'000, 'z') + patternedBytes(1'000'000);
  const std::string stream = encodeLZFSE(contents);
  nginx.putObject("tovrin", "packed", stream);
  EntrySpec entry = fileEntry(kFile, contents, "packed");
  entry.payloadEncoding = "lzfse";
  entry.storedSize = static_cast<std::int64_t>(stream.size());
  expectDelivered(entry, contents);
}

TEST_F(FetchFromNginx, decodesStreamsOfEveryKind) {
  const std::filesystem::path folder = std::filesystem::path(TOVRIN_TEST_DATA) / "lzfse";
  std::ifstream sums(folder / "SHA256SUMS.tsv");
  std::string line;
  std::getline(sums, line);
  std::vector<EntrySpec> entries;
  while (std::getline(sums, line)) {
    std::istringstream columns(line);
    std::string name;
    EntrySpec entry;
    std::int64_t encodedBytes = 0;
    columns >> name >> encodedBytes >> entry.size >> entry.contentChecksumSHA256.emplace();
    if (!std::filesystem::exists(folder / name)) continue;
    entry.path = "/Users/ann/Photos/" + name;
    entry.payloadKey = name;
    entry.payloadEncoding = "lzfse";
    entry.storedSize = encodedBytes;
    nginx.putObject("tovrin", name, readFile(folder / name));
    entries.push_back(entry);
  }
  ASSERT_FALSE(entries.empty());
  install(entries);
  installConnection(test, nginx.address(), nginx.password());
  for (const EntrySpec& entry : entries) {
    completions = 0;
    const FetchOutcome outcome = fetch(entry.path);
    EXPECT_TRUE(outcome.file) << entry.path << ": " << outcome.error->localizedDescription();
  }
}

TEST_F(FetchFromNginx, restoresHoles) {
  const std::string run = patternedBytes(4096);
  nginx.putObject("tovrin", "run", run);
  const std::string contents = std::string(524'288, '\0') + run + std::string(524'288 - 4096, '\0');
  EntrySpec entry = fileEntry(kFile, contents, "run");
  entry.storedSize = 4096;
  entry.sparseExtents = {{524'288, 0, 4096}};
  expectDelivered(entry, contents);
}

TEST_F(FetchFromNginx, waitsWhileThereAreNineAccounts) {
  nginx.putObject("tovrin", "k", "contents");
  nginx.putAccounts(accountsJSON(9));
  recorder.onState = [&](const auto& state) {
    if (state.detail.ends_with("(9/10 ready).")) nginx.putAccounts(accountsJSON(10));
  };
  expectDelivered(fileEntry(kFile, "contents", "k"), "contents");
  EXPECT_EQ(test.clock.sleeps(), 1);
}

TEST_F(FetchFromNginx, doesNotWaitForAServerWithoutAccounts) {
  nginx.putObject("tovrin", "k", "contents");
  nginx.removeAccounts();
  expectDelivered(fileEntry(kFile, "contents", "k"), "contents");
  EXPECT_EQ(test.clock.sleeps(), 0);
}

TEST_F(FetchFromNginx, failsWithTheWrongPassword) {
  install({fileEntry(kFile, "contents", "k")});
  installConnection(test, nginx.address(), "wrong");
  EXPECT_TRUE(fetch(kFile).error->isSameInstance(notReachableError()));
  EXPECT_EQ(filesMade(), 0U);
}

TEST_F(FetchFromNginx, failsOnAMissingObject) {
  EXPECT_TRUE(fetchEntry(fileEntry(kFile, "contents", "nowhere")).error->isSameInstance(notReachableError()));
  EXPECT_EQ(filesMade(), 0U);
}

TEST_F(FetchFromNginx, failsOnAWrongObject) {
  nginx.putObject("tovrin", "k", "CONTENTS");
  EXPECT_TRUE(fetchEntry(fileEntry(kFile, "contents", "k")).error->isSameInstance(checksumError()));
  EXPECT_EQ(filesMade(), 0U);
}

TEST_F(FetchFromNginx, failsWhenTheServerIsGone) {
  nginx.stop();
  EXPECT_TRUE(fetchEntry(fileEntry(kFile, "contents", "k")).error->isSameInstance(notReachableError()));
  EXPECT_EQ(test.clock.sleeps(), 90);
}

}  // namespace
}  // namespace tovrin
