// Where output goes: results to standard output, messages and progress to standard error. If nobody
// reads standard output any more (a pager that was closed), OutputClosed ends the command quietly.
#pragma once

#include <chrono>
#include <exception>
#include <new>
#include <string>
#include <string_view>

#include "kwpki/terminal/streams.h"
#include "kwpki/terminal/text.h"

namespace kwpki {

// Color says when to use colours: kAuto on a terminal that has them, unless NO_COLOR is set.
// choose_color sets it for all output of the process.
enum class Color : uint8_t { kAuto, kAlways, kNever };
void choose_color(Color color);

// OutputClosed is thrown when output cannot be written; `error` is EPIPE if nobody reads it.
struct OutputClosed {
  int error;
};

// Output writes results and messages. Messages are escaped here; results are their writer's to
// escape. Progress is a line on standard error that is rewritten in place, shown when that is a
// terminal and the work has taken more than a second.
class Output {
 public:
  explicit Output(const Streams &streams);
  ~Output() { clear_progress(); }
  Output(const Output &) = delete;
  Output &operator=(const Output &) = delete;

  void write(std::string_view text);  // a result
  void message(std::string_view name, std::string_view text);
  void fault(std::string_view name, std::string_view text);  // a message of what is wrong
  void progress(std::string_view name, std::string_view what, size_t count);
  void flush();
  [[nodiscard]] const Style &style() const { return style_; }  // of results

 private:
  using Clock = std::chrono::steady_clock;
  void clear_progress();
  void say(std::string_view name, std::string_view text);

  Streams streams_;
  Style style_, message_style_;
  bool watched_;        // standard error is a terminal
  bool shown_ = false;  // a line of progress stands there
  Clock::time_point next_;
};

// fault_of calls `action` and gives "", or what it threw in words. OutputClosed passes: it ends
// everything.
template <class Action>
std::string fault_of(Action action) {
  try {
    action();
  } catch (const std::bad_alloc &) {
    return "out of memory";
  } catch (const std::exception &exception) {
    return exception.what();
  }
  return {};
}

}  // namespace kwpki
