#include "crypto/montgomery.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "crypto/mp_math.h"

using Limbs = Owner<SshLimb, ssh_xfree_wiped>;

// SshMontgomeryPower is one base with its exponent.
struct SshMontgomeryPower {
  Bytes base;
  bool negative;
  const SshMpInt &exponent;
};

namespace {

constexpr size_t kPowersMax = 2;       // bases raised at once
constexpr unsigned kSecretWindow = 4;  // half a byte of exponent at a time
constexpr size_t kSecretEntries = size_t{1} << kSecretWindow;

SshLimb *allocate(size_t count) {
  return static_cast<SshLimb *>(ssh_xmalloc(count * sizeof(SshLimb)));
}

void copy(SshLimb *out, const SshLimb *from, size_t count) {
  std::memcpy(out, from, count * sizeof(SshLimb));
}

// scratch_size is how many limbs it takes to convert a base and to multiply.
size_t scratch_size(Bytes base, size_t count) {
  return std::max(2 * count, ssh_limbs_count(base.size()) + 1);
}

// How a public exponent is worked off (sliding windows): going down its bits, the result is squared
// for every bit and multiplied by the base for every 1. To save multiplications, several bits at a
// time are taken as one window, from a 1 to a 1, and the result is multiplied by the power of the
// base that the window's number says. That number is odd, so a table of odd powers is enough.

// window_width is the longest window for an exponent of so many bits. A wider one means fewer
// multiplications on the way, but a table that takes more of them to make; the limits are where the
// sum is smallest. A short exponent, as nearly all RSA keys have it, does without a table.
unsigned window_width(size_t bits) {
  return bits > 671 ? 6 : bits > 239 ? 5 : bits > 79 ? 4 : bits > 23 ? 3 : 1;
}

// Windows finds the windows of one exponent, from its top bit down, and knows its table.
class Windows {
 public:
  Windows() = default;
  explicit Windows(const SshMpInt &exponent, const SshLimb *table = nullptr)
      : octets_(exponent.magnitude()), table_(table), width_(window_width(exponent.bits())) {}

  [[nodiscard]] const SshLimb *table() const { return table_; }
  [[nodiscard]] size_t entries() const { return size_t{1} << (width_ - 1); }

  // step is told every bit downwards. It returns the odd power to multiply by after the squaring of
  // this bit, or 0.
  unsigned step(size_t at) {
    if (value_ == 0) {
      if (!bit(at)) return 0;
      last_ = at >= width_ ? at - width_ + 1 : 0;
      while (!bit(last_)) ++last_;
      for (size_t i = at + 1; i-- > last_;) value_ = value_ << 1 | unsigned{bit(i)};
    }
    return at == last_ ? std::exchange(value_, 0) : 0;
  }

 private:
  [[nodiscard]] bool bit(size_t at) const {
    const size_t octet = at / 8;
    return octet < octets_.size() && (octets_[octets_.size() - 1 - octet] >> at % 8 & 1) != 0;
  }

  Bytes octets_;
  const SshLimb *table_ = nullptr;
  unsigned width_ = 1;
  size_t last_ = 0;
  unsigned value_ = 0;  // of the window that ends at last_; 0: none is open
};

// select copies the entry number `index` of the table. It reads every entry and keeps the one by a
// mask, so that neither a branch nor an address depends on the index, which is secret.
void select(SshLimb *out, const SshLimb *table, size_t count, SshLimb index) {
  std::memset(out, 0, count * sizeof(SshLimb));
  for (SshLimb entry = 0; entry < kSecretEntries; ++entry, table += count) {
    const SshLimb differs = entry ^ index;  // small, so that 0 alone borrows from the top
    const SshLimb mask = ssh_limbs_mask((differs - 1) >> (SSH_LIMB_BITS - 1));
    for (size_t i = 0; i < count; ++i) out[i] |= table[i] & mask;
  }
}

}  // namespace

bool SshMontgomery::init(const SshMpInt &modulus) {
  const Bytes octets = modulus.magnitude();
  if (modulus.negative() || modulus.bits() < 2 || modulus.bits() > SSH_MONTGOMERY_BITS_MAX) {
    return false;
  }
  if (octets.back() % 2 == 0) return false;
  octets_ = octets.size();
  significant_ = ssh_limbs_count(octets_);
  count_ = ssh_limbs_even(significant_);
  modulus_.reset(allocate(3 * count_));
  SshLimb *shifted = modulus_.get() + count_;
  ssh_limbs_load(modulus_.get(), count_, octets);
  copy(shifted, modulus_.get(), count_);
  shift_ = static_cast<unsigned>(std::countl_zero(shifted[significant_ - 1]));
  ssh_limbs_shift_left(shifted, count_, shift_);
  // Newton's iteration doubles the bits that are right; an odd number is its own inverse modulo 8.
  const SshLimb lowest = modulus_.get()[0];
  SshLimb inverse = lowest;
  for (unsigned bits = 3; bits < SSH_LIMB_BITS; bits *= 2) inverse *= 2 - lowest * inverse;
  negative_inverse_ = 0 - inverse;
  const Limbs scratch(allocate(2 * count_ + 2));
  square_range(scratch.get());
  return true;
}

