// Whether time can tell a secret exponent or base. Memcheck reports every branch and every address
// that depends on memory it holds for undefined, so the secret is said to be undefined:
// power_secret and power_of_secret must go through without a report, and power must not.
#include <cstdio>

#include <valgrind/memcheck.h>

#include "crypto/montgomery.h"
#include "crypto/mp_math.h"
#include "support/numbers.h"

namespace {

using namespace numbers;

bool fails(bool wrong, const char *what, const SshMpInt &modulus) {
  if (wrong) std::fprintf(stderr, "secret_exponent: %s (%zu bits)\n", what, modulus.bits());
  return wrong;
}

// keeps calls `power`, which writes `out`, with an undefined secret. False: it can be told, or the
// result is not the one expected.
template <class Power>
bool keeps(Octets secret, const Octets &expected, const char *what, const SshMpInt &modulus,
           Power power) {
  Octets out(expected.size());
  const auto before = VALGRIND_COUNT_ERRORS;
  VALGRIND_MAKE_MEM_UNDEFINED(secret.data(), secret.size());
  power(secret, out.data());
  const auto told = VALGRIND_COUNT_ERRORS - before;
  VALGRIND_MAKE_MEM_DEFINED(out.data(), out.size());
  if (fails(told != 0, what, modulus)) return false;
  return !fails(out != expected, "computes something else", modulus);
}

// check makes one exponent of so many bytes with a modulus of so many; false: one can be told.
bool check(std::mt19937 &random, size_t modulus_octets, size_t exponent_octets) {
  Octets octets = random_words(random, modulus_octets);
  octets.front() |= 0x80;
  octets.back() |= 1;
  const SshMpInt modulus = number(octets), base = random_number(random, modulus_octets);
  Octets exponent = random_words(random, exponent_octets);
  exponent.front() |= 1;
  SshMontgomery field;
  if (fails(!field.init(modulus), "no modulus", modulus)) return false;
  const SshMpInt power = field.power(base, number(exponent));
  const Octets expected = padded(power, modulus_octets);
  SshMpInt residue;
  (void)ssh_mp_mod(base, modulus, &residue);
  return keeps(
             exponent, expected, "power_secret branches or looks up by its exponent", modulus,
             [&](const Octets &secret, uint8_t *out) { field.power_secret(base, secret, out); }) &&
         keeps(padded(residue, modulus_octets), expected,
               "power_of_secret branches or looks up by its base", modulus,
               [&](const Octets &secret, uint8_t *out) {
                 field.power_of_secret(secret.data(), number(exponent), out);
               });
}

// control is the same with power, so that a check that could see nothing is not taken for a pass.
bool control() {
  SshMontgomery field;
  const SshMpInt modulus(0x7FFFFFFF), exponent(0x12345);
  if (!field.init(modulus)) return false;
  const auto before = VALGRIND_COUNT_ERRORS;
  std::fprintf(stderr, "secret_exponent: the reports that follow are wanted\n");
  const Bytes below = exponent.magnitude().subspan(1);  // the length stays known, as it may be
  VALGRIND_MAKE_MEM_UNDEFINED(below.data(), below.size());
  const SshMpInt power = field.power(SshMpInt(3), exponent);
  const auto told = VALGRIND_COUNT_ERRORS - before;
  VALGRIND_MAKE_MEM_DEFINED(&power, sizeof power);
  return !fails(told == 0, "memcheck does not see that power branches", modulus);
}

}  // namespace

int main() {
  if (!RUNNING_ON_VALGRIND) {
    std::fprintf(stderr, "secret_exponent: to be run by valgrind\n");
    return 1;
  }
  std::mt19937 random(6);
  bool passed = true;
  for (const size_t octets : {5u, 9u, 17u, 64u, 96u, 128u, 192u}) {
    for (const size_t exponent : {1u, 20u, 33u}) passed &= check(random, octets, exponent);
  }
  return passed && control() ? 0 : 1;
}
