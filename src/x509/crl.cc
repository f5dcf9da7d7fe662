#include "x509/crl.h"

#include "util/mem.h"
#include "util/owner.h"
#include "x509/cert.h"
#include "x509/parts.h"
#include "x509/signature.h"

namespace {

constexpr uint8_t kInteger = 0x02, kSequence = 0x30;
constexpr char kVersionRule[] = "1 is defined and, in the modern profile, 0";
constexpr char kReasonRule[] = "0 to 6, 8 and, in the modern profile, 9 and 10 are defined";

// CRLReason ::= ENUMERATED { unspecified (0) .. aACompromise (10) }, without 7; classic: up to
// removeFromCRL (8), as it was before RFC 3280                              RFC 5280, 5.3.1
bool decode_reason(SshAsn1Unread &value, SshX509RevokedEntry &entry, SshX509Decoder &decoder) {
  SshMpInt reason;
  if (!decoder.read_known(value, "(enum ())"_asn1, &reason)) return false;
  uint32_t code = 0;
  const uint32_t last = decoder.rules.further_reasons ? 10 : 8;
  if (!reason.to_uint32(code) || code > last || code == 7)
    return decoder.refuse_value("reason", kReasonRule, value.data());
  entry.reason = code;
  return true;
}

// HoldInstructionCode ::= OBJECT IDENTIFIER                                        RFC 3280, 5.3.2
bool decode_hold_instruction(SshAsn1Unread &value, SshX509RevokedEntry &entry,
                             SshX509Decoder &decoder) {
  return decoder.read(value, "(object-identifier ())"_asn1, &entry.hold_instruction);
}

// InvalidityDate ::= GeneralizedTime                                               RFC 5280, 5.3.2
bool decode_invalidity_date(SshAsn1Unread &value, SshX509RevokedEntry &entry,
                            SshX509Decoder &decoder) {
  return decoder.read(value, "(generalized-time ())"_asn1, &entry.invalidity_date) &&
         decoder.time_passes(entry.invalidity_date, value.data());
}

bool decode_certificate_issuer(SshAsn1Unread &value, SshX509RevokedEntry &entry,
                               SshX509Decoder &decoder) {
  return ssh_x509_name_decode_general_names(value, decoder, &entry.certificate_issuer);
}

constexpr SshX509ExtensionTable<SshX509RevokedEntry> kEntryExtensions({
    {SSH_X509_EXT_REASON_CODE, decode_reason},
    {SSH_X509_EXT_HOLD_INSTRUCTION, decode_hold_instruction},
    {SSH_X509_EXT_INVALIDITY_DATE, decode_invalidity_date},
    {SSH_X509_EXT_CERTIFICATE_ISSUER, decode_certificate_issuer},
});

bool decode_authority_key_id(SshAsn1Unread &value, SshX509Crl &crl, SshX509Decoder &decoder) {
  return ssh_x509_decode_key_id(value, &crl.authority_key_id, decoder);
}

bool decode_issuer_alt_name(SshAsn1Unread &value, SshX509Crl &crl, SshX509Decoder &decoder) {
  return ssh_x509_name_decode_general_names(value, decoder, &crl.issuer_names);
}

// CRLNumber ::= INTEGER (0..MAX)                                                   RFC 5280, 5.2.3
bool decode_crl_number(SshAsn1Unread &value, SshX509Crl &crl, SshX509Decoder &decoder) {
  return decoder.read(value, "(integer ())"_asn1, &crl.crl_number);
}

// BaseCRLNumber ::= CRLNumber                                                      RFC 5280, 5.2.4
bool decode_delta_crl(SshAsn1Unread &value, SshX509Crl &crl, SshX509Decoder &decoder) {
  return decoder.read_known(value, "(integer ())"_asn1, &crl.delta_crl);
}

bool decode_issuing_point(SshAsn1Unread &value, SshX509Crl &crl, SshX509Decoder &decoder) {
  return ssh_x509_decode_issuing_point(value, crl.issuer_names, crl.issuing_point.emplace(),
                                       decoder);
}

bool decode_authority_info_access(SshAsn1Unread &value, SshX509Crl &crl, SshX509Decoder &decoder) {
  return ssh_x509_decode_access(value, &crl.authority_info_access, decoder);
}

// FreshestCRL ::= CRLDistributionPoints                                            RFC 5280, 5.2.6
bool decode_freshest_crl(SshAsn1Unread &value, SshX509Crl &crl, SshX509Decoder &decoder) {
  return ssh_x509_decode_points(value, crl.issuer_names, &crl.freshest_crl, decoder);
}

bool decode_extra(SshAsn1Unread &value, SshX509Crl &crl, SshX509Decoder &decoder) {
  return ssh_x509_decode_extra(value, &crl.extras, decoder);
}

constexpr SshX509ExtensionTable<SshX509Crl> kCrlExtensions({
    {SSH_X509_EXT_AUTHORITY_KEY_ID, decode_authority_key_id},
    {SSH_X509_EXT_ISSUER_ALT_NAME, decode_issuer_alt_name},
    {SSH_X509_EXT_CRL_NUMBER, decode_crl_number},
    {SSH_X509_EXT_ISSUING_DISTRIBUTION_POINT, decode_issuing_point},
    {SSH_X509_EXT_DELTA_CRL_INDICATOR, decode_delta_crl},
    {SSH_X509_EXT_AUTHORITY_INFO_ACCESS, decode_authority_info_access,
     &SshX509Rules::access_in_crls},
    {SSH_X509_EXT_FRESHEST_CRL, decode_freshest_crl},
    {SSH_X509_EXT_CA_VERSION, decode_extra},
    {SSH_X509_EXT_EXPIRED_CERTS_ON_CRL, decode_extra},
    {SSH_X509_EXT_NEXT_CRL_PUBLISH, decode_extra},
});

// One entry of revokedCertificates:
//   SEQUENCE {
//      userCertificate         CertificateSerialNumber,
//      revocationDate          Time,
//      crlEntryExtensions      Extensions OPTIONAL }                             RFC 5280, 5.1
bool decode_entry(SshAsn1Unread &item, SshX509RevokedEntry &entry, SshX509Decoder &decoder) {
  int has_extensions = 0, which = -1;
  SshAsn1Unread date, extensions;
  if (!decoder.read_whole(item, "(sequence ()(integer ())(any ())(optional(any ())))"_asn1,
                          &entry.serial, &date, &has_extensions, &extensions)) {
    return decoder.refuse_read("entry of revokedCertificates", item);
  }
  if (!decoder.read_whole(date, "(choice(utc-time ()) (generalized-time ()))"_asn1, &which,
                          &entry.date, &entry.date)) {
    return decoder.refuse_read("revocationDate", date);
  }
  if (!decoder.time_passes(entry.date, date.data())) return false;
  return !has_extensions ||
         ssh_x509_extensions_decode(extensions, kEntryExtensions, false, entry, decoder);
}

// Entries as one pattern. Nearly all entries of all CRLs are of one form:
//
//   30 ll                                          SEQUENCE, a length below 128
//      02 ll ...                                   INTEGER: the serial number
//      17 0D YYMMDDhhmmssZ                         UTCTime: the date
//      30 0C 30 0A 06 03 55 1D 15 04 03 0A 01 rr   the extension with the reason, or nothing
//
// A CRL can have a million of them, and this form needs no templates: the lengths say where each
// part is, and the rest is compared. A decode only checks the entries (check_usual), and a walk
// only converts them (convert_usual), since each entry was checked before. Neither decides anything
// by itself: what is not of this form goes to decode_entry, and what is gives the same record as
// decode_entry would.
struct UsualEntry {
  const uint8_t *serial;  // its header
  const uint8_t *date;    // its header
  const uint8_t *end;
};

constexpr size_t kDateSize = 2 + SSH_BER_USUAL_UTC_TIME;
constexpr uint8_t kReasonExtension[] = {0x30, 0x0C, 0x30, 0x0A, 0x06, 0x03, 0x55,
                                        0x1D, 0x15, 0x04, 0x03, 0x0A, 0x01};
constexpr ptrdiff_t kReasonSize = sizeof kReasonExtension + 1;

// is_reason is true for the extension with a reason that both profiles know (see decode_reason).
bool is_reason(const uint8_t *extension) {
  const uint8_t code = extension[kReasonSize - 1];
  return std::memcmp(extension, kReasonExtension, sizeof kReasonExtension) == 0 && code <= 8 &&
         code != 7;
}

// match_usual compares the headers, and the whole extension with the reason. `rest` is the number
// of bytes behind the date; it is negative if there is no room for a number and a date.
inline bool match_usual(const uint8_t *p, const uint8_t *end, UsualEntry &entry) {
  if (end - p < 4 || p[0] != 0x30 || p[1] >= 0x80 || p[1] > end - p - 2) return false;
  const uint8_t *const serial = p + 2;
  const uint8_t *const entry_end = serial + p[1];
  if (serial[0] != 0x02 || serial[1] >= 0x80) return false;
  const uint8_t *const date = serial + 2 + serial[1];
  const ptrdiff_t rest = entry_end - serial - 2 - serial[1] - static_cast<ptrdiff_t>(kDateSize);
  if (rest != 0 && (rest != kReasonSize || !is_reason(entry_end - kReasonSize))) return false;
  if (date[0] != 0x17 || date[1] != SSH_BER_USUAL_UTC_TIME) return false;
  entry = {serial, date, entry_end};
  return true;
}

// check_usual checks that an entry can be converted later, and returns its end; null if it is not
// of the usual form.
inline const uint8_t *check_usual(const uint8_t *p, const uint8_t *end) {
  UsualEntry entry;
  if (!match_usual(p, end, entry)) return nullptr;
  const SshBerUsualUtcTime date(entry.date + 2);
  return date.has_form() && date.is_time() ? entry.end : nullptr;
}

// convert_usual makes a record of an entry that was checked before, and returns its end; null if it
// is not of the usual form. It does not look at ranges again. (A date with hour 24, which only
// decode_entry accepts, is converted here too; its `odd` is then not set, which nobody asks about
// after a decode.)
inline const uint8_t *convert_usual(const uint8_t *p, const uint8_t *end,
                                    SshX509RevokedEntry &record) {
  UsualEntry entry;
  if (!match_usual(p, end, entry)) return nullptr;
  const SshBerUsualUtcTime date(entry.date + 2);
  if (!date.has_form()) return nullptr;
  record.serial.set_twos_complement({entry.serial + 2, entry.serial[1]});
  date.convert(&record.date);
  const Bytes extensions(entry.date + kDateSize, entry.end);
  if (extensions.empty()) return entry.end;
  record.extensions.set(SSH_X509_EXT_REASON_CODE, false);
  record.extension_list = extensions.subspan(2);
  record.reason = extensions.back();
  return entry.end;
}

// TbsListParts are the elements of a TBSCertList.
struct TbsListParts {
  int has_version = 0, has_next = 0, has_revoked = 0, has_extensions = 0;
  int this_form = -1, next_form = -1;
  SshMpInt version;
  SshAsn1Node algorithm;
  SshAsn1Unread issuer, revoked, extensions;
};

// TBSCertList ::= SEQUENCE {
//      version                 Version OPTIONAL,
//      signature               AlgorithmIdentifier,
//      issuer                  Name,
//      thisUpdate              Time,
//      nextUpdate              Time OPTIONAL,
//      revokedCertificates     SEQUENCE OF SEQUENCE { ... } OPTIONAL,
//      crlExtensions      [0]  EXPLICIT Extensions OPTIONAL }                    RFC 5280, 5.1
bool read_tbs(SshAsn1Unread &tbs, TbsListParts &parts, SshX509Crl &crl, SshX509Decoder &decoder) {
  return decoder.read_known(tbs,
                            "(sequence ()(optional (integer ()))(any ())(any ())(choice  "
                            "(generalized-time ()) (utc-time ()))"
                            "(optional (choice  (generalized-time ())  (utc-time ())))(optional "
                            "(sequence ()  (any ())))"
                            "(optional (any (e 0))))"_asn1,
                            &parts.has_version, &parts.version, &parts.algorithm, &parts.issuer,
                            &parts.this_form, &crl.this_update, &crl.this_update, &parts.has_next,
                            &parts.next_form, &crl.next_update, &crl.next_update,
                            &parts.has_revoked, &parts.revoked, &parts.has_extensions,
                            &parts.extensions);
}

// lies_in is true for a node that is inside an element.
bool lies_in(SshAsn1Node node, SshAsn1Node element) {
  return node && node.data > element.data && node.data < element.next;
}

// unread_list finds an element behind the issuer that may be a list of entries or extensions and
// was not read: it has a tag that the template does not give, or it is a second such list.
// Revocations must not be dropped silently. The null node if there is none. The plain reader leaves
// nothing over, so that there is nothing to find.
SshAsn1Node unread_list(const TbsListParts &parts) {
  if (parts.issuer.is_plain()) return {};
  SshAsn1Node node = ssh_asn1_node_next(parts.issuer.node());
  for (; node; node = ssh_asn1_node_next(node)) {
    const SshBerElement element = ssh_asn1_node_open(node);
    const bool list = element.cls != SSH_BER_UNIVERSAL || element.tag == 16 || element.tag == 17;
    const bool filled = element.indefinite || element.content_length > 0;
    if (list && filled && !lies_in(parts.revoked.node(), node) &&
        !lies_in(parts.extensions.node(), node))
      break;
  }
  return node;
}

// set_version gives the record its version. By the standard it is what the CRL says, and 1 if it
// says nothing. Under classic a version that is given must be 2 (encoded 1), and a CRL that gives
// none has version 2 if it has extensions.
bool set_version(const TbsListParts &parts, SshX509Crl &crl, const SshX509Decoder &decoder) {
  uint32_t encoded = 0;
  const bool stated = decoder.rules.stated_version;
  crl.version = parts.has_version || (parts.has_extensions && !stated) ? 2 : 1;
  if (!parts.has_version) return true;
  if (!parts.version.to_uint32(encoded) || encoded > 1) return false;
  crl.version = encoded + 1;
  return encoded == 1 || stated;
}

// CertificateList ::= SEQUENCE {
//      tbsCertList          TBSCertList,
//      signatureAlgorithm   AlgorithmIdentifier,
//      signatureValue       BIT STRING }                                         RFC 5280, 5.1
// Only the outer algorithm is read, deliberately; the one in the TBSCertList may differ.
bool decode_crl(SshAsn1Unread &sequence, SshX509Crl &crl, SshX509Decoder &decoder) {
  SshAsn1Unread tbs, algorithm;
  SshAsn1Bits signature;
  TbsListParts parts;
  crl.rules = &decoder.rules;
  crl.element = sequence.der();
  if (!decoder.read(sequence, "(sequence ()(any ())(any ())(bit-string ()))"_asn1, &tbs, &algorithm,
                    &signature)) {
    return decoder.refuse_read("CertificateList", sequence);
  }
  decoder.inside = tbs.data();
  if (!read_tbs(tbs, parts, crl, decoder)) return decoder.refuse_read("TBSCertList", tbs);
  if (!decoder.times_pass(crl.this_update, crl.next_update, tbs)) return false;
  if (const SshAsn1Node unread = unread_list(parts))
    return decoder.refuse("list", "is of a form that cannot be read", unread.data);
  if (!set_version(parts, crl, decoder)) {
    const SshAsn1Node fields = ssh_asn1_node_child(decoder.node(tbs));
    return decoder.refuse_value("version", kVersionRule, ssh_asn1_node_find(fields, kInteger).data);
  }
  ssh_x509_to_sequence(algorithm, decoder);
  crl.algorithm = algorithm.der();
  crl.signed_algorithm = parts.algorithm.der();
  SshX509SignatureAlgorithm given;
  if (!ssh_x509_signature_algorithm(algorithm, decoder, given)) return false;
  crl.signature_key_type = given.key_type();
  crl.signature_scheme = given.scheme();
  crl.signed_data = tbs.der();
  crl.signature = signature.octets.first(signature.bits / 8);
  crl.signature_value = signature;
  if (!ssh_x509_name_decode_dn(parts.issuer, SSH_X509_NAME_DN, decoder, &crl.issuer_names)) {
    return decoder.refuse_read("issuer", parts.issuer);
  }
  crl.revoked = parts.revoked.list();
  if (!SshX509RevokedCursor(crl, &decoder).check(crl.revoked_count)) return false;
  return !parts.has_extensions ||
         ssh_x509_extensions_decode(parts.extensions, kCrlExtensions, false, crl, decoder);
}

// Reading the parts of a refused CRL (ssh_x509_crl_decode_parts). Each function reads one element
// by itself and keeps what it could read.
void keep_version(SshAsn1Unread &element, SshX509Crl &crl, SshX509Decoder &decoder) {
  SshMpInt version;
  uint32_t encoded = 0;
  if (ssh_x509_keep(crl,
                    decoder.read(element, "(integer ())"_asn1, &version) &&
                        version.to_uint32(encoded) && encoded <= 1,
                    SSH_X509_PART_VERSION))
    crl.stated_version = encoded + 1;
}

void keep_entries(SshAsn1Unread &element, SshX509Crl &crl, SshX509Decoder &decoder) {
  SshAsn1Unread list;
  if (!ssh_x509_keep(crl, decoder.read(element, "(sequence ()(any ()))"_asn1, &list),
                     SSH_X509_PART_ENTRIES))
    return;
  crl.revoked = list.list();
  SshX509RevokedCursor cursor(crl, &decoder);
  if (!cursor.check(crl.revoked_count))
    crl.revoked = crl.revoked.first(static_cast<size_t>(cursor.at() - crl.revoked.data()));
}

void keep_extensions(SshAsn1Unread &element, SshX509Crl &crl, SshX509Decoder &decoder) {
  SshAsn1Unread list;
  ssh_x509_keep(crl,
                decoder.read(element, "(any (e 0))"_asn1, &list) &&
                    ssh_x509_extensions_decode(list, kCrlExtensions, false, crl, decoder),
                SSH_X509_PART_EXTENSIONS);
}

// Three fields of a TBSCertList are SEQUENCEs and two are times. They are told apart by their
// order: algorithm, issuer, entries; the date of issue, the date of the next one.
void read_tbs_parts(SshX509Pieces &fields, SshX509Crl &crl, SshX509Decoder &decoder) {
  SshAsn1Unread element;
  size_t lists = 0, times = 0;
  while (fields.next()) {
    const uint8_t identifier = fields.identifier();
    const bool is_list = identifier == kSequence, is_time = identifier == 23 || identifier == 24;
    lists += is_list;
    times += is_time;
    if (!fields.take(element, decoder)) continue;
    if (identifier == kInteger) keep_version(element, crl, decoder);
    if (identifier == 0xA0) keep_extensions(element, crl, decoder);
    if (is_time && times == 1)
      ssh_x509_keep(crl, ssh_x509_keep_time(element, crl.this_update, decoder),
                    SSH_X509_PART_START);
    if (is_time && times == 2)
      ssh_x509_keep(crl, ssh_x509_keep_time(element, crl.next_update, decoder), SSH_X509_PART_END);
    if (is_list && lists == 1) ssh_x509_keep_algorithm(element, crl, decoder);
    if (is_list && lists == 2)
      ssh_x509_keep(crl,
                    ssh_x509_name_decode_dn(element, SSH_X509_NAME_DN, decoder, &crl.issuer_names),
                    SSH_X509_PART_ISSUER);
    if (is_list && lists == 3) keep_entries(element, crl, decoder);
  }
}

void read_parts(SshX509Crl &crl, SshX509Decoder &decoder) {
  SshAsn1Unread element;
  SshAsn1Bits bits;
  SshX509Pieces outer, fields;
  crl.rules = &decoder.rules;
  if (!ssh_x509_keep_frame(crl, outer, fields)) return;
  read_tbs_parts(fields, crl, decoder);
  crl.signed_algorithm = crl.algorithm;
  if (outer.next() && outer.take(element, decoder)) ssh_x509_keep_algorithm(element, crl, decoder);
  if (!outer.next() || !outer.take(element, decoder)) return;
  if (!ssh_x509_keep(crl, decoder.read(element, "(bit-string ())"_asn1, &bits),
                     SSH_X509_PART_SIGNATURE))
    return;
  crl.signature = bits.octets.first(bits.bits / 8);
  crl.signature_value = bits;
}

}  // namespace

