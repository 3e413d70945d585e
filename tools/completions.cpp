#include "completions.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace Tool {

namespace {

/// Does it name a file or a folder?
bool IsFile(const std::string& value) {
    constexpr std::array<std::string_view, 7> kFiles = {"FILE", "OUT", "DIR", "KEY", "F", "A", "B"};
    return std::find(kFiles.begin(), kFiles.end(), value) != kFiles.end();
}

bool TakesFiles(const CommandEntry& command) {
    return std::any_of(command.arguments.begin(), command.arguments.end(),
                       [](const CommandOption& argument) { return IsFile(argument.value); });
}

/// A text in single quotes, which may be inside others.
std::string Quote(const std::string& text) {
    std::string quoted;
    for (const char c : text) {
        if (c == '\'') {
            quoted += "'\\''";
        } else {
            quoted += c;
        }
    }
    return "'" + quoted + "'";
}

template <class Visit>
void ForEachName(const CommandOption& option, const Visit& visit) {
    for (const std::string& name : option.shortNames) visit(name);
    for (const std::string& name : option.longNames) visit(name);
}

/// "auto always never"
std::string JoinChoices(const CommandOption& option) {
    std::string joined;
    for (const std::string& choice : option.choices) {
        joined += (joined.empty() ? "" : " ") + choice;
    }
    return joined;
}

// ----------------------------------------------------------------------------------------- bash --

std::string ListWords(const CommandEntry& program, const CommandEntry& command) {
    std::string words;
    for (const CommandEntry* entry : {&command, &program}) {
        for (const CommandOption& option : entry->options) {
            ForEachName(option, [&words](const std::string& name) { words += name + " "; });
        }
        if (&program == &command) break;
    }
    words.pop_back();
    return words;
}

std::string MakeBash(const std::vector<CommandEntry>& commands) {
    const CommandEntry& program = commands.front();
    std::string names;
    std::string cases;
    for (size_t i = 1; i < commands.size(); ++i) {
        names += commands[i].name + " ";
        cases += "    " + commands[i].name + ") words=" + Quote(ListWords(program, commands[i])) +
                 " ;;\n";
    }
    return "# Completes the command line of kivmime in bash.\n"
           "_kivmime() {\n"
           "  local word=${COMP_WORDS[COMP_CWORD]} command= words i\n"
           "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
           "    [[ ${COMP_WORDS[i]} == -* ]] || { command=${COMP_WORDS[i]}; break; }\n"
           "  done\n"
           "  case $command in\n"
           "    '') words=" +
           Quote(names + ListWords(program, program)) + " ;;\n" + cases +
           "  esac\n"
           "  COMPREPLY=()\n"
           "  if [[ -z $command || $word == -* ]]; then\n"
           "    COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
           "  fi\n"
           "}\n"
           "complete -o default -F _kivmime kivmime\n";
}

// ------------------------------------------------------------------------------------------ zsh --

/// A text in an entry of _arguments or _describe, where these marks have a meaning.
std::string EscapeZsh(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (std::string_view("[]:\\").find(c) != std::string_view::npos) escaped += '\\';
        escaped += c;
    }
    return escaped;
}

std::string MakeZshValue(const CommandOption& option) {
    if (!option.choices.empty()) return ":" + option.value + ":(" + JoinChoices(option) + ")";
    return ":" + option.value + ":" + (IsFile(option.value) ? "_files" : " ");
}

std::string MakeZshOptions(const CommandEntry& command, const std::string& indent) {
    std::string out;
    for (const CommandOption& option : command.options) {
        ForEachName(option, [&](const std::string& name) {
            const bool isLong = name.starts_with("--");
            std::string entry = option.isRepeated ? "*" + name : name;
            if (option.isValueJoined) {
                entry += "=-";
            } else if (!option.value.empty()) {
                entry += isLong ? "=" : "+";
            }
            entry += "[" + EscapeZsh(option.help) + "]";
            if (option.isValueJoined) entry += ":";
            if (!option.value.empty()) entry += MakeZshValue(option);
            out += indent + Quote(entry) + " \\\n";
        });
    }
    return out;
}

std::string MakeZsh(const std::vector<CommandEntry>& commands) {
    std::string names;
    std::string cases;
    for (size_t i = 1; i < commands.size(); ++i) {
        const CommandEntry& command = commands[i];
        names += "    " + Quote(command.name + ":" + EscapeZsh(command.help)) + "\n";
        cases += "    " + command.name + ")\n      _arguments \\\n" +
                 MakeZshOptions(command, "        ") +
                 (TakesFiles(command) ? "        '*:file:_files'" : "        '*: :'") + " ;;\n";
    }
    return "#compdef kivmime\n"
           "# Completes the command line of kivmime in zsh.\n"
           "_kivmime() {\n"
           "  local curcontext=$curcontext state line\n"
           "  local -a commands=(\n" +
           names +
           "  )\n"
           "  _arguments -C \\\n" +
           MakeZshOptions(commands.front(), "    ") +
           "    '1: :->command' '*:: :->arguments'\n"
           "  [[ $state == command ]] && _describe command commands\n"
           "  [[ $state == arguments ]] && case $words[1] in\n" +
           cases +
           "  esac\n"
           "}\n"
           "if [[ $funcstack[1] == _kivmime ]]; then _kivmime \"$@\"; else compdef _kivmime "
           "kivmime; fi\n";
}

// ----------------------------------------------------------------------------------------- fish --

std::string EscapeFish(const std::string& text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '\'' || c == '\\') escaped += '\\';
        escaped += c;
    }
    return "'" + escaped + "'";
}

std::string MakeFishOption(const CommandOption& option, const std::string& condition) {
    std::string line = "complete -c kivmime" + condition;
    for (const std::string& name : option.shortNames) line += " -s " + name.substr(1);
    for (const std::string& name : option.longNames) line += " -l " + name.substr(2);
    if (!option.value.empty() && !option.isValueJoined)
        line += IsFile(option.value) ? " -rF" : " -x";
    if (!option.choices.empty()) line += " -a " + EscapeFish(JoinChoices(option));
    return line + " -d " + EscapeFish(option.help) + "\n";
}

std::string MakeFish(const std::vector<CommandEntry>& commands) {
    std::string out = "# Completes the command line of kivmime in fish.\n";
    for (const CommandOption& option : commands.front().options) out += MakeFishOption(option, "");
    for (size_t i = 1; i < commands.size(); ++i) {
        const CommandEntry& command = commands[i];
        const std::string condition = " -n '__fish_seen_subcommand_from " + command.name + "'";
        out += "complete -c kivmime -n __fish_use_subcommand -f -a " + command.name + " -d " +
               EscapeFish(command.help) + "\n";
        if (!TakesFiles(command)) out += "complete -c kivmime" + condition + " -f\n";
        for (const CommandOption& option : command.options)
            out += MakeFishOption(option, condition);
    }
    return out;
}

}  // namespace

std::string MakeCompletions(const std::vector<CommandEntry>& commands, const std::string& shell) {
    if (shell == "bash") return MakeBash(commands);
    return shell == "zsh" ? MakeZsh(commands) : MakeFish(commands);
}

}  // namespace Tool
