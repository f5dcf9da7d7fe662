// JSON documents as indented text for people. Every field is shown; a row of the table in render.cc
// gives one a better label, shows it as octets, or leaves it to JSON because people see the same
// thing elsewhere.
#pragma once

#include <string>

#include "kwpki/terminal/text.h"
#include "kwpki/values/values.h"

namespace kwpki {

// render appends the fields of an object, each on lines of its own, indented by `indent` blanks.
// Whatever it shows is escaped.
void render(const Json &object, size_t indent, const Style &style, std::string *out);

// render_extensions appends the lines of a list of extensions.
void render_extensions(const Json &extensions, size_t indent, const Style &style, std::string *out);

}  // namespace kwpki