SshX509RevokedCursor::SshX509RevokedCursor(const SshX509Crl &crl, SshX509Decoder *decoder)
    : at_(crl.revoked.data()),
      end_(crl.revoked.data() + crl.revoked.size()),
      decoder_(decoder),
      rules_(crl.rules ? crl.rules : &ssh_x509_rules()),
      work_(SshAsn1Work::for_input(crl.revoked.size())),
      plain_(decoder && decoder->plain) {
  if (plain_) work_.left /= 2;
}

SshX509RevokedCursor::SshX509RevokedCursor(const SshX509Crl &crl)
    : SshX509RevokedCursor(crl, nullptr) {}

// Usual entries are checked in a loop of their own, as the next one is nearly always usual too.
bool SshX509RevokedCursor::check(size_t &count) {
  for (;;) {
    const uint8_t *next = check_usual(at_, end_);
    for (; next; next = check_usual(at_, end_), ++count) at_ = next;
    if (at_ == end_) return true;
    if (!next_unusual()) return !failed_;
    ++count;
    pool_.rewind();
  }
}

// Not inlined: it needs room on the stack, which a walk over usual entries does without.
[[gnu::noinline]] void SshX509RevokedCursor::drop_extras() {
  entry_ = {};
  pool_.rewind();
  has_extras_ = false;
}

