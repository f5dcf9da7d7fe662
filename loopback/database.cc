#include "loopback/database.h"

#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <new>
#include <thread>

namespace loopback {

namespace {

constexpr int kBusyMilliseconds = 10000;
constexpr int kApplicationId = 0x4B775063;  // marks a file as ours

[[noreturn]] void refuse(const char *path, const std::string &why) {
  throw StoreError(std::string(path ? path : "the store in memory") + ": " + why);
}

StoreError::Kind kind_of(int code) {
  code &= 0xFF;
  if (code == SQLITE_BUSY) return StoreError::kBusy;
  if (code == SQLITE_READONLY) return StoreError::kReadOnly;
  return code == SQLITE_CANTOPEN ? StoreError::kUnopened : StoreError::kOther;
}

FileState state_of(const std::string &path) {
  struct stat file = {};
  if (stat(path.c_str(), &file) != 0) return {};
  return {static_cast<int64_t>(file.st_dev), static_cast<int64_t>(file.st_ino), file.st_size,
          file.st_mtim.tv_sec, file.st_mtim.tv_nsec};
}

// frozen_uri names a file as one that nobody changes.
std::string frozen_uri(const std::string &path) {
  std::string uri = "file://";
  for (const char octet : path) {
    const char plain[] = {octet, '\0'};
    uri += octet == '%' ? "%25" : octet == '?' ? "%3f" : octet == '#' ? "%23" : plain;
  }
  return uri + "?immutable=1";
}

}  // namespace

Database::Database(const char *path, const char *schema, int version) {
  try {
    if (path && !*path) throw StoreError("the name of the store is empty");
    if (path) path_ = std::filesystem::absolute(path).string();
    open();
    if (!is_new(version)) return;
    set_up(schema, version);
  } catch (const StoreError &error) {
    close();
    if (error.kind() == StoreError::kBusy) refuse(path, "another process keeps it locked");
    if (error.kind() == StoreError::kUnopened && log_beside())
      refuse(path, "it was left open, and may not be written to here, which closing it takes");
    refuse(path, error.what());
  } catch (const std::bad_alloc &) {
    close();
    throw;
  }
}

Database::~Database() { close(); }

void Database::close() noexcept {
  for (const auto &[text, statement] : statements_) sqlite3_finalize(statement);
  statements_.clear();
  sqlite3_close(handle_);
  handle_ = nullptr;
  frozen_.reset();
}

void Database::open() {
  connect(path_.empty() ? ":memory:" : path_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  if (must_freeze()) freeze();
}

// connect opens a file that may come from anywhere. So views and triggers in it may only call
// functions without side effects (trusted schema off), and SQLite's own tables cannot be written to
// (defensive mode).
void Database::connect(const std::string &name, int flags) {
  check(sqlite3_open_v2(name.c_str(), &handle_, flags | SQLITE_OPEN_NOMUTEX, nullptr));
  check(sqlite3_db_config(handle_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr));
  check(sqlite3_db_config(handle_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr));
  check(sqlite3_busy_timeout(handle_, kBusyMilliseconds));
  run("PRAGMA foreign_keys = ON");
}

// must_freeze tells whether the file can only be read as one that nobody changes ("frozen").
// Usually a reader makes two files beside the store, the log and its index, which hold the locks.
// It cannot do so in a folder that it may not write to. If there is a log already, somebody else
// may be writing, and the file must not be taken for one that nobody changes.
bool Database::must_freeze() {
  if (path_.empty() || log_beside()) return false;
  if (read_only()) return true;
  try {
    (void)number("PRAGMA schema_version");
    return false;
  } catch (const StoreError &error) {
    if (error.kind() != StoreError::kUnopened && error.kind() != StoreError::kReadOnly) throw;
    return !log_beside();
  }
}

// freeze opens the file as one that nobody changes, without locks, and remembers its state, to find
// out if somebody changes it all the same.
void Database::freeze() {
  close();
  frozen_ = state_of(path_);
  connect(frozen_uri(path_), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI);
}

bool Database::log_beside() const {
  return state_of(path_ + "-wal") != FileState{} || state_of(path_ + "-journal") != FileState{};
}

// refresh opens a frozen file again if it was changed. It also opens a file that could not be
// opened the last time.
void Database::refresh() {
  if (handle_ && (!frozen_ || (*frozen_ == state_of(path_) && !log_beside()))) return;
  try {
    close();
    open();
  } catch (const StoreError &) {
    close();  // the next one tries again
    throw;
  }
}

void Database::check_whole() const {
  if (frozen_ && *frozen_ != state_of(path_))
    throw StoreError("the store was changed while it was read", StoreError::kBusy);
}

// is_new looks at a file before anything is changed in it. It does so in one transaction, since
// another process may be setting the file up.
bool Database::is_new(int version) {
  bool ours = false;
  {
    const Transaction moment(*this, Transaction::kRead);
    ours = number("PRAGMA application_id") == kApplicationId;
    const int64_t found = number("PRAGMA user_version");
    if (!ours && number("SELECT count(*) FROM sqlite_schema") > 0) {
      throw StoreError("this is a database of another program, not a certificate store");
    }
    if (ours && found > version) {
      throw StoreError("the store is of the newer version " + std::to_string(found) +
                       "; this program knows version " + std::to_string(version));
    }
  }
  if (!read_only()) use_wal();
  return !ours;
}

// use_wal lets readers and a writer work at once, and a commit outlive the process. SQLite does not
// wait for the lock that the change of mode takes, so this does.
void Database::use_wal() {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(kBusyMilliseconds);
  while (true) {
    try {
      run("PRAGMA journal_mode = WAL");
      run("PRAGMA synchronous = NORMAL");
      run("PRAGMA wal_autocheckpoint = 8000");  // pages: adds wait for the disk less often
      return;
    } catch (const StoreError &error) {
      if (error.kind() != StoreError::kBusy || std::chrono::steady_clock::now() > end) throw;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

// set_up makes the tables. It looks again whether there are any, in the transaction in which it
// writes, as another process may have made them since is_new looked.
void Database::set_up(const char *schema, int version) {
  Transaction transaction(*this, Transaction::kWrite);
  if (number("PRAGMA application_id") == kApplicationId) return;
  run(schema);
  run(("PRAGMA user_version = " + std::to_string(version)).c_str());
  run(("PRAGMA application_id = " + std::to_string(kApplicationId)).c_str());
  transaction.commit();
}

int64_t Database::number(const char *text) {
  Query query(*this, text);
  return query.step() ? query.integer(0) : 0;
}

sqlite3_stmt *Database::statement(const char *text) {
  sqlite3_stmt *&statement = statements_[text];
  if (!statement) {
    check(sqlite3_prepare_v3(handle_, text, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr));
  }
  return statement;
}

void Database::run(const char *text) {
  check(sqlite3_exec(handle_, text, nullptr, nullptr, nullptr));
}

void Database::check(int code) {
  if (code == SQLITE_OK || code == SQLITE_ROW || code == SQLITE_DONE) return;
  if ((code & 0xFF) == SQLITE_NOTADB) throw StoreError("this is not a certificate store");
  if ((code & 0xFF) == SQLITE_NOMEM) throw std::bad_alloc();
  throw StoreError(handle_ ? sqlite3_errmsg(handle_) : sqlite3_errstr(code), kind_of(code));
}

Transaction::Transaction(Database &database, Kind kind)
    : lock_(database.mutex_), database_(database) {
  database.refresh();
  if (kind == kWrite && database.read_only())
    throw StoreError("the store may only be read", StoreError::kReadOnly);
  // A writer takes the lock for writing at the start. If it took it after reading, SQLite would
  // refuse it without waiting when another process has written meanwhile.
  database.run(kind == kWrite ? "BEGIN IMMEDIATE" : "BEGIN");
}

Transaction::~Transaction() {
  if (!open_) return;
  // SQLite may have rolled back by itself; there is nothing to undo then.
  sqlite3_exec(database_.handle_, "ROLLBACK", nullptr, nullptr, nullptr);
}

void Transaction::commit() {
  database_.run("COMMIT");
  open_ = false;
  database_.check_whole();
}

Query::~Query() {
  sqlite3_reset(statement_);
  sqlite3_clear_bindings(statement_);
}

Query &Query::bind(int64_t value) {
  database_.check(sqlite3_bind_int64(statement_, ++bound_, value));
  return *this;
}

Query &Query::bind(Bytes octets) {
  const void *data = octets.empty() ? "" : static_cast<const void *>(octets.data());  // never null
  database_.check(sqlite3_bind_blob64(statement_, ++bound_, data, octets.size(), SQLITE_STATIC));
  return *this;
}

Query &Query::bind_null() {
  database_.check(sqlite3_bind_null(statement_, ++bound_));
  return *this;
}

bool Query::step() {
  const int code = sqlite3_step(statement_);
  database_.check(code);
  return code == SQLITE_ROW;
}

void Query::run() {
  while (step()) continue;
}

int64_t Query::integer(int column) const { return sqlite3_column_int64(statement_, column); }

Bytes Query::octets(int column) const {
  const void *data = sqlite3_column_blob(statement_, column);
  const int length = sqlite3_column_bytes(statement_, column);
  return {static_cast<const uint8_t *>(data), static_cast<size_t>(length)};
}

bool Query::null(int column) const {
  return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

}  // namespace loopback
