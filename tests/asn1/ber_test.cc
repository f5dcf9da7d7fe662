#include "asn1/ber.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "support/fatal.h"
#include "support/hex.h"
#include "support/small_stack.h"
#include "util/mem.h"

namespace {

using Octets = std::vector<uint8_t>;

// below gives a random number smaller than `limit`.
uint32_t below(std::mt19937 &random, uint32_t limit) {
  return static_cast<uint32_t>(random() % limit);
}

SshBerElement header(uint8_t cls, bool constructed, uint32_t tag, bool indefinite,
                     uint32_t length) {
  SshBerElement element;
  element.cls = cls;
  element.constructed = constructed;
  element.tag = tag;
  element.indefinite = indefinite;
  element.content_length = length;
  return element;
}

TEST(BerHeader, Writes) {
  const struct {
    SshBerElement element;
    std::string_view hex;
  } rows[] = {
      {header(0, false, 2, false, 1), "0201"},
      {header(0, true, 16, false, 0x7F), "307f"},
      {header(0, true, 16, false, 0x80), "308180"},
      {header(0, true, 17, false, 0xFF), "3181ff"},
      {header(0, true, 17, false, 0x100), "31820100"},
      {header(1, false, 30, false, 0x10000), "5e83010000"},
      {header(1, true, 31, false, 0xFFFFFFFF), "7f1f84ffffffff"},
      {header(2, true, 127, true, 0), "bf7f80"},
      {header(2, true, 128, true, 9999), "bf810080"},
      {header(3, false, 0x3FFF, false, 0), "dfff7f00"},
      {header(3, false, 0x4000, false, 0), "df81800000"},
      {header(3, true, 0xFFFFFFF, false, 2), "ffffffff7f02"},
      {header(3, true, 0xFFFFFFFF, false, 2), "ff8fffffff7f02"},
  };
  for (const auto &row : rows) {
    const size_t size = row.hex.size() / 2;
    EXPECT_EQ(ssh_ber_compute_tag_length_size(row.element), size) << row.hex;
    Octets out(size + 1, 0xEE);
    EXPECT_EQ(ssh_ber_set_tag_length(out.data(), size - 1, row.element), SSH_BER_NO_ROOM);
    EXPECT_EQ(ssh_ber_set_tag_length(out.data(), size, row.element), SSH_BER_OK);
    EXPECT_EQ(hex(out), std::string(row.hex) + "ee");
  }
}

TEST(BerHeader, Opens) {
  const struct {
    const char *why;
    std::string_view hex;
    SshBerStatus status;
    SshBerElement wanted;
    uint8_t header_length;
  } rows[] = {
      {"the usual case", "0201ff", SSH_BER_OK, header(0, false, 2, false, 1), 2},
      {"octets after the element", "04000500", SSH_BER_OK, header(0, false, 4, false, 0), 2},
      {"long tag 31", "7f1f0100", SSH_BER_OK, header(1, true, 31, false, 1), 3},
      {"long form of a small tag", "9f0200", SSH_BER_OK, header(2, false, 2, false, 0), 3},
      {"leading zero tag octets", "9f80808002 00", SSH_BER_OK, header(2, false, 2, false, 0), 6},
      {"28 bits of tag", "dfffffff7f00", SSH_BER_OK, header(3, false, 0xFFFFFFF, false, 0), 6},
      {"length octets beyond need", "0484000000 01aa", SSH_BER_OK, header(0, false, 4, false, 1),
       6},
      {"indefinite", "a080", SSH_BER_OK, header(2, true, 0, true, 0), 2},
      {"indefinite primitive", "0480", SSH_BER_OK, header(0, false, 4, true, 0), 2},
      {"nothing", "", SSH_BER_CUT, {}, 0},
      {"no length", "02", SSH_BER_CUT, {}, 0},
      {"no tag octet", "1f", SSH_BER_CUT, {}, 0},
      {"tag cut", "1f8181", SSH_BER_CUT, {}, 0},
      {"tag without length", "1f8101", SSH_BER_CUT, {}, 0},
      {"tag of four octets cut before the fifth", "1f81818181", SSH_BER_CUT, {}, 0},
      {"tag of five octets", "1f8181818101 00", SSH_BER_TAG_TOO_LONG, {}, 0},
      {"tag of five octets, most of them zero", "1f80808080 0200", SSH_BER_TAG_TOO_LONG, {}, 0},
      {"length octets cut", "04820 1", SSH_BER_CUT, {}, 0},
      {"five length octets", "04850000000000", SSH_BER_LENGTH_TOO_LONG, {}, 0},
      {"127 length octets, and none there", "04ff", SSH_BER_LENGTH_TOO_LONG, {}, 0},
      {"content cut", "0402aa", SSH_BER_CUT, {}, 0},
      {"long content cut", "048180aa", SSH_BER_CUT, {}, 0},
      {"content of 4 GiB", "0484ffffffffaa", SSH_BER_CUT, {}, 0},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.why);
    const Octets octets = unhex(row.hex);
    const uint8_t *end = octets.data() + octets.size();
    SshBerElement got;
    ASSERT_EQ(ssh_ber_open_element(octets.data(), end, got), row.status);
    EXPECT_EQ(ssh_ber_open_long(octets.data(), end, got), row.status) << "without the short cut";
    if (row.status != SSH_BER_OK) continue;
    EXPECT_TRUE(got.is(row.wanted.cls, row.wanted.tag));
    EXPECT_EQ(got.constructed, row.wanted.constructed);
    EXPECT_EQ(got.indefinite, row.wanted.indefinite);
    EXPECT_EQ(got.content_length, row.wanted.content_length);
    EXPECT_EQ(got.header_length, row.header_length);
    EXPECT_EQ(got.data, octets.data());
  }
}

