#include "kwpki/values/parse.h"

#include <CLI/StringTools.hpp>
#include <algorithm>
#include <charconv>
#include <chrono>
#include <vector>

#include "asn1/oid.h"
#include "kwpki/terminal/text.h"
#include "kwpki/values/values.h"
#include "x509/oid_registry.h"

namespace kwpki {
namespace {

constexpr size_t kOidMax = 0x100000;  // of the text, as in the library
// The calendar is that of <chrono>. The text is checked letter by letter before it is read, since
// the parsers of libraries take shorter numbers, signs and blanks as well.
constexpr std::string_view kTimeForm = "0000-00-00T00:00:00";
constexpr size_t kTimeSizes[] = {10, 16, 19};  // a date, with minutes, with seconds

bool has_form(std::string_view text) {
  if (std::find(std::begin(kTimeSizes), std::end(kTimeSizes), text.size()) ==
      std::end(kTimeSizes)) {
    return false;
  }
  return std::equal(text.begin(), text.end(), kTimeForm.begin(), [](char c, char form) {
    return form == '0' ? c >= '0' && c <= '9' : c == form || (form == 'T' && c == ' ');
  });
}

int digits_at(std::string_view text, size_t at, size_t count) {
  int value = 0;
  if (at < text.size()) std::from_chars(text.data() + at, text.data() + at + count, value);
  return value;
}

std::string letters_of(std::string_view text) {
  std::string letters;
  for (const char c : text) {
    if (c != ' ' && c != '-' && c != '_') letters += c;
  }
  return CLI::detail::to_lower(letters);
}

// library_type gives the identifier of an attribute where its name is not the library's own.
std::string library_type(std::string_view type) {
  constexpr std::string_view kPrefix = "oid.";
  if (CLI::detail::to_lower(std::string(type.substr(0, kPrefix.size()))) == kPrefix)
    return library_oid(type.substr(kPrefix.size()));
  return std::string(attribute_oid(type));
}

}  // namespace

std::optional<uint32_t> parse_number(const std::string &text) {
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  uint32_t value = 0;
  const char *end = text.data() + text.size();
  const auto [stop, error] =
      std::from_chars(text.data() + (hexadecimal ? 2 : 0), end, value, hexadecimal ? 16 : 10);
  if (error != std::errc() || stop != end) return {};
  return value;
}

std::optional<uint32_t> parse_time(const std::string &text) {
  using namespace std::chrono;
  int64_t value = duration_cast<seconds>(system_clock::now().time_since_epoch()).count();
  if (text != "now") {
    std::string_view form = text;
    if (form.size() > kTimeSizes[0] && form.ends_with('Z')) form.remove_suffix(1);
    if (!has_form(form)) return {};
    const year_month_day date(year(digits_at(form, 0, 4)),
                              month(static_cast<unsigned>(digits_at(form, 5, 2))),
                              day(static_cast<unsigned>(digits_at(form, 8, 2))));
    const int hour = digits_at(form, 11, 2), minute = digits_at(form, 14, 2);
    const int second = digits_at(form, 17, 2);
    if (!date.ok() || hour > 23 || minute > 59 || second > 59) return {};
    value = (sys_days(date) + hours(hour) + minutes(minute) + seconds(second))
                .time_since_epoch()
                .count();
  }
  if (value < 0 || value > UINT32_MAX) return {};
  return static_cast<uint32_t>(value);
}

std::optional<uint32_t> parse_key_usage(const std::string &text) {
  constexpr uint32_t kBits = 9;
  uint32_t mask = 0;
  for (const std::string &name : CLI::detail::split(text, ',')) {
    uint32_t bit = 0;
    for (uint32_t i = 0; i < kBits && !bit; ++i) {
      const uint32_t candidate = i < 8 ? 0x80u >> i : 0x8000u >> (i - 8);
      if (letters_of(key_usage_json(candidate)[0].get<std::string>()) == letters_of(name))
        bit = candidate;
    }
    if (!bit) return {};
    mask |= bit;
  }
  return mask;
}

std::string library_oid(std::string_view dotted) {
  const bool good = dotted.find_first_not_of("0123456789.") == dotted.npos &&
                    dotted.find("..") == dotted.npos && dotted.find('.') != dotted.npos &&
                    dotted.front() != '.' && dotted.back() != '.';
  if (!good || dotted.size() > kOidMax) return {};
  std::vector<uint8_t> octets(SSH_OID_ENCODED_MAX(dotted.size()));
  octets.resize(ssh_ber_oid_from_text(std::string(dotted).c_str(), octets.data(), true));
  const std::string text = take(ssh_x509_oid_text({octets}));
  return text.empty() ? std::string(dotted) : text;
}

// A name is a list of TYPE=VALUE with separators between them. Only the types are replaced, so the
// text is walked over letter by letter, to know whether a separator is inside quotes or behind a
// backslash and belongs to a value.
std::string library_name(std::string_view name) {
  std::string text;
  bool quoted = false, in_type = true;
  for (size_t at = 0; at < name.size(); ++at) {
    const char c = name[at];
    if (in_type) {
      const size_t end = name.find('=', at);
      const size_t from = name.find_first_not_of(' ', at);
      if (end == name.npos || from >= end) return text + std::string(name.substr(at));
      const size_t last = name.find_last_not_of(' ', end - 1);
      const std::string oid = library_type(name.substr(from, last + 1 - from));
      text += oid.empty() ? std::string(name.substr(at, end - at)) : "OID." + oid;
      text += '=';
      at = end;
      in_type = false;
      continue;
    }
    text += c;
    if (c == '\\' && at + 1 < name.size()) text += name[++at];
    if (c == '"') quoted = !quoted;
    in_type = !quoted && (c == ',' || c == ';' || c == '+');
  }
  return text;
}

}  // namespace kwpki
