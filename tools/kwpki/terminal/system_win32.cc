#include <winsock2.h>

#include <windows.h>
#include <ws2tcpip.h>

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

size_t parse_ip(const std::string &text, uint8_t (&octets)[16]) {
  if (inet_pton(AF_INET, text.c_str(), octets) == 1) return 4;
  return inet_pton(AF_INET6, text.c_str(), octets) == 1 ? 16 : 0;
}

bool stores_are_files() { return false; }

void use_octets(std::FILE *file) { (void)_setmode(_fileno(file), _O_BINARY); }

}  // namespace kwpki
