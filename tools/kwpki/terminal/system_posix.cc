#include <fcntl.h>
#include <unistd.h>

#include "kwpki/terminal/system.h"

namespace kwpki {

bool is_terminal(std::FILE *file) { return isatty(fileno(file)) == 1; }

void open_missing_files() {
  for (int file = STDIN_FILENO; file <= STDERR_FILENO; ++file) {
    if (fcntl(file, F_GETFD) >= 0) continue;
    (void)open("/dev/null", file == STDIN_FILENO ? O_WRONLY : O_RDONLY);  // takes the lowest place
  }
}

void use_octets(std::FILE *) {}

}  // namespace kwpki
