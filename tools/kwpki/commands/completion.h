// `kwpki completion`: scripts with which shells complete the command line. They are made from the
// parser's own commands and options, so that none can be forgotten. What may stand for a type of
// value is in values_of (completion.cc); a further shell is a row of kShells there.
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
