// completion: what a shell completes, made from the commands and options themselves.
//
// Both scripts have the same tables in them: for each command, by its words joined with blanks,
// what may follow; for each option, what its value may be. A value is a word of a list, "@file",
// "@link",
// "@device", or "@any" for what nobody can guess.
#include <algorithm>

#include <CLI/CLI.hpp>
#include <fmt/core.h>

#include "command_table.h"

namespace desk_tool {
namespace {

struct Entry {
    std::string word;
    std::string help;
};

// What may follow a command's words.
struct Place {
    std::string path;
    std::vector<Entry> commands;
    std::vector<Entry> options;
    std::vector<Entry> values;  // of options: the word is the option, the help its values
    std::string positional;     // values, as of an option
};

// The values of "TEXT:{a,b}", or a kind of them.
std::string values_of(const CLI::Option& option) {
    const std::string type = option.get_type_name();
    const std::size_t begin = type.find('{');
    const std::size_t end = type.find('}');
    if (begin != std::string::npos && end != std::string::npos) {
        std::string list = type.substr(begin + 1, end - begin - 1);
        std::ranges::replace(list, ',', ' ');
        return list;
    }
    if (type.starts_with("FILE") || type.starts_with("COMMAND")) return "@file";
    if (type.starts_with("LINK")) return "@link";
    return type.starts_with("DEVICE") ? "@device" : "@any";
}

void add_option(Place& place, const CLI::Option& option) {
    if (option.get_positional()) {
        if (place.positional.empty()) place.positional = values_of(option);
        return;
    }
    const std::string name = "--" + option.get_lnames().front();
    place.options.push_back({name, option.get_description()});
    if (option.get_items_expected_max() > 0) place.values.push_back({name, values_of(option)});
}

void collect(const CLI::App& app, const std::string& path, std::vector<Place>& places) {
    Place place{path, {}, {}, {}, ""};
    for (const CLI::Option* option : app.get_options({}))
        add_option(place, *option);
    const auto below = app.get_subcommands([](const CLI::App*) { return true; });
    for (const CLI::App* one : below)
        place.commands.push_back({one->get_name(), one->get_description()});
    places.push_back(std::move(place));
    for (const CLI::App* one : below)
        collect(*one, path.empty() ? one->get_name() : path + " " + one->get_name(), places);
}

std::string words_of(const std::vector<Entry>& entries) {
    std::string words;
    for (const Entry& entry : entries)
        words += (words.empty() ? "" : " ") + entry.word;
    return words;
}

// A text in single quotes of a shell.
std::string quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

// "word:help" for zsh, where a colon within has to be marked.
std::string described(const Entry& entry) {
    std::string help;
    for (const char c : entry.help)
        help += c == ':' ? std::string("\\:") : std::string(1, c);
    return quoted(entry.word + ":" + help);
}

// A row of a table, as each shell takes it.
using Row = std::string (*)(const char* table, const std::string& key, const std::string& value);

std::string bash_row(const char* table, const std::string& key, const std::string& value) {
    return fmt::format("  {}[{}]={}\n", table, quoted("/" + key), quoted(value));
}

std::string zsh_row(const char* table, const std::string& key, const std::string& value) {
    return fmt::format("  {}+=({} {})\n", table, quoted("/" + key), quoted(value));
}

// Options that stand before any command may stand anywhere.
std::string tables(const std::vector<Place>& places, Row row) {
    std::string text;
    for (const Place& place : places) {
        text += row("commands", place.path, words_of(place.commands));
        text += row("options", place.path, words_of(place.options));
        if (!place.positional.empty()) text += row("positional", place.path, place.positional);
        for (const Entry& value : place.values)
            text += row("values", place.path + " " + value.word, value.help);
    }
    return text;
}

constexpr char bash_begin[] =
    R"sh(# bash completion for deskreader, made by "deskreader completion bash"

_deskreader_values() {
  local word=$2 list=$1
  case $list in
    @file) compopt -o filenames 2>/dev/null; COMPREPLY=($(compgen -f -- "$word")) ;;
    @device) COMPREPLY=($(cd /dev && compgen -W "$(echo tty[A-Z]*[0-9])" -- "$word")) ;;
    @link)
      compopt -o nospace 2>/dev/null
      COMPREPLY=($(compgen -W 'hid: serial: virtual: virtual-usb: replay:' -- "$word")) ;;
    @any) COMPREPLY=() ;;
    *) COMPREPLY=($(compgen -W "$list" -- "$word")) ;;
  esac
}

