#include "crypto/key_groups.h"

namespace {

constexpr size_t kPrimeMax = 1536 / 8;

// Prime holds a number that is written in the table as hexadecimal text, "0x" and groups of eight
// digits, and that the compiler turns into bytes: a wrong digit does not compile.
struct Prime {
  uint8_t octets[kPrimeMax] = {};
  size_t length = 0;

  consteval Prime(const char *text) {  // NOLINT(google-explicit-constructor): rows hold the digits
    uint32_t group = 0;
    size_t digits = 0;
    for (const char c : std::string_view(text).substr(2)) {
      if (c == ' ') continue;
      group = group << 4 | (c <= '9' ? digit(c, '0', 10) : digit(c, 'A', 6) + 10);
      if (++digits % 2 == 0) octets[length++] = static_cast<uint8_t>(group);
    }
    if (digits % 8 != 0 || !(octets[length - 1] & 1)) wrong_number();
  }

  static consteval uint32_t digit(char c, char first, int count) {
    if (c < first || c >= first + count) wrong_number();
    return static_cast<uint32_t>(c - first);
  }
  static void wrong_number() {}  // not constexpr: reaching it ends the compilation
};

}  // namespace

struct SshKeyGroup {
  std::string_view name;
  Prime p;  // q is (p - 1) / 2 and g is 2 in every row
};

namespace {

// The groups of RFC 2409 6.1 and 6.2 and RFC 3526 2. The first row is the default and has the prime
// of the second 1024-bit row under the name that came before the standard's. A further name of old,
// "ssh-dl-modp-group-dsa-1024bit-1", has no published numbers and hence no row.
constexpr SshKeyGroup kGroups[] = {
    {"ssh-dl-modp-group-1024bit-1",
     "0xFFFFFFFF FFFFFFFF C90FDAA2 2168C234 C4C6628B 80DC1CD1 29024E08 8A67CC74"
     " 020BBEA6 3B139B22 514A0879 8E3404DD EF9519B3 CD3A431B 302B0A6D F25F1437"
     " 4FE1356D 6D51C245 E485B576 625E7EC6 F44C42E9 A637ED6B 0BFF5CB6 F406B7ED"
     " EE386BFB 5A899FA5 AE9F2411 7C4B1FE6 49286651 ECE65381 FFFFFFFF FFFFFFFF"},
    {"ietf-ike-grp-modp-768",
     "0xFFFFFFFF FFFFFFFF C90FDAA2 2168C234 C4C6628B 80DC1CD1 29024E08 8A67CC74"
     " 020BBEA6 3B139B22 514A0879 8E3404DD EF9519B3 CD3A431B 302B0A6D F25F1437"
     " 4FE1356D 6D51C245 E485B576 625E7EC6 F44C42E9 A63A3620 FFFFFFFF FFFFFFFF"},
    {"ietf-ike-grp-modp-1024",
     "0xFFFFFFFF FFFFFFFF C90FDAA2 2168C234 C4C6628B 80DC1CD1 29024E08 8A67CC74"
     " 020BBEA6 3B139B22 514A0879 8E3404DD EF9519B3 CD3A431B 302B0A6D F25F1437"
     " 4FE1356D 6D51C245 E485B576 625E7EC6 F44C42E9 A637ED6B 0BFF5CB6 F406B7ED"
     " EE386BFB 5A899FA5 AE9F2411 7C4B1FE6 49286651 ECE65381 FFFFFFFF FFFFFFFF"},
    {"ietf-ike-grp-modp-1536",
     "0xFFFFFFFF FFFFFFFF C90FDAA2 2168C234 C4C6628B 80DC1CD1 29024E08 8A67CC74"
     " 020BBEA6 3B139B22 514A0879 8E3404DD EF9519B3 CD3A431B 302B0A6D F25F1437"
     " 4FE1356D 6D51C245 E485B576 625E7EC6 F44C42E9 A637ED6B 0BFF5CB6 F406B7ED"
     " EE386BFB 5A899FA5 AE9F2411 7C4B1FE6 49286651 ECE45B3D C2007CB8 A163BF05"
     " 98DA4836 1C55D39A 69163FA8 FD24CF5F 83655D23 DCA3AD96 1C62F356 208552BB"
     " 9ED52907 7096966D 670C354E 4ABC9804 F1746C08 CA237327 FFFFFFFF FFFFFFFF"},
};

}  // namespace

const SshKeyGroup *ssh_key_group_find(std::string_view name) {
  if (!name.data()) return &kGroups[0];
  for (const SshKeyGroup &row : kGroups) {
    if (row.name == name) return &row;
  }
  return nullptr;
}

std::string_view ssh_key_group_name(const SshKeyGroup *group) { return group->name; }

void ssh_key_group_numbers(const SshKeyGroup *group, SshMpInt *p, SshMpInt *q, SshMpInt *g) {
  p->set_magnitude({group->p.octets, group->p.length});
  *q = *p;
  q->halve();  // p is odd
  *g = SshMpInt(2);
}
