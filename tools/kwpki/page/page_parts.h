// What pages have in common: lists of lines in lines, and elements beside the bytes they are made
// of. A page is bounded whatever it shows; what is left out is told.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "kwpki/page/html.h"
#include "util/bytes.h"

namespace kwpki {

// NestedLine is a line of a list, with those that follow deeper inside it.
struct NestedLine {
  size_t depth;
  Html html;
};

// nested makes lists in lists, of kNestedMost levels at the most: what is deeper stays there.
constexpr size_t kNestedMost = 50;
Html nested(const std::vector<NestedLine> &lines);

// PageElement is an element or field: where it stands, and how many bytes of header and of content
// it has. `own` of all of them are its own, the rest those of elements inside it. A content that
// does not tell its length ends where an element of its level or above follows.
constexpr size_t kOpenEnd = SIZE_MAX;
struct PageElement {
  size_t offset, header, content, own, depth;
  std::string name, value;
  std::string part = {};   // what it is a part of the whole as
  std::string fault = {};  // what is wrong with it
};

// BesideBytes makes elements, in the order of their bytes, beside these.
class BesideBytes {
 public:
  explicit BesideBytes(Bytes octets) : octets_(octets) {}

  void add(PageElement element);
  void omit(size_t elements) { omitted_ += elements; }
  [[nodiscard]] size_t count() const { return elements_.size(); }
  // blame puts a fault to the last element that begins there or before, or to none.
  void blame(size_t offset, const std::string &fault);
  // `all` is the option that shows what was left out.
  [[nodiscard]] Html html(std::string_view all);

 private:
  void find_ends();
  [[nodiscard]] std::string dump() const;

  Bytes octets_;
  std::vector<PageElement> elements_;
  size_t omitted_ = 0;
};

// section_html shows one object; what is empty is not shown.
struct PageSection {
  std::string id, name, kind, where;
  std::vector<std::string> wrong;
  Html fields, view;
};
Html section_html(const PageSection &section);

// page_html is a whole page; what is empty is not shown.
struct PageContent {
  std::string title, about;
  Html notes, summary, objects;
};
Html page_html(const PageContent &content);

}  // namespace kwpki
