#include "command_line.h"

// The options of the commands that read any number of messages.

namespace Tool {

namespace {

constexpr char kSelection[] = "Selection";

CLI::Option* AddTime(CLI::App& command, const std::string& name,
                     std::optional<std::chrono::sys_seconds>& time, bool isEnd,
                     const std::string& help) {
    const auto read = [&time, isEnd, name](const std::string& text) {
        time = ReadTime(text, isEnd);
        if (!time) throw CLI::ValidationError(name, "\"" + text + "\" is not like 2026-05-20");
    };
    return command.add_option_function<std::string>(name, read, help)
        ->type_name("DATE")
        ->group(kSelection);
}

/// The options that say which of the messages are meant.
void AddSelection(CLI::App& command, Selection& selection) {
    const auto add = [&command](const char* name, std::string& text, const char* help) {
        command.add_option(name, text, help)->type_name("TEXT")->group(kSelection);
    };
    add("--from", selection.from, "With TEXT in a name or an address of From");
    add("--to", selection.to, "With TEXT in To, Cc or Bcc");
    add("--subject", selection.subject, "With TEXT in the subject");
    AddTime(command, "--since", selection.since, false, "Sent on that day (UTC) or later");
    AddTime(command, "--until", selection.until, true, "Sent on that day (UTC) or earlier");
    // The parser gives "true" for no pattern.
    const auto readPattern = [](const std::string& text) { return text == "true" ? "*" : text; };
    command
        .add_flag("--has-attachment", selection.attachment,
                  "With an attachment; =PATTERN: whose name is like PATTERN, as *.pdf")
        ->transform(readPattern)
        ->group(kSelection);
}

void AddSources(CLI::App& command, Sources& sources) {
    command
        .add_option("FILE", sources.files,
                    "Messages, mbox files, Maildirs or folders of messages; - is standard input")
        ->required();
    command.add_flag("-r,--recursive", sources.isRecursive,
                     "Read the subfolders of a folder of messages too");
    AddSelection(command, sources.selection);
}

void AddShow(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("show", "Print the tree of entities");
    AddSources(command, line.show.sources);
    AddRules(command, line.show.sources, true);
    command.add_flag("--headers", line.show.headers, "Print the header fields too");
    command.add_flag("--json", line.show.json, "Print JSON");
    command.callback([&line] { line.command = [&line] { return Show(line.show); }; });
}

void AddText(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("text", "Print the readable text in UTF-8");
    AddSources(command, line.text.sources);
    AddRules(command, line.text.sources, false);
    command.callback([&line] { line.command = [&line] { return PrintText(line.text); }; });
}

void AddLint(CLI::App& app, CommandLine& line) {
    CLI::App& command =
        *app.add_subcommand("lint", "Print where the message departs from the RFCs");
    AddSources(command, line.lint.sources);
    AddRules(command, line.lint.sources, true);
    command.add_flag("--json", line.lint.json, "Print JSON");
    command.callback([&line] { line.command = [&line] { return Lint(line.lint); }; });
}

/// Takes the index of a part from the end of the files, if it is there: "1", "1.2", "1.2.u1", "@7".
void TakePart(ExtractOptions& extract) {
    std::vector<std::string>& files = extract.sources.files;
    const std::string& last = files.back();
    const bool isIndex = last == "1" || last.starts_with("1.") || last.starts_with("@");
    if (files.size() < 2 || !isIndex) return;
    if (last.find_first_not_of("0123456789.u", 1) != std::string::npos) return;
    extract.part = last;
    files.pop_back();
}

void AddExtract(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("extract", "Write decoded bodies");
    AddSources(command, line.extract.sources);
    AddRules(command, line.extract.sources, true);
    command.footer(
        "The last FILE may be PART instead, an index that show prints: then only this\n"
        "entity and those below it are written.");
    CLI::Option* const folder = command.add_option("-d,--directory", line.extract.folder,
                                                   "The folder, created if it does not exist");
    folder->type_name("DIR");
    command
        .add_option("-o,--output", line.extract.target,
                    "The file for the body of PART alone; - is standard output")
        ->excludes(folder)
        ->type_name("OUT");
    command.callback([&line] {
        if (line.extract.folder.empty() && line.extract.target.empty()) {
            throw CLI::ValidationError("extract", "needs --directory or --output");
        }
        TakePart(line.extract);
        line.command = [&line] { return Extract(line.extract); };
    });
}

void AddIndex(CLI::App& app, CommandLine& line) {
    CLI::App& command =
        *app.add_subcommand("index", "Write a record of each message, as lines of JSON");
    IndexOptions& index = line.index;
    AddSources(command, index.sources);
    AddOutput(command, index.target);
    command
        .add_option("-j,--jobs", index.threads, "How many threads; by default one per processor")
        ->type_name("N")
        ->check(CLI::Range(1, 1024));
    command.add_flag("--hashes", index.hashes, "Add the SHA-256 of the body of each attachment");
    command.add_flag("--resume", index.resume, "Add the records that OUT lacks");
    command.callback([&line] {
        if (line.index.resume && line.index.target == "-") {
            throw CLI::ValidationError("--resume", "needs a file for OUT");
        }
        line.command = [&line] { return Index(line.index); };
    });
}

void AddDiff(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("diff", "Print what differs between two messages");
    command.add_option("A", line.diff.a, "A message; - is standard input")->required();
    command.add_option("B", line.diff.b, "The other one")->required();
    command.add_flag("--content", line.diff.contentOnly,
                     "Pass over bytes, encodings, boundaries, line ends and the order of fields");
    command.add_flag("--json", line.diff.json, "Print JSON");
    command.callback([&line] { line.command = [&line] { return Diff(line.diff); }; });
}

}  // namespace

void AddReadingCommands(CLI::App& app, CommandLine& line) {
    AddShow(app, line);
    AddText(app, line);
    AddLint(app, line);
    AddIndex(app, line);
    AddDiff(app, line);
    AddExtract(app, line);
}

}  // namespace Tool
