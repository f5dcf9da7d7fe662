// The keywords of the template language: 27 words in a perfect hash table of 37 slots. Each word is
// in the slot that its hash gives, so that finding one takes a single comparison, also for the
// compiler, which parses every template. To add a keyword, put it into the slot of its hash; the
// compiler refuses a wrong slot. If the slot is taken, the hash needs new constants. What is read
// and created for a keyword depends on its type: one case per type in content.h and create.cc.
#pragma once

#include <cstdint>
#include <string_view>

// SshAsn1Type is what the content of an element holds, and so which arguments it takes.
enum SshAsn1Type : uint8_t {
  SSH_ASN1_BOOLEAN,
  SSH_ASN1_INTEGER,  // also "enum"
  SSH_ASN1_SHORT,    // "integer-short", "enum-short"
  SSH_ASN1_BITS,
  SSH_ASN1_OCTETS,  // the octet string and every character string
  SSH_ASN1_NULL,    // also "empty"
  SSH_ASN1_OID,
  SSH_ASN1_UTC_TIME,
  SSH_ASN1_GENERALIZED_TIME,
  SSH_ASN1_CONSTRUCTED,  // "sequence", "set"
  SSH_ASN1_ANY,
  SSH_ASN1_CHOICE,
  SSH_ASN1_OPTIONAL
};

struct SshAsn1Keyword {
  std::string_view text;  // empty: a free slot
  uint8_t tag = 0;        // universal tag number
  SshAsn1Type type = SSH_ASN1_BOOLEAN;
};

constexpr uint32_t SSH_ASN1_KEYWORD_SLOTS = 37;

// ssh_asn1_keyword_slot gives the slot that a word belongs into. The hash is a shift register with
// feedback, which takes in one letter and makes one step at a time; its two constants are such that
// no two keywords get the same slot.
constexpr uint32_t ssh_asn1_keyword_slot(std::string_view word) {
  uint32_t h = 0x5EF0BDF5;
  for (const char c : word) {
    h ^= static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(c)));
    if (h & 1) h ^= 0x2443A45E;
    h >>= 1;
  }
  return h % SSH_ASN1_KEYWORD_SLOTS;
}

constexpr SshAsn1Keyword kSshAsn1Keywords[SSH_ASN1_KEYWORD_SLOTS] = {
    {"boolean", 1, SSH_ASN1_BOOLEAN},
    {"general-string", 27, SSH_ASN1_OCTETS},
    {},
    {"bit-string", 3, SSH_ASN1_BITS},
    {"object-identifier", 6, SSH_ASN1_OID},
    {"null", 5, SSH_ASN1_NULL},
    {"printable-string", 19, SSH_ASN1_OCTETS},
    {"unrestricted-string", 29, SSH_ASN1_OCTETS},
    {"graphic-string", 25, SSH_ASN1_OCTETS},
    {},
    {},
    {"ia5-string", 22, SSH_ASN1_OCTETS},
    {},
    {"generalized-time", 24, SSH_ASN1_GENERALIZED_TIME},
    {"visible-string", 26, SSH_ASN1_OCTETS},
    {"sequence", 16, SSH_ASN1_CONSTRUCTED},
    {"optional", 0, SSH_ASN1_OPTIONAL},
    {"utc-time", 23, SSH_ASN1_UTC_TIME},
    {"enum", 10, SSH_ASN1_INTEGER},
    {"enum-short", 10, SSH_ASN1_SHORT},
    {},
    {},
    {"bmp-string", 30, SSH_ASN1_OCTETS},
    {"universal-string", 28, SSH_ASN1_OCTETS},
    {"teletex-string", 20, SSH_ASN1_OCTETS},
    {"choice", 0, SSH_ASN1_CHOICE},
    {"integer", 2, SSH_ASN1_INTEGER},
    {},
    {"integer-short", 2, SSH_ASN1_SHORT},
    {"utf8-string", 12, SSH_ASN1_OCTETS},
    {},
    {"any", 0, SSH_ASN1_ANY},
    {},
    {"set", 17, SSH_ASN1_CONSTRUCTED},
    {"octet-string", 4, SSH_ASN1_OCTETS},
    {},
    {"empty", 0, SSH_ASN1_NULL},
};

// ssh_asn1_keyword_find gives a word's slot, or SSH_ASN1_KEYWORD_SLOTS if it is no keyword.
constexpr uint32_t ssh_asn1_keyword_find(std::string_view word) {
  const uint32_t slot = ssh_asn1_keyword_slot(word);
  return !word.empty() && kSshAsn1Keywords[slot].text == word ? slot : SSH_ASN1_KEYWORD_SLOTS;
}

consteval bool ssh_asn1_keywords_in_their_slots() {
  uint32_t count = 0;
  for (const SshAsn1Keyword &keyword : kSshAsn1Keywords) {
    if (keyword.text.empty()) continue;
    if (&kSshAsn1Keywords[ssh_asn1_keyword_slot(keyword.text)] != &keyword) return false;
    ++count;
  }
  return count == 27;
}
static_assert(ssh_asn1_keywords_in_their_slots());
