// The engine itself: a small SEQUENCE read through a template beside what one would write by hand.
#include <benchmark/benchmark.h>

#include "asn1/node.h"
#include "bench.h"

namespace {

constexpr char kTemplate[] = "(sequence ()(integer ())(optional(octet-string (0)))(boolean ()))";
constexpr uint8_t kDer[] = {0x30, 0x10, 0x02, 0x03, 0x01, 0x02, 0x03, 0x80, 0x04,
                            0x0A, 0x0B, 0x0C, 0x0D, 0x01, 0x01, 0xFF, 0x05, 0x00};

Bytes small() { return kDer; }

// Fields are what the reads fill.
struct Fields {
  Bytes integer, octets;
  int has_octets = 0, flag = 0;
};

bool done(Fields &fields, bool good) {
  benchmark::DoNotOptimize(fields);
  return good;
}

// A tree without a check of the bytes: what is left is the read alone.
bool read_only(Bytes der) {
  SshAsn1Work work = SshAsn1Work::for_input(der.size());
  Fields f;
  const SshAsn1Node root = ssh_asn1_list_of(der, &work);
  return done(f, ssh_asn1_read_node(
                     root, "(sequence ()(integer ())(optional(octet-string (0)))(boolean ()))"_asn1,
                     &f.integer, &f.has_octets, &f.octets, &f.flag) == SSH_ASN1_OK);
}

bool decode_and_read(Bytes der) {
  SshAsn1Work work = SshAsn1Work::for_input(der.size());
  Fields f;
  SshAsn1Node root;
  if (ssh_asn1_decode_in_place(der, &work, &root) != SSH_ASN1_OK) return false;
  return done(f, ssh_asn1_read_node(
                     root, "(sequence ()(integer ())(optional(octet-string (0)))(boolean ()))"_asn1,
                     &f.integer, &f.has_octets, &f.octets, &f.flag) == SSH_ASN1_OK);
}

bool read_text(Bytes der) {
  SshAsn1Work work = SshAsn1Work::for_input(der.size());
  Fields f;
  const SshAsn1Node root = ssh_asn1_list_of(der, &work);
  return done(f, ssh_asn1_read_node_text(root, kTemplate, &f.integer, &f.has_octets, &f.octets,
                                         &f.flag) == SSH_ASN1_OK);
}

// take opens the element at `p` and goes behind it if it is the wanted one.
bool take(const uint8_t *&p, const uint8_t *end, uint8_t cls, uint32_t tag,
          SshBerElement &element) {
  if (ssh_ber_open_element(p, end, element) != SSH_BER_OK || !element.is(cls, tag)) return false;
  p += element.header_length + element.content_length;
  return true;
}

bool by_hand(Bytes der) {
  Fields f;
  SshBerElement element;
  const uint8_t *p = der.data();
  if (!take(p, p + der.size(), SSH_BER_UNIVERSAL, 16, element)) return false;
  const uint8_t *end = p;
  p = element.content().data();
  if (!take(p, end, SSH_BER_UNIVERSAL, 2, element)) return false;
  f.integer = element.content();
  if (take(p, end, SSH_BER_CONTEXT, 0, element)) {
    f.has_octets = 1;
    f.octets = element.content();
  }
  if (!take(p, end, SSH_BER_UNIVERSAL, 1, element) || element.content_length != 1) return false;
  f.flag = *element.content().data() != 0;
  return done(f, true);
}

constexpr SshBenchCase kCases[] = {
    {kBenchFloor, "written by hand, elements in order only", by_hand},
    {kBenchOurs, "", read_only},
    {"kwpki-decode", "with a check of all headers before", decode_and_read},
    {"kwpki-text", "template text parsed at every read", read_text},
};

}  // namespace

void ssh_bench_add_asn1() { ssh_bench_add("template-read", small, 1, kCases); }
