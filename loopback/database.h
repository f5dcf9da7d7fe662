// A thin layer over SQLite: opening a file of ours, transactions, statements that are prepared
// once.
// Every failure is a StoreError, but for std::bad_alloc; nothing here knows what the tables hold.
#pragma once

#include <sqlite3.h>

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_map>

#include "util/bytes.h"

namespace loopback {

// StoreError says why the file could not be used: another process kept it locked, it may only be
// read, it or what belongs beside it cannot be opened, or something else.
class StoreError : public std::runtime_error {
 public:
  enum Kind : uint8_t { kBusy, kReadOnly, kUnopened, kOther };
  explicit StoreError(const std::string &text, Kind kind = kOther)
      : std::runtime_error(text), kind_(kind) {}
  [[nodiscard]] Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

// FileState is what a file is known again by: its device, its number, its size and when it was
// changed. It is all zero if there is no file.
using FileState = std::array<int64_t, 5>;

class Database {
 public:
  // Database opens or makes a file (null: in memory) and sets up an empty one with the statements
  // of `schema`, whose version the file must have. A file that may only be read is opened for that.
  Database(const char *path, const char *schema, int version);
  ~Database();
  Database(const Database &) = delete;
  Database &operator=(const Database &) = delete;

  // statement gives the prepared form of a text that lives as long as the program.
  [[nodiscard]] sqlite3_stmt *statement(const char *text);
  void run(const char *text);
  void check(int code);  // throws unless the code is one of success

 private:
  friend class Transaction;
  friend class Query;
  int64_t number(const char *pragma);
  void open();
  void connect(const std::string &name, int flags);
  [[nodiscard]] bool must_freeze();
  void freeze();
  [[nodiscard]] bool read_only() const { return sqlite3_db_readonly(handle_, "main") == 1; }
  [[nodiscard]] bool log_beside() const;
  void refresh();
  void check_whole() const;
  bool is_new(int version);
  void use_wal();
  void set_up(const char *schema, int version);
  void close() noexcept;

  std::string path_;  // absolute; empty: in memory
  sqlite3 *handle_ = nullptr;
  std::optional<FileState> frozen_;  // what the file was, if it is read without locks
  std::unordered_map<const char *, sqlite3_stmt *> statements_;  // by address: texts are literals
  std::mutex mutex_;                                             // held by a transaction
};

// Transaction keeps the database for one thread, and what is read or written in its scope together.
// What is written is undone unless it is committed; what was read is whole if that succeeds.
class Transaction {
 public:
  enum Kind { kRead, kWrite };
  Transaction(Database &database, Kind kind);
  ~Transaction();
  Transaction(const Transaction &) = delete;
  Transaction &operator=(const Transaction &) = delete;
  void commit();

 private:
  std::lock_guard<std::mutex> lock_;
  Database &database_;
  bool open_ = true;
};

// Query runs one statement. Arguments are bound in their order; views given must outlive the query,
// and views got live until the next step.
class Query {
 public:
  Query(Database &database, const char *text)
      : database_(database), statement_(database.statement(text)) {}
  ~Query();
  Query(const Query &) = delete;
  Query &operator=(const Query &) = delete;

  Query &bind(int64_t value);
  Query &bind(Bytes octets);
  Query &bind_null();
  bool step();  // true: there is a row
  void run();   // for statements that give no rows
  [[nodiscard]] int64_t integer(int column) const;
  [[nodiscard]] Bytes octets(int column) const;
  [[nodiscard]] bool null(int column) const;

 private:
  Database &database_;
  sqlite3_stmt *statement_;
  int bound_ = 0;
};

}  // namespace loopback