// square_range makes R^2 modulo the modulus. Division wants a divisor whose top bit is set, so both
// numbers are shifted left for it, and the remainder is shifted back.
void SshMontgomery::square_range(SshLimb *scratch) {
  const size_t size = 2 * count_ + 1;
  std::memset(scratch, 0, (size + 1) * sizeof(SshLimb));
  scratch[size - 1] = SshLimb{1} << shift_;
  ssh_limbs_divide(scratch, size, modulus_.get() + count_, significant_, nullptr);
  ssh_limbs_shift_right(scratch, significant_, shift_);
  copy(modulus_.get() + 2 * count_, scratch, count_);
}

// convert brings a base into Montgomery form, that is, multiplies it by R modulo the modulus. It
// does so by a Montgomery multiplication with R^2, which takes any number below R in the same time,
// so that a secret base does not show. A longer base is divided first, which takes a time that
// depends on it; secrets are never longer.
void SshMontgomery::convert(SshLimb *out, Bytes base, bool negative, SshLimb *scratch) const {
  const size_t size = ssh_limbs_count(base.size());
  if (size > count_) {
    ssh_limbs_load(scratch, size, base);
    scratch[size] = ssh_limbs_shift_left(scratch, size, shift_);
    ssh_limbs_divide(scratch, size, modulus_.get() + count_, significant_, nullptr);
    ssh_limbs_shift_right(scratch, significant_, shift_);
    copy(out, scratch, count_);
  } else {
    ssh_limbs_load(out, count_, base);
  }
  mul(out, out, modulus_.get() + 2 * count_, scratch);
  // The negative of 0 becomes the modulus itself here, which reduce takes as well.
  if (negative) ssh_limbs_sub(out, modulus_.get(), count_, out, count_);
}

// reduce divides a product of two numbers, neither of them above the modulus, by R modulo the
// modulus. Dividing by R is dropping the lowest count_ limbs, which may be done when they are 0. So
// for each of them, from the lowest up, a multiple of the modulus is added that makes it 0, which
// changes nothing modulo the modulus. Which multiple that is, the limb and negative_inverse_ tell.
void SshMontgomery::reduce(SshLimb *out, SshLimb *product) const {
  const SshLimb *modulus = modulus_.get();
  SshLimb carry = 0;
  for (size_t i = 0; i < count_; i += 2) {
    // The two multiples of the modulus that make the two lowest limbs 0.
    SshLimb *at = product + i;
    const SshLimb first = at[0] * negative_inverse_;
    const SshWide low = SshWide{first} * modulus[0] + at[0];
    const SshLimb next = at[1] + first * modulus[1] + ssh_limbs_high(low);
    const SshWide above = ssh_limbs_add_rows(at, modulus, count_, first, next * negative_inverse_);
    SshWide sum = SshWide{at[count_]} + ssh_limbs_low(above) + carry;
    at[count_] = ssh_limbs_low(sum);
    sum = SshWide{at[count_ + 1]} + ssh_limbs_high(above) + ssh_limbs_high(sum);
    at[count_ + 1] = ssh_limbs_low(sum);
    carry = ssh_limbs_high(sum);
  }
  // The result is below twice the modulus, so the modulus may have to be subtracted once. The
  // subtraction is always made; a mask keeps the number from before if the difference is negative.
  // A branch would tell something about the number.
  const SshLimb *result = product + count_;
  const SshLimb borrow = ssh_limbs_sub(out, result, count_, modulus, count_);
  const SshLimb keep = ssh_limbs_mask(borrow & ~carry);
  for (size_t i = 0; i < count_; ++i) out[i] = (out[i] & ~keep) | (result[i] & keep);
}

void SshMontgomery::mul(SshLimb *out, const SshLimb *a, const SshLimb *b, SshLimb *scratch) const {
  ssh_limbs_mul(scratch, a, count_, b, count_);
  reduce(out, scratch);
}

void SshMontgomery::square(SshLimb *out, const SshLimb *a, SshLimb *scratch) const {
  ssh_limbs_square(scratch, a, count_);
  reduce(out, scratch);
}

// leave brings a number out of Montgomery form: it divides it by R.
void SshMontgomery::leave(SshLimb *number, SshLimb *scratch) const {
  copy(scratch, number, count_);
  std::memset(scratch + count_, 0, count_ * sizeof(SshLimb));
  reduce(number, scratch);
}

SshMpInt SshMontgomery::power(const SshMpInt &base, const SshMpInt &exponent) const {
  const SshMontgomeryPower rows[] = {{base.magnitude(), base.negative(), exponent}};
  return number(rows);
}

SshMpInt SshMontgomery::power2(const SshMpInt &b1, const SshMpInt &e1, const SshMpInt &b2,
                               const SshMpInt &e2) const {
  const SshMontgomeryPower rows[] = {{b1.magnitude(), b1.negative(), e1},
                                     {b2.magnitude(), b2.negative(), e2}};
  return number(rows);
}

