// What a type of key is: its tags, the schemes that each of its actions may have, and how its key
// data stands in a blob. For the files of the key object alone.
//
// A further type is a row of kKeyTypes in key_types.cc, a further scheme a row of its action's
// table there. A blob of a type is read and written by two functions in key_blob.cc.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "crypto/key_object.h"

class SshKeyWriter;

// SshKeyAction is what one tag of a key type means: the scheme slot with the schemes that may go
// there, or the place of an integer among the key's values. Every tag may be given when a key is
// defined and asked of a key.
struct SshKeyAction {
  uint32_t tag;
  std::string_view name;  // values have none
  uint32_t place;
  std::span<const SshKeyScheme> schemes = {};

  [[nodiscard]] constexpr bool is_scheme() const { return !schemes.empty(); }
};

struct SshKeyType {
  std::string_view name;
  std::span<const SshKeyAction> actions;
  uint32_t value_count;
  bool (*import_data)(SshPublicKey &key, Bytes data);
  void (*export_data)(const SshPublicKey &key, SshKeyWriter &out);
};

// ssh_key_type_find finds a key type by its name; null if there is none.
[[nodiscard]] const SshKeyType *ssh_key_type_find(std::string_view name);

// ssh_key_action_of_tag finds what a tag means, ssh_key_action_named the action of that name in a
// key name. Null if there is none.
[[nodiscard]] const SshKeyAction *ssh_key_action_of_tag(const SshKeyType &type, uint32_t tag);
[[nodiscard]] const SshKeyAction *ssh_key_action_named(const SshKeyType &type,
                                                       std::string_view name);

// ssh_key_choose_scheme puts a scheme into the action's slot; false if the action has none of that
// name which a key may have.
[[nodiscard]] bool ssh_key_choose_scheme(SshPublicKey &key, const SshKeyAction &action,
                                         std::string_view name);

// SshKeySchemeFound is a scheme that a signature names, and whether it is one of the key's type;
// null if no type has it.
struct SshKeySchemeFound {
  const SshKeyScheme *scheme = nullptr;
  bool fits = false;
};

// ssh_key_signature_scheme finds a signature scheme by name, first among those of the key's type.
[[nodiscard]] SshKeySchemeFound ssh_key_signature_scheme(const SshPublicKey &key,
                                                         std::string_view name);
