#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/store/open_file.h"
#include "host/store/store_records.h"

namespace tovrin::host {

/// A copy, and who has it open.
struct StoredCopy {
  CopyRecord record;
  std::weak_ptr<OpenFile> reader;
  std::weak_ptr<OpenFile> writer;  ///< from the time when it was an edit
  std::list<std::string_view>::iterator age;

  bool isOpen() const { return !reader.expired() || !writer.expired(); }
};

struct StoredEdit {
  EditRecord record;
  std::weak_ptr<OpenFile> file;
};

/// An item can have both: the copy then waits for the edit to be given up.
struct StoredItem {
  std::optional<StoredCopy> copy;
  std::optional<StoredEdit> edit;
  bool beginsEdit = false;  ///< a thread is making the edit's file

  bool isEdited() const { return edit.has_value() || beginsEdit; }
};

/// What a store holds, in memory: items by identifier, copies by age, and their sizes. Touches no disk; the store's
/// lock guards it.
class StoreContents {
 public:
  /// Null when nothing is here.
  StoredItem* find(std::string_view identifier);
  const StoredItem* find(std::string_view identifier) const;
  /// Makes the item when it is missing; to be given to `forgetIfEmpty` once nothing is in it.
  StoredItem& item(const NSFileProviderItemIdentifier& identifier);
  void forgetIfEmpty(std::string_view identifier);

  /// The item must have no copy. It is the youngest.
  StoredCopy& addCopy(CopyRecord record);
  /// The item must have one. While it is open somewhere, its bytes count as unlinked.
  CopyRecord takeCopy(std::string_view identifier);
  /// It is the youngest now; returns its new number.
  std::int64_t touch(StoredCopy& copy);
  /// The number that the next copy to be opened gets.
  std::int64_t nextOpening() { return ++lastOpening_; }
  /// Takes the oldest copies that are not open until `bytes` of disk are free; nothing at all, when all of them were
  /// not enough.
  std::optional<std::vector<CopyRecord>> takeOldest(std::int64_t bytes);
  /// On disk, of the copies that nobody has open.
  std::int64_t idleBytes() const;

  /// An interrupted edit belongs to no item; another one to its item, which must have none.
  void addEdit(EditRecord record, const std::shared_ptr<OpenFile>& file = nullptr);
  /// The item must have one.
  EditRecord takeEdit(std::string_view identifier);

  std::vector<NSFileProviderItemIdentifier> identifiers() const;
  std::vector<EditRecord> edits() const;
  std::int64_t copyBytes() const { return copyBytes_; }
  std::int64_t copyCount() const { return static_cast<std::int64_t>(oldestFirst_.size()); }

 private:
  struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
  };

  std::unordered_map<std::string, StoredItem, TextHash, std::equal_to<>> items_;
  std::list<std::string_view> oldestFirst_;  ///< views of the keys above
  std::set<std::string_view> edited_;        ///< the same, of the items with an edit
  std::vector<EditRecord> interrupted_;
  std::int64_t copyBytes_ = 0;
  std::int64_t lastOpening_ = 0;
};

}  // namespace tovrin::host