void SshMontgomery::power_of_secret(const uint8_t *base, const SshMpInt &exponent,
                                    uint8_t *out) const {
  const SshMontgomeryPower rows[] = {{{base, octets_}, false, exponent}};
  product(rows, out);
}

// number gives what product writes; 0 where a base or exponent is longer than is taken.
SshMpInt SshMontgomery::number(std::span<const SshMontgomeryPower> rows) const {
  SshMpInt out;
  for (const SshMontgomeryPower &row : rows) {
    if (row.base.size() > SSH_MP_BITS_MAX / 8) return out;
    if (row.exponent.bits() > SSH_MONTGOMERY_BITS_MAX) return out;
  }
  const SshBlock octets = ssh_make_block(octets_);
  product(rows, octets.get());
  out.set_magnitude({octets.get(), octets_});
  return out;
}

// fill stores the odd powers of a base: the first, third, fifth and so on.
void SshMontgomery::fill(SshLimb *table, size_t entries, const SshMontgomeryPower &row,
                         SshLimb *squared, SshLimb *scratch) const {
  convert(table, row.base, row.negative, scratch);
  if (entries > 1) square(squared, table, scratch);
  for (size_t i = 1; i < entries; ++i, table += count_) {
    mul(table + count_, table, squared, scratch);
  }
}

// product computes the product of one or two powers, from the top bit of the exponents down: it
// squares the result for every bit, and where a window of an exponent ends it multiplies by the odd
// power that the window stands for. Two powers, as a DSA signature needs them, share the squarings:
// both rows are looked at for every bit, and the result is already their product. Branches and
// addresses depend on the exponents alone.
void SshMontgomery::product(std::span<const SshMontgomeryPower> rows, uint8_t *out) const {
  size_t bits = 0, scratch_limbs = 0, entries = 0;
  for (const SshMontgomeryPower &row : rows) {
    bits = std::max(bits, row.exponent.bits());
    scratch_limbs = std::max(scratch_limbs, scratch_size(row.base, count_));
    entries += Windows(row.exponent).entries();
  }
  const Limbs block(allocate(scratch_limbs + (1 + entries) * count_));
  SshLimb *scratch = block.get(), *result = scratch + scratch_limbs, *table = result + count_;
  Windows windows[kPowersMax];
  for (size_t i = 0; i < rows.size(); ++i) {
    windows[i] = Windows(rows[i].exponent, table);
    fill(table, windows[i].entries(), rows[i], result, scratch);
    table += windows[i].entries() * count_;
  }
  bool one = true;  // the result so far is 1 and is not stored
  for (size_t at = bits; at-- > 0;) {
    if (!one) square(result, result, scratch);
    for (size_t i = 0; i < rows.size(); ++i) {
      const unsigned odd = windows[i].step(at);
      if (odd == 0) continue;
      const SshLimb *factor = windows[i].table() + odd / 2 * count_;
      if (one) copy(result, factor, count_);
      if (!one) mul(result, result, factor, scratch);
      one = false;
    }
  }
  if (one) {
    std::memset(result, 0, count_ * sizeof(SshLimb));
    result[0] = 1;
  } else {
    leave(result, scratch);
  }
  ssh_limbs_store(result, out, octets_);
}

// The exponent is secret here. So its windows are all of one size, half a byte, and each costs the
// same: four squarings, a look at every entry of the table, and one multiplication, by 1 if the
// half byte is 0. No branch and no address depends on the exponent or on what is computed from it.
// The block is wiped when it is freed.
void SshMontgomery::power_secret(const SshMpInt &base, Bytes exponent, uint8_t *out) const {
  constexpr uint8_t kOne[] = {1};
  const Bytes taken = base.bits() > SSH_MP_BITS_MAX ? Bytes() : base.magnitude();
  const size_t scratch_limbs = scratch_size(taken, count_);
  const Limbs block(allocate(scratch_limbs + (2 + kSecretEntries) * count_));
  SshLimb *scratch = block.get(), *result = scratch + scratch_limbs;
  SshLimb *factor = result + count_, *table = factor + count_;
  convert(table, kOne, false, scratch);
  convert(table + count_, taken, base.negative(), scratch);
  for (size_t i = 2; i < kSecretEntries; ++i) {
    mul(table + i * count_, table + (i - 1) * count_, table + count_, scratch);
  }
  copy(result, table, count_);
  for (size_t i = 0; i < 2 * exponent.size(); ++i) {
    for (unsigned k = 0; k < kSecretWindow; ++k) square(result, result, scratch);
    const unsigned octet = exponent[i / 2];
    select(factor, table, count_, i % 2 == 0 ? octet >> kSecretWindow : octet % kSecretEntries);
    mul(result, result, factor, scratch);
  }
  leave(result, scratch);
  ssh_limbs_store(result, out, octets_);
}
