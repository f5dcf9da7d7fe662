#include "kwpki/values/extensions.h"

#include <iterator>

#include "kwpki/terminal/text.h"
#include "kwpki/values/extension_values.h"

namespace kwpki {
namespace {

Json key_id_json(const SshX509KeyId *id) {
  Json json = Json::object();
  if (!id) return json;
  json["key_id"] = hex(id->key_id);
  if (id->issuer) json["issuer"] = names_json(id->issuer);
  if (const SshMpInt serial = id->serial(); !serial.negative())
    json["serial"] = integer_json(serial);
  return json;
}

Json qualifier_json(const SshX509PolicyQualifier &qualifier) {
  Json json = {{"qualifier", oid_json(qualifier.id)}};
  if (qualifier.cps_uri.present) json["cps_uri"] = text_json(qualifier.cps_uri);
  if (qualifier.organization.present) json["organization"] = text_json(qualifier.organization);
  if (qualifier.notice_count) {  // the record keeps the last number only
    json["notice_numbers"] = qualifier.notice_count;
    json["last_notice_number"] = qualifier.notice_numbers[0];
  }
  if (!qualifier.value.empty()) json["value"] = hex(qualifier.value);
  if (qualifier.explicit_text.present) json["explicit_text"] = text_json(qualifier.explicit_text);
  return json;
}

Json policies_json(const SshX509Cert &cert) {
  return list_json(cert.policies, [](const SshX509PolicyInfo &policy) {
    Json json = {{"policy", oid_json(policy.id)}};
    if (policy.qualifiers) json["qualifiers"] = list_json(policy.qualifiers, qualifier_json);
    return json;
  });
}

Json mappings_json(const SshX509Cert &cert) {
  return list_json(cert.policy_mappings, [](const SshX509PolicyMapping &mapping) {
    return Json{{"issuer_policy", oid_json(mapping.issuer_policy)},
                {"subject_policy", oid_json(mapping.subject_policy)}};
  });
}

Json attributes_json(const SshX509Cert &cert) {
  return list_json(cert.directory_attributes, [](const SshX509Attribute &attribute) {
    return Json{{"attribute", oid_json(attribute.type)}, {"value_der", base64(attribute.value)}};
  });
}

Json subtrees_json(const SshX509Subtree *list) {
  return list_json(list, [](const SshX509Subtree &subtree) {
    return Json{{"base", names_json(subtree.base)},
                {"minimum", subtree.minimum},
                {"maximum", limit_json(subtree.maximum)}};
  });
}

// Under the classic profile the record holds the first permitted subtree once for each, and under
// "excluded" the permitted ones again: that is how the library decodes them. "der" has the
// encoding.
Json name_constraints_json(const SshX509Cert &cert) {
  Json json = Json::object();
  if (cert.permitted) json["permitted"] = subtrees_json(cert.permitted);
  if (cert.excluded) json["excluded"] = subtrees_json(cert.excluded);
  return json;
}

Json policy_constraints_json(const SshX509Cert &cert) {
  return list_json(cert.policy_constraints, [](const SshX509PolicyConstraint &constraint) {
    return Json{{"require_explicit_policy", limit_json(constraint.require_explicit_policy)},
                {"inhibit_policy_mapping", limit_json(constraint.inhibit_policy_mapping)}};
  });
}

// set_point_name shows a name that is given in full, or the part of one, with the name that it
// becomes behind that of the issuer.
void set_point_name(Json &json, const SshX509PointName &name) {
  if (name.full) json["full_name"] = names_json(name.full);
  if (name.relative.empty()) return;
  json["relative_name_der"] = base64(name.relative);
  SshDN dn = {};
  uint8_t *der = nullptr;
  size_t length = 0;
  if (ssh_x509_point_name_expand(name, &dn)) {
    char *text = ssh_dn_encode_ldap(&dn);
    if (text) set_text(json, "expanded_name", take(text));
    if (!text && ssh_dn_encode_der(&dn, false, &der, &length))
      json["expanded_name"] = "#" + hex({der, length});
  }
  ssh_xfree(der);
  ssh_dn_clear(&dn);
}

Json points_json(const SshX509DistributionPoint *points) {
  return list_json(points, [](const SshX509DistributionPoint &point) {
    Json json = Json::object();
    set_point_name(json, point.name);
    if (point.reasons) json["reasons"] = reasons_json(point.reasons);
    if (point.crl_issuer) json["crl_issuer"] = names_json(point.crl_issuer);
    return json;
  });
}

Json issuing_point_json(const SshX509Crl &crl) {
  Json json = Json::object();
  if (!crl.issuing_point) return json;
  const SshX509IssuingDistPoint &point = *crl.issuing_point;
  set_point_name(json, point.name);
  json["only_user_certificates"] = point.only_user_certs != 0;
  json["only_ca_certificates"] = point.only_ca_certs != 0;
  if (point.only_some_reasons) json["only_some_reasons"] = reasons_json(point.only_some_reasons);
  json["indirect_crl"] = point.indirect_crl != 0;
  return json;
}

Json access_json(const SshX509AccessDescription *list) {
  return list_json(list, [](const SshX509AccessDescription &access) {
    return Json{{"method", oid_json(access.method)}, {"location", names_json(access.location)}};
  });
}

Json period_json(const SshX509Cert &cert) {
  return Json{{"not_before", time_json(cert.key_period->not_before)},
              {"not_after", time_json(cert.key_period->not_after)}};
}

Json basic_constraints_json(const SshX509Cert &cert) {
  return Json{{"ca", cert.ca != 0}, {"path_length", limit_json(cert.path_length)}};
}

Json purposes_json(const SshX509Cert &cert) {
  return list_json(cert.extended_key_usage,
                   [](const SshX509KeyPurpose &purpose) { return oid_json(purpose.id); });
}

// Features are numbers of TLS extensions: RFC 7633.
Json features_json(const SshX509Cert &cert) {
  Json json = Json::array();
  for (uint32_t i = 0; i < cert.further->tls_feature_count && take_item(); ++i) {
    const uint32_t code = cert.further->tls_features[i];
    const char *name = code == 5 ? "status_request" : code == 17 ? "status_request_v2" : "unnamed";
    json.push_back({{"name", name}, {"code", code}});
  }
  if (json.size() < cert.further->tls_feature_count) json.push_back(kOmitted);
  return json;
}

Json template_json(const SshX509Cert &cert) {
  const SshX509CertTemplate &record = *cert.further->cert_template;
  Json json = {{"template", oid_json(record.id)}};
  if (record.has_major) json["major_version"] = record.major_version;
  if (record.has_minor) json["minor_version"] = record.minor_version;
  return json;
}

Json reason_json(const SshX509RevokedEntry &entry) {
  constexpr const char *kReasons[] = {
      "unspecified",     "key compromise",         "ca compromise",    "affiliation changed",
      "superseded",      "cessation of operation", "certificate hold", "unused",
      "remove from crl", "privilege withdrawn",    "aa compromise",
  };
  const char *name = entry.reason < std::size(kReasons) ? kReasons[entry.reason] : "unknown";
  return Json{{"code", entry.reason}, {"name", name}};
}

// A row gives a kind of extension the function that shows what the record holds of it.
template <class Record>
struct ExtensionRow {
  SshX509ExtensionKind kind;
  Json (*contents)(const Record &record);
};

constexpr ExtensionRow<SshX509Cert> kCertRows[] = {
    {SSH_X509_EXT_AUTHORITY_KEY_ID,
     [](const SshX509Cert &cert) { return key_id_json(cert.authority_key_id); }},
    {SSH_X509_EXT_SUBJECT_KEY_ID,
     [](const SshX509Cert &cert) { return key_id_json(cert.subject_key_id); }},
    {SSH_X509_EXT_KEY_USAGE,
     [](const SshX509Cert &cert) { return key_usage_json(cert.key_usage); }},
    {SSH_X509_EXT_PRIVATE_KEY_USAGE_PERIOD, period_json},
    {SSH_X509_EXT_CERTIFICATE_POLICIES, policies_json},
    {SSH_X509_EXT_POLICY_MAPPINGS, mappings_json},
    {SSH_X509_EXT_SUBJECT_ALT_NAME,
     [](const SshX509Cert &cert) { return names_json(cert.subject_names); }},
    {SSH_X509_EXT_ISSUER_ALT_NAME,
     [](const SshX509Cert &cert) { return names_json(cert.issuer_names); }},
    {SSH_X509_EXT_SUBJECT_DIRECTORY_ATTRIBUTES, attributes_json},
    {SSH_X509_EXT_BASIC_CONSTRAINTS, basic_constraints_json},
    {SSH_X509_EXT_NAME_CONSTRAINTS, name_constraints_json},
    {SSH_X509_EXT_POLICY_CONSTRAINTS, policy_constraints_json},
    {SSH_X509_EXT_AUTHORITY_INFO_ACCESS,
     [](const SshX509Cert &cert) { return access_json(cert.authority_info_access); }},
    {SSH_X509_EXT_CRL_DISTRIBUTION_POINTS,
     [](const SshX509Cert &cert) { return points_json(cert.distribution_points); }},
    {SSH_X509_EXT_EXTENDED_KEY_USAGE, purposes_json},
    {SSH_X509_EXT_INHIBIT_ANY_POLICY,
     [](const SshX509Cert &cert) {
       return Json{{"skip_certificates", limit_json(cert.further->inhibit_any_policy)}};
     }},
    {SSH_X509_EXT_SUBJECT_INFO_ACCESS,
     [](const SshX509Cert &cert) { return access_json(cert.further->subject_info_access); }},
    {SSH_X509_EXT_FRESHEST_CRL,
     [](const SshX509Cert &cert) { return points_json(cert.further->freshest_crl); }},
    {SSH_X509_EXT_TLS_FEATURE, features_json},
    {SSH_X509_EXT_TEMPLATE, template_json},
};

constexpr ExtensionRow<SshX509Crl> kCrlRows[] = {
    {SSH_X509_EXT_AUTHORITY_KEY_ID,
     [](const SshX509Crl &crl) { return key_id_json(crl.authority_key_id); }},
    {SSH_X509_EXT_ISSUER_ALT_NAME,
     [](const SshX509Crl &crl) { return names_json(crl.issuer_names); }},
    {SSH_X509_EXT_CRL_NUMBER, [](const SshX509Crl &crl) { return integer_json(crl.crl_number); }},
    {SSH_X509_EXT_ISSUING_DISTRIBUTION_POINT, issuing_point_json},
    {SSH_X509_EXT_DELTA_CRL_INDICATOR,
     [](const SshX509Crl &crl) { return integer_json(crl.delta_crl); }},
    {SSH_X509_EXT_FRESHEST_CRL,
     [](const SshX509Crl &crl) { return points_json(crl.freshest_crl); }},
    {SSH_X509_EXT_AUTHORITY_INFO_ACCESS,
     [](const SshX509Crl &crl) {  // not every profile reads it here
       return crl.authority_info_access ? access_json(crl.authority_info_access) : Json();
     }},
};

constexpr ExtensionRow<SshX509RevokedEntry> kEntryRows[] = {
    {SSH_X509_EXT_REASON_CODE, reason_json},
    {SSH_X509_EXT_HOLD_INSTRUCTION,
     [](const SshX509RevokedEntry &entry) { return oid_json(entry.hold_instruction); }},
    {SSH_X509_EXT_INVALIDITY_DATE,
     [](const SshX509RevokedEntry &entry) { return time_json(entry.invalidity_date); }},
    {SSH_X509_EXT_CERTIFICATE_ISSUER,
     [](const SshX509RevokedEntry &entry) { return names_json(entry.certificate_issuer); }},
};

// ExtraRow gives a kind of extension that the library keeps as it stands a description. Those
// without a row are a text or bytes.
struct ExtraRow {
  SshX509ExtensionKind kind;
  Json (*contents)(const SshX509Extra &extra);
};
constexpr ExtraRow kExtraRows[] = {
    {SSH_X509_EXT_SCT_LIST,
     [](const SshX509Extra &extra) { return timestamps_json(extra.octets); }},
    {SSH_X509_EXT_PRECERTIFICATE_POISON,
     [](const SshX509Extra &) { return Json("a precertificate, not to be relied upon"); }},
    {SSH_X509_EXT_OCSP_NO_CHECK,
     [](const SshX509Extra &) { return Json("revocation is not to be checked"); }},
    {SSH_X509_EXT_QC_STATEMENTS,
     [](const SshX509Extra &extra) { return items_json(extra.items, "statement"); }},
    {SSH_X509_EXT_APPLICATION_POLICIES,
     [](const SshX509Extra &extra) { return items_json(extra.items, "policy"); }},
    {SSH_X509_EXT_NETSCAPE_CERT_TYPE, netscape_type_json},
    {SSH_X509_EXT_IP_BLOCKS, ip_blocks_json},
    {SSH_X509_EXT_AS_NUMBERS, as_numbers_json},
    {SSH_X509_EXT_CA_VERSION, ca_version_json},
    {SSH_X509_EXT_PREVIOUS_CA_HASH,
     [](const SshX509Extra &extra) {
       return Json{{"value", hex(extra.octets)}};
     }},
    {SSH_X509_EXT_EXPIRED_CERTS_ON_CRL,
     [](const SshX509Extra &extra) { return time_json(extra.time); }},
    {SSH_X509_EXT_NEXT_CRL_PUBLISH,
     [](const SshX509Extra &extra) { return time_json(extra.time); }},
};

const SshX509Extra *extras_of(const SshX509Cert &cert) {
  return cert.further ? cert.further->extras : nullptr;
}
const SshX509Extra *extras_of(const SshX509Crl &crl) { return crl.extras; }
const SshX509Extra *extras_of(const SshX509RevokedEntry &) { return nullptr; }

// set_contents shows what the record holds of a kind.
template <class Record>
void set_contents(Json &json, uint32_t kind, std::span<const ExtensionRow<Record>> rows,
                  const Record &record) {
  Json contents;
  for (const auto &row : rows) {
    if (row.kind == kind) contents = row.contents(record);
  }
  for (const SshX509Extra *extra = extras_of(record); extra; extra = extra->next) {
    if (extra->row->code != kind) continue;
    for (const ExtraRow &row : kExtraRows) {
      if (row.kind == kind) contents = row.contents(*extra);
    }
  }
  if (!contents.is_null()) json["contents"] = std::move(contents);
}

// extension_json describes one extension. `seen` has the kinds that came before it: the library
// reads the first extension of a kind under classic, so the record holds nothing of a repetition.
template <class Record>
Json extension_json(const SshX509ExtensionView &extension,
                    std::span<const ExtensionRow<Record>> rows, const Record &record,
                    SshX509ExtensionSet &seen) {
  Json json = oid_json(extension.id);
  const SshOidRow *known = ssh_oid_find_encoded(extension.id, SSH_OID_EXTENSION);
  if (known) {
    json["name"] = known->name;
    json["description"] = known->description;
  }
  json["critical"] = extension.critical != 0;
  const uint32_t kind = known ? known->code : SSH_X509_EXT_UNKNOWN;
  if (kind != SSH_X509_EXT_UNKNOWN && seen.test(kind)) {
    json["note"] = "a repetition, which the library passes over";
  } else if (kind != SSH_X509_EXT_UNKNOWN && !record.extensions.test(kind)) {
    json["note"] = "its value could not be read";  // of a record that is refused
  } else {
    set_contents(json, kind, rows, record);
    seen.set(kind, false);
  }
  SshX509Text text;
  if (!json.contains("contents") && ssh_x509_text_read(extension.value, &text))
    set_string(json, text);
  json["der"] = base64(extension.value);
  return json;
}

// describe goes over the extensions as they stand in the encoding, and takes the contents of each
// from the record.
template <class Record>
Json describe(std::span<const ExtensionRow<Record>> rows, const Record &record) {
  Json json = Json::array();
  SshX509ExtensionSet seen;
  SshX509ExtensionCursor cursor(record.extension_list);
  while (cursor.next()) {
    if (!take_item()) {
      json.push_back(kOmitted);
      break;
    }
    json.push_back(extension_json(cursor.extension(), rows, record, seen));
  }
  return json;
}

}  // namespace

Json extensions_json(const SshX509Cert &cert) {
  return describe(std::span<const ExtensionRow<SshX509Cert>>(kCertRows), cert);
}

Json extensions_json(const SshX509Crl &crl) {
  return describe(std::span<const ExtensionRow<SshX509Crl>>(kCrlRows), crl);
}

Json extensions_json(const SshX509RevokedEntry &entry) {
  return describe(std::span<const ExtensionRow<SshX509RevokedEntry>>(kEntryRows), entry);
}

}  // namespace kwpki
