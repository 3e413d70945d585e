#include "man_page.h"

#include <sstream>
#include <string_view>

#include "kivgui/ascii.h"

namespace Tool {

namespace {

const std::vector<std::string> kHelp = {"-h"};

/// A text in which nothing is a request or an escape.
std::string Quote(std::string_view text) {
    std::string quoted;
    if (text.starts_with('.') || text.starts_with('\'')) quoted = "\\&";
    for (const char c : text) {
        if (c == '\\') {
            quoted += "\\e";
        } else if (c == '-') {
            quoted += "\\-";
        } else {
            quoted += c;
        }
    }
    return quoted;
}

std::string Bold(std::string_view text) {
    return "\\fB" + Quote(text) + "\\fR";
}

std::string Italic(std::string_view text) {
    return "\\fI" + Quote(text) + "\\fR";
}

/// "--has-attachment[=PATTERN]", "-o, --output OUT"
std::string MakeTag(const CommandOption& option) {
    std::string tag;
    for (const auto* names : {&option.shortNames, &option.longNames}) {
        for (const std::string& name : *names) tag += (tag.empty() ? "" : ", ") + Bold(name);
    }
    if (option.value.empty()) return tag;
    if (tag.empty()) return Italic(option.value);
    if (option.isValueJoined) return tag + "[=" + Italic(option.value) + "]";
    return tag + " " + Italic(option.value);
}

/// What is required is in the synopsis; the rest is listed below it.
std::string MakeSynopsis(const CommandEntry& command) {
    std::string line = Bold("kivmime") + " " + Bold(command.name);
    for (const CommandOption& option : command.options) {
        if (option.isRequired) line += " " + MakeTag(option);
    }
    for (const CommandOption& argument : command.arguments) {
        line += " " + Italic(argument.value) + (argument.isRepeated ? "..." : "");
    }
    return line + " [" + Italic("OPTION") + "...]";
}

/// A paragraph for each block of lines; lines that begin with a space stay lines.
std::string MakeParagraphs(const std::string& text) {
    std::string out;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty()) {
            out += ".PP\n";
        } else {
            if (line.starts_with(' ')) out += ".br\n";
            out += Quote(KivGuiBase::TrimSpace(line)) + "\n";
        }
    }
    return out;
}

std::string MakeList(const std::vector<CommandOption>& options) {
    std::string out;
    for (const CommandOption& option : options) {
        out += ".TP\n" + MakeTag(option) + "\n" + Quote(option.help) + ".\n";
    }
    return out;
}

/// Without the one that every command has.
std::vector<CommandOption> GetOwnOptions(const CommandEntry& command) {
    std::vector<CommandOption> own = command.options;
    std::erase_if(own, [](const CommandOption& option) { return option.shortNames == kHelp; });
    return own;
}

std::string MakeCommand(const CommandEntry& command) {
    std::string out = ".SS " + command.name + "\n" + MakeSynopsis(command) + "\n.PP\n";
    out += Quote(command.help) + ".\n";
    out += MakeList(command.arguments) + MakeList(GetOwnOptions(command));
    if (!command.footer.empty()) out += ".PP\n" + MakeParagraphs(command.footer);
    return out;
}

}  // namespace

std::string MakeManPage(const std::vector<CommandEntry>& commands, const std::string& version) {
    const CommandEntry& program = commands.front();
    std::string out = ".TH KIVMIME 1 \"\" \"kivmime " + version + "\" \"User Commands\"\n";
    std::string help = program.help;  // a sentence, which NAME has without its marks
    help[0] = KivGuiBase::ToLowerAscii(help[0]);
    if (help.ends_with('.')) help.pop_back();
    out += ".SH NAME\nkivmime \\- " + Quote(help) + "\n";
    out += ".SH SYNOPSIS\n" + Bold("kivmime") + " " + Italic("COMMAND") + " [" + Italic("OPTION") +
           "...] [" + Italic("FILE") + "...]\n";
    out += ".SH OPTIONS\nThese may be given with every command.\n" + MakeList(program.options);
    out += ".SH COMMANDS\n";
    for (size_t i = 1; i < commands.size(); ++i) out += MakeCommand(commands[i]);
    out += ".SH \"EXIT STATUS\"\n" + MakeParagraphs(program.footer);
    out +=
        ".SH ENVIRONMENT\n.TP\n.B NO_COLOR\nWhen set to anything, there are no colours unless "
        "they are asked for.\n.TP\n.B TMPDIR\nThe folder for temporary files.\n";
    return out;
}

}  // namespace Tool
