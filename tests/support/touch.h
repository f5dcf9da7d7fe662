// Reading everything that a decoded record offers, so that a sanitizer sees any view that leads
// astray. Returns how many things were seen, which also keeps the reads alive.
#pragma once

#include "support/samples.h"

namespace touch {

inline size_t bytes(Bytes octets) {
  size_t sum = 0;
  for (const uint8_t octet : octets) sum += octet;
  return sum;
}

inline size_t text(char *owned) {
  const SshText owner(owned);
  return owned ? std::strlen(owned) : 0;
}

inline size_t oid(SshOid id) { return text(ssh_ber_oid_text(id)); }

inline size_t names(const SshX509Name *name) {
  size_t seen = 0;
  for (; name; name = name->next) {
    seen += 1 + bytes(name->data) + bytes(name->der) + bytes(name->text) +
            text(ssh_x509_name_text(name));
  }
  return seen;
}

inline size_t point_name(const SshX509PointName &name) {
  SshDN dn = {};
  if (!ssh_x509_point_name_expand(name, &dn)) {
    ssh_dn_clear(&dn);
    return names(name.full);
  }
  const size_t length = text(ssh_dn_encode_ldap(&dn));
  ssh_dn_clear(&dn);
  return length;
}

inline size_t string(const SshX509Text &value) {
  const SshStrOwner owner(ssh_x509_text_make(value));
  return owner ? owner->length : 0;
}

inline size_t key_id(const SshX509KeyId *id) {
  return id ? bytes(id->key_id) + names(id->issuer) + bytes(id->serial_octets) : 0;
}

inline size_t qualifiers(const SshX509PolicyQualifier *q) {
  size_t seen = 0;
  for (; q; q = q->next) {
    seen += oid(q->id) + string(q->cps_uri) + string(q->organization) + string(q->explicit_text);
    for (uint32_t i = 0; i < q->notice_count; ++i) seen += q->notice_numbers[i];
  }
  return seen;
}

inline size_t extensions(const SshX509Cert &cert) {
  size_t seen = key_id(cert.subject_key_id) + key_id(cert.authority_key_id);
  for (auto *p = cert.policies; p; p = p->next) seen += oid(p->id) + qualifiers(p->qualifiers);
  for (auto *m = cert.policy_mappings; m; m = m->next)
    seen += oid(m->issuer_policy) + oid(m->subject_policy);
  for (auto *a = cert.directory_attributes; a; a = a->next) seen += oid(a->type) + bytes(a->value);
  for (auto *s = cert.permitted; s; s = s->next) seen += names(s->base);
  for (auto *s = cert.excluded; s; s = s->next) seen += names(s->base);
  for (auto *c = cert.policy_constraints; c; c = c->next) seen += c->require_explicit_policy;
  for (auto *d = cert.distribution_points; d; d = d->next)
    seen += point_name(d->name) + names(d->crl_issuer);
  for (auto *k = cert.extended_key_usage; k; k = k->next) seen += oid(k->id);
  for (auto *a = cert.authority_info_access; a; a = a->next)
    seen += oid(a->method) + names(a->location);
  return seen;
}

inline size_t record(SshX509Cert &cert) {
  size_t seen = names(cert.issuer_names) + names(cert.subject_names) + bytes(cert.signature) +
                extensions(cert) + bytes(cert.signed_data) +
                text(ssh_x509_cert_subject_text(&cert)) + bytes(cert.serial.magnitude());
  const SshPublicKeyOwner key(ssh_x509_cert_public_key(&cert));
  uint8_t *blob = nullptr;
  uint32_t length = 0;
  if (key && ssh_public_key_export(key.get(), &blob, &length) == SSH_KEY_OK)
    seen += bytes({blob, length});
  ssh_xfree(blob);
  return seen;
}

inline size_t record(const SshX509Crl &crl) {
  size_t seen = names(crl.issuer_names) + bytes(crl.signature) + bytes(crl.signed_data) +
                key_id(crl.authority_key_id);
  if (crl.issuing_point) seen += point_name(crl.issuing_point->name);
  size_t count = 0;
  SshX509RevokedCursor cursor(crl);
  for (; cursor.next(); ++count) {
    const SshX509RevokedEntry &entry = cursor.entry();
    seen += bytes(entry.serial.magnitude()) + bytes(entry.der) + names(entry.certificate_issuer) +
            (entry.hold_instruction ? oid(entry.hold_instruction) : 0);
  }
  EXPECT_EQ(count, crl.revoked_count);
  return seen;
}

// decode decodes octets as a record and reads all of it; false if they were refused.
template <class Decoded>
bool decode(Bytes octets) {
  const Decoded decoded(octets);
  return decoded && record(*decoded) > 0;
}

}  // namespace touch
