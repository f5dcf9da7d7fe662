#include "loopback/finder.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <unordered_set>

namespace loopback {

namespace {

using Ids = std::vector<int64_t>;

// A rule chooses CAs or not, and how many of what matches.
struct RuleRow {
  int ca;  // as in Filter
  bool newest_only;
};
constexpr RuleRow kRuleRows[] = {{-1, false}, {-1, true}, {1, false}, {0, false}};
static_assert(std::size(kRuleRows) == kRules);

// filter_of collects what certificates must meet beside their keys.
Filter filter_of(const Constraints &constraints, const Validity &validity) {
  Filter filter;
  filter.cover(constraints.time);
  filter.cover(validity);
  filter.key_usage = constraints.key_usage;
  filter.key_type = constraints.key_type;
  if (constraints.path_length != SSH_X509_NO_LIMIT) filter.path_length = constraints.path_length;
  filter.ca = kRuleRows[constraints.rule].ca;
  return filter;
}

// distinct drops repeated keys, so that no list of certificates is read twice.
std::vector<Key> distinct(std::vector<Key> keys) {
  const auto view = [](const Key &key) { return std::pair(key.type, ssh_bytes_text(key.data)); };
  const auto same = [&](const Key &a, const Key &b) { return view(a) == view(b); };
  std::ranges::sort(keys, {}, view);
  keys.erase(std::unique(keys.begin(), keys.end(), same), keys.end());
  return keys;
}

Ids with_any_key(Store &store, const std::vector<Key> &keys) {
  Ids all;
  for (const Key &key : keys) {
    const Ids ids = store.with_key(key.type, key.data);
    all.insert(all.end(), ids.begin(), ids.end());
  }
  std::ranges::sort(all);
  all.erase(std::unique(all.begin(), all.end()), all.end());
  return all;
}

// with_every_key narrows the list down key by key; lists of identifiers are sorted.
Ids with_every_key(Store &store, const std::vector<Key> &keys) {
  Ids all = store.with_key(keys[0].type, keys[0].data);
  for (size_t i = 1; i < keys.size() && !all.empty(); ++i) {
    const Ids ids = store.with_key(keys[i].type, keys[i].data);
    Ids both;
    std::ranges::set_intersection(all, ids, std::back_inserter(both));
    all.swap(both);
  }
  return all;
}

Ids candidates(Store &store, const Constraints &constraints, const Filter &filter) {
  if (constraints.keys.empty()) return store.all(filter);
  const std::vector<Key> keys = distinct(constraints.keys);
  Ids ids = constraints.group_mode ? with_any_key(store, keys) : with_every_key(store, keys);
  std::erase_if(ids, [&](int64_t id) { return !store.passes(id, filter); });
  return ids;
}

// Step is a certificate that was reached, and the step that led to it.
struct Step {
  int64_t id;
  size_t from;
  unsigned length;  // certificates from the first to this one
};

// trace goes back from a step to the first one of its path.
Ids trace(const std::vector<Step> &steps, size_t at) {
  Ids path;
  for (unsigned left = steps[at].length; left > 0; --left) {
    path.push_back(steps[at].id);
    at = steps[at].from;
  }
  std::ranges::reverse(path);
  return path;
}

}  // namespace

Ids find_certificates(Store &store, const Constraints &constraints, const Validity &validity) {
  Ids ids = candidates(store, constraints, filter_of(constraints, validity));
  if (kRuleRows[constraints.rule].newest_only && !ids.empty())
    ids.erase(ids.begin(), ids.end() - 1);
  return ids;
}

// The search is breadth first: it looks at all certificates that are one step from the beginning,
// then at those two steps away and so on, so that the first path found is a shortest one. Each
// certificate is reached once and each issuer's name followed once, so that the work is bounded by
// the size of the store, also where certificates issued each other in a circle.
Ids find_path(Store &store, const PathSearch &search) {
  const Ids goals = find_certificates(store, search.second, search.validity);
  if (goals.empty()) return {};
  Filter valid;
  valid.cover(search.validity);

  std::vector<Step> steps;
  std::unordered_set<int64_t> reached;
  std::unordered_set<std::string> followed;
  for (const int64_t id : find_certificates(store, search.first, search.validity)) {
    reached.insert(id);
    steps.push_back({id, 0, 1});
  }
  for (size_t i = 0; i < steps.size(); ++i) {
    const Step step = steps[i];
    if (std::ranges::binary_search(goals, step.id)) return trace(steps, i);
    if (step.length == kPathMax) continue;
    const auto name = store.issuer_name(step.id);
    if (!name || !followed.insert(*name).second) continue;
    for (const int64_t id : store.issuers(ssh_text_bytes(*name), valid)) {
      if (reached.insert(id).second) steps.push_back({id, i, step.length + 1});
    }
  }
  return {};
}

}  // namespace loopback
