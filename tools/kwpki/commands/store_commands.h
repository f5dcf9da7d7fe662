// What the commands that ask the certificate service have in common: the options of the store,
// opening it, and on_run, which turns a Failure that is thrown into a message and an exit code. A
// further such command is a function like add_add_command, which add_store_commands calls.
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

// StoreUse says whether a command makes a store that does not exist (kMake), or fails (kRead).
enum class StoreUse : uint8_t { kRead, kMake };

// open_store throws Failure if no store was named or it cannot be opened.
Session open_store(const StoreOptions &options, StoreUse use);

// on_run sets the action of a command.
using Action = std::function<int(Output &output, const Streams &streams)>;
Run on_run(Action action);

// write_json writes one line with an object, which begins with the schema.
void write_json(Output &output, const Json &json);

// The commands that have files of their own.
void add_add_command(CLI::App &app, Run &run);      // add
void add_search_commands(CLI::App &app, Run &run);  // search, path

}  // namespace kwpki
