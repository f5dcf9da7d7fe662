#include "util/fatal.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr size_t kMessageMax = 512;  // with the zero byte, as fatal.h promises

SshMessageCallback fatal_callback = nullptr;
SshMessageCallback warning_callback = nullptr;
void *callback_context = nullptr;
std::atomic_flag failed;  // set by the first fatal error, so that a second one ends at once

void deliver(SshMessageCallback callback, const char *format, va_list arguments) {
  char message[kMessageMax] = {};
  std::vsnprintf(message, sizeof message, format, arguments);
  if (callback) {
    callback(callback_context, message);
    return;
  }
  std::printf("%s\n", message);
  std::fflush(stdout);
}

}  // namespace

void ssh_fatal_register(SshMessageCallback fatal, SshMessageCallback warning, void *context) {
  fatal_callback = fatal;
  warning_callback = warning;
  callback_context = context;
}

void ssh_fatal(const char *format, ...) {
  if (failed.test_and_set()) ssh_end_process();
  va_list arguments;
  va_start(arguments, format);
  deliver(fatal_callback, format, arguments);
  va_end(arguments);
  std::exit(1);
}

void ssh_warning(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  deliver(warning_callback, format, arguments);
  va_end(arguments);
}
