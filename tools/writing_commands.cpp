#include "command_line.h"

// The options of the commands that write a message.

namespace Tool {

namespace {

CLI::Option* AddSigner(CLI::App& command, const std::string& name, Signer& signer) {
    CLI::Option* const key =
        command
            .add_option(name, signer.file,
                        "Sign (S/MIME) with this private key and its certificate: PEM or PKCS#12")
            ->type_name("KEY");
    command
        .add_option("--pass-file", signer.passFile,
                    "The key's pass phrase: the first line of this file")
        ->needs(key)
        ->type_name("F");
    return key;
}

void AddRewrite(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("rewrite", "Read the message and write it back");
    Source& source = line.rewrite.source;
    command.add_option("FILE", source.file, "The message; - is standard input")->required();
    AddRules(command, source, true);
    AddOutput(command, line.rewrite.target)->required();
    command.add_flag("--body", line.rewrite.bodyOnly,
                     "Leave the header block out and print the value of Content-Type instead");
    command.callback([&line] {
        if (line.rewrite.bodyOnly && line.rewrite.target == "-") {
            throw CLI::ValidationError("--body", "needs a file for OUT");
        }
        line.command = [&line] { return Rewrite(line.rewrite); };
    });
}

/// An option that may be given several times, each time with one value or with several.
CLI::Option* AddList(CLI::App& command, const std::string& name, std::vector<std::string>& values,
                     const std::string& help, bool severalAtOnce) {
    return command.add_option(name, values, help)->allow_extra_args(severalAtOnce);
}

void AddBuildHeaders(CLI::App& command, BuildOptions& build) {
    AddList(command, "--from", build.from, "The sender: one mailbox", false)->required();
    AddList(command, "--to", build.to, "Recipients: an address list", false);
    AddList(command, "--cc", build.cc, "More recipients", false);
    AddList(command, "--bcc", build.bcc, "Recipients whom the others do not see", false);
    command.add_option("--subject", build.subject, "The subject");
    command.add_option("--date", build.date, "The value of Date instead of the current time");
    command.add_option("--message-id", build.messageId,
                       "The value of Message-ID instead of a new one");
    command.add_option("--seed", build.seed, "Make the same message on every run, for tests");
}

void AddBuild(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("build", "Make a message");
    BuildOptions& build = line.build;
    AddBuildHeaders(command, build);
    command.add_option("--text", build.text, "The text; - is standard input")->type_name("FILE");
    command.add_option("--html", build.html, "The text as HTML")->type_name("FILE");
    AddList(command, "--inline", build.inlineFiles, "Images that the HTML shows", true)
        ->type_name("FILE");
    AddList(command, "--attach", build.attachments, "Attachments", true)->type_name("FILE");
    AddSigner(command, "--sign", build.signer);
    AddOutput(command, build.target);
    command.callback([&line] {
        const BuildOptions& given = line.build;
        if (given.text.empty() && given.html.empty() && given.attachments.empty()) {
            throw CLI::ValidationError("build", "needs --text, --html or --attach");
        }
        if (!given.inlineFiles.empty() && given.html.empty()) {
            throw CLI::ValidationError("--inline", "needs --html");
        }
        line.command = [&line] { return Build(line.build); };
    });
}

/// An option whose values have a name, the mark, and something else.
void AddPairs(CLI::App& command, const std::string& name, std::vector<std::string>& values,
              const std::string& help, char mark) {
    AddList(command, name, values, help, false)->check([mark](const std::string& value) {
        const bool isPair = value.find(mark) != std::string::npos;
        return isPair ? std::string() : "\"" + value + "\" has no \"" + mark + "\"";
    });
}

void AddEdit(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("edit", "Write the message with changes");
    EditOptions& edit = line.edit;
    command.add_option("FILE", edit.file, "The message; - is standard input")->required();
    AddOutput(command, edit.target)->required();
    CLI::App& changes = *command.add_option_group("Changes");
    changes.require_option(1, 0);
    AddPairs(changes, "--add-field", edit.addedFields, "Add the field \"NAME: VALUE\"", ':');
    AddPairs(changes, "--set-field", edit.setFields, "Replace the fields of that name", ':');
    AddList(changes, "--remove-field", edit.removedFields, "Remove the fields of that name", false);
    AddList(changes, "--remove-part", edit.removedParts, "Remove a part, such as 1.2", false);
    AddPairs(changes, "--replace-part", edit.replacedParts, "PART=FILE: put a file in its place",
             '=');
    AddList(changes, "--attach", edit.attachments, "Add attachments", true)->type_name("FILE");
    changes.add_option("--footer", edit.footer, "Add lines to the text: TEXT or @FILE");
    AddSigner(changes, "--sign", edit.signer);
    command.callback([&line] { line.command = [&line] { return EditMessage(line.edit); }; });
}

void AddSign(CLI::App& app, CommandLine& line) {
    CLI::App& command = *app.add_subcommand("sign", "Sign a message (S/MIME)");
    command.add_option("FILE", line.sign.file, "The message; - is standard input")->required();
    AddSigner(command, "--signer", line.sign.signer)->required();
    AddOutput(command, line.sign.target)->required();
    command.callback([&line] { line.command = [&line] { return EditMessage(line.sign); }; });
}

}  // namespace

void AddWritingCommands(CLI::App& app, CommandLine& line) {
    AddRewrite(app, line);
    AddBuild(app, line);
    AddEdit(app, line);
    AddSign(app, line);
}

}  // namespace Tool
