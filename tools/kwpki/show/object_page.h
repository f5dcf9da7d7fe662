// The page of `kwpki inspect --html`: a table of what was found, who issued whom, and of each
// object what --full shows, with its elements beside their bytes. It takes what inspect.cc has
// found and reads nothing by itself.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kwpki/page/page_parts.h"
#include "kwpki/show/brief.h"
#include "kwpki/values/issuers.h"
#include "kwpki/values/values.h"

namespace kwpki {

// PageObject is an object that was found: where (`place` in short, for the table), what it is, its
// bytes, and what is wrong with it. If it was refused, `mark` is the offset and `rule` the reason.
// Without bytes nothing of its content is shown.
struct PageObject {
  std::string where, place, kind;
  Bytes octets;
  std::vector<std::string> wrong;
  std::optional<size_t> mark = {};
  std::string rule = {};
};

class ObjectPage {
 public:
  struct Limits {
    size_t entries, tree_lines;
  };
  ObjectPage(Moment now, std::chrono::seconds soon, Limits limits)
      : now_(now), soon_(soon), limits_(limits) {}

  // add shows a record with its fields, also one of which only parts were read.
  void add(const PageObject &object, const SshX509Cert &cert, const Json &fields);
  void add(const PageObject &object, const SshX509Crl &crl, const Json &fields);

  // add_other shows what is neither a certificate nor a CRL, or could not be read as one at all.
  void add_other(const PageObject &object);

  // note adds a line about an input to the notes at the top of the page.
  void note(const std::string &name, const std::string &text);

  // left_out counts what the page had no room for: a page that no browser opens helps nobody.
  [[nodiscard]] size_t left_out() const { return left_out_; }
  [[nodiscard]] Html html() const;

 private:
  struct Row {
    BriefRow brief;
    std::string place, issuer;
  };

  void add_section(const PageObject &object, Row row, const Issued &issued, const Html &fields,
                   BesideBytes view);
  [[nodiscard]] bool has_room();
  [[nodiscard]] Html table() const;
  [[nodiscard]] Html tree() const;
  [[nodiscard]] Html link(size_t object) const;

  Moment now_;
  std::chrono::seconds soon_;
  Limits limits_;
  std::vector<Row> rows_;
  std::vector<Issued> issued_;
  Html sections_;
  std::vector<NestedLine> notes_;
  size_t left_out_ = 0;
};

}  // namespace kwpki
