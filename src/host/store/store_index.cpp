#include "host/store/store_index.h"

#include <cerrno>
#include <system_error>

#include "host/store/store_index_schema.h"

namespace tovrin::host {

namespace {

/// Changes with every start of the machine; empty, and then no run is known to be this one, when the kernel is silent.
std::string currentBoot() {
  const auto name = readWholeFile("/proc/sys/kernel/random/boot_id");
  return name ? name->bytes : std::string();
}

Result<std::vector<CopyRecord>> loadCopies(Database& database, const std::string& boot) {
  TOVRIN_TRY(Statement statement, database.prepare(kSelectCopies));
  std::vector<CopyRecord> copies;
  for (;;) {
    TOVRIN_TRY(const bool hasRow, statement.step());
    if (!hasRow) return copies;
    const bool isOnDisk = statement.integer(9) != 0;
    copies.push_back({.row = statement.integer(0),
                      .identifier = statement.bytes(1),
                      .version = statement.bytes(2),
                      .fileName = statement.bytes(3),
                      .mark = {statement.integer(4), statement.integer(5), statement.integer(6)},
                      .allocatedBytes = statement.integer(7),
                      .opened = statement.integer(8),
                      .isTrusted = isOnDisk || (!boot.empty() && statement.bytes(10) == boot)});
  }
}

Result<std::vector<EditRecord>> loadEdits(Database& database) {
  TOVRIN_TRY(Statement statement, database.prepare(kSelectEdits));
  std::vector<EditRecord> edits;
  for (;;) {
    TOVRIN_TRY(const bool hasRow, statement.step());
    if (!hasRow) return edits;
    edits.push_back({.row = statement.integer(0),
                     .identifier = statement.bytes(1),
                     .baseVersion = statement.bytes(2),
                     .state = editState(statement.integer(3)),
                     .fileName = statement.bytes(4)});
  }
}

Result<void> putAside(const std::filesystem::path& file) {
  for (const char* suffix : {"-wal", "-shm", "-journal"}) {
    std::error_code ignored;  // SQLite does not take the log of another database for its own
    std::filesystem::remove(file.native() + suffix, ignored);
  }
  std::error_code error;
  std::filesystem::rename(file, file.native() + ".broken", error);
  if (error) return failure(NSError::posix(error.value()));
  return {};
}

}  // namespace

Result<StoreIndex::Loaded> StoreIndex::open(const std::filesystem::path& file) {
  Result<Loaded> loaded = openDatabase(file);
  if (loaded || !isBrokenDatabase(loaded.error())) return loaded;
  TOVRIN_CHECK(putAside(file));
  return openDatabase(file);
}

Result<StoreIndex::Loaded> StoreIndex::openDatabase(const std::filesystem::path& file) {
  TOVRIN_TRY(Database database, Database::open(file));
  TOVRIN_CHECK(prepareSchema(database, file));
  Loaded loaded{.index = StoreIndex(std::move(database)), .copies = {}, .edits = {}};
  StoreIndex& index = loaded.index;
  index.boot_ = currentBoot();
  TOVRIN_TRY(loaded.copies, loadCopies(index.database_, index.boot_));
  TOVRIN_TRY(loaded.edits, loadEdits(index.database_));
  TOVRIN_TRY(loaded.lastUntrusted, index.database_.number(kSelectLastUntrusted));
  TOVRIN_CHECK(index.prepareStatements());
  return loaded;
}

Result<void> StoreIndex::prepareStatements() {
  TOVRIN_TRY(addCopy_, database_.prepare(kInsertCopy));
  TOVRIN_TRY(removeCopy_, database_.prepare("DELETE FROM copies WHERE id = ?"));
  TOVRIN_TRY(recordOpening_, database_.prepare("UPDATE copies SET opened = ?2 WHERE id = ?1"));
  TOVRIN_TRY(trustCopies_, database_.prepare("UPDATE copies SET synced = 1 WHERE synced = 0 AND id <= ?"));
  TOVRIN_TRY(addEdit_, database_.prepare(kInsertEdit));
  TOVRIN_TRY(setEditState_, database_.prepare("UPDATE edits SET state = ?2 WHERE id = ?1"));
  TOVRIN_TRY(removeEdit_, database_.prepare("DELETE FROM edits WHERE id = ?"));
  return {};
}

Result<Transaction> StoreIndex::begin(Durability durability) { return Transaction::begin(database_, durability); }

Result<std::int64_t> StoreIndex::addCopy(const CopyRecord& copy) {
  TOVRIN_CHECK(addCopy_.run(copy.identifier, copy.version, copy.fileName, copy.mark.inode, copy.mark.size,
                            copy.mark.modificationTimeNanoseconds, copy.allocatedBytes, copy.opened, boot_));
  return database_.lastInsertedRow();
}

Result<void> StoreIndex::removeCopy(std::int64_t row) { return removeCopy_.run(row); }

Result<void> StoreIndex::recordOpening(std::int64_t row, std::int64_t opened) {
  return recordOpening_.run(row, opened);
}

Result<void> StoreIndex::trustCopiesUpTo(std::int64_t row) { return trustCopies_.run(row); }

Result<std::int64_t> StoreIndex::addEdit(const EditRecord& edit) {
  TOVRIN_CHECK(addEdit_.run(edit.identifier, edit.baseVersion, editStateNumber(edit.state), edit.fileName));
  return database_.lastInsertedRow();
}

Result<void> StoreIndex::setEditState(std::int64_t row, EditState state) {
  return setEditState_.run(row, editStateNumber(state));
}

Result<void> StoreIndex::removeEdit(std::int64_t row) { return removeEdit_.run(row); }

}  // namespace tovrin::host
