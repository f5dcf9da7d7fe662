#include "loopback/keys.h"

#include <chrono>

#include "cm/search.h"
#include "x509/dn.h"
#include "x509/oid_registry.h"

namespace loopback {

namespace {

constexpr std::string_view kEmailAddress = "1.2.840.113549.1.9.1";

// The add functions leave out what makes no key, such as a name without bytes: a certificate is
// kept whether or not it can be found by everything in it.
using SetText = bool (*)(SshCertDBKey **, const char *, uint32_t);

void add_text(SshCertDBKey **list, SetText set, Bytes octets) {
  if (octets.empty() || octets.size() > SSH_CM_KEY_MAX)
    return;  // `set` takes a length of 0 for that of null-terminated text
  (void)set(list, reinterpret_cast<const char *>(octets.data()),
            static_cast<uint32_t>(octets.size()));
}

void add_oid(SshCertDBKey **list, SshOid oid) {
  const SshText text(ssh_x509_oid_text(oid));
  if (text) add_text(list, ssh_cm_key_set_oid, ssh_text_bytes(text.get()));
}

void add_alternative_name(SshCertDBKey **list, const SshX509Name &name) {
  struct Row {
    SshX509NameType type;
    SetText set;
  };
  constexpr Row kTexts[] = {{SSH_X509_NAME_DNS, ssh_cm_key_set_dns},
                            {SSH_X509_NAME_URI, ssh_cm_key_set_uri},
                            {SSH_X509_NAME_EMAIL, ssh_cm_key_set_email}};
  for (const Row &row : kTexts) {
    if (row.type == name.type) add_text(list, row.set, name.text);
  }
  if (name.type == SSH_X509_NAME_IP) (void)ssh_cm_key_set_ip(list, name.data);
  if (name.type == SSH_X509_NAME_REGISTERED_ID) add_oid(list, {name.data});
}

// add_emails adds the e-mail addresses in a distinguished name.
void add_emails(SshCertDBKey **list, Bytes name) {
  SshDN dn = {};
  (void)ssh_dn_decode_der(name, &dn);
  for (uint32_t i = 0; i < dn.count; ++i) {
    for (const SshDNAva *pair = dn.rdns[i]->pairs; pair; pair = pair->next) {
      if (!pair->value || pair->oid != kEmailAddress) continue;
      const SshStrOwner text(ssh_str_charset_test(pair->value, SSH_CHARSET_IA5));
      size_t length = 0;
      const SshBlock octets(text ? ssh_str_get(text.get(), &length) : nullptr);
      if (octets) add_text(list, ssh_cm_key_set_email, {octets.get(), length});
    }
  }
  ssh_dn_clear(&dn);
}

void add_names(SshCertDBKey **list, const SshX509Name *names) {
  for (const SshX509Name *name = names; name; name = name->next) {
    if (name->type != SSH_X509_NAME_DN) {
      add_alternative_name(list, *name);
      continue;
    }
    (void)ssh_cm_key_set_dn_der(list, name->der);
    add_emails(list, name->der);
  }
}

// derive_keys makes the keys that a certificate is found by. README.md lists them.
KeyList derive_keys(const SshX509Cert &cert) {
  SshCertDBKey *list = nullptr;
  add_names(&list, cert.subject_names);
  for (const auto *policy = cert.policies; policy; policy = policy->next) {
    add_oid(&list, policy->id);
  }
  for (const auto *purpose = cert.extended_key_usage; purpose; purpose = purpose->next) {
    add_oid(&list, purpose->id);
  }
  const SshPublicKeyOwner key(ssh_x509_cert_public_key(&cert));
  if (key) (void)ssh_cm_key_set_public_key(&list, key.get());
  return KeyList(list);
}

// canonical_name gives the first distinguished name of a list, in the form in which names are
// compared.
std::optional<Octets> canonical_name(const SshX509Name *names) {
  const SshX509Name *name = ssh_x509_name_find(names, SSH_X509_NAME_DN);
  SshCertDBKey *list = nullptr;
  if (!name || !ssh_cm_key_set_dn_der(&list, name->der)) return {};
  const KeyList key(list);
  const Bytes octets = key->bytes();
  return Octets(octets.begin(), octets.end());
}

std::optional<std::string> name_text(const SshX509Name *names) {
  const SshX509Name *name = ssh_x509_name_find(names, SSH_X509_NAME_DN);
  const SshText text(name ? ssh_x509_name_text(name) : nullptr);
  if (!text) return {};
  return text.get();
}

}  // namespace

CertificateFacts derive_facts(const SshX509Cert &cert) {
  CertificateFacts facts;
  facts.keys = derive_keys(cert);
  facts.subject = canonical_name(cert.subject_names);
  facts.issuer = canonical_name(cert.issuer_names);
  facts.subject_text = name_text(cert.subject_names);
  facts.not_before = seconds_of(cert.not_before);
  facts.not_after = seconds_of(cert.not_after);
  facts.key_type = cert.public_key_type;
  const bool restricted = cert.extensions.test(SSH_X509_EXT_KEY_USAGE);
  facts.key_usage = restricted ? cert.key_usage : 0xFFFFFFFF;
  facts.path_length = cert.path_length;
  facts.ca = cert.ca != 0;
  facts.issuing = facts.ca || cert.version < 3;
  return facts;
}

int64_t seconds_of(const SshBerTime &time) {
  using namespace std::chrono;
  const auto date = year(static_cast<int>(time.year)) / month(time.month) / day(time.day);
  const seconds zone = hours(time.tz_hours) + minutes(time.tz_minutes);
  const sys_seconds local =
      sys_days(date) + hours(time.hour) + minutes(time.minute) + seconds(time.second);
  return (time.tz_plus ? local - zone : local + zone).time_since_epoch().count();
}

}  // namespace loopback
