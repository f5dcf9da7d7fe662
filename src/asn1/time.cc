#include "asn1/time.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

#include "util/ascii.h"
#include "util/mem.h"

namespace {

constexpr size_t kHumanTextMax = 1024;
constexpr uint32_t kMicroMax = 1000000;
constexpr uint32_t kNumberMax = 9999;  // of any field: no more than four digits are read

constexpr char kMonths[][4] = {"n/a", "Jan", "Feb", "Mar", "Apr", "May", "Jun",
                               "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// Scanner reads as scanf does, but without a locale, and the text need not end in a NUL byte. Times
// were read by scanf for decades, and what it accepted has been issued. So white space before a
// number and a sign within its width are accepted, deliberately. A NUL byte ends the text. A
// negative number is read too: it wraps to a value that is above every range.
class Scanner {
 public:
  explicit Scanner(Bytes text, size_t at = 0) : text_(text), at_(at) {}

  [[nodiscard]] size_t at() const { return at_; }
  [[nodiscard]] bool more() const { return at_ < text_.size() && text_[at_] != 0; }
  [[nodiscard]] uint8_t peek() const { return text_[at_]; }

  void skip_space() {
    while (more() && ssh_is_blank(peek())) ++at_;
  }

  bool literal(char c) {
    if (!more() || peek() != static_cast<uint8_t>(c)) return false;
    ++at_;
    return true;
  }

  // number reads what scanf's "%<width>d" would; the widths here are 2 and 4.
  bool number(size_t width, uint32_t &value) {
    skip_space();
    const bool negative = more() && peek() == '-';
    const size_t sign = negative || (more() && peek() == '+');
    at_ += sign;
    width -= sign;
    uint32_t sum = 0;
    size_t used = 0;
    for (; used < width && more() && ssh_is_digit(peek()); ++used, ++at_) {
      sum = sum * 10 + (peek() - uint32_t{'0'});
    }
    value = negative ? 0 - sum : sum;
    return used > 0;
  }

  // word reads what scanf's "%<width>s" would.
  bool word(size_t width, std::string_view &value) {
    skip_space();
    const size_t start = at_;
    while (more() && !ssh_is_blank(peek()) && at_ - start < width) ++at_;
    value = ssh_bytes_text(text_.subspan(start, at_ - start));
    return at_ > start;
  }

  // fraction reads what scanf's ".%lu" would, from the point on that its caller has seen, and makes
  // millionths of it. The number loses its leading zeros, so that .05 is read as .5, deliberately:
  // peers write it so. Digits after the sixth are dropped, except the seventh of 1000000.
  bool fraction(uint32_t &micros) {
    ++at_;
    skip_space();
    const bool negative = more() && peek() == '-';
    if (negative || (more() && peek() == '+')) ++at_;
    const size_t start = at_;
    while (more() && peek() == '0') ++at_;
    uint32_t sum = 0;
    for (size_t kept = 0; more() && ssh_is_digit(peek()); ++at_) {
      if (kept < 6 || (kept == 6 && sum == kMicroMax / 10 && peek() == '0')) {
        sum = sum * 10 + (peek() - uint32_t{'0'});
      }
      ++kept;
    }
    if (at_ == start || (negative && sum != 0)) return false;
    while (sum != 0 && sum < kMicroMax / 10) sum *= 10;
    micros = sum;
    return true;
  }

 private:
  Bytes text_;
  size_t at_;
};

bool in_ranges(const SshBerTime &time, uint32_t hour_max, uint32_t minute_max) {
  const bool date = time.year <= kNumberMax && time.month >= 1 && time.month <= 12 &&
                    time.day >= 1 && time.day <= 31;
  const bool clock =
      time.hour <= hour_max && time.minute <= minute_max && time.second <= minute_max;
  return date && clock && time.tz_hours <= kNumberMax && time.tz_minutes <= kNumberMax;
}

// TimeForm is what the two ASN.1 types differ in. UTCTime has a short year, without the century,
// and may have a fraction; in a GeneralizedTime a fraction is refused.
struct TimeForm {
  size_t year_width;
  bool short_year;
};
constexpr TimeForm kUtcTime = {2, true};
constexpr TimeForm kGeneralizedTime = {4, false};

// read_usual reads what nearly all times are: digits and "Z", with each field in its range. In a
// GeneralizedTime two digits more stand before what a UTCTime has. False, with nothing stored, for
// all other times; these are for scan_general.
template <TimeForm kForm>
bool read_usual(Bytes content, SshBerTime *out) {
  constexpr size_t kMore = kForm.short_year ? 0 : 2;
  if (content.size() != SSH_BER_USUAL_UTC_TIME + kMore) return false;
  const SshBerUsualUtcTime time(content.data() + kMore);
  if (!time.has_form() || !time.is_time()) return false;
  const uint8_t *const century = content.data();
  if (kMore > 0 && !(ssh_is_digit(century[0]) && ssh_is_digit(century[1]))) return false;
  time.convert(out);
  if (kMore > 0) {
    const uint32_t hundreds = century[0] * 10u + century[1] - 11u * '0';
    out->year = hundreds * 100 + out->year % 100;
  }
  return true;
}

// scan_zone reads the zone at `at`: "Z", or a sign and four digits. Any other character counts as a
// "-", and what stands behind the zone is ignored, deliberately; `odd` notes whatever is not "Z" or
// a sign and four digits, so that the modern profile can refuse it.
bool scan_zone(Bytes content, size_t at, SshBerTime &time) {
  Scanner scan(content, at);
  if (!scan.more()) return false;
  const uint8_t sign = scan.peek();
  const Bytes zone = content.subspan(at);
  const bool four =
      zone.size() == 5 && std::all_of(zone.begin() + 1, zone.end(), ssh_is_digit<uint8_t>);
  time.tz_plus = sign == '+';
  time.odd = sign == 'Z' ? zone.size() != 1 : !four || (sign != '+' && sign != '-');
  if (sign == 'Z') return true;
  Scanner rest(content, at + 1);
  return rest.number(2, time.tz_hours) && rest.number(2, time.tz_minutes);
}

// scan_general reads content as a call of scanf used to. Minutes and seconds may be missing. What
// follows the fields is read at a fixed offset, as if each field had used its whole width, even if
// white space made the scan end elsewhere.
bool scan_general(Bytes content, const TimeForm &form, SshBerTime &time) {
  Scanner scan(content);
  if (!scan.number(form.year_width, time.year)) return false;
  size_t fields = 1;
  for (uint32_t *field : {&time.month, &time.day, &time.hour, &time.minute, &time.second}) {
    if (!scan.number(2, *field)) break;
    ++fields;
  }
  if (fields < 4) return false;
  // A NUL byte before that offset would have ended the text.
  size_t at = form.year_width + 2 * (fields - 1);
  if (at >= content.size() || std::memchr(content.data(), 0, at)) return false;
  if (content[at] == '.') {
    Scanner rest(content, at);
    if (!form.short_year || !rest.fraction(time.microseconds)) return false;
    at = rest.at();
  }
  return scan_zone(content, at, time);
}

// decode reads one of the two types. Hour 24, minute 60 and second 60 are accepted, as they always
// were; `odd` notes the hour.
template <TimeForm kForm>
bool decode(Bytes content, SshBerTime *out) {
  if (read_usual<kForm>(content, out)) return true;
  SshBerTime time;
  if (!scan_general(content, kForm, time)) return false;
  if (!in_ranges(time, 24, 60)) return false;
  time.odd |= time.hour == 24;
  if (kForm.short_year) time.year += time.year < 50 ? 2000 : 1900;
  *out = time;
  return true;
}

// put writes a number, with `pad` on its left up to `width`, and returns the end.
char *put(char *out, uint32_t value, size_t width, char pad = '0') {
  if (width == 2 && value < 100) {
    *out++ = value < 10 ? pad : static_cast<char>('0' + value / 10);
    *out++ = static_cast<char>('0' + value % 10);
    return out;
  }
  char digits[10];
  const size_t used =
      static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, value).ptr - digits);
  for (size_t i = used; i < width; ++i) *out++ = pad;
  return std::copy_n(digits, used, out);
}

