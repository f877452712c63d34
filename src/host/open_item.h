#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "host/kept_edits.h"
#include "host/store/replica_store.h"

namespace tovrin::host {

/// One version of a file while it is open, shared by all who have it open: at first its copy, from the first change on
/// its edit. Thread-safe.
class OpenItem {
 public:
  OpenItem(SharedItem item, std::string version, std::shared_ptr<LocalFile> contents, KeptEdits& edits)
      : item_(std::move(item)), version_(std::move(version)), edits_(edits), contents_(std::move(contents)) {}

  const NSFileProviderItemIdentifier& identifier() const { return item_->itemIdentifier(); }

  /// What reads are answered from. Null while nothing was written to a file that was opened to be emptied.
  std::shared_ptr<LocalFile> contents() const;

  /// The item has an edit that was begun by others: from here on it is what is read and changed here, too.
  void showEdit(std::shared_ptr<LocalFile> edit);

  /// Runs `write` on the descriptor of the edit, which is begun first when this is the first change. `write` returns
  /// an errno, as this does.
  int change(const std::function<int(int descriptor)>& write);

 private:
  Result<std::shared_ptr<LocalFile>> edit();
  void leaveEdit(const std::shared_ptr<LocalFile>& edit);

  const SharedItem item_;  ///< as it was when it was opened
  const std::string version_;
  KeptEdits& edits_;
  mutable std::mutex lock_;
  std::shared_ptr<LocalFile> contents_;
  std::shared_ptr<LocalFile> edit_;  ///< what changes go to; the same file as `contents_`
  std::mutex beginning_;             ///< held while an edit is begun, so that it is begun once
};

}  // namespace tovrin::host
