// What the pages of `inspect --html` and `message decode --html` have in common: nested lists, and
// elements beside the bytes that they are made of. Each part is bounded, since a small encoding can
// have very many elements; the page says what was left out.
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

// nested makes lists in lists, of kNestedMost levels at most; deeper lines go to the last level.
constexpr size_t kNestedMost = 50;
Html nested(const std::vector<NestedLine> &lines);

// PageElement is an element or field: where it stands, and how many bytes of header and of content
// it has. The first `own` of these bytes are its own, the rest belong to elements inside it. With a
// content of kOpenEnd (an indefinite length) the element ends where the next one of its depth or of
// a smaller one begins.
constexpr size_t kOpenEnd = SIZE_MAX;
struct PageElement {
  size_t offset, header, content, own, depth;
  std::string name, value;
  std::string part = {};   // the part of a certificate or CRL that it is, such as "issuer"
  std::string fault = {};  // what is wrong with it
};

// BesideBytes shows elements, which are added in the order of their bytes, beside the bytes.
class BesideBytes {
 public:
  explicit BesideBytes(Bytes octets) : octets_(octets) {}

  void add(PageElement element);
  void omit(size_t elements) { omitted_ += elements; }
  [[nodiscard]] size_t count() const { return elements_.size(); }
  // blame adds a fault to the last element that begins at the offset or before it, if there is one.
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
