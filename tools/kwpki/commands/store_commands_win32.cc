#include "kwpki/commands/commands.h"

namespace kwpki {

// The store and what asks it need the host that comes with the tool, which is not built here.
void add_store_commands(CLI::App &, Run &) {}

}  // namespace kwpki
