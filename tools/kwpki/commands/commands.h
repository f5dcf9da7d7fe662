// The commands of the tool. A command is a function that adds its name and options to the parser.
// When the parser has found the command, it calls its callback, which stores in `run` what is to be
// done. To add a command, declare such a function here and give it a row in command_line.cc.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "kwpki/terminal/exit.h"
#include "kwpki/terminal/output.h"

namespace CLI {
class App;
class Validator;
}  // namespace CLI

namespace kwpki {

// Run does what the command line asked for and returns the exit code. OutputClosed is caught by
// run_command_line, which also flushes what was written last.
using Run = std::function<int(const Streams &streams)>;

// The commands. `run` is called after parsing, when the function that added the command has
// returned. So the options are in a shared pointer that `run` holds:
//
//   const auto options = std::make_shared<InspectOptions>();
//   CLI::App *command = app.add_subcommand("inspect", kHelp);
//   command->add_flag("--json", options->json, "Write JSON");
//   command->callback([options, &run] {
//     run = [options](const Streams &streams) { return inspect(*options, streams); };
//   });
void add_inspect_command(CLI::App &app, Run &run);
void add_verify_command(CLI::App &app, Run &run);
void add_message_commands(CLI::App &app, Run &run);
void add_error_command(CLI::App &app, Run &run);
void add_store_commands(CLI::App &app, Run &run);
void add_completion_command(CLI::App &app, Run &run);

// one_of is for an option's check(): the option takes one of these words.
CLI::Validator one_of(std::vector<std::string> words);

}  // namespace kwpki
