// A certificate or CRL whose structure is changed in many ways, each read twice: with the short cut
// for plain bytes and by the general reader alone. Both must come to the same record or the same
// refusal.
#include <vector>

#include "profiles.h"
#include "record_text.h"

namespace {

using Octets = std::vector<uint8_t>;

// Random is a small generator, so that an input always means the same changes.
class Random {
 public:
  explicit Random(uint64_t seed) : state_(seed | 1) {}
  size_t below(size_t limit) {
    state_ = state_ * 6364136223846793005u + 1442695040888963407u;
    return limit == 0 ? 0 : static_cast<size_t>(state_ >> 33) % limit;
  }

 private:
  uint64_t state_;
};

// Element is an element taken apart: also of an OCTET or BIT STRING that holds an encoding.
struct Element {
  uint8_t identifier = 0;
  enum { kDefinite, kIndefinite, kFourOctets } length = kDefinite;
  bool bits = false;  // elements behind the number of unused bits
  std::vector<Element> inside;
  Octets content;  // where there are none inside
};

bool take_apart(const uint8_t *p, const uint8_t *end, int depth, std::vector<Element> &list) {
  while (p != end) {
    SshBerElement opened;
    if (depth > 24 || ssh_ber_open_element(p, end, opened) != SSH_BER_OK || opened.indefinite ||
        (*p & 0x1F) == 0x1F)
      return false;
    Element element;
    element.identifier = *p;
    const Bytes content = opened.content();
    element.bits = *p == 0x03 && content.size() > 2 && content[0] == 0;
    const bool may_hold = opened.constructed || element.bits || (*p == 0x04 && content.size() > 1);
    const uint8_t *const content_end = content.data() + content.size();
    if (!may_hold ||
        !take_apart(content.data() + element.bits, content_end, depth + 1, element.inside)) {
      if (opened.constructed) return false;
      element.inside.clear();
      element.bits = false;
      element.content.assign(content.begin(), content.end());
    }
    p = content_end;
    list.push_back(std::move(element));
  }
  return true;
}

void put_together(const Element &element, Octets &out) {
  Octets content = element.content;
  if (element.bits) content.push_back(0);
  for (const Element &inner : element.inside) put_together(inner, content);
  out.push_back(element.identifier);
  const bool indefinite = element.length == Element::kIndefinite;
  const size_t size = content.size();
  const int count = element.length == Element::kFourOctets ? 4
                    : size < 0x80                          ? 0
                    : size < 0x100                         ? 1
                    : size < 0x10000                       ? 2
                                                           : 3;
  if (indefinite)
    out.push_back(0x80);
  else
    out.push_back(static_cast<uint8_t>(count ? 0x80 + static_cast<size_t>(count) : size));
  for (int i = count; !indefinite && i-- > 0;) out.push_back(static_cast<uint8_t>(size >> (8 * i)));
  out.insert(out.end(), content.begin(), content.end());
  if (indefinite) out.insert(out.end(), 2, 0);
}

struct Spot {
  std::vector<Element> *list;
  size_t index;
};

void find_spots(std::vector<Element> &list, std::vector<Spot> &spots) {
  for (size_t i = 0; i < list.size(); ++i) {
    spots.push_back({&list, i});
    find_spots(list[i].inside, spots);
  }
}

Element small_element(Random &random) {
  constexpr uint8_t kIdentifiers[] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x0A, 0x0C, 0x13, 0x16,
                                      0x17, 0x18, 0x30, 0x31, 0x80, 0x81, 0x82, 0x84, 0x86, 0xA0,
                                      0xA1, 0xA2, 0xA3, 0xA4, 0x24, 0x23, 0x00, 0x1F};
  Element element;
  element.identifier = kIdentifiers[random.below(sizeof kIdentifiers)];
  if ((element.identifier & 0x20) == 0) element.content.resize(random.below(3));
  return element;
}

// change makes one change of the structure.
void change(std::vector<Element> &root, Random &random) {
  std::vector<Spot> spots;
  find_spots(root, spots);
  if (spots.empty()) return;
  const Spot spot = spots[random.below(spots.size())];
  std::vector<Element> &list = *spot.list;
  const auto at = list.begin() + static_cast<ptrdiff_t>(spot.index);
  Element &element = list[spot.index];
  Element other = element;
  switch (random.below(12)) {
    case 0:
      list.erase(at);
      return;
    case 1:
      list.insert(at, std::move(other));
      return;
    case 2:
      list.insert(at + static_cast<ptrdiff_t>(random.below(2)), small_element(random));
      return;
    case 3:
      element.length = Element::kIndefinite;
      return;
    case 4:
      element.length = Element::kFourOctets;
      return;
    case 5:
      element = {};
      element.identifier = other.identifier | 0x20;
      element.inside.push_back(std::move(other));
      return;
    case 6:
      if (spot.index + 1 < list.size()) std::swap(list[spot.index], list[spot.index + 1]);
      return;
    case 7:
      element.identifier = small_element(random).identifier;
      return;
    case 8: {
      const Spot from = spots[random.below(spots.size())];
      other = (*from.list)[from.index];
      list.insert(at, std::move(other));
      return;
    }
    case 9:
      element.identifier ^= 0x20;
      return;
    case 10:
      element.content.resize(random.below(element.content.size() + 2));
      return;
    default:
      if (!element.content.empty())
        element.content[random.below(element.content.size())] ^=
            static_cast<uint8_t>(1u << random.below(8));
  }
}

template <auto Decode, class Owned>
std::string text_of(Bytes der, const Owned &record) {
  RecordText text;
  const size_t used = Decode(der, record.get());
  if (used != 0)
    text.record(*record, used);
  else
    text.refusal(record->refusal);
  return text.text();
}

template <auto Decode>
std::string certificate(Bytes der) {
  return text_of<Decode>(der, SshX509CertOwner(ssh_x509_cert_allocate()));
}

template <auto Decode>
std::string crl(Bytes der) {
  return text_of<Decode>(der, SshX509CrlOwner(ssh_x509_crl_allocate()));
}

void hold_against_each_other(Bytes der) {
  require(certificate<ssh_x509_cert_decode>(der) == certificate<ssh_x509_cert_decode_general>(der));
  require(crl<ssh_x509_crl_decode>(der) == crl<ssh_x509_crl_decode_general>(der));
}

}  // namespace

void check_profile(Bytes input) {
  constexpr int kChanged = 24;
  hold_against_each_other(input);
  std::vector<Element> root;
  if (!take_apart(input.data(), input.data() + input.size(), 0, root)) return;
  uint64_t seed = input.size();
  for (const uint8_t octet : input) seed = (seed ^ octet) * 0x100000001B3u;
  Random random(seed);
  for (int i = 0; i < kChanged; ++i) {
    std::vector<Element> changed = root;
    for (size_t times = 1 + random.below(3); times > 0; --times) change(changed, random);
    Octets der;
    for (const Element &element : changed) put_together(element, der);
    hold_against_each_other(der);
  }
}
