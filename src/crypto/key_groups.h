// The named groups of discrete-logarithm keys: primes both sides know, so that only the name
// travels. A further group is a row of the table in key_groups.cc.
#pragma once

#include <string_view>

#include "util/mp_int.h"

struct SshKeyGroup;

// ssh_key_group_find returns the group of that name, or null. No name at all (a null view, which is
// not the empty name) takes "ssh-dl-modp-group-1024bit-1".
[[nodiscard]] const SshKeyGroup *ssh_key_group_find(std::string_view name);

// ssh_key_group_name returns a group's name, which lives as long as the program.
[[nodiscard]] std::string_view ssh_key_group_name(const SshKeyGroup *group);

// ssh_key_group_numbers stores the prime p, the order q = (p - 1) / 2 and the generator g.
void ssh_key_group_numbers(const SshKeyGroup *group, SshMpInt *p, SshMpInt *q, SshMpInt *g);