# bash takes words apart at ':' too: a link's place stands by itself.
_deskreader_place() {
  case $1 in
    serial) _deskreader_values @device "$2" ;;
    virtual | replay) _deskreader_values @file "$2" ;;
  esac
}

_deskreader() {
  local -A commands options positional values
)sh";

constexpr char bash_end[] = R"sh(
  local path='/' i word previous
  COMPREPLY=()
  for ((i = 1; i < COMP_CWORD; ++i)); do
    word=${COMP_WORDS[i]}
    if [ "$word" = -- ]; then
      _command_offset "$((i + 1))" 2>/dev/null || _deskreader_values @file "${COMP_WORDS[COMP_CWORD]}"
      return
    fi
    if [[ " ${commands[$path]} " == *" $word "* ]]; then
      [ "$path" = / ] && path=/$word || path="$path $word"
    fi
  done
  word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  if [ "$word" = : ]; then
    _deskreader_place "$previous" ''
  elif [ "$previous" = : ]; then
    _deskreader_place "${COMP_WORDS[COMP_CWORD - 2]}" "$word"
  elif [ -n "${values["$path $previous"]}" ]; then
    _deskreader_values "${values["$path $previous"]}" "$word"
  elif [ -n "${values["/ $previous"]}" ]; then
    _deskreader_values "${values["/ $previous"]}" "$word"
  elif [[ $word == -* ]]; then
    _deskreader_values "${options[$path]} ${options[/]}" "$word"
  elif [ -n "${commands[$path]}" ]; then
    _deskreader_values "${commands[$path]}" "$word"
  else
    _deskreader_values "${positional[$path]:-@any}" "$word"
  fi
}

complete -F _deskreader deskreader
)sh";

constexpr char zsh_begin[] = R"sh(#compdef deskreader
# zsh completion for deskreader, made by "deskreader completion zsh"

_deskreader_values() {
  case $1 in
    @file) _files ;;
    @device) local -a devices; devices=(/dev/tty[A-Z]*[0-9](N:t)); compadd -a devices ;;
    @link)
      case $PREFIX in
        serial:*) compset -P serial:; _deskreader_values @device ;;
        virtual:* | replay:*) compset -P '*:'; _files ;;
        *) compadd -S '' hid: serial: virtual: virtual-usb: replay: ;;
      esac ;;
    @any) ;;
    *) compadd -- ${=1} ;;
  esac
}

_deskreader() {
  local -A commands options positional values
  local -a described
)sh";

constexpr char zsh_end[] = R"sh(
  local at='/' previous=${words[CURRENT-1]} word
  integer i
  for ((i = 2; i < CURRENT; ++i)); do
    word=${words[i]}
    if [[ $word == -- ]]; then
      words=("${(@)words[i+1,-1]}")
      ((CURRENT -= i))
      _normal
      return
    fi
    if [[ " ${commands[$at]} " == *" $word "* ]]; then
      [[ $at == / ]] && at=/$word || at="$at $word"
    fi
  done
  if [[ -n ${values[$at $previous]} ]]; then
    _deskreader_values ${values[$at $previous]}
  elif [[ -n ${values[/ $previous]} ]]; then
    _deskreader_values ${values[/ $previous]}
  elif [[ $PREFIX == -* ]]; then
    _deskreader_values "${options[$at]} ${options[/]}"
  elif [[ -n ${commands[$at]} ]]; then
    case $at in
)sh";

constexpr char zsh_last[] = R"sh(    esac
    _describe command described
  else
    _deskreader_values ${positional[$at]:-@any}
  fi
}

_deskreader "$@"
)sh";

std::string descriptions(const std::vector<Place>& places) {
    std::string text;
    for (const Place& place : places) {
        if (place.commands.empty()) continue;
        text += fmt::format("      {})\n        described=(\n", quoted("/" + place.path));
        for (const Entry& command : place.commands)
            text += fmt::format("          {}\n", described(command));
        text += "        ) ;;\n";
    }
    return text;
}

}  // namespace

void run_completion(const Options& options, Output& output) {
    std::vector<Place> places;
    collect(*options.app, "", places);
    const bool zsh = options.shell == "zsh";
    const std::string script =
        zsh ? zsh_begin + tables(places, zsh_row) + zsh_end + descriptions(places) + zsh_last
            : bash_begin + tables(places, bash_row) + bash_end;
    output.text("script", script);
}

}  // namespace desk_tool
