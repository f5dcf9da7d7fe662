#include "api/pending.h"

#include <mutex>
#include <utility>

#include "util/lock.h"
#include "util/mem.h"

namespace {

// The table is a tree. The identifier is cut into digits of six bits; the highest digit chooses a
// child of the root, the next a child of that, and the last a place in a leaf of 64 requests.
// Identifiers are issued in sequence, so requests that are pending together share leaves and the
// tree is small. A node is freed when nothing is below it any more; a request that is never
// answered keeps one leaf at most. A hash table would have been shorter, but it has to move
// everything when it grows, in one block that may become larger than any allocation here can be.
// The tree never moves anything and all its blocks are small.
constexpr uint32_t kDigitBits = 6;
constexpr uint32_t kFan = 1u << kDigitBits;
constexpr uint32_t kBranchLevels = 5;  // above the leaves: 36 bits in all

struct Branch {
  uint32_t used;         // children that are not null
  void *children[kFan];  // branches; on the lowest level leaves
};

struct Leaf {
  uint32_t used;  // slots with a request
  PendingRequest slots[kFan];
};

// Guarded by `table`.
SshLock table;
void *root = nullptr;

// digit gives the digit of an identifier that chooses on a level; the leaves are level 0.
uint32_t digit(uint32_t identifier, uint32_t level) {
  return (uint64_t{identifier} >> (level * kDigitBits)) % kFan;
}

// Path leads from the root to a leaf: the place of each node in the one above it.
struct Path {
  void **places[kBranchLevels + 1];
};

// Spare holds nodes for the levels below `count`. They are allocated while the table is not locked:
// running out of memory ends the process, and what runs at its end may use the table.
class Spare {
 public:
  Spare() = default;
  Spare(const Spare &) = delete;
  Spare &operator=(const Spare &) = delete;
  ~Spare() {
    for (uint32_t level = 0; level < count_; ++level) ssh_xfree(nodes_[level]);
  }

  void make(uint32_t count) {
    for (; count_ < count; ++count_)
      nodes_[count_] = ssh_xcalloc(1, count_ > 0 ? sizeof(Branch) : sizeof(Leaf));
  }
  [[nodiscard]] uint32_t count() const { return count_; }
  [[nodiscard]] void *take(uint32_t level) { return std::exchange(nodes_[level], nullptr); }

 private:
  uint32_t count_ = 0;
  void *nodes_[kBranchLevels + 1];
};

// walk follows an identifier from the root as far as there are nodes, and gives its leaf or null.
Leaf *walk(uint32_t identifier, Path *path) {
  void **place = &root;
  for (uint32_t level = kBranchLevels;; --level) {
    path->places[level] = place;
    if (!*place) return nullptr;
    if (level == 0) return static_cast<Leaf *>(*place);
    place = &static_cast<Branch *>(*place)->children[digit(identifier, level)];
  }
}

// grow does what walk does, and takes a spare node for each that is missing. It returns null, with
// no node taken, if there are too few spare nodes; `missing` is then how many are needed.
Leaf *grow(uint32_t identifier, Spare &spare, uint32_t *missing) {
  void **place = &root;
  Branch *above = nullptr;
  for (uint32_t level = kBranchLevels;; --level) {
    if (!*place) {
      *missing = level + 1;
      if (level >= spare.count()) return nullptr;
      *place = spare.take(level);
      if (above) ++above->used;
    }
    if (level == 0) return static_cast<Leaf *>(*place);
    above = static_cast<Branch *>(*place);
    place = &above->children[digit(identifier, level)];
  }
}

// prune frees the leaf, which is empty, and every branch that holds nothing without it.
void prune(const Path &path) {
  for (uint32_t level = 0; level <= kBranchLevels; ++level) {
    ssh_xfree(std::exchange(*path.places[level], nullptr));
    if (level == kBranchLevels) return;
    if (--static_cast<Branch *>(*path.places[level + 1])->used > 0) return;
  }
}

// free_below frees a node with all below it. It recurses over the levels, of which there are six.
void free_below(void *node, uint32_t level) {
  if (!node) return;
  if (level > 0) {
    for (void *child : static_cast<Branch *>(node)->children) free_below(child, level - 1);
  }
  ssh_xfree(node);
}

// A host may unload the library while requests are open: the table goes with it. When the process
// ends, a thread may have been stopped while it held the lock; then there is nothing to be done.
struct AtUnload {
  ~AtUnload() {
    if (!table.try_lock()) return;
    free_below(std::exchange(root, nullptr), kBranchLevels);
    table.unlock();
  }
} at_unload;

// try_add returns 0, or how many nodes it needs.
uint32_t try_add(uint32_t identifier, const PendingRequest &request, Spare &spare) {
  const std::lock_guard guard(table);
  uint32_t missing = 0;
  Leaf *leaf = grow(identifier, spare, &missing);
  if (!leaf) return missing;
  PendingRequest &slot = leaf->slots[digit(identifier, 0)];
  if (slot.form != KWPKI_FORM_NONE) return 0;
  slot = request;
  ++leaf->used;
  return 0;
}

}  // namespace

void pending_add(uint32_t identifier, const PendingRequest &request) {
  Spare spare;
  while (const uint32_t missing = try_add(identifier, request, spare)) spare.make(missing);
}

bool pending_take(uint32_t identifier, PendingRequest *request) {
  const std::lock_guard guard(table);
  Path path;
  Leaf *leaf = walk(identifier, &path);
  if (!leaf) return false;
  PendingRequest &slot = leaf->slots[digit(identifier, 0)];
  if (slot.form == KWPKI_FORM_NONE) return false;
  *request = std::exchange(slot, {});
  if (--leaf->used == 0) prune(path);
  return true;
}
