#include "host/store/store_database.h"

#include <fcntl.h>
#include <sqlite3.h>

#include <cerrno>
#include <tuple>
#include <utility>

#include "platform/posix/file_descriptor.h"

namespace tovrin::host {

namespace {

constexpr mode_t kPrivateFileMode = 0600;

NSError databaseError(sqlite3* database, int code) {
  const std::string sentence =
      std::string("The record of the local copies could not be used: ") + sqlite3_errmsg(database) + ".";
  switch (code & 0xFF) {
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_ERROR:  // the statements are right, so the tables are not those of this store
      return {NSCocoaErrorDomain, static_cast<std::int64_t>(CocoaErrorCode::fileReadCorruptFile), sentence};
    case SQLITE_FULL:
      return NSError::posix(ENOSPC, sentence);
    case SQLITE_NOMEM:
      return NSError::posix(ENOMEM);
    default:
      return NSError::posix(EIO, sentence);
  }
}

}  // namespace

bool isBrokenDatabase(const NSError& error) { return error.is(CocoaErrorCode::fileReadCorruptFile); }

void Statement::Finalizer::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

void Statement::bind(int parameter, std::int64_t value) {
  isBound_ &= sqlite3_bind_int64(statement_.get(), parameter, value) == SQLITE_OK;
}

void Statement::bind(int parameter, std::string_view value) {
  // A null pointer would bind NULL instead of an empty text.
  const char* bytes = value.data() == nullptr ? "" : value.data();
  isBound_ &= sqlite3_bind_blob64(statement_.get(), parameter, bytes, value.size(), SQLITE_TRANSIENT) == SQLITE_OK;
}

Result<bool> Statement::step() {
  const int code = sqlite3_step(statement_.get());
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  return failure(databaseError(sqlite3_db_handle(statement_.get()), code));
}

Result<void> Statement::finish() {
  Result<void> result;
  if (std::exchange(isBound_, true)) {
    Result<bool> row = true;
    while (row && *row) row = step();
    if (!row) result = failure(std::move(row).error());
  } else {
    result = failure(NSError::posix(ENOMEM));
  }
  sqlite3_reset(statement_.get());
  sqlite3_clear_bindings(statement_.get());
  return result;
}

std::int64_t Statement::integer(int column) const { return sqlite3_column_int64(statement_.get(), column); }

std::string Statement::bytes(int column) const {
  const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement_.get(), column));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column));
  return bytes == nullptr ? std::string() : std::string(bytes, size);
}

void Database::Closer::operator()(sqlite3* database) const { sqlite3_close_v2(database); }

Result<Database> Database::open(const std::filesystem::path& file) {
  // SQLite gives its other files the mode of the first one. Closed before SQLite has locks on it to lose.
  if (!FileDescriptor::open(file, O_RDWR | O_CREAT | O_NOFOLLOW, kPrivateFileMode).isOpen()) {
    return failure(fileError(errno, FileOperation::create, file));
  }

  sqlite3* opened = nullptr;
  const int code = sqlite3_open_v2(file.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  Database database;
  database.database_.reset(opened);
  if (opened == nullptr) return failure(NSError::posix(ENOMEM));
  if (code != SQLITE_OK) return failure(databaseError(opened, code));
  TOVRIN_CHECK(database.execute("PRAGMA locking_mode=EXCLUSIVE"));
  return database;
}

Result<void> Database::execute(const char* sql) {
  const int code = sqlite3_exec(database_.get(), sql, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) return failure(databaseError(database_.get(), code));
  return {};
}

Result<Statement> Database::prepare(std::string_view sql) {
  sqlite3_stmt* prepared = nullptr;
  const int code = sqlite3_prepare_v3(database_.get(), sql.data(), static_cast<int>(sql.size()),
                                      SQLITE_PREPARE_PERSISTENT, &prepared, nullptr);
  if (code != SQLITE_OK) return failure(databaseError(database_.get(), code));
  Statement statement;
  statement.statement_.reset(prepared);
  return statement;
}

Result<std::int64_t> Database::number(std::string_view sql) {
  TOVRIN_TRY(Statement statement, prepare(sql));
  TOVRIN_TRY(const bool hasRow, statement.step());
  return hasRow ? statement.integer(0) : 0;
}

std::int64_t Database::lastInsertedRow() const { return sqlite3_last_insert_rowid(database_.get()); }

Result<Transaction> Transaction::begin(Database& database, Durability durability) {
  const bool isDurable = durability == Durability::durable;
  TOVRIN_CHECK(database.execute(isDurable ? "PRAGMA synchronous=FULL; BEGIN IMMEDIATE" : "BEGIN IMMEDIATE"));
  return Transaction(database, durability);
}

Transaction::Transaction(Transaction&& other) noexcept
    : database_(std::exchange(other.database_, nullptr)), durability_(other.durability_) {}

Transaction::~Transaction() {
  if (database_ == nullptr) return;
  std::ignore = database_->execute("ROLLBACK");
  if (durability_ == Durability::durable) std::ignore = database_->execute("PRAGMA synchronous=NORMAL");
}

Result<void> Transaction::commit() {
  TOVRIN_CHECK(database_->execute("COMMIT"));
  if (durability_ == Durability::durable) std::ignore = database_->execute("PRAGMA synchronous=NORMAL");
  database_ = nullptr;
  return {};
}

}  // namespace tovrin::host
