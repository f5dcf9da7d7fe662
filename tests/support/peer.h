// What another implementation says: digests and base64 of the system's own cryptography, to compare
// with. OpenSSL (peer_posix.cc) or CryptoAPI (peer_win32.cc); another function is needed in both.
#pragma once

#include <string>
#include <string_view>

#include "util/bytes.h"

// peer_sha1 and peer_sha256 give a digest as hexadecimal digits.
std::string peer_sha1(Bytes octets);
std::string peer_sha256(Bytes octets);

// peer_base64 encodes octets on one line.
std::string peer_base64(std::string_view octets);
