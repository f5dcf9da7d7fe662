// HTML for pages. An Html is made of text, which is escaped, and of pieces of the template
// page.html, and there is no other way to make one. So whatever bytes a certificate holds, in a
// page they are text of an element or of a quoted attribute, and never a tag, script or style.
//
// page.html can be opened in a browser as it is and shows a sample of everything. Comments in it
// without blanks at their ends say which samples are replaced:
//   <!--rows--> ... <!--/rows-->        a piece with the name "rows", which may have others in it.
//                                       It is replaced by the value of that name, or by nothing.
//   <!--@href=link text=name--><a href="#o1">CN=Sample</a>
//                                       in the tag that follows, the value of the attribute "href"
//                                       is replaced by the value named "link"; "text" stands for
//                                       the text between this tag and the next
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

// fill makes HTML of a piece, with the values for the names in it; the piece "page" is the whole.
struct HtmlValue {
  std::string_view name;
  const Html &html;
};
[[nodiscard]] Html fill(std::string_view piece, std::initializer_list<HtmlValue> values);

// page_policy is the Content-Security-Policy of a page. It allows the script and the style of
// page.html, which it names by their hashes, and nothing else.
std::string page_policy();

}  // namespace kwpki
