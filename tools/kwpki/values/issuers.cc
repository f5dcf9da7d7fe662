#include "kwpki/values/issuers.h"

#include <map>
#include <string_view>
#include <utility>

#include "kwpki/values/values.h"
#include "util/owner.h"
#include "x509/dn.h"

namespace kwpki {
namespace {

// Named is the name and key identifier of an issuer, as views of the objects.
using Named = std::pair<std::string_view, std::string_view>;

// Family makes the list. First it finds the issuer of each object (place); those without one begin
// lines of their own, in the order of the objects. Then it walks down from these (put). What is
// left after that issued each other in a circle, and begins a line as well.
class Family {
 public:
  explicit Family(const std::vector<Issued> &objects);
  std::vector<IssuedLine> lines();

 private:
  [[nodiscard]] bool signs_itself(size_t object) const;
  [[nodiscard]] size_t issuer_of(size_t object) const;
  void place(size_t object);
  void put(size_t object, size_t depth);

  const std::vector<Issued> &objects_;
  std::map<std::string_view, size_t> by_name_;  // the first of each name
  std::map<Named, size_t> by_key_;
  std::vector<std::vector<size_t>> issued_;                  // by issuer
  std::vector<size_t> firsts_;                               // those that begin a line of their own
  std::map<std::string_view, std::vector<size_t>> orphans_;  // by the name of their issuer
  std::vector<bool> seen_;
  std::vector<IssuedLine> lines_;
};

Family::Family(const std::vector<Issued> &objects)
    : objects_(objects), issued_(objects.size()), seen_(objects.size()) {
  for (size_t i = 0; i < objects.size(); ++i) {
    const Issued &object = objects[i];
    if (object.subject.empty()) continue;
    by_name_.emplace(object.subject, i);
    if (!object.key_id.empty()) by_key_.emplace(Named(object.subject, object.key_id), i);
  }
}

// signs_itself is true for the same name as subject and issuer. A renewed CA certificate that the
// old key signed has another key identifier for its issuer, and is not its own.
bool Family::signs_itself(size_t object) const {
  const Issued &own = objects_[object];
  return own.issuer == own.subject &&
         (own.issuer_key_id.empty() || own.key_id.empty() || own.issuer_key_id == own.key_id);
}

// issuer_of prefers the issuer with the right key identifier to the first one of the name.
size_t Family::issuer_of(size_t object) const {
  const Issued &own = objects_[object];
  if (own.issuer.empty() || signs_itself(object)) return kNoObject;
  const auto key = by_key_.find(Named(own.issuer, own.issuer_key_id));
  if (key != by_key_.end()) return key->second;
  const auto name = by_name_.find(own.issuer);
  return name == by_name_.end() || name->second == object ? kNoObject : name->second;
}

// put adds an object with all that it issued, each once.
void Family::put(size_t object, size_t depth) {
  std::vector<std::pair<size_t, size_t>> left = {{object, depth}};
  while (!left.empty()) {
    const auto [at, level] = left.back();
    left.pop_back();
    if (seen_[at]) continue;
    seen_[at] = true;
    lines_.push_back({level, at});
    for (size_t i = issued_[at].size(); i-- > 0;) left.emplace_back(issued_[at][i], level + 1);
  }
}

// place finds an object's issuer, or makes it the first of a line.
void Family::place(size_t object) {
  const Issued &own = objects_[object];
  const size_t issuer = issuer_of(object);
  if (issuer != kNoObject) return issued_[issuer].push_back(object);
  const bool alone = own.issuer.empty() || own.issuer == own.subject;
  if (!alone) orphans_[own.issuer].push_back(object);
  if (alone || orphans_[own.issuer].size() == 1) firsts_.push_back(object);
}

std::vector<IssuedLine> Family::lines() {
  for (size_t i = 0; i < objects_.size(); ++i) place(i);
  for (const size_t first : firsts_) {
    const auto group = orphans_.find(objects_[first].issuer);
    if (group == orphans_.end() || group->second[0] != first) {
      put(first, 0);
      continue;
    }
    lines_.push_back({0, kNoObject, first});
    for (const size_t orphan : group->second) put(orphan, 1);
  }
  for (size_t i = 0; i < objects_.size(); ++i)
    put(i, 0);  // those that issued each other in a circle
  return std::move(lines_);
}

}  // namespace

Bytes own_name(const SshX509Name *names) {
  const SshX509Name *name = ssh_x509_name_find(names, SSH_X509_NAME_DN);
  return name ? name->der : Bytes();
}

std::string readable_name(Bytes der) {
  return der.empty() ? "" : dn_json(der)["readable"].get<std::string>();
}

std::string compared_name(Bytes der) {
  SshDN dn = {};
  uint8_t *canonical = nullptr;
  size_t length = 0;
  const bool good =
      ssh_dn_decode_der(der, &dn) && ssh_dn_encode_der_canonical(&dn, &canonical, &length);
  ssh_dn_clear(&dn);
  const SshBlock block(canonical);
  return std::string(ssh_bytes_text(good ? Bytes(canonical, length) : der));
}

std::vector<IssuedLine> issued_lines(const std::vector<Issued> &objects) {
  return Family(objects).lines();
}

}  // namespace kwpki
