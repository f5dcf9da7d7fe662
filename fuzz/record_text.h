// What a record holds, as text, so that two decodes of one input can be held against each other.
#pragma once

#include <concepts>
#include <optional>
#include <string>

#include "util/mem.h"
#include "x509/cert.h"
#include "x509/crl.h"

// RecordText lists fields in order; add() takes any number of them, and has an overload for each
// type of field. A view is written as its bytes, a pointer as the list that begins there.
class RecordText {
 public:
  [[nodiscard]] const std::string &text() const { return text_; }

  template <class... Fields>
  void add(const Fields &...fields) {
    (write(fields), ...);
  }

 private:
  template <class Number>
  requires(std::integral<Number> || std::is_enum_v<Number>) void write(Number value) {
    text_ += std::to_string(static_cast<uint64_t>(value)) + ' ';
  }
  void write(Bytes view) {
    write(view.size());
    text_ += ssh_bytes_text(view);
  }
  template <class Item>
  void write(const Item *list) {
    for (text_ += '['; list; list = list->next) write(*list);
    text_ += ']';
  }
  void write(SshOid oid) { write(oid.octets); }
  void write(const SshMpInt &value) { add(value.negative(), value.magnitude()); }
  void write(const SshBerTime &t) {
    add(t.year, t.month, t.day, t.hour, t.minute, t.second, t.microseconds, t.tz_plus, t.tz_hours,
        t.tz_minutes);
  }
  void write(const SshX509ExtensionSet &set) {
    for (uint32_t kind = 0; kind < SSH_X509_EXT_KINDS; ++kind)
      add(set.test(kind), set.critical(kind));
  }
  void write(const SshX509Text &text) { add(text.charset, text.present, text.octets); }
  void write(const SshX509Name &name) {
    add(name.type, name.data_length, name.text, name.data, name.der);
  }
  void write(const SshX509KeyId *id) {
    if (id) add(id->key_id, id->issuer, id->serial());
  }
  void write(const SshX509Period *period) {
    if (period) add(period->not_before, period->not_after);
  }
  void write(const SshX509PolicyQualifier &q) {
    add(q.id, q.cps_uri, q.organization, q.explicit_text, q.value, q.notice_count,
        q.notice_count ? q.notice_numbers[0] : 0);
  }
  void write(const SshX509PolicyInfo &policy) { add(policy.id, policy.qualifiers); }
  void write(const SshX509PolicyMapping &m) { add(m.issuer_policy, m.subject_policy); }
  void write(const SshX509Attribute &attribute) { add(attribute.type, attribute.value); }
  void write(const SshX509Subtree &tree) { add(tree.base, tree.minimum, tree.maximum); }
  void write(const SshX509PolicyConstraint &c) {
    add(c.require_explicit_policy, c.inhibit_policy_mapping);
  }
  void write(const SshX509KeyPurpose &purpose) { add(purpose.id); }
  void write(const SshX509PointName &name) { add(name.full, name.relative_issuer, name.relative); }
  void write(const SshX509DistributionPoint &point) {
    add(point.name, point.reasons, point.crl_issuer);
  }
  void write(const std::optional<SshX509IssuingDistPoint> &point) {
    if (point)
      add(point->name, point->only_user_certs, point->only_ca_certs, point->only_some_reasons,
          point->indirect_crl, point->only_attribute_certs);
  }
  void write(const SshX509AccessDescription &access) { add(access.method, access.location); }
  void write(const SshX509Extra &e) { add(e.value, e.octets, e.items, e.text, e.time); }
  void write(const SshX509CertTemplate *made) {
    if (made)
      add(made->id, made->has_major, made->major_version, made->has_minor, made->minor_version);
  }
  void write(const SshX509Further *further) {
    if (!further) return;
    add(further->inhibit_any_policy, further->subject_info_access, further->freshest_crl,
        further->extras, further->cert_template, further->tls_feature_count);
    for (uint32_t i = 0; i < further->tls_feature_count; ++i) add(further->tls_features[i]);
  }
  void write(const SshX509RevokedEntry &entry) {
    add(entry.extensions, entry.serial, entry.date, entry.reason, entry.hold_instruction,
        entry.extension_list, entry.der, entry.invalidity_date, entry.certificate_issuer);
  }
  void write(const SshX509Key &key) {
    add(key.usable, key.info, key.id, key.parameters, key.value, key.n, key.e, key.p, key.q, key.g,
        key.y);
  }
  void write(const SshX509Cert &cert) {
    add(cert.version, cert.public_key_type, cert.allowed_usage, cert.allowed_ca_usage,
        cert.signature_key_type, cert.signature_pair, cert.signature_value.bits, cert.key_usage,
        cert.path_length, cert.ca, cert.element, cert.signed_data, cert.algorithm,
        cert.signed_algorithm, cert.signature, cert.extension_list, cert.key, cert.extensions,
        cert.serial, cert.not_before, cert.not_after, cert.key_period, cert.issuer_names,
        cert.subject_names, cert.subject_key_id, cert.authority_key_id, cert.policies,
        cert.policy_mappings, cert.directory_attributes, cert.permitted, cert.excluded,
        cert.policy_constraints, cert.distribution_points, cert.extended_key_usage,
        cert.authority_info_access, cert.further);
  }
  void write(const SshX509Crl &crl) {
    add(crl.version, crl.revoked_count, crl.signature_key_type, crl.signature_value.bits,
        crl.element, crl.signed_data, crl.algorithm, crl.signed_algorithm, crl.signature,
        crl.revoked, crl.extension_list, crl.extensions, crl.issuer_names, crl.this_update,
        crl.next_update, crl.authority_key_id, crl.crl_number, crl.delta_crl, crl.issuing_point,
        crl.freshest_crl, crl.authority_info_access, crl.extras);
    SshX509RevokedCursor cursor(crl);
    while (cursor.next()) add(cursor.entry());
  }
  void write(const SshX509Refusal &refusal) {
    if (!refusal) return;
    text_ += std::string(refusal.structure) + '/' + refusal.rule;
    add(refusal.offset, refusal.found, refusal.identifier);
  }

  std::string text_;
};
