#include "crypto/mp_limbs.h"

namespace {

// multiply_add returns the low half of x * y + add + carry and leaves the high half in `carry`. It
// is written in two ways for the sake of g++. With 64-bit limbs its best code comes of sums whose
// carry is found by a comparison (a sum that is below one of its terms has overflowed). With 32-bit
// limbs g++ would make branches of these comparisons, which are slow and depend on secrets, so the
// sum is made in 64 bits.
inline SshLimb multiply_add(SshLimb x, SshLimb y, SshLimb add, SshLimb &carry) {
  const SshWide product = SshWide{x} * y;
  if constexpr (SSH_LIMB_BITS < 64) {
    const SshWide sum = product + add + carry;
    carry = ssh_limbs_high(sum);
    return ssh_limbs_low(sum);
  }
  SshLimb low = ssh_limbs_low(product), high = ssh_limbs_high(product);
  low += add;
  high += low < add;
  low += carry;
  high += low < carry;
  carry = high;
  return low;
}

// Multiplication is the one from school: for each limb b of one number, the other number times b is
// added to the sum, one limb further up each time. add_rows adds two such rows at once, for b0 and
// for b1, the second one limb behind the first. That takes half the loads and stores, and the two
// carries do not wait for each other.
inline SshWide add_rows(SshLimb *sum, const SshLimb *a, size_t count, SshLimb b0, SshLimb b1,
                        SshLimb carry0 = 0) {
  SshLimb carry1 = 0, behind = 0;
  for (size_t i = 0; i < count; i += 2) {
    const SshLimb even = a[i], odd = a[i + 1];
    SshLimb low = multiply_add(even, b0, sum[i], carry0);
    sum[i] = multiply_add(behind, b1, low, carry1);
    low = multiply_add(odd, b0, sum[i + 1], carry0);
    sum[i + 1] = multiply_add(even, b1, low, carry1);
    behind = odd;
  }
  return SshWide{behind} * b1 + carry0 + carry1;
}

// sub_row subtracts v * q from the `count` limbs at `number` and returns what has still to be
// subtracted from the limb above them.
SshLimb sub_row(SshLimb *number, const SshLimb *v, size_t count, SshLimb q) {
  SshLimb carry = 0;
  for (size_t i = 0; i < count; ++i) {
    const SshLimb low = multiply_add(v[i], q, 0, carry);
    carry += number[i] < low;
    number[i] -= low;
  }
  return carry;
}

// estimate guesses the next limb of a quotient from the three highest limbs of the number, which
// end at `top`, and the two highest limbs v1 and v2 of the divisor. The guess is right or one too
// large (Knuth, The Art of Computer Programming, 4.3.1, algorithm D, step D3). With `third` false
// the divisor has one limb only, and the third limb of the number does not count.
SshLimb estimate(const SshLimb *top, SshLimb v1, SshLimb v2, bool third) {
  const SshWide two = SshWide{top[0]} << SSH_LIMB_BITS | top[-1];
  SshLimb q = top[0] >= v1 ? ~SshLimb{0} : ssh_limbs_low(two / v1);
  SshWide rest = two - SshWide{q} * v1;
  const SshLimb next = third ? top[-2] : 0;
  while (ssh_limbs_high(rest) == 0 && SshWide{q} * v2 > (rest << SSH_LIMB_BITS | next)) {
    --q;
    rest += v1;
  }
  return q;
}

}  // namespace

void ssh_limbs_load(SshLimb *out, size_t count, Bytes octets) {
  size_t left = octets.size();
  for (size_t i = 0; i < count; ++i) {
    SshLimb limb = 0;
    const size_t take = left < SSH_LIMB_OCTETS ? left : SSH_LIMB_OCTETS;
    for (size_t k = 0; k < take; ++k) limb |= SshLimb{octets[left - 1 - k]} << (8 * k);
    out[i] = limb;
    left -= take;
  }
}

void ssh_limbs_store(const SshLimb *limbs, uint8_t *out, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    const SshLimb limb = limbs[i / SSH_LIMB_OCTETS];
    out[length - 1 - i] = static_cast<uint8_t>(limb >> (8 * (i % SSH_LIMB_OCTETS)));
  }
}

size_t ssh_limbs_trim(const SshLimb *limbs, size_t count) {
  while (count > 0 && limbs[count - 1] == 0) --count;
  return count;
}

int ssh_limbs_compare(const SshLimb *a, const SshLimb *b, size_t count) {
  for (size_t i = count; i-- > 0;) {
    if (a[i] != b[i]) return a[i] < b[i] ? -1 : 1;
  }
  return 0;
}

