// The store: certificates with their keys and facts, CRLs, and certificate requests, in SQLite. Its
// functions are called inside a transaction and throw StoreError. A further fact is a column, its
// line in CertificateFacts and its part of the filter; then the version goes up.
#pragma once

#include <limits>
#include <string>
#include <vector>

#include "loopback/database.h"
#include "loopback/keys.h"
#include "loopback/messages.h"

namespace loopback {

// Filter is what a certificate must meet beside its keys. As it stands it lets all pass.
struct Filter {
  // The validity of a certificate must cover all times from the earliest to the latest, in seconds
  // since 1970. At first there are none.
  int64_t earliest = std::numeric_limits<int64_t>::max();
  int64_t latest = std::numeric_limits<int64_t>::min();
  uint32_t key_usage = 0;    // bits that must all be allowed
  uint32_t key_type = 0;     // 0: any
  int64_t path_length = -1;  // of a CA, at least; -1: any certificate
  int ca = -1;               // 0: no CA; 1: CAs; -1: any

  // cover adds the times of a range that are given.
  void cover(const Validity &range);
};

struct Counts {
  int64_t certificates = 0, authorities = 0, crls = 0, requests = 0;
};

class Store {
 public:
  // Store opens the file at `path`, or is in memory if that is null.
  explicit Store(const char *path);

  [[nodiscard]] Database &database() { return database_; }

  // add_certificate and add_crl do nothing if there is one of the same bytes.
  void add_certificate(Bytes der, uint32_t options, const CertificateFacts &facts);
  void add_crl(Bytes der);

  // keep_request replaces a request of the same names; remove_request is false if there is none.
  void keep_request(const CertificateRequest &request);
  [[nodiscard]] bool remove_request(const Names &names);

  // All lists of certificates are in the order in which they were added.
  [[nodiscard]] std::vector<int64_t> with_key(uint32_t type, Bytes data);
  [[nodiscard]] std::vector<int64_t> all(const Filter &filter);
  [[nodiscard]] std::vector<int64_t> issuers(Bytes name, const Filter &filter);
  [[nodiscard]] bool passes(int64_t id, const Filter &filter);
  [[nodiscard]] std::optional<std::string> issuer_name(int64_t id);

  // encode_certificate appends a certificate as an element of a reply; false, with nothing
  // appended, if it takes more than `room` bytes.
  [[nodiscard]] bool encode_certificate(int64_t id, uint32_t serial, size_t room, Output &output);

  [[nodiscard]] std::vector<std::string> authority_names();
  [[nodiscard]] Counts counts();

 private:
  [[nodiscard]] bool has(const char *text, Bytes digest, Bytes der);
  void add_keys(int64_t certificate, const SshCertDBKey *keys);
  [[nodiscard]] bool encode_keys(int64_t certificate, size_t room, Output &output, uint32_t *count);

  Database database_;
};

}  // namespace loopback
