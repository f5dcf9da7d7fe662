#include <unistd.h>

#include "util/fatal.h"

void ssh_end_process() { _exit(1); }
