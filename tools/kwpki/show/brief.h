// The short view: what people want to know first of a certificate or CRL, in a few lines or in one
// line of a table. Everything comes from the records and values/describe.h; --full shows the rest.
// A further line is a call of Lines::add in brief.cc and, for refused records, a row of kLineParts.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "kwpki/terminal/text.h"
#include "kwpki/values/values.h"
#include "x509/cert.h"
#include "x509/crl.h"

namespace kwpki {

using Moment = std::chrono::sys_seconds;

// Expiry says how a moment lies to a period of validity. `left` is the time until the period ends,
// or since it ended if that is negative; before the period it is the time until it begins.
struct Expiry {
  bool known = false;    // the period has an end
  bool early = false;    // it has not begun
  bool expired = false;  // it has ended
  bool refused = false;  // it is of a record that is refused
  std::chrono::seconds left{};
};
Expiry expiry_of(const SshX509Cert &cert, Moment now);
Expiry expiry_of(const SshX509Crl &crl, Moment now);

// expires_soon is true of what has expired or will within that time.
bool expires_soon(const Expiry &expiry, std::chrono::seconds soon);

// expiry_text is "expires in 12 days", "EXPIRED 3 days ago", "not valid until 40 days from now" or
// "does not say when it expires".
std::string expiry_text(const Expiry &expiry);

// moment_text is a moment in UTC, without saying so: "2026-11-22 06:10:40".
std::string moment_text(Moment moment);

// objections lists what is wrong with a record, in one line: that it has expired or is not valid
// yet, that its key or the hash of its signature is weak. Empty if there is nothing.
std::string objections(const SshX509Cert &cert, Moment now);
std::string objections(const SshX509Crl &crl, Moment now);

// brief gives the lines of a record. `soon` marks what expires within that time.
std::string brief(const SshX509Cert &cert, Moment now, std::chrono::seconds soon,
                  const Style &style);
std::string brief(const SshX509Crl &crl, Moment now, std::chrono::seconds soon, const Style &style);

// BriefRow is what one line of a table tells of a record, escaped. What is not there is "-".
struct BriefRow {
  std::string end;      // the date of its end
  std::string left;     // "12 days", "EXPIRED", "REFUSED", "not yet"
  std::string kind;     // "RSA 2048", "CRL, 12"
  std::string name;     // of the subject, or of who issued a CRL
  bool weak = false;    // the key is
  bool marked = false;  // with a "!": expired, soon to expire, not valid yet or refused
  std::optional<Moment> from = {}, to = {};
};
BriefRow row_of(const SshX509Cert &cert, Moment now, std::chrono::seconds soon);
BriefRow row_of(const SshX509Crl &crl, Moment now, std::chrono::seconds soon);

// brief_row gives one line: the end, what is left, the key or kind, the subject or issuer, and
// where it was found.
std::string brief_row(const SshX509Cert &cert, Moment now, std::chrono::seconds soon,
                      const Style &style, const std::string &where);
std::string brief_row(const SshX509Crl &crl, Moment now, std::chrono::seconds soon,
                      const Style &style, const std::string &where);

// brief_heading is the first line of the table.
std::string brief_heading();

// wrong_row is a line for what was refused and of which nothing can be read. note_row says in lines
// below a row what is wrong.
std::string wrong_row(const Style &style, const std::string &where);
std::string note_row(const Style &style, const std::string &why);

}  // namespace kwpki
