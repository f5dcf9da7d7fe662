#include "kwpki/show/brief.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <sstream>
#include <vector>

#include "kwpki/values/describe.h"
#include "kwpki/values/keys.h"
#include "kwpki/verify/signature.h"

namespace kwpki {
namespace {

using std::chrono::seconds;

constexpr size_t kColumns = 80;    // of a line
constexpr size_t kLabel = 14;      // columns of a label
constexpr size_t kNamesShown = 5;  // so many names are shown
// Columns of a row; with the date and the place it has 80.
constexpr size_t kLeftColumns = 10, kKeyColumns = 13, kSubjectColumns = 28;

Moment moment_of(const SshBerTime &time) {
  namespace c = std::chrono;
  const c::sys_days day{c::year(static_cast<int>(time.year)) / c::month(time.month) /
                        c::day(time.day)};
  const seconds zone = c::hours(time.tz_hours) + c::minutes(time.tz_minutes);
  return Moment(day) + c::hours(time.hour) + c::minutes(time.minute) + seconds(time.second) -
         (time.tz_plus ? zone : -zone);
}

// expiry_between compares a moment with a period, of which either end may be missing.
Expiry expiry_between(const SshBerTime &from, const SshBerTime &to, Moment now) {
  Expiry expiry;
  if (!(from == SshBerTime{})) expiry.early = now < moment_of(from);
  if (expiry.early) expiry.left = moment_of(from) - now;
  if (to == SshBerTime{}) return expiry;
  expiry.known = true;
  if (expiry.early) return expiry;
  expiry.left = moment_of(to) - now;
  expiry.expired = expiry.left < seconds(0);
  return expiry;
}

// span_text rounds a span to years, days or hours: the largest unit of which it has two at least.
std::string span_text(seconds span) {
  constexpr struct {
    int64_t seconds;
    const char *unit;
  } kUnits[] = {{365 * 86400 + 86400 / 4, "year"}, {86400, "day"}, {3600, "hour"}};
  const int64_t count = span.count() < 0 ? -span.count() : span.count();
  const auto *row = std::begin(kUnits);
  while (row->seconds * 2 > count && row + 1 != std::end(kUnits)) ++row;
  const int64_t number = (count + row->seconds / 2) / row->seconds;
  return fmt::format("{} {}{}", number, row->unit, number == 1 ? "" : "s");
}

bool is_marked(const Expiry &expiry, seconds soon) {
  return expiry.early || expiry.refused || expires_soon(expiry, soon);
}

// date_text is a time in UTC to the minute. Without seconds, a period and the words behind it fit
// into a line of 80 columns.
std::string date_text(const SshBerTime &time) {
  constexpr size_t kToMinutes = sizeof "2026-01-31 12:00" - 1;
  return time == SshBerTime{} ? "-" : moment_text(moment_of(time)).substr(0, kToMinutes);
}

// Which parts of a record a line shows. If the record was refused and a part could not be read, the
// line says so, or is left out: "Names" without a list would look as if there were none.
constexpr uint32_t kWholeElement = 1u << 31;  // fingerprints are of all of it
constexpr struct {
  std::string_view label;
  uint32_t parts;
  bool left_out = false;
} kLineParts[] = {
    {"Subject", SSH_X509_PART_SUBJECT},
    {"Issuer", SSH_X509_PART_ISSUER},
    {"Serial", SSH_X509_PART_SERIAL},
    {"Valid", SSH_X509_PART_START | SSH_X509_PART_END},
    {"Key", SSH_X509_PART_KEY},
    {"Signed with", SSH_X509_PART_ALGORITHM},
    {"Revoked", SSH_X509_PART_ENTRIES, true},
    {"Names", SSH_X509_PART_EXTENSIONS, true},
    {"Authority", SSH_X509_PART_EXTENSIONS, true},
    {"SHA-256", kWholeElement, true},
    {"SHA-1", kWholeElement, true},
};

template <class Record>
uint32_t parts_of(const Record &record) {
  if (record.version != 0) return UINT32_MAX;
  return record.parts | (record.element.empty() ? 0 : kWholeElement);
}

class Lines {
 public:
  Lines(const Style &style, uint32_t parts) : style_(style), parts_(parts) {}
  // add appends a line, or nothing if there is nothing to tell.
  void add(const char *label, const std::string &text) {
    const auto *row = std::find_if(std::begin(kLineParts), std::end(kLineParts),
                                   [label](const auto &r) { return r.label == label; });
    const bool unread = row != std::end(kLineParts) && (row->parts & ~parts_) != 0;
    if (text.empty() || (unread && row->left_out)) return;
    text_ += "  " + style_.label(label) +
             std::string(kLabel - std::string_view(label).size(), ' ') +
             (unread ? style_.warning("cannot be read") : text) + '\n';
  }
  [[nodiscard]] const std::string &text() const { return text_; }

