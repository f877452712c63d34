#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "platform/alternating_file.h"
#include "platform/file_system.h"
#include "provider/domain.h"
#include "provider/enumerator.h"
#include "provider/identifier.h"

namespace tovrin {
namespace {

constexpr int kReaders = 3;
constexpr int kVersions = 30;

/// Version `n` of the Warp: n files and the one that is always there.
ManifestSpec versionOf(const std::string& warpID, int n) {
  ManifestSpec spec = warp(warpID, "/Users/ann/" + warpID, {{.path = "/Users/ann/" + warpID + "/always"}});
  for (int file = 0; file < n; ++file) {
    spec.entries.push_back({.path = "/Users/ann/" + warpID + "/d/" + std::to_string(file)});
  }
  return spec;
}

/// Replaces the manifest as the main application does: in one step.
void replaceManifest(Domain& domain, const ManifestSpec& spec) {
  const auto file = domain.platform.warpDirectory() / "ManifestMirror" / (spec.warpID + ".json");
  ASSERT_TRUE(writeFileAtomically(file, manifestJSON(spec)).has_value());
}

TEST(ConcurrentUse, lookupsAndListingsSeeWholeManifestsWhileTheseAreRewritten) {
  Domain domain;
  for (const char* warpID : {"W1", "W2"}) domain.install(versionOf(warpID, 1));
  std::atomic<bool> done = false;
  std::vector<std::jthread> readers;
  for (int reader = 0; reader < kReaders; ++reader) {
    readers.emplace_back([&, warpID = reader % 2 == 0 ? std::string("W1") : std::string("W2")] {
      do {
        const SharedItem always = makeItem(entryIdentifier(warpID, "/Users/ann/" + warpID + "/always"), domain.tree);
        ASSERT_NE(always, nullptr);
        EXPECT_TRUE(always->isUploaded());
        EXPECT_EQ(filenames(domain.tree.childrenOfWarp(warpID)), (Names{"always"}));
        const auto files = domain.tree.childrenOfEntry(warpID, "/Users/ann/" + warpID + "/d");
        for (std::size_t file = 0; file < files.size(); ++file)
          EXPECT_EQ(files[file]->filename(), std::to_string(file));
        EXPECT_EQ(filenames(domain.tree.childrenOfAbsoluteFolder("/Users/ann")), (Names{"W1", "W2"}));
        EXPECT_GE(domain.tree.wholeDomain().size(), 1u + 2u + 2u + 2u);
        EXPECT_EQ(syncAnchor(domain.tree).size(), 64u);
        EXPECT_TRUE(domain.tree.latestWarpDate());
      } while (!done);
    });
  }
  for (int version = 0; version < kVersions; ++version) {
    replaceManifest(domain, versionOf(version % 2 == 0 ? "W1" : "W2", version));
    domain.expireCache();
  }
  done = true;
}

TEST(ConcurrentUse, manyThreadsMayListOneFreshManifestAtOnce) {
  Domain domain;
  domain.install(versionOf("W1", 500));
  std::vector<Names> seen(4);
  {
    std::vector<std::jthread> threads;
    for (Names& names : seen) {
      threads.emplace_back([&] { names = filenames(domain.tree.childrenOfEntry("W1", "/Users/ann/W1/d")); });
    }
  }
  for (const Names& names : seen) {
    ASSERT_EQ(names.size(), 500u);
    EXPECT_EQ(names, seen.front());
    EXPECT_EQ(names[10], "10");
  }
}

}  // namespace
}  // namespace tovrin
