#include "loopback/store.h"

#include <algorithm>
#include <array>

#include "crypto/hash.h"

namespace loopback {

namespace {

constexpr int kSchemaVersion = 1;

// Encodings stand in a table of their own, so that a scan over the facts does not read them.
constexpr const char *kSchema = R"(
  CREATE TABLE certificate (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    digest BLOB NOT NULL,
    options INTEGER NOT NULL,
    subject BLOB,
    issuer BLOB,
    subject_text BLOB,
    not_before INTEGER NOT NULL,
    not_after INTEGER NOT NULL,
    key_type INTEGER NOT NULL,
    key_usage INTEGER NOT NULL,
    path_length INTEGER NOT NULL,
    ca INTEGER NOT NULL,
    issuing INTEGER NOT NULL);
  CREATE INDEX certificate_digest ON certificate (digest);
  CREATE INDEX certificate_subject ON certificate (subject);
  CREATE INDEX certificate_ca ON certificate (subject_text) WHERE ca;
  CREATE TABLE encoding (
    certificate INTEGER PRIMARY KEY REFERENCES certificate ON DELETE CASCADE,
    der BLOB NOT NULL);
  CREATE TABLE search_key (
    type INTEGER NOT NULL,
    data BLOB NOT NULL,
    certificate INTEGER NOT NULL REFERENCES certificate ON DELETE CASCADE,
    PRIMARY KEY (type, data, certificate)) WITHOUT ROWID;
  CREATE INDEX search_key_certificate ON search_key (certificate);
  CREATE TABLE crl (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    digest BLOB NOT NULL,
    der BLOB NOT NULL);
  CREATE INDEX crl_digest ON crl (digest);
  CREATE TABLE request (
    name1 BLOB NOT NULL, name2 BLOB NOT NULL, name3 BLOB NOT NULL, name4 BLOB NOT NULL,
    further BLOB NOT NULL,
    data BLOB NOT NULL,
    PRIMARY KEY (name1, name2, name3, name4));
)";

// FILTER is the condition of a Filter, with places for what bind_filter binds. It is a macro, since
// statements are literals that are prepared once.
#define FILTER                                                                             \
  "not_before <= ? AND not_after >= ? AND (key_usage & ?) = ? AND ? IN (0, key_type) AND " \
  "(? < 0 OR (ca AND path_length >= ?)) AND ? IN (-1, ca)"

void bind_filter(Query &query, const Filter &filter) {
  query.bind(filter.earliest).bind(filter.latest);
  query.bind(filter.key_usage).bind(filter.key_usage).bind(filter.key_type);
  query.bind(filter.path_length).bind(filter.path_length).bind(filter.ca);
}

// digest_of gives the SHA-1 digest by which an encoding is found again; see `has`.
std::array<uint8_t, SSH_HASH_DIGEST_MAX> digest_of(Bytes der) {
  SshHash hash;
  std::array<uint8_t, SSH_HASH_DIGEST_MAX> digest = {};
  if (!ssh_hash_init(&hash, "sha1")) return digest;
  ssh_hash_update(&hash, der);
  ssh_hash_final(&hash, digest.data());
  return digest;
}

// bind_octets binds bytes, or NULL where there are none.
void bind_octets(Query &query, const std::optional<Octets> &octets) {
  if (octets)
    query.bind(*octets);
  else
    query.bind_null();
}

// column collects the first column of all rows.
std::vector<int64_t> column(Query &query) {
  std::vector<int64_t> ids;
  while (query.step()) ids.push_back(query.integer(0));
  return ids;
}

}  // namespace

void Filter::cover(const Validity &range) {
  for (const SshBerTime &time : {range.not_before, range.not_after}) {
    if (time == SshBerTime{}) continue;
    earliest = std::min(earliest, seconds_of(time));
    latest = std::max(latest, seconds_of(time));
  }
}

Store::Store(const char *path) : database_(path, kSchema, kSchemaVersion) {}

// has tells whether something is kept already. It finds it by its SHA-1 digest and then compares
// the bytes: two certificates with one digest can be made, and the first must not keep the second
// out.
bool Store::has(const char *text, Bytes digest, Bytes der) {
  Query query(database_, text);
  return query.bind(digest).bind(der).step();
}

void Store::add_certificate(Bytes der, uint32_t options, const CertificateFacts &facts) {
  const auto digest = digest_of(der);
  if (has("SELECT 1 FROM certificate JOIN encoding ON certificate = id WHERE digest = ? AND der = "
          "?",
          digest, der)) {
    return;
  }
  Query row(database_,
            "INSERT INTO certificate (digest, options, subject, issuer, subject_text, not_before, "
            "not_after, key_type, key_usage, path_length, ca, issuing) "
            "VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?) RETURNING id");
  row.bind(digest).bind(options);
  bind_octets(row, facts.subject);
  bind_octets(row, facts.issuer);
  if (facts.subject_text)
    row.bind(ssh_text_bytes(*facts.subject_text));
  else
    row.bind_null();
  row.bind(facts.not_before).bind(facts.not_after).bind(facts.key_type).bind(facts.key_usage);
  row.bind(facts.path_length).bind(facts.ca).bind(facts.issuing);
  if (!row.step()) return;
  const int64_t id = row.integer(0);
  Query(database_, "INSERT INTO encoding VALUES (?, ?)").bind(id).bind(der).run();
  add_keys(id, facts.keys.get());
}