// What ssh_ber_check does in one pass, said plainly: one function call a level.
struct PlainCheck {
  const uint8_t *base, *fault_at = nullptr;

  static bool open(const uint8_t *&p, const uint8_t *end, bool &constructed, bool &indefinite,
                   size_t &length) {
    const auto next = [&p, end](size_t &octet) { return p != end && (octet = *p++, true); };
    size_t octet = 0;
    if (!next(octet)) return false;
    constructed = (octet & 0x20) != 0;
    if ((octet & 0x1F) == 0x1F) {
      size_t used = 0;
      do {
        if (++used > 4 || !next(octet)) return false;
      } while (octet & 0x80);
    }
    if (!next(octet)) return false;
    indefinite = octet == 0x80;
    length = octet < 0x80 ? octet : 0;
    if (octet > 0x84) return false;
    for (size_t left = octet > 0x80 ? octet - 0x80 : 0; left > 0; --left) {
      if (!next(octet)) return false;
      length = length * 256 + octet;
    }
    return length <= static_cast<size_t>(end - p);
  }

  bool element(const uint8_t *&p, const uint8_t *end) {
    const uint8_t *start = p;
    bool constructed = false, indefinite = false;
    size_t length = 0;
    if (!open(p, end, constructed, indefinite, length)) {
      fault_at = start;
      return false;
    }
    if (constructed && indefinite) return list(p, end, true);
    const uint8_t *after = p + length;
    return constructed ? list(p, after, false) : (p = after, true);
  }

  bool list(const uint8_t *&p, const uint8_t *end, bool indefinite) {
    for (;;) {
      if (p == end && !indefinite) return true;
      if (end - p >= 2 && p[0] == 0 && p[1] == 0) {
        p += 2;
        if (indefinite) return true;
      } else if (!element(p, end)) {
        return false;
      }
    }
  }

  SshBerExtent run(const Octets &octets) {
    SshBerExtent extent;
    const uint8_t *p = octets.data(), *end = p + octets.size();
    while (p != end) {
      const uint8_t *start = p;
      if (end - p >= 2 && p[0] == 0 && p[1] == 0) {
        p += 2;
      } else if (element(p, end)) {
        ++extent.elements;
      } else {
        extent.fault = true;
        bool constructed = false, indefinite = false;
        size_t length = 0;
        extent.fault_inside = open(start, end, constructed, indefinite, length);
        extent.fault_at = fault_at;
        return extent;
      }
      extent.good = static_cast<size_t>(p - octets.data());
    }
    return extent;
  }
};

void expect_same_check(const Octets &octets) {
  const SshBerExtent got = ssh_ber_check(octets);
  const SshBerExtent wanted = PlainCheck{octets.data()}.run(octets);
  ASSERT_EQ(got.good, wanted.good) << hex(octets);
  ASSERT_EQ(got.elements, wanted.elements) << hex(octets);
  ASSERT_EQ(got.fault, wanted.fault) << hex(octets);
  ASSERT_EQ(got.fault_inside, wanted.fault_inside) << hex(octets);
  ASSERT_EQ(got.fault_at, wanted.fault_at) << hex(octets);
}