// convert_usual sets the serial number and the date of each entry, but reason and extensions only
// if the entry has them, so these are cleared before.
bool SshX509RevokedCursor::next() {
  if (has_extras_) drop_extras();
  entry_.extensions.clear();
  entry_.extension_list = {};
  entry_.reason = 0;
  const uint8_t *const next = convert_usual(at_, end_, entry_);
  if (!next) return next_unusual();
  entry_.der = {at_, next};
  at_ = next;
  return true;
}

// next_unusual reads the next entry by templates. It makes a decoder for it, whose work it takes
// from the cursor and gives back; callers have emptied the pool. In a plain decode the entries are
// bytes that nobody has checked, until one is not plain: then all entries from there on were
// checked, and the general reader reads the rest.
bool SshX509RevokedCursor::next_unusual() {
  SshX509Decoder decoder{.pool = pool_,
                         .refusal = decoder_ ? decoder_->refusal : nullptr,
                         .base = decoder_ ? decoder_->base : at_,
                         .work = work_,
                         .rules = *rules_};
  decoder.plain = plain_;
  SshAsn1Unread item;
  if (decoder.plain)
    item.set_list({at_, end_}, &decoder.work);
  else
    item.set(ssh_asn1_list_of({at_, end_}, &decoder.work));  // may spend work
  failed_ = !ssh_x509_work_is_left(decoder);
  if (!item || failed_) return false;
  pool_.limit(ssh_x509_pool_most(static_cast<size_t>(end_ - at_)), &decoder.work.left);
  has_extras_ = true;
  entry_ = {};
  decoder.inside = item.data();
  const bool decoded = decode_entry(item, entry_, decoder) && ssh_x509_work_is_left(decoder);
  pool_.limit(0, nullptr);
  work_ = decoder.work;
  failed_ = !decoded;
  if (plain_ && !decoded) {
    decoder_->unusual |= decoder.unusual || work_.left == 0;
    decoder_->unchecked = decoder.unchecked;
    return false;
  }
  plain_ = item.is_plain();  // if it is not, all entries from here on were checked
  entry_.der = item.der();
  at_ = entry_.der.data() + entry_.der.size();
  return decoded;
}

