#include "kwpki/page/html.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <vector>

#include "crypto/hash.h"
#include "kwpki/page/source.h"
#include "kwpki/terminal/text.h"

namespace kwpki {
namespace {

// Part is text of the page, or the name of a value that goes there.
struct Part {
  std::string_view text;
  bool is_name;
};
using Pieces = std::map<std::string_view, std::vector<Part>>;

// Splitter takes page.html apart into its pieces. It runs once in a process.
class Splitter {
 public:
  explicit Splitter(std::string_view source) : rest_(source) {}

  Pieces run() {
    piece("page", "");
    return std::move(pieces_);
  }

 private:
  std::string_view until(std::string_view mark);
  void piece(std::string_view name, std::string_view end);
  void attributes(std::string_view list, std::vector<Part> &parts);

  std::string_view rest_;
  Pieces pieces_;
};

// until takes what stands before a mark, and the mark.
std::string_view Splitter::until(std::string_view mark) {
  const std::string_view text = rest_.substr(0, rest_.find(mark));
  rest_.remove_prefix(std::min(rest_.size(), text.size() + mark.size()));
  return text;
}

// piece reads up to the comment that ends a piece. It recurses for pieces in it, which are a few
// levels deep: page.html is part of the program.
void Splitter::piece(std::string_view name, std::string_view end) {
  std::vector<Part> parts;
  while (!rest_.empty()) {
    parts.push_back({until("<!--"), false});
    const std::string_view comment = until("-->");
    if (!comment.empty() && comment == end) break;
    if (comment.empty() || comment[0] == ' ') continue;  // a remark in page.html
    if (comment[0] == '@') {
      attributes(comment.substr(1), parts);
      continue;
    }
    parts.push_back({comment, true});
    piece(comment, std::string("/").append(comment));
  }
  pieces_[name] = std::move(parts);
}

// attributes reads the next tag, and puts names where its samples stand.
void Splitter::attributes(std::string_view list, std::vector<Part> &parts) {
  while (!list.empty()) {
    const std::string_view pair = list.substr(0, list.find(' '));
    list.remove_prefix(std::min(list.size(), pair.size() + 1));
    const size_t equals = pair.find('=');
    const bool text = pair.starts_with("text=");
    const std::string before = text ? ">" : fmt::format(" {}=\"", pair.substr(0, equals));
    const std::string_view head = rest_.substr(0, rest_.find(before) + before.size());
    rest_.remove_prefix(head.size());
    parts.push_back({head, false});
    parts.push_back({pair.substr(equals + 1), true});
    rest_.remove_prefix(rest_.find(text ? '<' : '"'));
  }
}

// pieces gives the pieces of page.html, which is compiled in as kPageSource.
const Pieces &pieces() {
  static const Pieces kPieces = Splitter(kPageSource).run();
  return kPieces;
}

// source_hash gives the hash of the page's own script or style, as its policy names it.
std::string source_hash(std::string_view tag) {
  const std::string begin = fmt::format("<{}>", tag), end = fmt::format("</{}>", tag);
  const std::string_view page = kPageSource;
  const size_t from = page.find(begin) + begin.size();
  const Bytes text = ssh_text_bytes(page.substr(from, page.find(end) - from));
  uint8_t digest[SSH_HASH_DIGEST_MAX];
  const size_t length = ssh_hash_digest("sha256", text, digest);
  return fmt::format("'sha256-{}'", base64({digest, length}));
}

}  // namespace

Html::Html(std::string_view text) {
  for (const char c : escape(text)) {
    switch (c) {
      case '&':
        code_ += "&amp;";
        break;
      case '<':
        code_ += "&lt;";
        break;
      case '>':
        code_ += "&gt;";
        break;
      case '"':
        code_ += "&quot;";
        break;
      case '\'':
        code_ += "&#39;";
        break;
      default:
        code_ += c;
    }
  }
}

Html Html::of_lines(std::string_view text) {
  Html html;
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    html += Html(line);
    if (line.size() < text.size()) html.code_ += '\n';
    text.remove_prefix(std::min(text.size(), line.size() + 1));
  }
  return html;
}

Html fill(std::string_view piece, std::initializer_list<HtmlValue> values) {
  Html html;
  for (const Part &part : pieces().at(piece)) {
    if (!part.is_name) {
      html.code_ += part.text;
      continue;
    }
    for (const HtmlValue &value : values)
      if (value.name == part.text) html += value.html;
  }
  return html;
}

std::string page_policy() {
  return fmt::format(
      "default-src 'none'; style-src {}; script-src {}; base-uri 'none'; form-action 'none'",
      source_hash("style"), source_hash("script"));
}

}  // namespace kwpki