// append_random adds a well-formed element, more or less deep.
void append_random(std::mt19937 &random, Octets &out, unsigned depth) {
  const bool constructed = depth > 0 && below(random, 3);
  const bool indefinite = constructed && below(random, 3) == 0;
  Octets content;
  for (size_t i = below(random, 4); i > 0; --i) {
    if (constructed)
      append_random(random, content, depth - 1);
    else
      content.push_back(static_cast<uint8_t>(random()));
    if (constructed && !indefinite && below(random, 16) == 0) content.insert(content.end(), 2, 0);
  }
  const uint32_t tag = below(random, 8) ? below(random, 30) + 1 : below(random, 0xFFFFFFF);
  SshBerElement element = header(static_cast<uint8_t>(below(random, 4)), constructed, tag,
                                 indefinite, static_cast<uint32_t>(content.size()));
  uint8_t octets[SSH_BER_HEADER_MAX];
  ASSERT_EQ(ssh_ber_set_tag_length(octets, sizeof octets, element), SSH_BER_OK);
  out.insert(out.end(), octets, octets + ssh_ber_compute_tag_length_size(element));
  out.insert(out.end(), content.begin(), content.end());
  if (indefinite) out.insert(out.end(), 2, 0);
}

TEST(BerCheck, AgreesWithAPlainWalk) {
  std::mt19937 random(2);
  for (int i = 0; i < 20000; ++i) {
    Octets octets;
    for (size_t count = below(random, 3) + 1; count > 0; --count)
      append_random(random, octets, below(random, 6));
    ASSERT_FALSE(ssh_ber_check(octets).fault) << hex(octets);
    expect_same_check(octets);
    for (int change = 0; change < 8; ++change) {
      Octets changed = octets;
      constexpr uint8_t kTelling[] = {0x00, 0x80, 0x30, 0x1F, 0x81, 0x85, 0xFF};
      changed[random() % changed.size()] =
          below(random, 2) ? kTelling[below(random, 7)] : static_cast<uint8_t>(random());
      if (below(random, 4) == 0) changed.resize(random() % changed.size());
      expect_same_check(changed);
    }
  }
}

TEST(BerCheck, Verdicts) {
  const struct {
    const char *why;
    std::string_view hex;
    size_t good, elements;
    bool inside;
    int fault;  // offset, or -1
  } rows[] = {
      {"nothing", "", 0, 0, false, -1},
      {"an end of contents alone", "0000", 2, 0, false, -1},
      {"stray ends between elements", "0000 0500 0000 0500", 8, 2, false, -1},
      {"stray end inside a definite length", "3004 0000 0500", 6, 1, false, -1},
      {"an octet too many", "0500 05", 2, 1, false, 2},
      {"the first element is cut", "3002 05", 0, 0, false, 0},
      {"broken inside the first", "3003 0502 00", 0, 0, true, 2},
      {"broken inside the second", "0500 3002 0501", 2, 1, true, 4},
      {"indefinite", "3080 0500 0000", 6, 1, false, -1},
      {"indefinite, nested, directly closed", "3080 3180 0000 0000 0500", 10, 2, false, -1},
      {"never closed", "3080 0500", 0, 0, true, 4},
      {"closed once of two", "3080 3080 0000", 0, 0, true, 6},
      {"closed outside of the definite length around it", "3004 3080 0500 0000", 0, 0, true, 6},
      {"a long length of zero closes nothing", "3080 008100", 0, 0, true, 5},
      {"an indefinite primitive has no content and needs no end", "0480 0500", 4, 2, false, -1},
  };
  for (const auto &row : rows) {
    SCOPED_TRACE(row.why);
    const Octets octets = unhex(row.hex);
    const SshBerExtent got = ssh_ber_check(octets);
    EXPECT_EQ(got.good, row.good);
    EXPECT_EQ(got.elements, row.elements);
    EXPECT_EQ(got.fault, row.fault >= 0);
    EXPECT_EQ(got.fault_inside, row.inside);
    if (row.fault < 0) continue;
    EXPECT_EQ(got.fault_at, octets.data() + row.fault);
  }
}

TEST(BerCheck, RefusesWhatIsTooLarge) {
  const Octets octets(SSH_BER_INPUT_MAX + 1, 0x00);
  const SshBerExtent got = ssh_ber_check(octets);
  EXPECT_TRUE(got.fault);
  EXPECT_EQ(got.good, 0U);
  EXPECT_FALSE(ssh_ber_check(Bytes(octets).first(SSH_BER_INPUT_MAX)).fault);
}

