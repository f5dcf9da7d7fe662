// `kwpki completion`: what a shell needs to complete the command line, made from the parser's own
// table of commands and options, so that it never lags behind. What may stand for a type of value
// is in values_of (completion.cc); a further shell is a row of kShells there.
#pragma once

#include <string>
#include <string_view>

namespace CLI {
class App;
}

namespace kwpki {

// completion_script gives the script for a shell: "bash", "zsh" or "fish"; else "".
std::string completion_script(const CLI::App &app, std::string_view shell);

}  // namespace kwpki
