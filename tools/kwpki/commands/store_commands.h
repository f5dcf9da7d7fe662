// What the commands that ask the certificate service have in common. A command adds its own options
// behind these; on_run makes it run, with what it throws turned into a message and an exit code.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>

#include "kwpki/commands/commands.h"
#include "kwpki/store/client.h"
#include "kwpki/values/parse.h"

namespace kwpki {

struct StoreOptions {
  std::string store;
  std::string trace;
  bool json = false;
};

// add_store_options adds --store, --trace and --json.
void add_store_options(CLI::App *command, StoreOptions *options);

// Store tells whether a command may make a store that does not exist.
enum class StoreUse : uint8_t { kRead, kMake };

// open_store throws Failure if no store was named or it cannot be opened.
Session open_store(const StoreOptions &options, StoreUse use);

// on_run sets the action of a command.
using Action = std::function<int(Output &output, const Streams &streams)>;
Run on_run(Action action);

// write_json writes one object a line.
void write_json(Output &output, const Json &json);

// The commands that files of their own add.
void add_add_command(CLI::App &app, Run &run);      // add
void add_search_commands(CLI::App &app, Run &run);  // search, path

}  // namespace kwpki
