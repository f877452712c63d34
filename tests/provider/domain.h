#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "local/cached_items.h"
#include "provider/item.h"
#include "provider/tree.h"
#include "support/test_platform.h"
#include "support/warp_fixture.h"

namespace tovrin {

using Names = std::vector<std::string>;

/// A Warp with one file, "a.txt", unless entries are given.
ManifestSpec warp(std::string warpID, std::string originalFolderPath, std::vector<EntrySpec> entries = {});

/// A domain over a container of the test's own.
struct Domain {
  void install(const ManifestSpec& manifest) { installManifest(platform, manifest); }
  void expireCache() { platform.clock.advance(1); }
  /// Writes the journal as the main application would, with one record that has these optional members.
  void installJournalRecord(std::string_view warpID, std::string_view relativePath,
                            const std::optional<std::string>& pendingFile);

  TestPlatform platform;
  std::shared_ptr<CachedItemsJournal> journal = std::make_shared<CachedItemsJournal>(platform.platform());
  TovrinFileProviderTree tree{platform.platform(), journal};
};

Names filenames(std::span<const SharedItem> items);
Names identifiers(std::span<const SharedItem> items);
Names warpIDs(std::span<const SharedManifest> manifests);

}  // namespace tovrin
