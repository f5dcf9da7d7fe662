// Key names, such as "if-modn{sign{rsa-pkcs1-md5},encrypt{rsa-pkcs1-none}}": a key type and the
// scheme of each action. For the files of the key object alone.
//
//   SshPublicKeyOwner key;
//   SshKeyStatus status = ssh_key_from_name("dl-modp{dh}", SSH_KEY_FAILED, key);
#pragma once

#include <string_view>

#include "crypto/key_object.h"

class SshKeyWriter;

// The scheme that an action has whose name gives it none.
constexpr std::string_view SSH_KEY_PLAIN = "plain";

// ssh_key_from_name makes a key without values; `unknown_type` is the status for a type that there
// is not, which differs between definition and import.
SshKeyStatus ssh_key_from_name(std::string_view name, SshKeyStatus unknown_type,
                               SshPublicKeyOwner &out);

// ssh_key_write_name writes the name of the key's type and, if any scheme is set, one pair of
// braces with them.
void ssh_key_write_name(const SshPublicKey &key, SshKeyWriter &out);
