// The printed form of names, stated a second time, under both profiles. A string type or an
// attribute of another profile is a row of the tables.
#pragma once

#include <algorithm>
#include <cstring>
#include <map>
#include <optional>
#include <sstream>
#include <string>

#include "corpus/items.h"

namespace name_texts {

using Names = std::map<std::string, std::string>;

// pairs reads identifiers with their names.
inline Names pairs(const char *text) {
  Names names;
  std::istringstream words(text);
  for (std::string oid, name; words >> oid >> name;) names[oid] = name;
  return names;
}

inline const Names kShortNames = pairs(
    "2.5.4.6 C 2.5.4.7 L 2.5.4.5 STREET 2.5.4.8 ST 2.5.4.10 O 2.5.4.11 OU 2.5.4.3 CN "
    "2.5.4.4 S 2.5.4.12 T 2.5.4.41 N 2.5.4.42 G 2.5.4.43 I 2.5.4.44 GQ 2.5.4.45 UI "
    "2.5.4.46 DNQ 2.5.4.54 dmdName 1.2.840.113549.1.9.1 MAILTO 1.2.840.113549.1.9.2 UN "
    "1.2.840.113549.1.9.8 UA 0.9.2342.19200300.100.1.25 DC");

inline const Names kModernNames = pairs(
    "2.5.4.9 streetAddress 2.5.4.15 businessCategory 2.5.4.17 postalCode "
    "2.5.4.65 pseudonym 2.5.4.97 organizationIdentifier "
    "1.3.6.1.4.1.311.60.2.1.1 jurisdictionL 1.3.6.1.4.1.311.60.2.1.2 jurisdictionST "
    "1.3.6.1.4.1.311.60.2.1.3 jurisdictionC 0.9.2342.19200300.100.1.1 UID");

// printed gives a value's text, or nothing if it has none. Under the classic profile UTF-8 holds
// letters of several bytes only; the corpus has no UTF8String that is none.
inline std::optional<std::string> printed(const std::string &tag, Der value, bool modern) {
  if (tag == "3" && !value.empty()) value.erase(value.begin());
  const size_t unit = tag == "30" ? 2 : tag == "28" ? 4 : 1;
  if (value.empty() || value.size() % unit) return {};
  const auto ascii = [](uint8_t c) { return c < 0x80; };
  if (tag == "12" && !modern && std::any_of(value.begin(), value.end(), ascii)) return {};
  const auto plain = [](uint8_t c) { return (c >= 0x20 && c < 0x7F) || (c >= 9 && c <= 13); };
  if (!std::all_of(value.begin(), value.end(), plain)) return "#" + hex(value);
  std::string text;
  for (const uint8_t c : value) {
    if (std::strchr("\\\"+,;", c)) text += '\\';
    text += static_cast<char>(c);
  }
  return text;
}

inline std::string label(const std::string &oid, bool modern) {
  auto known = kShortNames.find(oid);
  if (known != kShortNames.end()) return known->second;
  known = kModernNames.find(oid);
  return modern && known != kModernNames.end() ? known->second : "OID." + oid;
}

// name_text gives the text of a row of the names, or nothing if it has none.
inline std::optional<std::string> name_text(const TsvRow &name, bool modern) {
  std::string text;
  for (const TsvRow *row : corpus_items::of(corpus_items::corpus().attributes_of, name)) {
    if ((*row)["who"] != name["who"]) continue;
    const auto value = printed((*row)["tag"], unhex((*row)["value"]), modern);
    if (!value) return {};
    if (!text.empty()) text += (*row)["part"] == "0" ? ", " : " + ";
    text += label((*row)["oid"], modern) + "=" + *value;
  }
  return text;
}

}  // namespace name_texts