// nest builds `levels` elements one inside the other.
Octets nest(size_t levels, bool indefinite) {
  if (indefinite) {
    Octets octets(levels * 4, 0);
    for (size_t i = 0; i < levels; ++i) octets[2 * i] = 0x30, octets[2 * i + 1] = 0x80;
    return octets;
  }
  Octets backwards;  // headers from the innermost out, each reversed
  for (size_t i = 0; i < levels; ++i) {
    SshBerElement element = header(0, true, 16, false, static_cast<uint32_t>(backwards.size()));
    uint8_t octets[SSH_BER_HEADER_MAX];
    EXPECT_EQ(ssh_ber_set_tag_length(octets, sizeof octets, element), SSH_BER_OK);
    for (size_t j = ssh_ber_compute_tag_length_size(element); j-- > 0;)
      backwards.push_back(octets[j]);
  }
  return {backwards.rbegin(), backwards.rend()};
}

TEST(BerCheck, DepthCostsNoStack) {
  const int64_t blocks = ssh_mem_blocks();
  for (const bool indefinite : {false, true}) {
    Octets octets = nest(500000, indefinite);
    octets.push_back(0x05);
    SshBerExtent got;
    run_on_small_stack([&] { got = ssh_ber_check(octets); });
    EXPECT_EQ(got.good, octets.size() - 1);
    EXPECT_EQ(got.elements, 1U);
    EXPECT_TRUE(got.fault);
  }
  EXPECT_TRUE(ssh_ber_check(nest((1 << 20) + 2, true)).fault_inside)
      << "more levels than are followed";
  EXPECT_EQ(ssh_mem_blocks(), blocks);
}

TEST(BerElementEnd, StepsOverWholeElements) {
  std::mt19937 random(3);
  for (int i = 0; i < 20000; ++i) {
    Octets octets;
    append_random(random, octets, 5);
    const size_t size = octets.size();
    append_random(random, octets, 2);
    const uint8_t *end = octets.data() + octets.size();
    SshBerElement element;
    ASSERT_EQ(ssh_ber_open(octets.data(), end, element), SSH_BER_OK);
    uint64_t work = size;
    const uint8_t *after = ssh_ber_element_end(element, end, work);
    ASSERT_EQ(after, octets.data() + size) << hex(octets);
    if (element.indefinite && element.constructed) {
      EXPECT_LT(work, size) << "the walk costs work";
      EXPECT_EQ(ssh_ber_content_end(element, after), after - 2);
      work = size - work - 1;
      EXPECT_EQ(ssh_ber_element_end(element, end, work), nullptr) << "a step too few";
      EXPECT_EQ(work, 0U);
    } else {
      EXPECT_EQ(work, size);
      EXPECT_EQ(ssh_ber_content_end(element, after), after);
    }
  }
}

TEST(BerFreelist, FreesBlocksOnlyAfterFailure) {
  for (const bool failed : {false, true}) {
    const int64_t before = ssh_mem_blocks();
    SshBerFreelist list = ssh_ber_freelist_alloc();
    EXPECT_EQ(list, nullptr);
    void *blocks[3];
    for (void *&block : blocks) block = ssh_xmalloc(8);
    ssh_ber_freelist_add(&list, SSH_BER_FREELIST_BLOCK, blocks[0]);
    ssh_ber_freelist_add(&list, SSH_BER_FREELIST_TEXT, blocks[1]);
    const SshBerFreelist head = list;
    ssh_ber_freelist_add(&list, 0, blocks[2]);
    ssh_ber_freelist_add(&list, 3, blocks[2]);
    EXPECT_EQ(list, head) << "other kinds add nothing";
    ssh_ber_freelist_free(list, failed);
    EXPECT_EQ(ssh_mem_blocks() - before, failed ? 1 : 3);
    for (void *block : {blocks[2], failed ? nullptr : blocks[0], failed ? nullptr : blocks[1]})
      ssh_xfree(block);
    EXPECT_EQ(ssh_mem_blocks(), before);
  }
  EXPECT_FATAL(ssh_ber_freelist_add(nullptr, SSH_BER_FREELIST_BLOCK, nullptr),
               "ssh_ber_freelist_add: freelist not defined.");
}

}  // namespace
