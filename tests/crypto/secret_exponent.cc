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

bool passed = true;

void expect(bool good, const char *what, const SshMpInt &modulus) {
  if (good) return;
  std::fprintf(stderr, "secret_exponent: %s (%zu bits)\n", what, modulus.bits());
  passed = false;
}

// told gives whether memcheck reports `power`, which works on an undefined secret.
template <class Power>
bool told(Bytes secret, Power power) {
  const auto before = VALGRIND_COUNT_ERRORS;
  VALGRIND_MAKE_MEM_UNDEFINED(secret.data(), secret.size());
  power();
  const auto after = VALGRIND_COUNT_ERRORS;
  VALGRIND_MAKE_MEM_DEFINED(secret.data(), secret.size());
  return after != before;
}

// check makes one exponent of so many bytes with a modulus of so many.
void check(std::mt19937 &random, size_t modulus_octets, size_t exponent_octets) {
  Octets octets = random_words(random, modulus_octets);
  octets.front() |= 0x80;
  octets.back() |= 1;
  const SshMpInt modulus = number(octets), base = random_number(random, modulus_octets);
  Octets exponent = random_words(random, exponent_octets);
  exponent.front() |= 1;
  SshMontgomery field;
  expect(field.init(modulus), "no modulus", modulus);
  SshMpInt residue;
  (void)ssh_mp_mod(base, modulus, &residue);
  const SshMpInt known = number(exponent);
  const Octets secret_base = padded(residue, modulus_octets);
  Octets by_exponent(modulus_octets), by_base(modulus_octets);
  expect(!told(exponent, [&] { field.power_secret(base, exponent, by_exponent.data()); }),
         "power_secret branches or looks up by its exponent", modulus);
  expect(
      !told(secret_base, [&] { field.power_of_secret(secret_base.data(), known, by_base.data()); }),
      "power_of_secret branches or looks up by its base", modulus);
  for (const Octets &out : {by_exponent, by_base}) {
    VALGRIND_MAKE_MEM_DEFINED(out.data(), out.size());
    expect(out == padded(field.power(base, known), modulus_octets), "computes something else",
           modulus);
  }
}

}  // namespace

int main() {
  if (!RUNNING_ON_VALGRIND) {
    std::fprintf(stderr, "secret_exponent: to be run by valgrind\n");
    return 1;
  }
  std::mt19937 random(6);
  for (const size_t octets : {5u, 9u, 17u, 64u, 96u, 128u, 192u}) {
    for (const size_t exponent : {1u, 20u, 33u}) check(random, octets, exponent);
  }
  // The same with power, so that a check that could see nothing is not taken for a pass.
  SshMontgomery field;
  const SshMpInt modulus(0x7FFFFFFF), exponent(0x12345);
  expect(field.init(modulus), "no modulus", modulus);
  std::fprintf(stderr, "secret_exponent: the reports that follow are wanted\n");
  expect(told(exponent.magnitude().subspan(1),  // the length stays known, as it may be
              [&] { (void)field.power(SshMpInt(3), exponent); }),
         "memcheck does not see that power branches", modulus);
  return passed ? 0 : 1;
}
