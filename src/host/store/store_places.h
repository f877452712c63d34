#pragma once

#include <filesystem>

#include "host/store/store_records.h"

namespace tovrin::host {

/// What lies where in a store's two folders.
class StorePlaces {
 public:
  explicit StorePlaces(const StoreFolders& folders) : cache_(folders.cache), state_(folders.state) {}

  std::filesystem::path copies() const { return cache_ / "copies"; }
  const std::filesystem::path& state() const { return state_; }
  std::filesystem::path edits() const { return state_ / "edits"; }
  std::filesystem::path interrupted() const { return state_ / "interrupted"; }
  /// Edits that are being made, never written to.
  std::filesystem::path beginnings() const { return state_ / "beginning"; }
  std::filesystem::path index() const { return state_ / "index.sqlite"; }
  std::filesystem::path lock() const { return state_ / "lock"; }

  std::filesystem::path file(const CopyRecord& copy) const { return copies() / copy.fileName; }
  std::filesystem::path file(const EditRecord& edit) const {
    return (edit.state == EditState::interrupted ? interrupted() : edits()) / edit.fileName;
  }

  /// Makes the folders that are missing, for this user only.
  Result<void> make() const;
  /// The folder of copies again, which a cache cleaner may have taken.
  Result<void> makeCopies() const;

 private:
  std::filesystem::path cache_;
  std::filesystem::path state_;
};

}  // namespace tovrin::host
