#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "foundation/result.h"
#include "platform/file_system.h"

struct sqlite3;
struct sqlite3_stmt;

namespace tovrin::host {

/// Whether the error says that the file is no database, a damaged one, or one with other tables.
bool isBrokenDatabase(const NSError& error);

/// A prepared statement. Texts are bound and read as bytes, so that no encoding is assumed.
class Statement {
 public:
  Statement() = default;

  /// Binds the values to the parameters in their order and runs the statement to its end.
  template <class... Values>
  Result<void> run(const Values&... values) {
    int parameter = 0;
    (bind(++parameter, values), ...);
    return finish();
  }

  /// The next row; false after the last one.
  Result<bool> step();
  /// Of the current row, columns counted from 0.
  std::int64_t integer(int column) const;
  std::string bytes(int column) const;

 private:
  friend class Database;
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const;
  };

  void bind(int parameter, std::int64_t value);
  void bind(int parameter, std::string_view value);
  Result<void> finish();

  std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
  bool isBound_ = true;
};

/// An SQLite database that this process has for itself. For one thread at a time.
class Database {
 public:
  /// Makes an empty one, for this user only, when there is none.
  static Result<Database> open(const std::filesystem::path& file);

  Result<void> execute(const char* sql);
  Result<Statement> prepare(std::string_view sql);
  /// The number that a statement without parameters answers.
  Result<std::int64_t> number(std::string_view sql);
  std::int64_t lastInsertedRow() const;

 private:
  struct Closer {
    void operator()(sqlite3* database) const;
  };
  std::unique_ptr<sqlite3, Closer> database_;
};

/// Changes that are made together or not at all. What was not committed is undone with the object.
class Transaction {
 public:
  /// With a write-ahead log an ordinary one survives the end of the process, a durable one also the machine's.
  static Result<Transaction> begin(Database& database, Durability durability = Durability::ordinary);

  Transaction(Transaction&& other) noexcept;
  Transaction& operator=(Transaction&&) = delete;
  ~Transaction();

  Result<void> commit();

 private:
  Transaction(Database& database, Durability durability) : database_(&database), durability_(durability) {}

  Database* database_;
  Durability durability_;
};

}  // namespace tovrin::host