 private:
  const Style &style_;
  uint32_t parts_;
  std::string text_;
};

std::string name_line(const Json &name) {
  const std::string text = name["readable"].get<std::string>();
  return text.empty() ? "(no name)" : escape(text);
}

// serial_text is in hexadecimal, as other programs show serial numbers.
std::string serial_text(const Json &serial) {
  const std::string digits = serial["hex"].get<std::string>();
  constexpr size_t kMost = 64;  // RFC 5280 allows twenty bytes
  return digits.size() <= kMost ? digits : digits.substr(0, kMost) + "...";
}

std::string key_text(const Json &key) {
  std::string text = key["type"].get<std::string>();
  if (text == "unknown" && key.contains("algorithm"))
    text = key["algorithm"].value("name", key["algorithm"]["oid"]);
  if (key.contains("curve") && key["curve"].is_object())
    return fmt::format("{} on {}", text,
                       key["curve"].value("nist_name", key["curve"].value("name", "a curve")));
  if (key.contains("bits")) text += fmt::format(", {} bits", key["bits"].get<size_t>());
  return text;
}

// hash_text makes "SHA-256" of the name "sha256".
std::string hash_text(std::string hash) {
  for (char &c : hash) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  if (hash.starts_with("SHA") && !hash.starts_with("SHA-")) hash.insert(3, "-");
  return hash;
}

// scheme_text gives the usual name of a scheme, such as "RSA with SHA-256".
std::string scheme_text(const Json &signature) {
  constexpr struct {
    std::string_view scheme, words;
  } kFamilies[] = {{"rsa-pkcs1-", "RSA with "},
                   {"dsa-nist-", "DSA with "},
                   {"ecdsa-", "ECDSA with "},
                   {"ed25519", "Ed25519"},
                   {"ed448", "Ed448"}};
  const std::string scheme = signature["scheme"].is_null() ? "" : signature["scheme"];
  if (scheme == "rsa-pss") {
    const auto hash = signature.contains("parameters")
                          ? signature["parameters"]["hash"].value("name", "")
                          : std::string();
    return hash.empty() ? "RSASSA-PSS" : "RSASSA-PSS with " + hash_text(hash);
  }
  for (const auto &family : kFamilies) {
    if (!scheme.starts_with(family.scheme)) continue;
    return std::string(family.words) + hash_text(scheme.substr(family.scheme.size()));
  }
  const Json &algorithm = signature["algorithm"];
  return algorithm.is_object() ? algorithm.value("name", algorithm["oid"]) : "unknown";
}

template <class Record>
bool has_weak_hash(const Record &record) {
  return !weak_hash(scheme_of(record), record.algorithm).empty();
}

// A certificate that signs itself is trusted because of where it was found, not for its signature,
// so that a weak one does no harm there.
bool is_weakly_signed(const SshX509Cert &cert) {
  const SshX509Name *issuer = ssh_x509_name_find(cert.issuer_names, SSH_X509_NAME_DN);
  const SshX509Name *subject = ssh_x509_name_find(cert.subject_names, SSH_X509_NAME_DN);
  const bool own = issuer && subject && ssh_bytes_equal(issuer->der, subject->der);
  return !own && has_weak_hash(cert);
}
bool is_weakly_signed(const SshX509Crl &crl) { return has_weak_hash(crl); }

bool has_weak_key(const SshX509Cert &cert) { return !weak_key(cert.key).empty(); }

std::string weak_marked(const std::string &text, bool weak, const Style &style) {
  return weak ? style.warning(text + ", weak") : text;
}

std::string objections_of(const Expiry &expiry, bool weak_key, bool weakly_signed) {
  std::string text = expiry.early || expiry.expired ? expiry_text(expiry) : "";
  if (weak_key) text += (text.empty() ? "" : ", ") + std::string("weak key");
  if (weakly_signed) text += (text.empty() ? "" : ", ") + std::string("weak signature");
  return text;
}

std::string period_text(const SshBerTime &from, const SshBerTime &to, const Expiry &expiry,
                        seconds soon, const Style &style) {
  const std::string text = expiry_text(expiry);
  return fmt::format("{} to {} UTC, {}", date_text(from), date_text(to),
                     is_marked(expiry, soon) ? style.warning(text) : text);
}

size_t letters_in(std::string_view text) {
  return static_cast<size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string name_text(const Json &name) {
  const char *shown = name.contains("readable") ? "readable" : "text";
  return name.contains(shown) ? escape(name[shown].get<std::string>()) : name.value("type", "more");
}

// filled puts words into lines; those behind the first begin where the first does.
std::string filled(const std::vector<std::string> &words, size_t indent) {
  std::string text;
  size_t column = indent;
  for (const std::string &word : words) {
    const size_t columns = letters_in(word);
    const bool fits = column + 1 + columns <= kColumns;
    if (!text.empty()) text += fits ? " " : "\n" + std::string(indent, ' ');
    column = (fits ? column + 1 : indent) + columns;
    text += word;
  }
  return text;
}

std::vector<std::string> words_of(const std::string &text) {
  std::vector<std::string> words;
  std::istringstream stream(text);
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

std::string names_text(const SshX509Cert &cert) {
  const Json names = names_json(cert.subject_names);
  const size_t shown = std::min(names.size(), kNamesShown);
  std::vector<std::string> words;
  for (size_t i = 0; i < shown; ++i)
    words.push_back(name_text(names[i]) + (i + 1 < shown ? "," : ""));
  if (names.size() > shown) words.push_back(fmt::format("and {} more", names.size() - shown));
  return filled(words, 2 + kLabel);
}

std::string authority_text(const SshX509Cert &cert) {
  if (cert.version == 0 && !cert.extensions.test(SSH_X509_EXT_BASIC_CONSTRAINTS)) return "";
  if (!cert.ca) return "no";
  return cert.path_length == SSH_X509_NO_LIMIT
             ? "yes"
             : fmt::format("yes, with at most {} below it", cert.path_length);
}

void add_fingerprints(Lines &lines, Bytes element) {
  const Json prints = fingerprints_json(element);
  lines.add("SHA-256", prints.value("sha256", ""));
  lines.add("SHA-1", prints.value("sha1", ""));
}

// short_name is the common name in a distinguished name, or all of it without one.
std::string short_name(const SshX509Name *names) {
  const SshX509Name *name = ssh_x509_name_find(names, SSH_X509_NAME_DN);
  if (!name) return "(no name)";
  std::string text = dn_json(name->der)["readable"].get<std::string>();
  const size_t at = text.rfind("CN=");
  if (at != text.npos && (at == 0 || text[at - 1] == ' '))
    text = text.substr(at + 3, text.find(", ", at) - at - 3);
  return text.empty() ? "(no name)" : escape(text);
}

// placed shortens the path of a file to the columns that a row has left. It drops folders from the
// front; the name of the file is never cut.
std::string placed(const std::string &where) {
  constexpr size_t kLeft = kColumns - 10 - kLeftColumns - kKeyColumns - kSubjectColumns - 4 * 2;
  constexpr std::string_view kCut = ".../";
  constexpr char kSeparators[] = {'/',
                                  static_cast<char>(std::filesystem::path::preferred_separator), 0};
  std::string text = escape(where);
  const size_t file = text.find_last_of(kSeparators);
  if (letters_in(text) <= kLeft || file == text.npos) return text;
  size_t from = file;
  for (size_t at = file; at != 0 && at != text.npos;) {
    at = text.find_last_of(kSeparators, at - 1);
    if (at != text.npos && kCut.size() + letters_in(text.substr(at + 1)) <= kLeft) from = at;
  }
  return std::string(kCut) + text.substr(from + 1);
}

// fitted cuts or fills a text to that many columns; each letter counts as one.
std::string fitted(const std::string &text, size_t columns) {
  size_t letters = 0, at = 0;
  for (; at < text.size(); ++at) {
    if ((text[at] & 0xC0) == 0x80) continue;
    if (letters++ == columns) break;
  }
  if (at == text.size()) return text + std::string(columns - letters, ' ');
  return text.substr(0, at);
}

// left_text is the column "left" of a row.
std::string left_text(const Expiry &expiry) {
  if (expiry.refused) return "REFUSED";
  if (expiry.early) return "not yet";
  if (!expiry.known) return "-";
  return expiry.expired ? "EXPIRED" : span_text(expiry.left);
}

BriefRow row_between(const SshBerTime &from, const SshBerTime &to, const Expiry &expiry,
                     seconds soon, const SshX509Name *names) {
  BriefRow row = {.end = date_text(to).substr(0, 10),
                  .left = left_text(expiry),
                  .kind = {},
                  .name = short_name(names),
                  .marked = is_marked(expiry, soon)};
  if (!(from == SshBerTime{})) row.from = moment_of(from);
  if (!(to == SshBerTime{})) row.to = moment_of(to);
  return row;
}

std::string row_text(const BriefRow &row, const Style &style, const std::string &where) {
  const std::string kind = fitted(row.kind + (row.weak ? " weak" : ""), kKeyColumns);
  const std::string left =
      fmt::format("{:{}}", (row.marked ? "! " : "  ") + row.left, kLeftColumns);
  return fmt::format("{:10}  {}  {}  {}  {}\n", row.end, row.marked ? style.warning(left) : left,
                     row.weak ? style.warning(kind) : kind, fitted(row.name, kSubjectColumns),
                     placed(where));
}

}  // namespace

bool expires_soon(const Expiry &expiry, seconds soon) {
  return expiry.expired || (expiry.known && !expiry.early && expiry.left < soon);
}

Expiry expiry_of(const SshX509Cert &cert, Moment now) {
  Expiry expiry = expiry_between(cert.not_before, cert.not_after, now);
  expiry.refused = cert.version == 0;
  return expiry;
}

Expiry expiry_of(const SshX509Crl &crl, Moment now) {
  Expiry expiry = expiry_between(crl.this_update, crl.next_update, now);
  expiry.refused = crl.version == 0;
  return expiry;
}

std::string expiry_text(const Expiry &expiry) {
  if (expiry.early) return "not valid until " + span_text(expiry.left) + " from now";
  if (!expiry.known) return "does not say when it expires";
  return expiry.expired ? "EXPIRED " + span_text(expiry.left) + " ago"
                        : "expires in " + span_text(expiry.left);
}

std::string moment_text(Moment moment) {
  const auto day = std::chrono::floor<std::chrono::days>(moment);
  const std::chrono::year_month_day date(day);
  const std::chrono::hh_mm_ss clock(moment - day);
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", static_cast<int>(date.year()),
                     static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                     clock.hours().count(), clock.minutes().count(), clock.seconds().count());
}

std::string objections(const SshX509Cert &cert, Moment now) {
  return objections_of(expiry_of(cert, now), has_weak_key(cert), is_weakly_signed(cert));
}

std::string objections(const SshX509Crl &crl, Moment now) {
  return objections_of(expiry_of(crl, now), false, is_weakly_signed(crl));
}

std::string brief(const SshX509Cert &cert, Moment now, seconds soon, const Style &style) {
  const Json json = certificate_json(cert);
  Lines lines(style, parts_of(cert));
  const std::string subject = name_line(json["subject"]), issuer = name_line(json["issuer"]);
  lines.add("Subject", subject);
  lines.add("Issuer", issuer == subject ? "the same" : issuer);
  lines.add("Serial", serial_text(json["serial"]));
  lines.add("Valid",
            period_text(cert.not_before, cert.not_after, expiry_of(cert, now), soon, style));
  lines.add("Key", weak_marked(key_text(json["public_key"]), has_weak_key(cert), style));
  lines.add("Signed with",
            weak_marked(scheme_text(json["signature"]), is_weakly_signed(cert), style));
  lines.add("Names", names_text(cert));
  lines.add("Authority", authority_text(cert));
  add_fingerprints(lines, cert.element);
  return lines.text();
}

std::string brief(const SshX509Crl &crl, Moment now, seconds soon, const Style &style) {
  const Json json = crl_json(crl);
  Lines lines(style, parts_of(crl));
  lines.add("Issuer", name_line(json["issuer"]));
  lines.add("Valid",
            period_text(crl.this_update, crl.next_update, expiry_of(crl, now), soon, style));
  lines.add("Signed with",
            weak_marked(scheme_text(json["signature"]), is_weakly_signed(crl), style));
  lines.add("Revoked",
            fmt::format("{} certificate{}", crl.revoked_count, crl.revoked_count == 1 ? "" : "s"));
  add_fingerprints(lines, crl.element);
  return lines.text();
}

std::string brief_heading() {
  return fmt::format("{:10}  {:{}}  {:{}}  {:{}}  {}\n", "expires", "  left", kLeftColumns, "key",
                     kKeyColumns, "subject", kSubjectColumns, "file");
}

BriefRow row_of(const SshX509Cert &cert, Moment now, seconds soon) {
  BriefRow row =
      row_between(cert.not_before, cert.not_after, expiry_of(cert, now), soon, cert.subject_names);
  row.kind = key_text(key_json(cert));
  if (const size_t comma = row.kind.find(", "); comma != row.kind.npos)
    row.kind =
        row.kind.substr(0, comma) + row.kind.substr(comma + 1, row.kind.find(" bits") - comma - 1);
  if (const size_t on = row.kind.find(" on "); on != row.kind.npos) row.kind.erase(on, 3);
  row.weak = has_weak_key(cert);
  return row;
}

BriefRow row_of(const SshX509Crl &crl, Moment now, seconds soon) {
  BriefRow row =
      row_between(crl.this_update, crl.next_update, expiry_of(crl, now), soon, crl.issuer_names);
  row.kind = fmt::format("CRL, {}", crl.revoked_count);
  return row;
}

std::string brief_row(const SshX509Cert &cert, Moment now, seconds soon, const Style &style,
                      const std::string &where) {
  return row_text(row_of(cert, now, soon), style, where);
}

std::string brief_row(const SshX509Crl &crl, Moment now, seconds soon, const Style &style,
                      const std::string &where) {
  return row_text(row_of(crl, now, soon), style, where);
}

std::string wrong_row(const Style &style, const std::string &where) {
  return fmt::format("{:10}  {}  {:{}}  {:{}}  {}\n", "-",
                     style.warning(fitted("! REFUSED", kLeftColumns)), "-", kKeyColumns,
                     "cannot be read", kSubjectColumns, placed(where));
}

std::string note_row(const Style &style, const std::string &why) {
  constexpr size_t kIndent = 12;  // below what is left
  return std::string(kIndent, ' ') + style.warning(filled(words_of(escape(why)), kIndent)) + "\n";
}

}  // namespace kwpki
