#include <windows.h>

#include <algorithm>
#include <initializer_list>

#include "util/library.h"
#include "util/owner.h"

namespace {

using Wide = std::unique_ptr<wchar_t, SshBlockFree>;

Wide allocate(size_t room) {
  return Wide(static_cast<wchar_t *>(ssh_xcalloc(room, sizeof(wchar_t))));
}

// read_wide gives the text that a function of the system writes, in a buffer that grows until the
// text fits. Such a function returns the length of the text or, if the room is too small, a number
// that is not below the room. Texts of the system have at most 32,767 characters. A text that the
// system does not give is empty.
template <class Read>
Wide read_wide(Read read) {
  for (DWORD room = MAX_PATH; room < 0x20000; room *= 2) {
    Wide text = allocate(room);
    if (read(text.get(), room) < room) return text;
  }
  return allocate(1);
}

Wide concatenate(std::initializer_list<std::wstring_view> parts) {
  size_t length = 0;
  for (const std::wstring_view part : parts) length += part.size();
  Wide text = allocate(length + 1);
  wchar_t *end = text.get();
  for (const std::wstring_view part : parts) end = std::copy(part.begin(), part.end(), end);
  return text;
}

bool is_separator(wchar_t letter) { return letter == L'\\' || letter == L'/'; }

bool is_drive(std::wstring_view path) {
  return (path[0] | 0x20) >= L'a' && (path[0] | 0x20) <= L'z' && path[1] == L':';
}

// is_absolute is true of paths that begin with a drive and its root, or with a server. Others
// depend on the current folder or drive.
bool is_absolute(std::wstring_view path) {
  if (path.size() < 3) return false;
  if (is_drive(path)) return is_separator(path[2]);
  return is_separator(path[0]) && is_separator(path[1]);
}

// search_flags says where the system looks for the libraries that a library needs in turn. The
// first pair of flags leaves out the current folder. Windows 7 knows them since an update, which
// also brought AddDllDirectory: where that function is missing, the flags are too. The other flag
// makes the system look into the library's own folder before it looks anywhere else.
DWORD search_flags() {
  return GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "AddDllDirectory")
             ? LOAD_LIBRARY_SEARCH_DLL_LOAD_DIR | LOAD_LIBRARY_SEARCH_DEFAULT_DIRS
             : LOAD_WITH_ALTERED_SEARCH_PATH;
}

void *load(std::wstring_view folder, std::string_view name) {
  if (!is_absolute(folder)) return nullptr;
  const Wide wide = allocate(name.size() + 1);
  std::copy(name.begin(), name.end(), wide.get());
  const Wide joined =
      concatenate({folder, is_separator(folder.back()) ? L"" : L"\\", wide.get(), L".dll"});
  // The prefix for long paths turns off what the system else does with a path, such as resolving
  // "..", so that is done first.
  const Wide plain = read_wide([&joined](wchar_t *out, DWORD room) {
    return GetFullPathNameW(joined.get(), room, out, nullptr);
  });
  const std::wstring_view path = plain.get();
  const bool is_long = path.size() >= MAX_PATH && is_drive(path);
  return LoadLibraryExW(concatenate({is_long ? L"\\\\?\\" : L"", path}).get(), nullptr,
                        search_flags());
}

// load_beside loads what lies in the folder of a module.
void *load_beside(HMODULE module, std::string_view name) {
  const Wide file = read_wide(
      [module](wchar_t *out, DWORD room) { return GetModuleFileNameW(module, out, room); });
  const std::wstring_view path = file.get();
  return load(path.substr(0, path.find_last_of(L"\\/") + 1), name);
}

HMODULE own_module() {
  HMODULE module = nullptr;
  (void)GetModuleHandleExW(
      GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
      reinterpret_cast<const wchar_t *>(&own_module), &module);
  return module;
}

void *load_from_path(std::string_view name) {
  const Wide path = read_wide(
      [](wchar_t *out, DWORD room) { return GetEnvironmentVariableW(L"PATH", out, room); });
  std::wstring_view rest = path.get();
  while (!rest.empty()) {
    const size_t end = std::min(rest.find(L';'), rest.size());
    if (void *library = load(rest.substr(0, end), name)) return library;
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return nullptr;
}

}  // namespace

void *ssh_library_load_system(std::string_view name) {
  const Wide folder =
      read_wide([](wchar_t *out, DWORD room) { return GetSystemDirectoryW(out, room); });
  return load(folder.get(), name);
}

void *ssh_library_load_near(std::string_view name) {
  if (void *library = load_beside(nullptr, name)) return library;
  if (void *library = load_beside(own_module(), name)) return library;
  if (void *library = ssh_library_load_system(name)) return library;
  return load_from_path(name);
}
