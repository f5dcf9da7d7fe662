// Multiple-precision integers: sign and big-endian magnitude, as both encodings carry them.
// The library compares, measures, halves and prints integers, so the magnitude is kept as bytes;
// up to SSH_MP_INLINE of them sit in the object itself and take no heap call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "util/bytes.h"
#include "util/mem.h"

constexpr size_t SSH_MP_INLINE = 24;

// SSH_MP_DECIMAL_MAX is the largest magnitude in bytes that is printed in decimal (64 KiB).
constexpr size_t SSH_MP_DECIMAL_MAX = 0x10000;

class SshMpInt {
 public:
  SshMpInt() = default;  // 0
  explicit SshMpInt(int64_t value);
  SshMpInt(const SshMpInt &other);
  SshMpInt(SshMpInt &&other) noexcept;
  SshMpInt &operator=(const SshMpInt &other);
  SshMpInt &operator=(SshMpInt &&other) noexcept;
  ~SshMpInt();

  // set_magnitude sets the value from big-endian bytes, leading zeros allowed; zero is never
  // negative.
  void set_magnitude(Bytes octets, bool negative = false);

  // set_twos_complement sets the value from the content bytes of a BER INTEGER; no bytes give 0.
  // Every INTEGER of a certificate goes through here, so what nearly all of them are, short and not
  // negative, is done without a call.
  void set_twos_complement(Bytes content) {
    const bool zero_first = content.size() > 1 && content[0] == 0;
    const Bytes value = zero_first ? content.subspan(1) : content;
    const bool small = !value.empty() && value.size() <= SSH_MP_INLINE && !on_heap();
    if (!small || value[0] == 0 || (!zero_first && value[0] >= 0x80)) {
      set_twos_complement_long(content);
      return;
    }
    std::memmove(inline_, value.data(), value.size());
    length_ = static_cast<uint32_t>(value.size());
    negative_ = false;
  }
  void set_twos_complement_long(Bytes content);  // the general case

  // magnitude shows the bytes without leading zeros (none for 0); valid until the value changes.
  [[nodiscard]] Bytes magnitude() const { return {data(), length_}; }
  [[nodiscard]] bool negative() const { return negative_; }
  [[nodiscard]] bool is_zero() const { return length_ == 0; }

  // held bounds what the integer takes of the heap.
  [[nodiscard]] size_t held() const { return on_heap() ? ssh_mem_heap_size(length_) : 0; }

  // bits counts the significant bits of the magnitude; 0 for 0.
  [[nodiscard]] size_t bits() const;

  // to_uint32 stores the value if it lies in 0 to 2^32 - 1; otherwise it returns false and leaves
  // `out` alone.
  [[nodiscard]] bool to_uint32(uint32_t &out) const;

  // low32 gives the low 32 bits of the two's complement form.
  [[nodiscard]] uint32_t low32() const;

  // compare gives a value below, equal to or above 0 as this integer is below, equal to or above
  // `other`.
  [[nodiscard]] int compare(const SshMpInt &other) const;
  bool operator==(const SshMpInt &other) const { return compare(other) == 0; }

  // halve shifts the magnitude right by one bit.
  void halve();

  // to_decimal returns new text, released with ssh_xfree, or null for more than SSH_MP_DECIMAL_MAX
  // bytes.
  [[nodiscard]] char *to_decimal() const;

  // write_magnitude writes the magnitude as `length` bytes, zeros in front; false, and nothing
  // written, if the value is negative or longer.
  [[nodiscard]] bool write_magnitude(uint8_t *out, size_t length) const;

  // twos_complement_length and write_twos_complement give the minimal content bytes of a BER
  // INTEGER: the first their count (at least 1), the second the bytes themselves into a block of
  // that size.
  [[nodiscard]] size_t twos_complement_length() const;
  void write_twos_complement(uint8_t *out) const;

 private:
  [[nodiscard]] const uint8_t *data() const { return on_heap() ? heap_ : inline_; }
  [[nodiscard]] bool on_heap() const { return length_ > SSH_MP_INLINE; }
  uint8_t *assign(Bytes octets);
  void swap(SshMpInt &other) noexcept;

  // The bytes lie in the object up to SSH_MP_INLINE, and in a block of their own above.
  union {
    uint8_t inline_[SSH_MP_INLINE] = {};
    uint8_t *heap_;
  };
  uint32_t length_ = 0;
  bool negative_ = false;
};
