// The corpus: its tables and the bytes of its items. A column that a test needs is a cell of a
// row: `item["serial"]`.
#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "support/der.h"
#include "support/hex.h"
#include "support/tsv.h"

namespace corpus_items {

using Groups = std::map<std::string, std::vector<const TsvRow *>>;

struct Corpus {
  const std::string folder = KWPKI_CORPUS_DIR;
  const bool found = std::filesystem::exists(folder + "/manifest.tsv");
  const TsvTable manifest{folder + "/manifest.tsv"}, names{folder + "/names.tsv"};
  const TsvTable extensions{folder + "/extensions.tsv"}, entries{folder + "/entries.tsv"};
  const Groups names_of = names.by("file");
  const Groups extensions_of = extensions.by("file"), entries_of = entries.by("file");

  [[nodiscard]] Der read(const TsvRow &item) const {
    return read_file(folder + "/der/" + item["file"]);
  }
};

inline const Corpus &corpus() {
  static const Corpus kCorpus;
  return kCorpus;
}

inline std::vector<const TsvRow *> of(const Groups &groups, const TsvRow &item) {
  const auto found = groups.find(item["file"]);
  return found == groups.end() ? std::vector<const TsvRow *>{} : found->second;
}

}  // namespace corpus_items
