// HTML, made of text and of the pieces of page.html. Html comes from nowhere else, so that whatever
// data holds is text in a page: in an element or in a quoted attribute, never in script or style.
//
// page.html opens by itself, with a sample of everything. What is put in its place stands in
// comments without blanks at their ends:
//   <!--rows--> ... <!--/rows-->        a piece, in which others may stand; where it stands goes
//                                       what is given by its name, and nothing without
//   <!--@href=link text=name--><a href="#o1">CN=Sample</a>
//                                       the attributes of the tag that follows, and "text", which
//                                       is what stands behind it up to the next tag
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace kwpki {

class Html {
 public:
  Html() = default;
  explicit Html(std::string_view text);  // escaped as for a terminal, and for HTML
  explicit Html(size_t number) : Html(std::to_string(number)) {}
  [[nodiscard]] static Html of_lines(std::string_view text);  // whose line ends stay

  Html &operator+=(const Html &more) {
    code_ += more.code_;
    return *this;
  }
  [[nodiscard]] const std::string &code() const { return code_; }
  [[nodiscard]] bool empty() const { return code_.empty(); }

 private:
  friend Html fill(std::string_view piece, std::initializer_list<struct HtmlValue> values);
  std::string code_;
};

// fill makes HTML of a piece; "page" is the whole.
struct HtmlValue {
  std::string_view name;
  const Html &html;
};
[[nodiscard]] Html fill(std::string_view piece, std::initializer_list<HtmlValue> values);

// page_policy is the Content-Security-Policy of a page: the script and the style of page.html, by
// their hashes, and nothing else, from nowhere.
std::string page_policy();

}  // namespace kwpki
