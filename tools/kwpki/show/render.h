// JSON documents as indented text for people. Every field is shown; a row of the table in render.cc
// gives one a better label, shows it as bytes, or leaves it to JSON because people see the same
// thing elsewhere.
#pragma once

#include <functional>
#include <string>

#include "kwpki/terminal/text.h"
#include "kwpki/values/values.h"

namespace kwpki {

// RenderedLine is a label and what it is of, not yet escaped. What belongs to a line follows it with
// a larger indent; an item that has no line of its own begins with a dash in a column before it.
constexpr size_t kNoDash = SIZE_MAX;
struct RenderedLine {
  size_t indent;
  std::string label, text;
  size_t dash = kNoDash;
};
using RenderedLines = std::function<void(RenderedLine line)>;

// render_lines gives the fields of an object, render_extension_lines a list of extensions.
void render_lines(const Json &object, size_t indent, const RenderedLines &take);
void render_extension_lines(const Json &extensions, size_t indent, const RenderedLines &take);

// render appends the fields of an object, each on lines of its own, indented by `indent` blanks.
// Whatever it shows is escaped.
void render(const Json &object, size_t indent, const Style &style, std::string *out);

// render_extensions appends the lines of a list of extensions.
void render_extensions(const Json &extensions, size_t indent, const Style &style, std::string *out);

}  // namespace kwpki
