// The host's management agent: the six functions through which a request leaves this library. The
// library is not linked with them, as it must load without a host; they are looked up in the
// process at first use. Where to look is told in agent_posix.cc and agent_win32.cc; a further
// function is a line in agent.cc.
#pragma once

#include "kwpki.h"
#include "util/bytes.h"

// request_post hands an encoded request to the agent. KWPKI_NOT_POSTED if a function of the agent
// is missing, the message could not be made or was not taken; the agent's own status if it refused
// the message's data.
[[nodiscard]] KwPkiStatus request_post(void *agent, Bytes request);

// find_host_function gives the address of a function of the process with that name; else it loads
// the library (a plain name, without prefix and suffix) and looks there. Null if there is none.
[[nodiscard]] void *find_host_function(const char *library, const char *name);
