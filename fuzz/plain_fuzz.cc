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
  std::vector<Element> inside = {};
  Octets content = {};  // where there are none inside
};

bool take_apart(Bytes octets, int depth, std::vector<Element> &list) {
  while (!octets.empty()) {
    SshBerElement opened;
    if (depth > 24 || (octets[0] & 0x1F) == 0x1F ||
        ssh_ber_open_element(octets.data(), octets.data() + octets.size(), opened) != SSH_BER_OK ||
        opened.indefinite)
      return false;
    Element element{.identifier = octets[0]};
    const Bytes content = opened.content();
    element.bits = octets[0] == 0x03 && content.size() > 2 && content[0] == 0;
    const bool may_hold =
        opened.constructed || element.bits || (octets[0] == 0x04 && content.size() > 1);
    if (!may_hold || !take_apart(content.subspan(element.bits), depth + 1, element.inside)) {
      if (opened.constructed) return false;
      element = {.identifier = octets[0], .content = {content.begin(), content.end()}};
    }
    octets = octets.subspan(static_cast<size_t>(content.data() + content.size() - octets.data()));
    list.push_back(std::move(element));
  }
  return true;
}

void put_together(const Element &element, Octets &out) {
  Octets content = element.content;
  if (element.bits) content.push_back(0);
  for (const Element &inner : element.inside) put_together(inner, content);
  out.push_back(element.identifier);
  size_t count = element.length == Element::kFourOctets ? 4 : 0;
  while (count < 4 && content.size() >= 0x80 && content.size() >> (8 * count)) ++count;
  const bool indefinite = element.length == Element::kIndefinite;
  if (indefinite) count = 0;
  out.push_back(static_cast<uint8_t>(indefinite ? 0x80 : count ? 0x80 + count : content.size()));
  while (count-- > 0) out.push_back(static_cast<uint8_t>(content.size() >> (8 * count)));
  out.insert(out.end(), content.begin(), content.end());
  if (indefinite) out.insert(out.end(), 2, 0);
}

// Place is where an element stands; all of them are there to copy from.
struct Place {
  std::vector<Element> *list;
  size_t index;

  [[nodiscard]] Element &element() const { return (*list)[index]; }
  void insert(Element other, size_t behind = 0) const {
    list->insert(list->begin() + static_cast<ptrdiff_t>(index + behind), std::move(other));
  }
};

void find_places(std::vector<Element> &list, std::vector<Place> &places) {
  for (size_t i = 0; i < list.size(); ++i) {
    places.push_back({&list, i});
    find_places(list[i].inside, places);
  }
}

Element small_element(Random &random) {
  constexpr uint8_t kIdentifiers[] = {0x01, 0x02, 0x03, 0x04, 0x05, 0x06, 0x0A, 0x0C, 0x13, 0x16,
                                      0x17, 0x18, 0x30, 0x31, 0x80, 0x81, 0x82, 0x84, 0x86, 0xA0,
                                      0xA1, 0xA2, 0xA3, 0xA4, 0x24, 0x23, 0x00, 0x1F};
  Element element{.identifier = kIdentifiers[random.below(sizeof kIdentifiers)]};
  if ((element.identifier & 0x20) == 0) element.content.resize(random.below(3));
  return element;
}

// The changes of the structure at a place, each of one kind. `from` is another place.
constexpr void (*kChanges[])(const Place &at, const Place &from, Random &random) = {
    [](auto &at, auto &, Random &) {
      at.list->erase(at.list->begin() + static_cast<ptrdiff_t>(at.index));
    },
    [](auto &at, auto &, Random &) { at.insert(at.element()); },
    [](auto &at, auto &from, Random &) { at.insert(from.element()); },
    [](auto &at, auto &, Random &random) { at.insert(small_element(random), random.below(2)); },
    [](auto &at, auto &, Random &) { at.element().length = Element::kIndefinite; },
    [](auto &at, auto &, Random &) { at.element().length = Element::kFourOctets; },
    [](auto &at, auto &, Random &) {
      Element inner = at.element();
      at.element() = {.identifier = static_cast<uint8_t>(inner.identifier | 0x20)};
      at.element().inside.push_back(std::move(inner));
    },
    [](auto &at, auto &, Random &) {
      if (at.index > 0) std::swap(at.element(), (*at.list)[at.index - 1]);
    },
    [](auto &at, auto &, Random &random) {
      at.element().identifier = small_element(random).identifier;
    },
    [](auto &at, auto &, Random &) { at.element().identifier ^= 0x20; },
    [](auto &at, auto &, Random &random) {
      at.element().content.resize(random.below(at.element().content.size() + 2));
    },
    [](auto &at, auto &, Random &random) {
      Octets &content = at.element().content;
      if (!content.empty())
        content[random.below(content.size())] ^= static_cast<uint8_t>(1u << random.below(8));
    },
};

void change(std::vector<Element> &root, Random &random) {
  std::vector<Place> places;
  find_places(root, places);
  if (places.empty()) return;
  const Place &at = places[random.below(places.size())],
              &from = places[random.below(places.size())];
  kChanges[random.below(std::size(kChanges))](at, from, random);
}

template <auto Decode, auto Allocate, class Owned>
std::string text_of(Bytes der) {
  const Owned record(Allocate());
  RecordText text;
  const size_t used = Decode(der, record.get());
  text.add(used, record->refusal);
  if (used != 0) text.add(*record);
  return text.text();
}
template <auto Decode>
std::string certificate(Bytes der) {
  return text_of<Decode, ssh_x509_cert_allocate, SshX509CertOwner>(der);
}
template <auto Decode>
std::string crl(Bytes der) {
  return text_of<Decode, ssh_x509_crl_allocate, SshX509CrlOwner>(der);
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
  if (!take_apart(input, 0, root)) return;
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
