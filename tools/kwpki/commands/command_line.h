// The whole tool, for main() and for tests. main.cc includes nothing else, so it compiles at once.
#pragma once

#include "kwpki/terminal/streams.h"

namespace kwpki {

// prepare_process is for main.cc. From then on the process ends with a message and kExitUnreadable
// when memory runs out, and writing to a stream that is closed, or that nobody reads any more, is
// an error of the writing function.
void prepare_process();

// run_command_line is the rest of the program, for main() and for tests.
int run_command_line(int argc, const char *const *argv, const Streams &streams);

}  // namespace kwpki
