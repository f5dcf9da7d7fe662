// Libraries of Windows, which alone has this module, loaded by full path: by name the system would
// look into the current folder too, and where relative paths of the environment lead. What is
// loaded is not unloaded. Names are ASCII, without their ending.
#pragma once

#include <string_view>

// ssh_library_load_system loads a library of the system's own folder; null if it cannot be loaded.
[[nodiscard]] void *ssh_library_load_system(std::string_view name);

// ssh_library_load_near loads a library that lies beside the program, beside the library that this
// code is in, in the system's folder or in a folder of PATH whose path is absolute, in this order;
// null if there is none. What it needs in turn comes from its own folder, the program's or the
// system's.
[[nodiscard]] void *ssh_library_load_near(std::string_view name);
