// A thin layer over SQLite: opening a file of ours, transactions, statements that are prepared once.
// Every failure is a StoreError; nothing here knows what the tables hold.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <mutex>
#include <stdexcept>
#include <string>
#include <unordered_map>

#include "util/bytes.h"

namespace loopback {

// StoreError says why the file could not be used. `busy` is true if another process kept it locked.
class StoreError : public std::runtime_error {
 public:
  StoreError(const std::string &text, bool busy) : std::runtime_error(text), busy_(busy) {}
  [[nodiscard]] bool busy() const { return busy_; }

 private:
  bool busy_;
};

class Database {
 public:
  // Database opens or makes a file (null: in memory) and sets up an empty one with the statements
  // of `schema`, whose version the file must have.
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
  void open(const char *path);
  bool is_new(int version);
  void use_wal();
  void set_up(const char *schema, int version);
  void close() noexcept;

  sqlite3 *handle_ = nullptr;
  std::unordered_map<const char *, sqlite3_stmt *> statements_;  // by address: texts are literals
  std::mutex mutex_;                                             // held by a transaction
};

// Transaction keeps the database for one thread, and what is read or written in its scope together.
// What is written is undone unless it is committed.
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
