#include "kwpki/commands/completion.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <CLI/CLI.hpp>

#include "kwpki/commands/commands.h"
#include "kwpki/values/errors.h"

namespace kwpki {
namespace {

struct Word {
  std::string text, help;
};

// Values are what may stand in one place: words, and what the shell itself knows.
struct Values {
  std::vector<Word> words;
  std::string from;  // "files", "folders" or nothing
};

// Station is a place of the command line: "kwpki inspect --color" for the value of an option,
// "kwpki inspect -" for the options of a command, "kwpki inspect " for what else it takes.
struct Station {
  std::string key;
  Values values;
};

// Table is the parser's table as the scripts need it.
struct Table {
  std::vector<std::string> commands;  // "kwpki message", "kwpki message decode"
  std::vector<std::string> valued;    // options with a value: "kwpki inspect --color"
  std::vector<Station> places;
};

// A type tells its values: "auto|always|never" has three words, "N|all" has one and numbers that
// nobody completes. Capitals stand for a kind of value.
Values values_of(const std::string &type) {
  Values values;
  for (const std::string &word : CLI::detail::split(type, '|')) {
    if (word == "FILE" || word == "PATH" || word == "CERT") values.from = "files";
    if (word == "DIR") values.from = "folders";
    if (word == "CODE") {
      for (const ErrorRow &row : error_rows())
        values.words.push_back({std::string(row.name), std::string(row.meaning)});
    }
    if (!word.empty() && std::islower(static_cast<unsigned char>(word[0])))
      values.words.push_back({word, ""});
  }
  return values;
}

// add_options adds the options of a command, or of one above it that takes them as well.
void add_options(const CLI::App &app, bool above, const std::string &path, Values *options,
                 Table *table) {
  for (const CLI::Option *option : app.get_options()) {
    if (above && (option == app.get_help_ptr() || option == app.get_version_ptr())) continue;
    for (const std::string &name : option->get_lnames()) {
      options->words.push_back({"--" + name, option->get_description()});
      if (option->get_items_expected_max() == 0) continue;
      const std::string key = path + " --" + name;
      table->valued.push_back(key);
      table->places.push_back({key, values_of(option->get_type_name())});
    }
  }
}

Values operands_of(const CLI::App &app) {
  Values values;
  for (const CLI::Option *option : app.get_options())
    if (option->get_positional())
      values = values_of(option->get_name(true) + "|" + option->get_type_name());
  return values;
}

// add_app adds a command and those below it; they are two levels deep.
void add_app(const CLI::App &app, const std::string &path, Table *table) {
  Values options, operands = operands_of(app);
  for (const CLI::App *each = &app; each; each = each->get_parent())
    add_options(*each, each != &app, path, &options, table);
  for (const CLI::App *command : app.get_subcommands([](const CLI::App *) { return true; })) {
    operands.words.push_back({command->get_name(), command->get_description()});
    const std::string below = path + " " + command->get_name();
    table->commands.push_back(below);
    add_app(*command, below, table);
  }
  table->places.push_back({path + " -", options});
  table->places.push_back({path + " ", operands});
}

// The three scripts do the same. They walk over the words before the cursor, to know the command
// and whether an option waits for its value. Then they look up the place and offer its values.
constexpr const char *kBash = R"(# Completions of kwpki for bash.
_kwpki() {
  local command=kwpki pending= word current=${COMP_WORDS[COMP_CWORD]} values= from=
  for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
    [[ $word == = ]] && continue # --option=value comes as three words
    if [[ $pending ]]; then pending=; continue; fi
    case "$command $word" in
      @COMMANDS@) command+=" $word" ;;
      @VALUED@) pending=$word ;;
    esac
  done
  [[ $current == = ]] && current=
  [[ ! $pending && $current == -* ]] && pending=-
  case "$command $pending" in
@PLACES@  esac
  COMPREPLY=($(compgen -W "$values" -- "$current"))
  [[ $from == folders ]] && compopt -o dirnames
  [[ $from == files ]] && compopt -o default
  # With words beside them, bash does not look for files by itself.
  if [[ $from == files && $values ]]; then
    compopt -o filenames
    mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- "$current")
  fi
}
complete -F _kwpki kwpki
)";

constexpr const char *kZsh = R"(#compdef kwpki
# Completions of kwpki for zsh.
local command=kwpki pending= word= from= result=1
local -a values
for word in "${(@)words[2,CURRENT-1]}"; do
  if [[ -n $pending ]]; then pending=; continue; fi
  case "$command $word" in
    @COMMANDS@) command+=" $word" ;;
    @VALUED@) pending=$word ;;
  esac
done
if [[ -z $pending && $PREFIX == --*=* ]]; then
  pending=${PREFIX%%=*}
  compset -P '*='
