// Calendar time: the record for every time of a certificate, CRL or search; the two ASN.1 time
// types, read and written; and two texts that people read and type.
//
//   SshBerTime time;
//   if (!ssh_ber_utc_time_decode(content, &time)) return false;
//   const SshText text(ssh_ber_time_to_string(&time));
//
// A record holds the fields as they were given, with no conversion between zones. The C library's
// functions are not used: their locale and their static results are shared by the whole process.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"
#include "util/owner.h"

// SshBerTime is plain data: copied by assignment, cleared by `= {}`. All zero means "not set".
struct SshBerTime {
  uint32_t year = 0;   // the full year
  uint32_t month = 0;  // 1 to 12
  uint32_t day = 0;    // 1 to 31
  uint32_t hour = 0;
  uint32_t minute = 0;
  uint32_t second = 0;
  uint32_t microseconds = 0;
  uint32_t tz_plus = 0;   // 1: the zone difference is written with "+"
  uint32_t tz_hours = 0;  // both zone fields 0: UTC
  uint32_t tz_minutes = 0;
  bool odd = false;  // as decoded: the hour is 24, or the zone is in no standard's form
  bool operator==(const SshBerTime &) const = default;
};

// SSH_BER_TIME_TEXT_MAX bounds the content bytes that the two encoders below write.
constexpr size_t SSH_BER_TIME_TEXT_MAX = 128;

// ssh_ber_time_zero clears all fields; ssh_ber_time_set copies them.
void ssh_ber_time_zero(SshBerTime *time);
void ssh_ber_time_set(SshBerTime *to, const SshBerTime *from);

// ssh_ber_time_set_from_unix_time sets a time from the seconds since 1970-01-01 00:00:00 UTC, up to
// 2106.
void ssh_ber_time_set_from_unix_time(SshBerTime *time, uint32_t seconds);

// ssh_ber_time_set_from_string reads "2001 Mar 22nd, 14:03:09" or "2001/03/22/14:03:09"; what
// follows is ignored. Null and text of more than 1024 characters fail. A failure leaves the record
// as it was.
[[nodiscard]] bool ssh_ber_time_set_from_string(SshBerTime *time, const char *text);

// ssh_ber_time_to_string returns new text (ssh_xfree) such as "2001 Mar 22nd, 14:03:09 GMT"; null
// for a bad month.
[[nodiscard]] char *ssh_ber_time_to_string(const SshBerTime *time);

// SshBerTimeText owns the text of a time; it has no bytes for a time that is not set.
class SshBerTimeText {
 public:
  explicit SshBerTimeText(const SshBerTime &time) : text_(ssh_ber_time_to_string(&time)) {}
  [[nodiscard]] Bytes bytes() const { return text_ ? ssh_text_bytes(text_.get()) : Bytes(); }

 private:
  SshText text_;
};

// ssh_ber_utc_time_decode and ssh_ber_generalized_time_decode read content bytes. False if they are
// not a time; the record then stays as it was. They accept what older peers write, which is more
// than the standards allow (see time.cc), and note in the record whether a time is odd.
[[nodiscard]] bool ssh_ber_utc_time_decode(Bytes content, SshBerTime *time);
[[nodiscard]] bool ssh_ber_generalized_time_decode(Bytes content, SshBerTime *time);

// SshBerUsualUtcTime reads the usual form of UTCTime, YYMMDDhhmmssZ. A CRL can have a million of
// them, so the digits are read eight at a time, and checking them is apart from making a record: a
// CRL is checked when it is decoded, and its entries become records when somebody looks at them.
// What it accepts, ssh_ber_utc_time_decode accepts with the same result.
constexpr size_t SSH_BER_USUAL_UTC_TIME = 13;
class SshBerUsualUtcTime {
 public:
  // `p` is 13 bytes. The first eight are year, month, day and hour; the second eight begin at the
  // day, so that the two loads overlap and cover all twelve digits.
  explicit SshBerUsualUtcTime(const uint8_t *p)
      : date_(four_pairs(p)), clock_(four_pairs(p + 4)), form_(p[12] == 'Z' && !bad_) {}

  // has_form is true for twelve digits and "Z". For those, is_time is true if each field is in its
  // range, with an hour up to 23: about 24 the other reader decides.
  [[nodiscard]] bool has_form() const { return form_; }
  [[nodiscard]] bool is_time() const {
    // Day, hour, minute and second are compared with 31, 23, 60 and 60 at once: each has 16 bits,
    // and what is added to them makes a field that is too large carry into its top bit.
    constexpr uint64_t kRoom = (0x7FFF - uint64_t{31}) | (0x7FFF - uint64_t{23}) << 16 |
                               (0x7FFF - uint64_t{60}) << 32 | (0x7FFF - uint64_t{60}) << 48;
    return ((clock_ + kRoom) & 0x8000800080008000) == 0 && pair_at(clock_, 0) != 0 &&
           pair_at(date_, 1) - 1 < 12;
  }
  void convert(SshBerTime *time) const {
    const uint32_t year = pair_at(date_, 0);
    *time = {.year = year + (year < 50 ? 2000 : 1900),
             .month = pair_at(date_, 1),
             .day = pair_at(clock_, 0),
             .hour = pair_at(clock_, 1),
             .minute = pair_at(clock_, 2),
             .second = pair_at(clock_, 3)};
  }

 private:
  // four_pairs reads eight digits at once, as four numbers of two digits. The first one is in the
  // lowest 16 bits of the result. `digits` has a digit in each byte; ten times a byte plus the byte
  // above it is the number, and the mask keeps every other byte. A byte that is no digit has high
  // bits after the exclusive or, or (":" to "?") after 6 is added.
  uint64_t four_pairs(const uint8_t *p) {
    // Written out in this way, compilers make a single load of it.
    const uint64_t octets = uint64_t{p[0]} | uint64_t{p[1]} << 8 | uint64_t{p[2]} << 16 |
                            uint64_t{p[3]} << 24 | uint64_t{p[4]} << 32 | uint64_t{p[5]} << 40 |
                            uint64_t{p[6]} << 48 | uint64_t{p[7]} << 56;
    const uint64_t digits = octets ^ 0x3030303030303030;
    bad_ |= ((digits | (digits + 0x0606060606060606)) & 0xF0F0F0F0F0F0F0F0) != 0;
    return (digits * 10 + (digits >> 8)) & 0x00FF00FF00FF00FF;
  }
  static uint32_t pair_at(uint64_t pairs, int i) {
    return static_cast<uint32_t>(pairs >> (16 * i) & 0xFF);
  }

  bool bad_ = false;  // whether a byte is no digit; declared before the members that set it
  uint64_t date_, clock_;
  bool form_;
};

// ssh_ber_utc_time_encode and ssh_ber_generalized_time_encode write content bytes to `out`, which
// has room for SSH_BER_TIME_TEXT_MAX, and return their count. UTCTime is written with fraction and
// zone. GeneralizedTime is written without either, as if the record were UTC, deliberately: peers
// have always been sent it so.
[[nodiscard]] size_t ssh_ber_utc_time_encode(const SshBerTime *time, uint8_t *out);
[[nodiscard]] size_t ssh_ber_generalized_time_encode(const SshBerTime *time, uint8_t *out);
