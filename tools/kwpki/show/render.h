// JSON documents as indented text for people. Every field is shown with its key as the label. A row
// of the table in render.cc gives a field a better label, shows it as bytes, or hides it because
// another field shows the same.
#pragma once

#include <functional>
#include <string>

#include "kwpki/terminal/text.h"
#include "kwpki/values/values.h"

namespace kwpki {

// RenderedLine is a label and a text, not yet escaped. Lines that belong to a line follow it with a
// larger indent. The first line of a list's item has a dash in the column `dash`.
constexpr size_t kNoDash = SIZE_MAX;
struct RenderedLine {
  size_t indent;
  std::string label, text;
  size_t dash = kNoDash;
};
using RenderedLines = std::function<void(RenderedLine line)>;

// render_lines calls `take` for each line of an object's fields, render_extension_lines for those
// of a list of extensions.
void render_lines(const Json &object, size_t indent, const RenderedLines &take);
void render_extension_lines(const Json &extensions, size_t indent, const RenderedLines &take);

// render appends the fields of an object, each on lines of its own, indented by `indent` blanks.
// Whatever it shows is escaped.
void render(const Json &object, size_t indent, const Style &style, std::string *out);

// render_extensions appends the lines of a list of extensions.
void render_extensions(const Json &extensions, size_t indent, const Style &style, std::string *out);

}  // namespace kwpki