char *put_text(char *out, std::string_view text) {
  return std::copy(text.begin(), text.end(), out);
}

char *put_month_to_second(char *out, const SshBerTime *time) {
  for (const uint32_t field : {time->month, time->day, time->hour, time->minute, time->second}) {
    out = put(out, field, 2);
  }
  return out;
}

const char *day_suffix(uint32_t day) {
  if (day >= 11 && day <= 13) return "th";
  const uint32_t last = day % 10;
  return last == 1 ? "st" : last == 2 ? "nd" : last == 3 ? "rd" : "th";
}

// find_month gives 1 to 12 for a name in any case, or 0.
uint32_t find_month(std::string_view name) {
  const auto same = [](char a, char b) { return ssh_to_lower(a) == ssh_to_lower(b); };
  for (uint32_t month = 1; month <= 12; ++month) {
    if (std::equal(name.begin(), name.end(), kMonths[month], kMonths[month] + 3, same))
      return month;
  }
  return 0;
}

bool scan_clock(Scanner &scan, SshBerTime &time) {
  return scan.number(2, time.hour) && scan.literal(':') && scan.number(2, time.minute) &&
         scan.literal(':') && scan.number(2, time.second);
}

// scan_named_month reads "2001 Mar 22nd, 14:03:09"; the suffix must be the day's own.
bool scan_named_month(Bytes text, SshBerTime &time) {
  Scanner scan(text);
  std::string_view month, suffix;
  if (!scan.number(4, time.year) || !scan.word(3, month) || !scan.number(2, time.day)) return false;
  if (!scan.word(2, suffix) || !scan.literal(',') || !scan_clock(scan, time)) return false;
  time.month = find_month(month);
  return suffix == day_suffix(time.day);
}

