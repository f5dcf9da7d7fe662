#include "kwpki/output.h"

#include <fmt/format.h>

#include <cerrno>

#include "kwpki/system.h"
#include "kwpki/text.h"

namespace kwpki {

Output::Output(const Streams &streams)
    : streams_(streams),
      watched_(is_terminal(streams.err)),
      next_(Clock::now() + std::chrono::seconds(1)) {}

void Output::write(std::string_view text) {
  clear_progress();
  errno = 0;
  if (std::fwrite(text.data(), 1, text.size(), streams_.out) != text.size())
    throw OutputClosed{errno};
}

void Output::flush() {
  errno = 0;
  if (std::fflush(streams_.out) != 0) throw OutputClosed{errno};
}

void Output::message(std::string_view name, std::string_view text) {
  clear_progress();
  flush();  // so that results and messages stand in their order on a terminal
  const std::string where = name.empty() ? std::string() : escape(name) + ": ";
  const std::string line = fmt::format("kwpki: {}{}\n", where, escape(text));
  std::fwrite(line.data(), 1, line.size(), streams_.err);
}

void Output::progress(std::string_view name, std::string_view what, size_t count) {
  if (!watched_ || Clock::now() < next_) return;
  next_ = Clock::now() + std::chrono::milliseconds(200);
  const std::string line = fmt::format("\r\x1b[K{}: {} {}", escape(name), count, what);
  std::fwrite(line.data(), 1, line.size(), streams_.err);
  std::fflush(streams_.err);
  shown_ = true;
}

void Output::clear_progress() {
  if (!shown_) return;
  std::fputs("\r\x1b[K", streams_.err);
  std::fflush(streams_.err);
  shown_ = false;
}

}  // namespace kwpki
