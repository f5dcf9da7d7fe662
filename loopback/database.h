// A thin layer over SQLite: opening a file of ours, transactions, and statements that are prepared
// once. Every failure is a StoreError, or std::bad_alloc. Nothing here knows what the tables hold;
// a further query is written in store.cc.
//
//   Transaction transaction(database, Transaction::kRead);
//   Query query(database, "SELECT id FROM certificate WHERE ca = ?");
//   for (query.bind(1); query.step();) ids.push_back(query.integer(0));
//   transaction.commit();
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

// StoreError says why the file could not be used. kBusy: another process kept it locked. kReadOnly:
// it may be read but not written. kUnopened: it, or a file that SQLite keeps beside it, cannot be
// opened.
class StoreError : public std::runtime_error {
 public:
  enum Kind : uint8_t { kBusy, kReadOnly, kUnopened, kOther };
  explicit StoreError(const std::string &text, Kind kind = kOther)
      : std::runtime_error(text), kind_(kind) {}
  [[nodiscard]] Kind kind() const { return kind_; }

 private:
  Kind kind_;
};

// FileState tells whether a file is still the one that it was: its device and number, its size, and
// the time of its last change. It is all zero if there is no file.
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

// Transaction holds the database for one thread. What is read in its scope is of one moment, and
// what is written is undone unless it is committed. Readers commit as well: only if that succeeds
// was the file not changed while they read.
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

// Query runs one statement. Arguments are bound in their order. Bytes that are bound must outlive
// the query; bytes of a row are valid until the next step.
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
