#include "util/mp_int.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "util/owner.h"

namespace {

// How decimal text is made: the number is built in base 10^9, whose digits are nine decimal places
// each. It begins as 0, and for every four bytes of the magnitude, the highest first, it is
// multiplied by 2^32 and the four bytes are added. Such a step divides once for each digit, and
// each division waits for the carry of the one before. So kLanes steps are done in one pass over
// the digits: a digit goes through all of them before the next one is read, and the processor works
// on several divisions side by side.
constexpr uint64_t kDecimalBase = 1000000000;
constexpr size_t kDecimalWidth = 9;
constexpr size_t kDecimalBits = 29;  // every base 10^9 digit takes in more than this many bits
constexpr size_t kLanes = 4;
constexpr size_t kSmallDigits = 32;  // on the stack: every serial number that is in use

// Decimal is a number in base 10^9, least significant digit first, in a block that is large enough.
struct Decimal {
  uint32_t *digits;
  size_t count;
};

// push_lanes multiplies the number by 2^(32 * kLanes) and adds the lanes, of which the first is the
// most significant. Lane i is the carry of step i: it holds what is added at first, and what goes
// over into the next digit from then on.
void push_lanes(Decimal &number, uint32_t (&carry)[kLanes]) {
  const auto step = [&carry](uint32_t digit) {
    for (uint32_t &lane : carry) {
      const uint64_t value = uint64_t{digit} << 32 | lane;
      digit = static_cast<uint32_t>(value % kDecimalBase);
      lane = static_cast<uint32_t>(value / kDecimalBase);
    }
    return digit;
  };
  for (size_t i = 0; i < number.count; ++i) number.digits[i] = step(number.digits[i]);
  while ((carry[0] | carry[1] | carry[2] | carry[3]) != 0) number.digits[number.count++] = step(0);
}

// to_base converts the magnitude. Its first bytes are padded with zeros to a whole group.
void to_base(Bytes magnitude, Decimal &number) {
  constexpr size_t group = kLanes * 4;
  const size_t head = magnitude.size() % group;
  size_t at = 0;
  while (at < magnitude.size()) {
    const size_t take = at == 0 && head != 0 ? head : group;
    uint8_t octets[group] = {};
    std::memcpy(octets + group - take, magnitude.data() + at, take);
    uint32_t lanes[kLanes];
    for (size_t i = 0; i < kLanes; ++i) lanes[i] = ssh_load_be32(octets + 4 * i);
    push_lanes(number, lanes);
    at += take;
  }
}

// write_digit puts all nine places of a base 10^9 digit at `out`.
void write_digit(char *out, uint32_t digit) {
  for (size_t i = kDecimalWidth; i-- > 0; digit /= 10) out[i] = static_cast<char>('0' + digit % 10);
}

// decimal_text writes all places of all digits, then moves the text over its leading zeros.
char *decimal_text(const Decimal &number, bool negative) {
  const size_t places = number.count * kDecimalWidth;
  SshText text(static_cast<char *>(ssh_xmalloc(places + 3)));
  char *at = text.get() + 1;
  for (size_t i = number.count; i-- > 0; at += kDecimalWidth) write_digit(at, number.digits[i]);
  const char *end = at;
  const char *first = std::find_if(text.get() + 1, at, [](char c) { return c != '0'; });
  if (first == end) *at++ = '0';
  *at = 0;
  char *out = text.get();
  if (negative) *out++ = '-';
  std::memmove(out, first, static_cast<size_t>(at - first) + 1);
  return text.release();
}

// negate gives the two's complement negative of `length` big-endian bytes in place.
void negate(uint8_t *octets, size_t length) {
  unsigned carry = 1;
  for (size_t i = length; i-- > 0;) {
    carry += static_cast<uint8_t>(~octets[i]);
    octets[i] = static_cast<uint8_t>(carry);
    carry >>= 8;
  }
}

Bytes without_leading_zeros(Bytes octets) {
  const auto first =
      std::find_if(octets.begin(), octets.end(), [](uint8_t octet) { return octet != 0; });
  return octets.subspan(static_cast<size_t>(first - octets.begin()));
}

}  // namespace

SshMpInt::SshMpInt(int64_t value) {
  const auto bits = static_cast<uint64_t>(value);
  const uint64_t magnitude = value < 0 ? 0 - bits : bits;
  uint8_t octets[8];
  ssh_store_be32(octets, static_cast<uint32_t>(magnitude >> 32));
  ssh_store_be32(octets + 4, static_cast<uint32_t>(magnitude));
  set_magnitude(octets, value < 0);
}

SshMpInt::SshMpInt(const SshMpInt &other) { set_magnitude(other.magnitude(), other.negative_); }

SshMpInt::SshMpInt(SshMpInt &&other) noexcept { swap(other); }