// scan_slashes reads "2001/03/22/14:03:09".
bool scan_slashes(Bytes text, SshBerTime &time) {
  Scanner scan(text);
  return scan.number(4, time.year) && scan.literal('/') && scan.number(2, time.month) &&
         scan.literal('/') && scan.number(2, time.day) && scan.literal('/') &&
         scan_clock(scan, time);
}

}  // namespace

void ssh_ber_time_zero(SshBerTime *time) { *time = {}; }

void ssh_ber_time_set(SshBerTime *to, const SshBerTime *from) { *to = *from; }

void ssh_ber_time_set_from_unix_time(SshBerTime *time, uint32_t seconds) {
  // Days are counted from 1968-03-01, so that the leap day is the last of each four years, which
  // are 1461 days. 2100 is the one year in reach that is divided by four and has no leap day: from
  // its first of March on, the count is one higher, as if there had been one.
  constexpr uint32_t kFirstOfMarch2100 = 47541;
  const uint32_t days = seconds / 86400;
  const uint32_t count = days + 671 + (days >= kFirstOfMarch2100 ? 1 : 0);
  const uint32_t in_cycle = count % 1461;
  const uint32_t year = std::min(in_cycle / 365, uint32_t{3});
  const uint32_t day_of_year = in_cycle - year * 365;
  const uint32_t month = (day_of_year * 5 + 2) / 153;  // 0: March; 153 days make five months
  *time = {};
  time->year = 1968 + count / 1461 * 4 + year + (month >= 10 ? 1 : 0);
  time->month = month < 10 ? month + 3 : month - 9;
  time->day = day_of_year - (month * 153 + 2) / 5 + 1;
  time->hour = seconds / 3600 % 24;
  time->minute = seconds / 60 % 60;
  time->second = seconds % 60;
}

bool ssh_ber_time_set_from_string(SshBerTime *time, const char *text) {
  if (!text) return false;
  size_t length = 0;
  while (length <= kHumanTextMax && text[length]) ++length;
  if (length > kHumanTextMax) return false;
  const Bytes bytes = ssh_text_bytes({text, length});
  SshBerTime read;
  if (!scan_named_month(bytes, read)) {
    read = {};
    if (!scan_slashes(bytes, read)) return false;
  }
  // The ranges are stricter than for the ASN.1 types, as people have typed this text.
  if (!in_ranges(read, 23, 59)) return false;
  read.tz_plus = 1;
  *time = read;
  return true;
}

char *ssh_ber_time_to_string(const SshBerTime *time) {
  if (time->month < 1 || time->month > 12) return nullptr;
  char text[80];
  char *at = put(text, time->year, 4);
  *at++ = ' ';
  at = put_text(at, kMonths[time->month]);
  *at++ = ' ';
  at = put(at, time->day, 2, ' ');
  at = put_text(at, day_suffix(time->day));
  at = put_text(at, ", ");
  at = put(at, time->hour, 2);
  *at++ = ':';
  at = put(at, time->minute, 2);
  *at++ = ':';
  at = put(at, time->second, 2);
  at = put_text(at, " GMT");
  return static_cast<char *>(ssh_xmemdup(text, static_cast<size_t>(at - text)));
}

bool ssh_ber_utc_time_decode(Bytes content, SshBerTime *time) {
  return decode<kUtcTime>(content, time);
}

bool ssh_ber_generalized_time_decode(Bytes content, SshBerTime *time) {
  return decode<kGeneralizedTime>(content, time);
}

size_t ssh_ber_utc_time_encode(const SshBerTime *time, uint8_t *out) {
  char *const text = reinterpret_cast<char *>(out);
  char *at = put_month_to_second(put(text, time->year % 100, 2), time);
  if (time->microseconds != 0) {
    uint32_t fraction = time->microseconds;
    while (fraction % 10 == 0) fraction /= 10;
    *at++ = '.';
    at = put(at, fraction, 1);
  }
  if (time->tz_hours != 0 || time->tz_minutes != 0) {
    *at++ = time->tz_plus == 1 ? '+' : '-';
    at = put(put(at, time->tz_hours, 2), time->tz_minutes, 2);
  } else {
    *at++ = 'Z';
  }
  return static_cast<size_t>(at - text);
}

size_t ssh_ber_generalized_time_encode(const SshBerTime *time, uint8_t *out) {
  char *const text = reinterpret_cast<char *>(out);
  char *at = put_month_to_second(put(text, time->year, 4), time);
  *at++ = 'Z';
  return static_cast<size_t>(at - text);
}
