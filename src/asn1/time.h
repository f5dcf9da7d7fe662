// Calendar time: the record behind every certificate, CRL and search time, the two ASN.1 time types
// both ways, and two human-readable texts. Nothing here uses the C library's shared time state or
// locale.
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
  bool odd = false;  // of decoded ones: hour 24, or a zone that no standard has
  bool operator==(const SshBerTime &) const = default;
};

// SSH_BER_TIME_TEXT_MAX bounds the content bytes that the two writers below produce.
constexpr size_t SSH_BER_TIME_TEXT_MAX = 128;

// ssh_ber_time_zero clears all fields; ssh_ber_time_set copies them.
void ssh_ber_time_zero(SshBerTime *time);
void ssh_ber_time_set(SshBerTime *to, const SshBerTime *from);

// ssh_ber_time_set_from_unix_time breaks unsigned seconds since 1970-01-01 00:00:00 UTC down.
void ssh_ber_time_set_from_unix_time(SshBerTime *time, uint32_t seconds);

// ssh_ber_time_set_from_string reads "2001 Mar 22nd, 14:03:09" (what follows is ignored) or
// "2001/03/22/14:03:09". `text` is null-terminated; more than 1024 characters fail. False leaves
// the record as it was.
[[nodiscard]] bool ssh_ber_time_set_from_string(SshBerTime *time, const char *text);

// ssh_ber_time_to_string returns new text (ssh_xfree) such as "2001 Mar 22nd, 14:03:09 GMT"; null
// for a bad month.
[[nodiscard]] char *ssh_ber_time_to_string(const SshBerTime *time);

// SshBerTimeText holds the readable text of a time, none for a time that is not set.
class SshBerTimeText {
 public:
  explicit SshBerTimeText(const SshBerTime &time) : text_(ssh_ber_time_to_string(&time)) {}
  [[nodiscard]] Bytes bytes() const { return text_ ? ssh_text_bytes(text_.get()) : Bytes(); }

 private:
  SshText text_;
};

// ssh_ber_utc_time_decode and ssh_ber_generalized_time_decode read content bytes; false if they
// are not a time, and the record may then be partly written.
[[nodiscard]] bool ssh_ber_utc_time_decode(Bytes content, SshBerTime *time);
[[nodiscard]] bool ssh_ber_generalized_time_decode(Bytes content, SshBerTime *time);

// SshBerUsualUtcTime is the usual form of UTCTime, digits and "Z", of which lists hold very many:
// its bytes are checked once, and made a record of when somebody looks. The other reader above
// decides the same of them.
constexpr size_t SSH_BER_USUAL_UTC_TIME = 13;
class SshBerUsualUtcTime {
 public:
  explicit SshBerUsualUtcTime(const uint8_t *p)
      : date_(four_pairs(p)), clock_(four_pairs(p + 4)), form_(p[12] == 'Z' && !bad_) {}

  // has_form tells of digits and "Z"; is_time, of those, that each field is in its range, with the
  // hour up to 23: the other reader decides about 24.
  [[nodiscard]] bool has_form() const { return form_; }
  [[nodiscard]] bool is_time() const {
    // A field above its range carries into the top bit of its 16 bits.
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
  // four_pairs reads eight digits at once: four numbers of two digits, each in 16 bits, the first
  // one lowest.
  uint64_t four_pairs(const uint8_t *p) {
    // Written out, so that compilers make one load of it.
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

  bool bad_ = false;  // whether a byte is no digit; before what sets it
  uint64_t date_, clock_;
  bool form_;
};

// ssh_ber_utc_time_encode and ssh_ber_generalized_time_encode write content bytes into
// SSH_BER_TIME_TEXT_MAX bytes at `out` and return their count. GeneralizedTime is deliberately
// always written as UTC without fraction or zone difference, whatever the record holds; UTCTime
// carries both.
[[nodiscard]] size_t ssh_ber_utc_time_encode(const SshBerTime *time, uint8_t *out);
[[nodiscard]] size_t ssh_ber_generalized_time_encode(const SshBerTime *time, uint8_t *out);