SshLimb ssh_limbs_add(SshLimb *out, const SshLimb *a, size_t count, const SshLimb *b,
                      size_t b_count) {
  SshLimb carry = 0;
  for (size_t i = 0; i < count; ++i) {
    const SshWide sum = SshWide{a[i]} + (i < b_count ? b[i] : 0) + carry;
    out[i] = ssh_limbs_low(sum);
    carry = ssh_limbs_high(sum);
  }
  return carry;
}

SshLimb ssh_limbs_sub(SshLimb *out, const SshLimb *a, size_t count, const SshLimb *b,
                      size_t b_count) {
  SshLimb carry = 0;
  for (size_t i = 0; i < count; ++i) {
    const SshWide difference = SshWide{a[i]} - (i < b_count ? b[i] : 0) - carry;
    out[i] = ssh_limbs_low(difference);
    carry = ssh_limbs_high(difference) & 1;
  }
  return carry;
}

SshLimb ssh_limbs_shift_left(SshLimb *limbs, size_t count, unsigned bits) {
  if (bits == 0) return 0;
  SshLimb carry = 0;
  for (size_t i = 0; i < count; ++i) {
    const SshLimb limb = limbs[i];
    limbs[i] = limb << bits | carry;
    carry = limb >> (SSH_LIMB_BITS - bits);
  }
  return carry;
}

void ssh_limbs_shift_right(SshLimb *limbs, size_t count, unsigned bits) {
  if (bits == 0) return;
  SshLimb carry = 0;
  for (size_t i = count; i-- > 0;) {
    const SshLimb limb = limbs[i];
    limbs[i] = limb >> bits | carry;
    carry = limb << (SSH_LIMB_BITS - bits);
  }
}

SshWide ssh_limbs_add_rows(SshLimb *sum, const SshLimb *a, size_t count, SshLimb b0, SshLimb b1) {
  return add_rows(sum, a, count, b0, b1);
}

void ssh_limbs_mul(SshLimb *out, const SshLimb *a, size_t a_count, const SshLimb *b,
                   size_t b_count) {
  std::memset(out, 0, a_count * sizeof(SshLimb));
  for (size_t i = 0; i < b_count; i += 2) {
    const SshWide above = add_rows(out + i, a, a_count, b[i], b[i + 1]);
    out[i + a_count] = ssh_limbs_low(above);
    out[i + a_count + 1] = ssh_limbs_high(above);
  }
}

void ssh_limbs_square(SshLimb *out, const SshLimb *a, size_t count) {
  // The product of two different limbs occurs twice in a square. So the products above the diagonal
  // are added up once, two rows at a time. The product of the two limbs of a pair of rows comes
  // first, since only one of the two rows has it.
  std::memset(out, 0, count * sizeof(SshLimb));
  for (size_t i = 0; i < count; i += 2) {
    const SshWide first = SshWide{a[i]} * a[i + 1] + out[2 * i + 1];
    out[2 * i + 1] = ssh_limbs_low(first);
    const SshWide above =
        add_rows(out + 2 * i + 2, a + i + 2, count - i - 2, a[i], a[i + 1], ssh_limbs_high(first));
    out[i + count] = ssh_limbs_low(above);
    out[i + count + 1] = ssh_limbs_high(above);
  }
  // Then the sum is doubled, and the square of each limb is added at its place.
  SshLimb carry = 0, pushed = 0;
  for (size_t i = 0; i < count; ++i, out += 2) {
    const SshWide square = SshWide{a[i]} * a[i];
    const SshLimb low = out[0], high = out[1];
    SshWide sum = SshWide{low << 1 | pushed} + ssh_limbs_low(square) + carry;
    out[0] = ssh_limbs_low(sum);
    pushed = high >> (SSH_LIMB_BITS - 1);
    sum = SshWide{high << 1 | low >> (SSH_LIMB_BITS - 1)} + ssh_limbs_high(square) +
          ssh_limbs_high(sum);
    out[1] = ssh_limbs_low(sum);
    carry = ssh_limbs_high(sum);
  }
}

void ssh_limbs_divide(SshLimb *number, size_t count, const SshLimb *v, size_t v_count,
                      SshLimb *quotient) {
  const SshLimb v1 = v[v_count - 1], v2 = v_count > 1 ? v[v_count - 2] : 0;
  for (size_t i = count - v_count + 1; i-- > 0;) {
    SshLimb *top = number + i + v_count;
    SshLimb q = estimate(top, v1, v2, v_count > 1);
    if (q != 0 && sub_row(number + i, v, v_count, q) > top[0]) {
      // The estimate was one too much, which is rare.
      ssh_limbs_add(number + i, number + i, v_count, v, v_count);
      --q;
    }
    top[0] = 0;
    if (quotient) quotient[i] = q;
  }
}
