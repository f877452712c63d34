#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "host/store/store_database.h"
#include "host/store/store_records.h"

namespace tovrin::host {

/// The rows behind the copies and edits. Every change outlives a kill of the process once it returned, alone or with
/// the transaction that it is part of. For one thread at a time.
class StoreIndex {
 public:
  struct Loaded;
  /// Reads everything. A file that is no index, or a damaged one, is put aside for an empty one: what it said is lost
  /// then. Fails for the index of a newer version, which is left as it is, and when the file cannot be read.
  static Result<Loaded> open(const std::filesystem::path& file);

  Result<Transaction> begin(Durability durability = Durability::ordinary);

  /// Returns the new row's number; greater than all before it.
  Result<std::int64_t> addCopy(const CopyRecord& copy);
  Result<void> removeCopy(std::int64_t row);
  Result<void> recordOpening(std::int64_t row, std::int64_t opened);
  /// The files of all copies up to this row are on disk.
  Result<void> trustCopiesUpTo(std::int64_t row);

  Result<std::int64_t> addEdit(const EditRecord& edit);
  Result<void> setEditState(std::int64_t row, EditState state);
  Result<void> removeEdit(std::int64_t row);

 private:
  explicit StoreIndex(Database database) : database_(std::move(database)) {}
  static Result<Loaded> openDatabase(const std::filesystem::path& file);
  Result<void> prepareStatements();

  Database database_;
  Statement addCopy_;
  Statement removeCopy_;
  Statement recordOpening_;
  Statement trustCopies_;
  Statement addEdit_;
  Statement setEditState_;
  Statement removeEdit_;
  std::string boot_;  ///< names this run of the machine
};

struct StoreIndex::Loaded {
  StoreIndex index;
  std::vector<CopyRecord> copies;  ///< oldest opening first
  std::vector<EditRecord> edits;   ///< oldest first
  std::int64_t lastUntrusted = 0;  ///< the last row whose file may not be on disk yet
};

}  // namespace tovrin::host
