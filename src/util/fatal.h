// The fatal and warning routines. These are the only two ways in which the library speaks by
// itself. ssh_fatal is for programming errors and exhausted memory alone; bad input gets a status.
// A host (or a test) may register callbacks; without them messages go to standard output.
#pragma once

// SshMessageCallback receives a formatted message of at most 511 characters, valid during the call.
using SshMessageCallback = void (*)(void *context, const char *message);

// ssh_fatal_register sets the callbacks of ssh_fatal and ssh_warning and the context word that both
// receive. A null callback means printing "%s\n" to standard output. Not safe against threads that
// report at the same time.
void ssh_fatal_register(SshMessageCallback fatal, SshMessageCallback warning, void *context);

#if defined(__GNUC__)
#define SSH_PRINTF_LIKE __attribute__((format(printf, 1, 2)))
#else
#define SSH_PRINTF_LIKE
#endif

// ssh_fatal formats a message into 512 bytes (longer ones are cut), delivers it and ends the
// process with status 1. Only the first call does so: one that comes later, from the callback, from
// what runs at the end or from another thread, ends the process at once.
[[noreturn]] SSH_PRINTF_LIKE void ssh_fatal(const char *format, ...);

// ssh_end_process ends the process with status 1 and runs nothing on the way; the system's part is
// in fatal_posix.cc and fatal_win32.cc.
[[noreturn]] void ssh_end_process();

// ssh_warning formats and delivers a message in the same way and returns.
SSH_PRINTF_LIKE void ssh_warning(const char *format, ...);