SshMpInt &SshMpInt::operator=(const SshMpInt &other) {
  set_magnitude(other.magnitude(), other.negative_);
  return *this;
}

SshMpInt &SshMpInt::operator=(SshMpInt &&other) noexcept {
  swap(other);
  return *this;
}

SshMpInt::~SshMpInt() {
  if (on_heap()) ssh_xfree(heap_);
}

void SshMpInt::swap(SshMpInt &other) noexcept {
  uint8_t storage[SSH_MP_INLINE];
  std::memcpy(storage, inline_, sizeof storage);
  std::memcpy(inline_, other.inline_, sizeof storage);
  std::memcpy(other.inline_, storage, sizeof storage);
  std::swap(length_, other.length_);
  std::swap(negative_, other.negative_);
}

// assign stores the bytes as they are and returns the place; they may lie in the present value.
uint8_t *SshMpInt::assign(Bytes octets) {
  uint8_t *old = on_heap() ? heap_ : nullptr;
  uint8_t *place = inline_;
  if (octets.size() > SSH_MP_INLINE) {
    place = static_cast<uint8_t *>(ssh_xmalloc(octets.size()));
  }
  if (!octets.empty()) std::memmove(place, octets.data(), octets.size());
  if (place != inline_) heap_ = place;
  length_ = static_cast<uint32_t>(octets.size());
  ssh_xfree(old);
  return place;
}

void SshMpInt::set_magnitude(Bytes octets, bool negative) {
  assign(without_leading_zeros(octets));
  negative_ = negative && length_ > 0;
}

void SshMpInt::set_twos_complement_long(Bytes content) {
  if (content.empty() || content[0] < 0x80) {
    set_magnitude(content);
    return;
  }
  uint8_t *octets = assign(content);
  negate(octets, content.size());
  set_magnitude({octets, content.size()}, true);
}

size_t SshMpInt::bits() const {
  if (length_ == 0) return 0;
  return (size_t{length_} - 1) * 8 + static_cast<size_t>(std::bit_width(data()[0]));
}

bool SshMpInt::to_uint32(uint32_t &out) const {
  if (negative_ || length_ > 4) return false;
  out = low32();
  return true;
}

uint32_t SshMpInt::low32() const {
  const Bytes octets = magnitude();
  uint32_t value = 0;
  for (const uint8_t octet : octets.last(std::min<size_t>(octets.size(), 4)))
    value = value << 8 | octet;
  return negative_ ? 0 - value : value;
}

int SshMpInt::compare(const SshMpInt &other) const {
  if (negative_ != other.negative_) return negative_ ? -1 : 1;
  const int sign = negative_ ? -1 : 1;
  if (length_ != other.length_) return length_ < other.length_ ? -sign : sign;
  const int order = std::memcmp(data(), other.data(), length_);
  return order < 0 ? -sign : order > 0 ? sign : 0;
}

void SshMpInt::halve() {
  uint8_t *octets = on_heap() ? heap_ : inline_;
  unsigned carry = 0;
  for (size_t i = 0; i < length_; ++i) {
    const unsigned octet = octets[i];
    octets[i] = static_cast<uint8_t>(carry << 7 | octet >> 1);
    carry = octet & 1;
  }
  if (length_ > 0 && octets[0] == 0) set_magnitude({octets, length_}, negative_);
}

char *SshMpInt::to_decimal() const {
  if (length_ > SSH_MP_DECIMAL_MAX) return nullptr;
  const size_t capacity = bits() / kDecimalBits + 2;
  uint32_t small[kSmallDigits];
  SshArray<uint32_t> large;
  Decimal number = {small, 0};
  if (capacity > kSmallDigits) {
    large = ssh_make_array<uint32_t>(capacity);
    number.digits = large.get();
  }
  to_base(magnitude(), number);
  return decimal_text(number, negative_);
}

bool SshMpInt::write_magnitude(uint8_t *out, size_t length) const {
  if (negative_ || length_ > length) return false;
  std::memset(out, 0, length - length_);
  if (length_ > 0) std::memcpy(out + (length - length_), data(), length_);
  return true;
}

size_t SshMpInt::twos_complement_length() const {
  if (length_ == 0) return 1;
  const Bytes octets = magnitude();
  if (octets[0] != 0x80 || !negative_) return octets.size() + (octets[0] >= 0x80 ? 1 : 0);
  // -2^(8n-1) alone needs no further byte for its sign.
  return octets.size() + (without_leading_zeros(octets.subspan(1)).empty() ? 0 : 1);
}

void SshMpInt::write_twos_complement(uint8_t *out) const {
  const size_t length = twos_complement_length();
  out[0] = 0;
  if (length_ > 0) std::memcpy(out + (length - length_), data(), length_);
  if (negative_) negate(out, length);
}
