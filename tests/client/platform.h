/* What the client and its host need of the system: libraries loaded by name, calls with a stack
 * pointer of their own choosing, and what the process holds. platform_posix.c and platform_win32.c
 * provide it. */
#ifndef CLIENT_PLATFORM_H
#define CLIENT_PLATFORM_H

#include <stddef.h>
#include <stdint.h>

typedef void (*Function)(void);

/* library_open loads a library of the given path without prefix and ending, for everybody in the
 * process to see; null if it cannot be had. */
void *library_open(const char *folder, const char *name);
void library_close(void *library);
Function library_find(void *library, const char *name);

/* search_in makes PATH lead to the current folder by every kind of relative path, and then, unless
 * it is null, to `folder` beside it by an absolute one. 0 where PATH is not for libraries. */
int search_in(const char *folder);

/* checked_call calls with `count` arguments. Where the convention is stdcall, the stack pointer is
 * `shift` above a multiple of 16 at the call, and `*moved` tells by how much it is not what it was
 * afterwards; elsewhere this is an ordinary call, the client's own. */
uintptr_t checked_call(Function function, uint32_t count, const uintptr_t *arguments,
                       uint32_t shift, intptr_t *moved);

/* resources_now counts the octets of the heap in use and the objects of the system. */
typedef struct Resources {
  size_t octets, objects;
} Resources;
Resources resources_now(void);

#endif
