#include "kwpki/terminal/output.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>

#include "kwpki/terminal/system.h"

namespace kwpki {
namespace {

Color chosen = Color::kAuto;

bool wants_color(std::FILE *file) {
  if (chosen != Color::kAuto) return chosen == Color::kAlways;
  const char *no_color = std::getenv("NO_COLOR");
  const char *terminal = std::getenv("TERM");
  return is_terminal(file) && !(no_color && *no_color) &&
         !(terminal && std::string_view(terminal) == "dumb");
}

}  // namespace

void choose_color(Color color) { chosen = color; }

Output::Output(const Streams &streams)
    : streams_(streams),
      style_(wants_color(streams.out)),
      message_style_(wants_color(streams.err)),
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

void Output::message(std::string_view name, std::string_view text) { say(name, escape(text)); }

void Output::fault(std::string_view name, std::string_view text) {
  say(name, message_style_.warning(escape(text)));
}

void Output::say(std::string_view name, std::string_view text) {
  clear_progress();
  flush();  // so that results and messages stand in their order on a terminal
  const std::string where = name.empty() ? std::string() : escape(name) + ": ";
  const std::string line = fmt::format("kwpki: {}{}\n", where, text);
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
