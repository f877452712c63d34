#include "host/store/store_index_schema.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace tovrin::host {

namespace {

constexpr std::int64_t kVersion = 1;

// Identifiers are unique in memory, not here: with one tree per table, reading all rows reads all there is. A row's
// number is never used again, so that it tells what came before what.
constexpr const char* kTables = R"(
  BEGIN IMMEDIATE;
  CREATE TABLE copies (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    identifier BLOB NOT NULL,
    version BLOB NOT NULL,
    file BLOB NOT NULL,
    inode INTEGER NOT NULL,
    size INTEGER NOT NULL,
    modified INTEGER NOT NULL, -- nanoseconds since 1970
    allocated INTEGER NOT NULL, -- bytes on disk
    opened INTEGER NOT NULL, -- greater is later
    boot BLOB NOT NULL, -- the run of the machine in which the file was written
    synced INTEGER NOT NULL DEFAULT 0
  ) STRICT;
  CREATE TABLE edits (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    identifier BLOB NOT NULL,
    base_version BLOB NOT NULL,
    state INTEGER NOT NULL,
    file BLOB NOT NULL
  ) STRICT;
  PRAGMA user_version = 1;
  COMMIT;
)";

/// In the order of their numbers on disk.
constexpr std::array kStates{EditState::writing, EditState::unsaved, EditState::saved, EditState::interrupted};

NSError newerVersionError(std::int64_t version, const std::filesystem::path& file) {
  const std::string folder = file.parent_path().string();
  return NSError::posix(
      ENOTSUP,
      fmt::format("The local copies and edits in “{0}” were kept by a newer version of tovrin (format {1}; this "
                  "one knows {2}). Use that version. Or save what you need from “{0}/edits” and "
                  "“{0}/interrupted”, where the edits are that were not uploaded, and remove “{0}”.",
                  folder, version, kVersion));
}

/// Damage that reading the rows would not meet, such as in the list of free pages, would fail every later change.
Result<void> checkStructure(Database& database) {
  TOVRIN_TRY(Statement check, database.prepare("PRAGMA quick_check(1)"));
  TOVRIN_TRY(const bool hasRow, check.step());
  if (hasRow && check.bytes(0) == "ok") return {};
  return failure(NSError::cocoa(CocoaErrorCode::fileReadCorruptFile));
}

}  // namespace

Result<void> prepareSchema(Database& database, const std::filesystem::path& file) {
  TOVRIN_TRY(const std::int64_t version, database.number("PRAGMA user_version"));
  if (version > kVersion) return failure(newerVersionError(version, file));
  TOVRIN_CHECK(checkStructure(database));
  TOVRIN_CHECK(database.execute("PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL"));
  if (version == kVersion) return {};
  return database.execute(kTables);
}

std::int64_t editStateNumber(EditState state) { return std::ranges::find(kStates, state) - kStates.begin(); }

EditState editState(std::int64_t number) {
  if (number < 0 || number >= static_cast<std::int64_t>(kStates.size())) return EditState::interrupted;
  return kStates[static_cast<std::size_t>(number)];
}

}  // namespace tovrin::host
