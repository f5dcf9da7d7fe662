#include "platform.h"

#include <windows.h>

#include <stdio.h>
#include <string.h>

void *library_open(const char *folder, const char *name) {
  char path[MAX_PATH];
  snprintf(path, sizeof path, "%s/%s.dll", folder, name);
  for (char *at = path; *at; ++at) {
    if (*at == '/') *at = '\\';
  }
  return LoadLibraryA(path);
}

void library_close(void *library) { FreeLibrary(library); }

int search_in(const char *folder) {
  char here[MAX_PATH], path[4096];
  GetCurrentDirectoryA(sizeof here, here);
  /* relative to the current folder, to the root of its drive, and to the drive's current folder */
  snprintf(path, sizeof path, ".;..\\foreign;%s;%.2s.;;%s\\..\\%s", here + 2, here, here,
           folder ? folder : "nowhere");
  return SetEnvironmentVariableA("PATH", path);
}

Function library_find(void *library, const char *name) {
  FARPROC address = GetProcAddress(library, name);
  Function function;
  memcpy(&function, &address, sizeof function);
  return function;
}

#ifndef _WIN64
uintptr_t checked_call(Function function, uint32_t count, const uintptr_t *arguments,
                       uint32_t shift, intptr_t *moved) {
  uintptr_t result = shift + 4 * count;
  intptr_t lost;
  /* edi is where the stack pointer must be again, well below what is in use, and so far above a
   * multiple of 16 that it is at `shift` once the arguments are pushed. ebx and edi are the called
   * function's to preserve. */
  __asm__ volatile(
      "movl %%esp, %%ebx\n\t"
      "movl %%esp, %%edi\n\t"
      "andl $-16, %%edi\n\t"
      "leal -128(%%edi, %%eax), %%edi\n\t"
      "movl %%edi, %%esp\n"
      "1:\n\t"
      "jecxz 2f\n\t"
      "pushl -4(%%edx, %%ecx, 4)\n\t"
      "decl %%ecx\n\t"
      "jmp 1b\n"
      "2:\n\t"
      "call *%%esi\n\t"
      "subl %%esp, %%edi\n\t"
      "movl %%ebx, %%esp"
      : "+a"(result), "+c"(count), "+d"(arguments), "=&D"(lost)
      : "S"(function)
      : "ebx", "cc", "memory");
  *moved = lost;
  return result;
}
#endif

Resources resources_now(void) {
  Resources now = {0, 0};
  HANDLE heaps[64];
  const DWORD count = GetProcessHeaps(64, heaps);
  for (DWORD i = 0; i < count && i < 64; ++i) {
    PROCESS_HEAP_ENTRY entry = {.lpData = NULL};
    HeapLock(heaps[i]);
    while (HeapWalk(heaps[i], &entry)) {
      if (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) now.octets += entry.cbData;
    }
    HeapUnlock(heaps[i]);
  }
  DWORD handles = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handles);
  const DWORD slot = TlsAlloc(); /* the first one that is free */
  TlsFree(slot);
  now.objects = handles + slot;
  return now;
}
