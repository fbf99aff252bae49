#include <fmt/format.h>

#include <algorithm>

#include <CLI/CLI.hpp>

#include "tesview/cli/help.h"

namespace tesview {
namespace {

// An option as shells complete it.
struct Completed {
  std::string short_name;  // without the dash; empty if there is none
  std::string long_name;
  std::string value;               // what it takes, "N"; empty for a flag
  std::vector<std::string> words;  // that it takes
  std::string text;

  bool takes_file() const { return value == "FILE"; }
  bool takes_ids() const { return long_name == "id"; }
  bool takes_columns() const { return long_name == "columns" || long_name == "unpack"; }
};

std::string Joined(const std::vector<std::string>& words, std::string_view between = " ") {
  std::string text;
  for (const std::string& word : words) {
    if (!text.empty()) text += between;
    text += word;
  }
  return text;
}

// What the shell shows beside a word.
std::string FirstSentence(const std::string& text) {
  std::string sentence = text.substr(0, text.find_first_of(".:;"));
  sentence.erase(
      std::remove_if(sentence.begin(), sentence.end(), [](char c) { return c == '[' || c == ']'; }),
      sentence.end());
  return sentence;
}

// Of the program itself, or of a command.
std::vector<Completed> CompletedOptions(const CLI::App& app, const std::vector<Words>& words) {
  const std::string command = app.get_parent() == nullptr ? "" : app.get_name() + " ";
  std::vector<Completed> options;
  for (const CLI::Option* option : app.get_options()) {
    if (option->get_group().empty() || option->get_lnames().empty()) continue;
    Completed completed;
    if (!option->get_snames().empty()) completed.short_name = option->get_snames()[0];
    completed.long_name = option->get_lnames()[0];
    if (option->get_expected_max() > 0) completed.value = option->get_type_name();
    for (const Words& each : words) {
      if (each.option == command + "--" + completed.long_name) completed.words = each.words;
    }
    completed.text = FirstSentence(option->get_description());
    options.push_back(completed);
  }
  return options;
}

std::vector<const CLI::App*> CommandsOf(const CLI::App& app) {
  return app.get_subcommands([](const CLI::App*) { return true; });
}

// Commands that take names of payloads, files, or neither.
bool TakesNames(const CLI::App& command) {
  return command.get_name() == "ids" || command.get_name() == "columns" || command.get_name() == "schema";
}
bool TakesFiles(const CLI::App& command) {
  return command.get_name() == "pack" || command.get_name() == "stat";
}

constexpr std::string_view kPayloadNames = "tesview ids 2>/dev/null | awk 'NR > 1 { print $2 }'";

constexpr std::string_view kColumnNames = "tesview columns --to names 2>/dev/null";

std::string Quoted(const std::string& text, std::string_view quote) {
  std::string quoted = "'";
  for (const char c : text) {
    if (c == '\'') {
      quoted += quote;
    } else {
      quoted += c;
    }
  }
  return quoted + "'";
}

// The branch of one command in the function for bash.
std::string BashBranch(const std::string& pattern, const std::vector<Completed>& options,
                       const std::string& rest) {
  std::string names;
  std::string values;
  std::string none;
  for (const Completed& option : options) {
    const std::string name = "--" + option.long_name;
    names += (names.empty() ? "" : " ") + name;
    if (option.value.empty()) continue;
    const std::string both = option.short_name.empty() ? name : "-" + option.short_name + "|" + name;
    if (!option.words.empty()) {
      values += fmt::format("        {}) values=\"{}\" ;;\n", both, Joined(option.words));
    } else if (option.takes_columns()) {
      values += fmt::format("        {}) values=$({}) ;;\n", both, kColumnNames);
    } else if (option.takes_ids()) {
      values += fmt::format("        {}) values=$({}) ;;\n", both, kPayloadNames);
    } else if (!option.takes_file()) {
      none += (none.empty() ? "" : "|") + both;
    }
  }
  if (!none.empty()) values += fmt::format("        {}) return ;;\n", none);
  std::string text = fmt::format("    {})\n      options=\"{}\"\n", pattern, names);
  if (!values.empty()) text += "      case $before in\n" + values + "      esac\n";
  if (!rest.empty()) text += "      " + rest + "\n";
  return text + "      ;;\n";
}

std::string Bash(const CLI::App& app, const std::vector<Words>& words) {
  std::vector<std::string> names;
  std::string branches;
  for (const CLI::App* command : CommandsOf(app)) {
    names.push_back(command->get_name());
    std::string rest;
    if (!TakesFiles(*command)) rest = "files=";
    if (TakesNames(*command))
      rest = fmt::format("[[ -n $values || $word == -* ]] || values=$({})\n      files=", kPayloadNames);
    branches += BashBranch(command->get_name(), CompletedOptions(*command, words), rest);
  }
  branches += BashBranch("*", CompletedOptions(app, words), "");
  return fmt::format(
      R"sh(# Completion of tesview for bash.
_tesview() {{
  local word=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD-1]}} command=
  local options values= files=yes
  # --to=json comes as three words.
  if [[ $word == "=" ]]; then
    word=
  elif [[ $before == "=" && COMP_CWORD -ge 2 ]]; then
    before=${{COMP_WORDS[COMP_CWORD-2]}}
  fi
  [[ COMP_CWORD -ge 2 ]] && command=${{COMP_WORDS[1]}}
  COMPREPLY=()
  case $command in
{}  esac
  if [[ -n $values ]]; then
    # Behind a comma begins another word of the list.
    local list=
    [[ $word == *,* ]] && list=${{word%,*}},
    COMPREPLY=($(compgen -W "$values" -P "$list" -- "${{word##*,}}"))
  elif [[ $word == -* ]]; then
    COMPREPLY=($(compgen -W "$options" -- "$word"))
  else
    [[ COMP_CWORD -eq 1 ]] && COMPREPLY=($(compgen -W "{}" -- "$word"))
    # A name may have blanks in it.
    local IFS=$'\n'
    [[ -n $files ]] && COMPREPLY+=($(compgen -f -- "$word"))
  fi
}}
complete -o filenames -F _tesview tesview
)sh",
      branches, Joined(names));
}

