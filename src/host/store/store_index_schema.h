#pragma once

#include <cstdint>
#include <filesystem>

#include "host/store/replica_store.h"
#include "host/store/store_database.h"

namespace tovrin::host {

/// Makes the tables of a new database. Fails for one that is broken (`isBrokenDatabase`) or of a newer version.
Result<void> prepareSchema(Database& database, const std::filesystem::path& file);

/// As written into the rows. An unknown number is `interrupted`, which keeps the file and shows nothing of it.
std::int64_t editStateNumber(EditState state);
EditState editState(std::int64_t number);

inline constexpr const char* kSelectCopies =
    "SELECT id, identifier, version, file, inode, size, modified, allocated, opened, synced, boot FROM copies "
    "ORDER BY opened";
inline constexpr const char* kSelectLastUntrusted = "SELECT max(id) FROM copies WHERE synced = 0";
inline constexpr const char* kInsertCopy =
    "INSERT INTO copies (identifier, version, file, inode, size, modified, allocated, opened, boot) "
    "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)";
inline constexpr const char* kSelectEdits = "SELECT id, identifier, base_version, state, file FROM edits ORDER BY id";
inline constexpr const char* kInsertEdit =
    "INSERT INTO edits (identifier, base_version, state, file) VALUES (?, ?, ?, ?)";

}  // namespace tovrin::host