elif [[ -z $pending && $PREFIX == -* ]]; then
  pending=-
fi
case "$command $pending" in
@PLACES@esac
(( $#values )) && _describe value values && result=0
[[ $from == files ]] && _files && result=0
[[ $from == folders ]] && _files -/ && result=0
return result
)";

constexpr const char *kFish = R"(# Completions of kwpki for fish.
function __kwpki_complete
    set -l command kwpki
    set -l pending ''
    for word in (commandline -opc)[2..-1]
        if test -n "$pending"
            set pending ''
            continue
        end
        switch "$command $word"
            case @COMMANDS@
                set command "$command $word"
            case @VALUED@
                set pending $word
        end
    end
    set -l current (commandline -ct)
    set -l prefix ''
    if test -z "$pending"; and string match -q -- '--*=*' "$current"
        set pending (string replace -r '=.*' '' -- $current)
        set prefix "$pending="
        set current (string replace -r '^[^=]*=' '' -- $current)
    else if test -z "$pending"; and string match -q -- '-*' "$current"
        set pending -
    end
    set -l values
    set -l from ''
    switch "$command $pending"
@PLACES@    end
    switch "$from"
        case files
            set -a values (__fish_complete_path "$current")
        case folders
            set -a values (__fish_complete_directories "$current" '')
    end
    for value in $values
        printf '%s\n' $prefix$value
    end
end
complete -c kwpki -f -a '(__kwpki_complete)'
)";

std::string texts(const Values &values) {
  std::string list;
  for (const Word &word : values.words) list += (list.empty() ? "" : " ") + word.text;
  return list;
}

// described writes the words with their help, each as one quoted word of zsh or fish.
std::string described(const Values &values, char between, std::string_view quote) {
  std::string list;
  for (const Word &word : values.words) {
    std::string text = word.help.empty() ? word.text : word.text + between + word.help;
    for (size_t at = 0; (at = text.find('\'', at)) != std::string::npos; at += quote.size())
      text.replace(at, 1, quote);
    list += fmt::format(" '{}'", text);
  }
  return list.substr(std::min<size_t>(1, list.size()));
}

std::string bash_place(const Station &place) {
  return fmt::format("    \"{}\") values=\"{}\" from={} ;;\n", place.key, texts(place.values),
                     place.values.from);
}

std::string zsh_place(const Station &place) {
  return fmt::format("  \"{}\") values=({}) from={} ;;\n", place.key,
                     described(place.values, ':', "'\\''"), place.values.from);
}

std::string fish_place(const Station &place) {
  return fmt::format("        case '{}'\n            set values {}\n            set from '{}'\n",
                     place.key, described(place.values, '\t', "\\'"), place.values.from);
}

struct ShellRow {
  std::string_view name;
  const char *script;
  const char *between;  // of the patterns of a case
  std::string (*place)(const Station &place);
};
constexpr ShellRow kShells[] = {{"bash", kBash, "|", bash_place},
                                {"zsh", kZsh, "|", zsh_place},
                                {"fish", kFish, " ", fish_place}};

std::string patterns(const std::vector<std::string> &keys, const char *between) {
  return fmt::format("\"{}\"", fmt::join(keys, fmt::format("\"{}\"", between)));
}

}  // namespace

std::string completion_script(const CLI::App &app, std::string_view shell) {
  Table table;
  add_app(app, app.get_name(), &table);
  for (const ShellRow &row : kShells) {
    if (row.name != shell) continue;
    std::string places, script = row.script;
    for (const Station &place : table.places)
      if (!place.values.words.empty() || !place.values.from.empty()) places += row.place(place);
    script =
        CLI::detail::find_and_replace(script, "@COMMANDS@", patterns(table.commands, row.between));
    script = CLI::detail::find_and_replace(script, "@VALUED@", patterns(table.valued, row.between));
    return CLI::detail::find_and_replace(script, "@PLACES@", places);
  }
  return "";
}

void add_completion_command(CLI::App &app, Run &run) {
  const auto shell = std::make_shared<std::string>();
  CLI::App *command = app.add_subcommand("completion", "Print the completions for a shell");
  command->footer(
      "They go where the shell looks for them, such as\n"
      "~/.local/share/bash-completion/completions/kwpki.");
  command->add_option("SHELL", *shell, "The shell")
      ->check(one_of({"bash", "zsh", "fish"}))
      ->type_name("bash|zsh|fish")
      ->required();
  command->callback([&app, shell, &run] {
    run = [&app, shell](const Streams &streams) {
      Output output(streams);
      output.write(completion_script(app, *shell));
      return kExitOk;
    };
  });
}

}  // namespace kwpki