void Store::add_keys(int64_t certificate, const SshCertDBKey *keys) {
  for (const SshCertDBKey *key = keys; key; key = key->next) {
    Query row(database_, "INSERT OR IGNORE INTO search_key VALUES (?, ?, ?)");
    row.bind(key->type).bind(key->bytes()).bind(certificate).run();
  }
}

void Store::add_crl(Bytes der) {
  const auto digest = digest_of(der);
  if (has("SELECT 1 FROM crl WHERE digest = ? AND der = ?", digest, der)) return;
  Query(database_, "INSERT INTO crl (digest, der) VALUES (?, ?)").bind(digest).bind(der).run();
}

void Store::keep_request(const CertificateRequest &request) {
  Query query(database_, "REPLACE INTO request VALUES (?, ?, ?, ?, ?, ?)");
  for (const Bytes name : request.names) query.bind(name);
  query.bind(request.further).bind(request.data).run();
}

bool Store::remove_request(const Names &names) {
  Query query(database_,
              "DELETE FROM request WHERE name1 = ? AND name2 = ? AND name3 = ? AND name4 = ? "
              "RETURNING 1");
  for (const Bytes name : names) query.bind(name);
  return query.step();
}

std::vector<int64_t> Store::with_key(uint32_t type, Bytes data) {
  Query query(
      database_,
      "SELECT certificate FROM search_key WHERE type = ? AND data = ? ORDER BY certificate");
  query.bind(type).bind(data);
  return column(query);
}

std::vector<int64_t> Store::all(const Filter &filter) {
  Query query(database_, "SELECT id FROM certificate WHERE " FILTER " ORDER BY id");
  bind_filter(query, filter);
  return column(query);
}

std::vector<int64_t> Store::issuers(Bytes name, const Filter &filter) {
  Query query(database_, "SELECT id FROM certificate WHERE subject = ? AND issuing AND " FILTER
                         " ORDER BY id");
  query.bind(name);
  bind_filter(query, filter);
  return column(query);
}

bool Store::passes(int64_t id, const Filter &filter) {
  Query query(database_, "SELECT 1 FROM certificate WHERE id = ? AND " FILTER);
  query.bind(id);
  bind_filter(query, filter);
  return query.step();
}

std::optional<std::string> Store::issuer_name(int64_t id) {
  Query query(database_, "SELECT issuer FROM certificate WHERE id = ?");
  if (!query.bind(id).step() || query.null(0)) return {};
  return std::string(ssh_bytes_text(query.octets(0)));
}

bool Store::encode_keys(int64_t certificate, size_t room, Output &output, uint32_t *count) {
  Query rows(database_,
             "SELECT type, data FROM search_key WHERE certificate = ? ORDER BY type, data");
  rows.bind(certificate);
  for (*count = 0; rows.step(); ++*count) {
    const Bytes data = rows.octets(1);
    if (output.size() + data.size() > room) return false;
    encode_key(output, static_cast<uint32_t>(rows.integer(0)), data);
  }
  return true;
}

bool Store::encode_certificate(int64_t id, uint32_t serial, size_t room, Output &output) {
  Element element;
  element.tag = static_cast<uint32_t>(id);
  element.serial = serial;
  Output keys;
  if (!encode_keys(id, room, keys, &element.key_count)) return false;
  element.keys = keys.bytes();
  Query encoding(database_, "SELECT der FROM encoding WHERE certificate = ?");
  if (encoding.bind(id).step()) element.certificate = encoding.octets(0);
  if (kElementSize + element.keys.size() + element.certificate.size() > room) return false;
  encode_element(output, element);
  return true;
}

std::vector<std::string> Store::authority_names() {
  std::vector<std::string> names;
  Query query(database_,
              "SELECT subject_text FROM certificate WHERE ca AND subject_text IS NOT NULL "
              "GROUP BY subject_text ORDER BY min(id)");
  while (query.step()) names.emplace_back(ssh_bytes_text(query.octets(0)));
  return names;
}

Counts Store::counts() {
  Query query(database_,
              "SELECT (SELECT count(*) FROM certificate), (SELECT count(*) FROM certificate "
              "WHERE ca), (SELECT count(*) FROM crl), (SELECT count(*) FROM request)");
  if (!query.step()) return {};
  return {query.integer(0), query.integer(1), query.integer(2), query.integer(3)};
}

}  // namespace loopback
