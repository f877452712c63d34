#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "host/store/replica_store.h"
#include "support/scratch_folder.h"

namespace tovrin::host {

/// A store in a folder of the test's own, and files to give to it.
class StoreTest : public testing::Test {
 protected:
  StoreTest() { open(); }

  /// Opens the store, again when it is open; the test fails when it does not open.
  void open();
  void close() { store.reset(); }
  Result<std::unique_ptr<ReplicaStore>> tryToOpen() const { return ReplicaStore::open(folders, limits); }

  /// A delivered file with these bytes, outside of the store.
  std::filesystem::path delivered(std::string_view bytes);
  std::shared_ptr<LocalFile> adopt(const std::string& identifier, const std::string& version, std::string_view bytes);
  /// Adopts without keeping it open.
  void keep(const std::string& identifier, const std::string& version, std::string_view bytes);
  std::shared_ptr<LocalFile> beginEdit(const std::string& identifier, const std::string& baseVersion,
                                       const LocalFile* from = nullptr);
  void mark(const std::string& identifier, EditState state, bool durable = false);
  bool isHere(const std::string& identifier) const { return store->find(identifier).has_value(); }
  /// Copies of "a" and "b", a saved edit of "saved", and an unsaved edit of an entry "notes.txt".
  void keepCopiesAndEdits();
  /// The edits' states, by identifier and state.
  std::multiset<std::pair<std::string, EditState>> editStates() const;

  std::filesystem::path index() const { return folders.state / "index.sqlite"; }
  /// Runs SQL on the index of the closed store.
  void execute(const std::string& sql) const;

  std::filesystem::path copies() const { return folders.cache / "copies"; }
  std::filesystem::path edits() const { return folders.state / "edits"; }
  std::filesystem::path interrupted() const { return folders.state / "interrupted"; }

  ScratchFolder scratch;
  StoreFolders folders{.cache = scratch / "cache", .state = scratch / "state"};
  StoreLimits limits{.cacheBytes = std::int64_t{1} << 30, .keepFree = 0};
  std::unique_ptr<ReplicaStore> store;

 private:
  int deliveries_ = 0;
};

std::string readAll(const LocalFile& file);
/// At the file's end.
void append(const LocalFile& file, std::string_view bytes);
std::set<std::string> namesIn(const std::filesystem::path& folder);

}  // namespace tovrin::host
