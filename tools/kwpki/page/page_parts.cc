#include "kwpki/page/page_parts.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace kwpki {
namespace {

constexpr size_t kBytesInRow = 16;
constexpr size_t kOfOneMost = 0x1000;   // bytes shown of one element
constexpr size_t kOfAllMost = 0x20000;  // and of all
constexpr size_t kIndentMost = 12;      // levels with an indent; deeper ones show their number

// Range is a part of the bytes: from, to.
using Range = std::pair<size_t, size_t>;

// shown_ranges gives the ranges of bytes to show: the elements' own, as far as there is room, with
// neighbours joined.
std::vector<Range> shown_ranges(const std::vector<PageElement> &elements) {
  std::vector<Range> ranges;
  size_t room = kOfAllMost;
  for (const PageElement &element : elements) {
    const size_t count = std::min({element.own, kOfOneMost, room});
    if (count == 0) continue;
    room -= count;
    if (!ranges.empty() && ranges.back().second >= element.offset)
      ranges.back().second = std::max(ranges.back().second, element.offset + count);
    else
      ranges.emplace_back(element.offset, element.offset + count);
  }
  return ranges;
}

void append_bytes(Bytes octets, Range range, std::string *text) {
  for (size_t at = range.first; at < range.second;) {
    const size_t end = std::min(range.second, at / kBytesInRow * kBytesInRow + kBytesInRow);
    *text += fmt::format("{:7} ", at);
    for (; at < end; ++at) *text += fmt::format(" {:02x}", octets[at]);
    *text += '\n';
  }
}

void append_gap(size_t count, std::string *text) {
  if (count) *text += fmt::format("      … {} byte{}\n", count, count == 1 ? "" : "s");
}

Html element_html(const PageElement &element) {
  const std::string range =
      fmt::format("{} {} {} {}", element.offset, element.header, element.content, element.depth);
  const std::string level = fmt::format("d{}", std::min(element.depth, kIndentMost));
  Html name(element.name), part(element.part), value(element.value);
  return fill("element",
              {{"level", Html(level)},
               {"range", Html(range)},
               {"offset", Html(element.offset)},
               {"name", name},
               {"part", element.part.empty() ? Html() : fill("part", {{"words", part}})},
               {"value", value},
               {"fault",
                element.fault.empty() ? Html() : fill("fault", {{"words", Html(element.fault)}})}});
}

}  // namespace

// nested goes from the last line to the first, so that the lines inside a line are complete when it
// comes to it. `open` holds the lists of each depth that are not inside another line yet.
Html nested(const std::vector<NestedLine> &lines) {
  std::vector<std::pair<size_t, Html>> open;
  const auto take_deeper = [&open](size_t depth) {
    Html inside;
    for (; !open.empty() && open.back().first >= depth; open.pop_back())
      inside += open.back().second;
    return inside.empty() ? inside : fill("list", {{"lines", inside}});
  };
  for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
    const size_t depth = std::min(line->depth, kNestedMost);
    const Html inside = take_deeper(depth + 1);
    open.emplace_back(depth, fill("line", {{"content", line->html}, {"inside", inside}}));
  }
  return take_deeper(0);
}

void BesideBytes::add(PageElement element) { elements_.push_back(std::move(element)); }

void BesideBytes::blame(size_t offset, const std::string &fault) {
  const auto after =
      std::partition_point(elements_.begin(), elements_.end(),
                           [offset](const PageElement &each) { return each.offset <= offset; });
  if (after == elements_.begin()) return;
  std::string &said = std::prev(after)->fault;
  said += (said.empty() ? "" : "; ") + fault;
}

// find_ends gives elements of an open end their length. It goes backwards and keeps for each depth
// where the element after the one at hand begins.
void BesideBytes::find_ends() {
  std::vector<size_t> next;  // by depth: where what follows begins
  for (auto element = elements_.rbegin(); element != elements_.rend(); ++element) {
    next.resize(element->depth + 1, next.empty() ? octets_.size() : next.back());
    if (element->content == kOpenEnd)
      element->content = next.back() - element->offset - element->header;
    next.back() = element->offset;
  }
}

// dump writes the bytes with their offsets, and how many are left out between them.
std::string BesideBytes::dump() const {
  std::string text;
  size_t at = 0;
  for (const Range &range : shown_ranges(elements_)) {
    append_gap(range.first - at, &text);
    append_bytes(octets_, range, &text);
    at = range.second;
  }
  append_gap(octets_.size() - at, &text);
  return text;
}

Html BesideBytes::html(std::string_view all) {
  find_ends();
  Html elements;
  for (const PageElement &element : elements_) elements += element_html(element);
  const std::string more = fmt::format("{} more elements ({})", omitted_, all);
  return fill("view", {{"elements", elements},
                       {"more", omitted_ ? fill("more", {{"words", Html(more)}}) : Html()},
                       {"last", Html(octets_.empty() ? 0 : octets_.size() - 1)},
                       {"bytes", Html::of_lines(dump())}});
}

Html section_html(const PageSection &section) {
  std::vector<NestedLine> wrong;
  for (const std::string &words : section.wrong)
    wrong.push_back({0, fill("fault", {{"words", Html(words)}})});
  return fill(
      "object",
      {{"id", Html(section.id)},
       {"name", Html(section.name)},
       {"kind", Html(section.kind)},
       {"where", Html(section.where)},
       {"wrong", nested(wrong)},
       {"fields", section.fields.empty() ? Html() : fill("fields", {{"lines", section.fields}})},
       {"view", section.view}});
}

Html page_html(const PageContent &content) {
  return fill("page", {{"policy", Html(page_policy())},
                       {"title", Html(content.title)},
                       {"heading", Html(content.title)},
                       {"about", Html(content.about)},
                       {"notes", content.notes},
                       {"summary", content.summary},
                       {"objects", content.objects}});
}

}  // namespace kwpki
