// Searching: which certificates of a store meet constraints, and which of them lead from one to
// another. Both are called inside a transaction. A further rule is a row of the table in finder.cc.
#pragma once

#include <vector>

#include "loopback/store.h"

namespace loopback {

// Rule is what the service takes the rule of constraints to mean.
enum Rule : uint32_t {
  kRuleAll = 0,
  kRuleNewest = 1,       // of those that match, the one that was added last
  kRuleAuthorities = 2,  // CAs
  kRuleEndEntities = 3,  // all but CAs
  kRules = 4,
};

// kKeysMax bounds the keys of one search, kPathMax the certificates of a path.
constexpr size_t kKeysMax = 10000;
constexpr unsigned kPathMax = 16;

// find_certificates gives what meets the constraints and covers the validity, in the order in which
// it was added. The rule must be below kRules.
[[nodiscard]] std::vector<int64_t> find_certificates(Store &store, const Constraints &constraints,
                                                     const Validity &validity);

// find_path gives a shortest path from a certificate that meets the first constraints to one that
// meets the second, each issued by the next as far as their names tell; empty if there is none.
[[nodiscard]] std::vector<int64_t> find_path(Store &store, const PathSearch &search);

}  // namespace loopback