SshX509Crl *ssh_x509_crl_allocate() { return ssh_make<SshX509Crl>(); }

void ssh_x509_crl_free(SshX509Crl *crl) { ssh_destroy(crl); }

size_t ssh_x509_crl_decode(Bytes der, SshX509Crl *crl) {
  return ssh_x509_decode_record(true, der, decode_crl, crl);
}

size_t ssh_x509_crl_decode_general(Bytes der, SshX509Crl *crl) {
  return ssh_x509_decode_record(false, der, decode_crl, crl);
}

void ssh_x509_crl_decode_parts(Bytes der, SshX509Crl *crl) {
  ssh_x509_decode_parts(der, read_parts, crl);
}

// A CRL has a time where a certificate has the SEQUENCE of its validity. The time is read as a
// string, whatever it holds: a bad time may be why the CRL is refused.
bool ssh_x509_looks_like_crl(Bytes der) {
  SshAsn1Work work = SshAsn1Work::for_input(der.size());
  SshAsn1Node root;
  SshMpInt version;
  Bytes time;
  SshAsn1Node algorithm, issuer;
  int has_version = 0, which = -1;
  (void)ssh_asn1_decode_in_place(der, &work, &root);
  return root &&
         ssh_asn1_read_node(ssh_x509_sequence_in(root),
                            "(sequence ()(sequence ()(optional(integer ()))(sequence ()(any ()))"
                            "(sequence ()(any ()))"
                            "(choice(octet-string (u 23))(octet-string (u 24)))))"_asn1,
                            &has_version, &version, &algorithm, &issuer, &which, &time,
                            &time) == SSH_ASN1_OK;
}
