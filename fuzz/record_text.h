// What a record holds, as text, so that two decodes of one input can be held against each other.
#pragma once

#include <string>

#include "util/mem.h"
#include "x509/cert.h"
#include "x509/crl.h"

// RecordText lists fields in order. Views are written as their bytes.
class RecordText {
 public:
  [[nodiscard]] const std::string &text() const { return text_; }

  void record(const SshX509Cert &cert, size_t used) {
    number(used, cert.version, cert.public_key_type, cert.allowed_usage, cert.allowed_ca_usage);
    number(cert.signature_key_type, cert.signature_pair, cert.signature_value.bits);
    number(cert.key_usage, cert.path_length, cert.ca, cert.key.usable);
    bytes(cert.element, cert.signed_data, cert.algorithm, cert.signed_algorithm, cert.signature);
    bytes(cert.extension_list, cert.key.info, cert.key.id.octets, cert.key.parameters);
    bytes(cert.key.value, cert.key.n, cert.key.e, cert.key.p, cert.key.q, cert.key.g, cert.key.y);
    set(cert.extensions);
    integer(cert.serial);
    for (const auto *time : {&cert.not_before, &cert.not_after}) this->time(*time);
    if (const auto *period = cert.key_period) {
      time(period->not_before);
      time(period->not_after);
    }
    for (const auto *list : {cert.issuer_names, cert.subject_names}) names(list);
    for (const auto *id : {cert.subject_key_id, cert.authority_key_id}) key_id(id);
    each(cert.policies, [this](const auto &item) { policy(item); });
    each(cert.policy_mappings, [this](const auto &item) {
      bytes(item.issuer_policy.octets, item.subject_policy.octets);
    });
    each(cert.directory_attributes,
         [this](const auto &item) { bytes(item.type.octets, item.value); });
    for (const auto *list : {cert.permitted, cert.excluded}) {
      each(list, [this](const auto &item) {
        names(item.base);
        number(item.minimum, item.maximum);
      });
    }
    each(cert.policy_constraints, [this](const auto &item) {
      number(item.require_explicit_policy, item.inhibit_policy_mapping);
    });
    points(cert.distribution_points);
    each(cert.extended_key_usage, [this](const auto &item) { bytes(item.id.octets); });
    access(cert.authority_info_access);
    if (cert.further) further(*cert.further);
  }

  void record(const SshX509Crl &crl, size_t used) {
    number(used, crl.version, crl.revoked_count, crl.signature_key_type, crl.signature_value.bits);
    bytes(crl.element, crl.signed_data, crl.algorithm, crl.signed_algorithm, crl.signature);
    bytes(crl.revoked, crl.extension_list);
    set(crl.extensions);
    names(crl.issuer_names);
    for (const auto *time : {&crl.this_update, &crl.next_update}) this->time(*time);
    key_id(crl.authority_key_id);
    for (const auto *value : {&crl.crl_number, &crl.delta_crl}) integer(*value);
    if (const auto &point = crl.issuing_point) {
      point_name(point->name);
      number(point->only_user_certs, point->only_ca_certs, point->only_some_reasons);
      number(point->indirect_crl, point->only_attribute_certs);
    }
    points(crl.freshest_crl);
    access(crl.authority_info_access);
    extras(crl.extras);
    SshX509RevokedCursor cursor(crl);
    while (cursor.next()) entry(cursor.entry());
  }

  void refusal(const SshX509Refusal &refusal) {
    if (!refusal) return;
    text_ += std::string(refusal.structure) + '/' + refusal.rule;
    number(refusal.offset, refusal.found);
    bytes(refusal.identifier.octets);
  }

 private:
  template <class... Values>
  void number(Values... values) {
    ((text_ += std::to_string(static_cast<uint64_t>(values)) + ' '), ...);
  }
  template <class... Views>
  void bytes(Views... views) {
    ((text_ += std::to_string(views.size()) + ':' + std::string(ssh_bytes_text(views)) + ' '), ...);
  }
  template <class Item, class Show>
  void each(const Item *list, Show show) {
    for (text_ += '['; list; list = list->next) show(*list);
    text_ += ']';
  }

  void set(const SshX509ExtensionSet &set) {
    for (uint32_t kind = 0; kind < SSH_X509_EXT_KINDS; ++kind)
      number(set.test(kind), set.critical(kind));
  }
  void integer(const SshMpInt &value) {
    number(value.negative());
    bytes(value.magnitude());
  }
  void time(const SshBerTime &time) {
    number(time.year, time.month, time.day, time.hour, time.minute, time.second);
    number(time.microseconds, time.tz_plus, time.tz_hours, time.tz_minutes);
  }
  void string(const SshX509Text &text) {
    number(text.charset, text.present);
    bytes(text.octets);
  }
  void names(const SshX509Name *list) {
    each(list, [this](const SshX509Name &name) {
      number(name.type, name.data_length);
      bytes(name.text, name.data, name.der);
    });
  }
  void key_id(const SshX509KeyId *id) {
    if (!id) return;
    bytes(id->key_id);
    names(id->issuer);
    integer(id->serial());
  }
  void policy(const SshX509PolicyInfo &policy) {
    bytes(policy.id.octets);
    each(policy.qualifiers, [this](const SshX509PolicyQualifier &qualifier) {
      bytes(qualifier.id.octets);
      string(qualifier.cps_uri);
      string(qualifier.organization);
      string(qualifier.explicit_text);
      bytes(qualifier.value);
      number(qualifier.notice_count, qualifier.notice_count ? qualifier.notice_numbers[0] : 0);
    });
  }
  void point_name(const SshX509PointName &name) {
    names(name.full);
    bytes(name.relative_issuer, name.relative);
  }
  void points(const SshX509DistributionPoint *list) {
    each(list, [this](const SshX509DistributionPoint &point) {
      point_name(point.name);
      number(point.reasons);
      names(point.crl_issuer);
    });
  }
  void access(const SshX509AccessDescription *list) {
    each(list, [this](const SshX509AccessDescription &access) {
      bytes(access.method.octets);
      names(access.location);
    });
  }
  void extras(const SshX509Extra *list) {
    each(list, [this](const SshX509Extra &extra) {
      bytes(extra.value, extra.octets, extra.items);
      string(extra.text);
      time(extra.time);
    });
  }
  void further(const SshX509Further &further) {
    number(further.inhibit_any_policy, further.tls_feature_count);
    for (uint32_t i = 0; i < further.tls_feature_count; ++i) number(further.tls_features[i]);
    access(further.subject_info_access);
    points(further.freshest_crl);
    extras(further.extras);
    if (!further.cert_template) return;
    bytes(further.cert_template->id.octets);
    number(further.cert_template->has_major, further.cert_template->major_version);
    number(further.cert_template->has_minor, further.cert_template->minor_version);
  }
  void entry(const SshX509RevokedEntry &entry) {
    set(entry.extensions);
    integer(entry.serial);
    time(entry.date);
    number(entry.reason);
    bytes(entry.hold_instruction.octets, entry.extension_list, entry.der);
    time(entry.invalidity_date);
    names(entry.certificate_issuer);
  }
  std::string text_;
};
