#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/tasks.h"
#include "local/cached_items.h"
#include "local/edits.h"
#include "local/finder_badges.h"
#include "local/journal_text.h"
#include "materialize/materialization_state.h"
#include "provider/item.h"
#include "provider/tree.h"
#include "support/test_platform.h"
#include "support/warp_fixture.h"

namespace tovrin {

/// The tests' clock, with a word to say whenever somebody waits.
class WatchedClock final : public Clock {
 public:
  explicit WatchedClock(TestClock& clock) : clock_(clock) {}

  Date now() const override { return clock_.now(); }
  double systemUptime() const override { return clock_.systemUptime(); }
  bool sleep(std::chrono::nanoseconds duration, std::stop_token stop) override {
    if (onSleep) onSleep();
    return clock_.sleep(duration, std::move(stop));
  }

  /// Called on the waiting thread. Set before anything runs.
  std::function<void()> onSleep;

 private:
  TestClock& clock_;
};

/// What a modify completion was called with, and how often.
struct EditOutcome {
  int completions = 0;
  SharedItem item;
  NSFileProviderItemFields stillPending = NSFileProviderItemContents;
  bool shouldFetchContent = true;
  std::optional<NSError> error;
  std::shared_ptr<NSProgress> progress;
};

/// One Warp, "W1", whose folder is a real one with a marker, and everything that edits work with.
class EditWorld {
 public:
  EditWorld();

  std::filesystem::path folder() const { return testPlatform.scratch / "Photos"; }
  std::string pathOf(std::string_view name) const { return (folder() / name).string(); }
  /// Writes the manifest anew: a.txt ("stored bytes"), noextension, sub (a directory), link.
  void installWarp(const std::function<void(ManifestSpec&)>& change = {});

  EditContext context() { return {platform, tree, *journal, publisher, tasks}; }
  SharedItem itemNamed(std::string_view name);

  /// Runs one edit to its end.
  EditOutcome edit(const std::shared_ptr<const NSFileProviderItem>& item,
                   const std::optional<std::filesystem::path>& contents);
  EditOutcome save(std::string_view name, std::string_view contents);

  TovrinWarpSharedMaterializationState publishedState() const;
  bool hasPublishedState() const;
  std::size_t pendingCopies() const { return countFiles(pendingDirectory(testPlatform)); }
  std::vector<TovrinWarpSharedCachedItemRecord> records() { return journal->load().value(); }

  TestPlatform testPlatform;
  WatchedClock clock{testPlatform.clock};
  Platform platform{clock, testPlatform.directories, *testPlatform.urlSession, testPlatform.notifications};
  std::shared_ptr<CachedItemsJournal> journal = std::make_shared<CachedItemsJournal>(platform);
  std::shared_ptr<TovrinFileProviderTree> tree = std::make_shared<TovrinFileProviderTree>(platform, journal);
  FinderBadges badges{platform};
  MaterializationStatePublisher publisher{platform, badges};
  TaskGroup tasks;  // last: its tasks use everything above
};

}  // namespace tovrin