std::string ZshArguments(const std::vector<Completed>& options, const std::string& rest) {
  std::string text = "_arguments -s";
  for (const Completed& option : options) {
    std::string value;
    if (!option.value.empty()) {
      value = ":" + option.value + ":";
      if (!option.words.empty()) value += "(" + Joined(option.words) + ")";
      if (option.takes_file()) value += "_files";
      if (option.takes_columns()) value += "_tesview_columns";
      if (option.takes_ids()) value += "_tesview_ids";
    }
    const std::string description = "[" + option.text + "]" + value;
    const std::string name = "--" + option.long_name + (value.empty() ? "" : "=");
    if (option.short_name.empty()) {
      text += " \\\n        " + Quoted(name + description, "'\\''");
    } else {
      text += fmt::format(" \\\n        '(-{0} --{1})'{{-{0}{2},{3}}}{4}", option.short_name,
                          option.long_name, value.empty() ? "" : "+", name, Quoted(description, "'\\''"));
    }
  }
  return text + rest;
}

std::string Zsh(const CLI::App& app, const std::vector<Words>& words) {
  std::string branches;
  std::string described;
  std::vector<std::string> names;
  for (const CLI::App* command : CommandsOf(app)) {
    names.push_back(command->get_name());
    described += " " + Quoted(command->get_name() + ":" + FirstSentence(command->get_description()), "'\\''");
    std::string rest;
    if (TakesNames(*command)) rest = " \\\n        '*:name:_tesview_names'";
    if (TakesFiles(*command)) rest = " \\\n        '*:file:_files'";
    branches += fmt::format("    {})\n      {}\n      ;;\n", command->get_name(),
                            ZshArguments(CompletedOptions(*command, words), rest));
  }
  branches += fmt::format(
      "    *)\n      {}\n      ;;\n",
      ZshArguments(CompletedOptions(app, words), " \\\n        '1: :_tesview_first' '*:file:_files'"));
  return fmt::format(
      R"sh(#compdef tesview
# Completion of tesview for zsh.

_tesview_names() {{
  local -a names
  names=(${{(f)"$({})"}})
  compadd -a names
}}

_tesview_ids() {{
  local -a names
  names=(${{(f)"$({})"}})
  _values -s , Id $names
}}

_tesview_columns() {{
  local -a columns
  columns=(${{(f)"$({})"}})
  _values -s , column $columns
}}

_tesview_first() {{
  local -a commands
  commands=({})
  _describe -t commands command commands
  _files
}}

_tesview() {{
  local command=
  if (( CURRENT > 2 )); then
    command=$words[2]
    case $command in
      {}) shift words; (( CURRENT-- )) ;;
    esac
  fi
  case $command in
{}  esac
}}

_tesview "$@"
)sh",
      kPayloadNames, kPayloadNames, kColumnNames, described.substr(1), Joined(names, "|"), branches);
}

std::string FishOptions(const std::string& condition, const std::vector<Completed>& options) {
  std::string text;
  for (const Completed& option : options) {
    text += fmt::format("complete -c tesview -n '{}'", condition);
    if (!option.short_name.empty()) text += " -s " + option.short_name;
    text += " -l " + option.long_name;
    // Files are offered only to what takes one.
    if (!option.value.empty()) text += option.takes_file() ? " -r" : " -x";
    if (!option.words.empty()) text += " -a '" + Joined(option.words) + "'";
    if (option.takes_columns()) text += fmt::format(" -a '({})'", kColumnNames);
    if (option.takes_ids())
      text +=
          fmt::format(" -a \"({})\"", std::string("tesview ids 2>/dev/null | awk 'NR > 1 { print \\$2 }'"));
    text += " -d " + Quoted(option.text, "\\'") + "\n";
  }
  return text;
}

std::string Fish(const CLI::App& app, const std::vector<Words>& words) {
  std::string names;
  std::string text = "# Completion of tesview for fish.\n";
  for (const CLI::App* command : CommandsOf(app)) {
    names += " " + command->get_name();
    text += fmt::format("complete -c tesview -n __fish_use_subcommand -a {} -d {}\n", command->get_name(),
                        Quoted(FirstSentence(command->get_description()), "\\'"));
  }
  text += FishOptions("not __fish_seen_subcommand_from" + names, CompletedOptions(app, words));
  for (const CLI::App* command : CommandsOf(app)) {
    const std::string condition = "__fish_seen_subcommand_from " + command->get_name();
    text += FishOptions(condition, CompletedOptions(*command, words));
    if (!TakesFiles(*command)) text += fmt::format("complete -c tesview -n '{}' -f", condition);
    if (TakesNames(*command))
      text +=
          fmt::format(" -a \"({})\"", std::string("tesview ids 2>/dev/null | awk 'NR > 1 { print \\$2 }'"));
    if (!TakesFiles(*command)) text += "\n";
  }
  return text;
}

}  // namespace

std::string Completions(const CLI::App& app, const std::vector<Words>& words, std::string_view shell) {
  if (shell == "bash") return Bash(app, words);
  if (shell == "zsh") return Zsh(app, words);
  if (shell == "fish") return Fish(app, words);
  return std::string();
}

}  // namespace tesview
