#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include "kwpki/terminal/system.h"

namespace kwpki {

bool is_terminal(std::FILE *file) {
  // Asking a console for escape sequences fails if it does not know them, or is none.
  const auto console = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file)));
  DWORD mode = 0;
  return GetConsoleMode(console, &mode) &&
         SetConsoleMode(console, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

void open_missing_files() {}  // streams without a file have none that another could take

void use_octets(std::FILE *file) { (void)_setmode(_fileno(file), _O_BINARY); }

}  // namespace kwpki
