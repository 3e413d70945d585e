#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inputs.h"
#include "message_source.h"
#include "pass_phrase.h"

/// The subcommands, each in its own file. They print to standard output, return the exit status, and
/// throw Failure.
namespace Tool {

struct ShowOptions {
    Sources sources;
    bool headers = false;
    bool json = false;
};
int Show(const ShowOptions& options);

struct LintOptions {
    Sources sources;
    bool json = false;
};
/// Prints what the reader had to tolerate. @return 1 when there is something, 3 when a message
/// cannot be read.
int Lint(const LintOptions& options);

struct TextOptions {
    Sources sources;
};
/// Prints the readable text.
int PrintText(const TextOptions& options);

struct ExtractOptions {
    Sources sources;
    std::string part = "1";  ///< an index as Show prints it
    std::string folder;      ///< for all bodies; or empty
    std::string target;      ///< for the one body: a path, or "-" for standard output
};
int Extract(const ExtractOptions& options);

struct IndexOptions {
    Sources sources;
    bool hashes = false;       ///< of the bodies of attachments
    std::string target = "-";  ///< a path, or "-" for standard output
    unsigned threads = 0;      ///< 0: as many as the machine has processors
    bool resume = false;       ///< adds to the target the records that it lacks
};
/// Writes a record of each message, as JSON.
int Index(const IndexOptions& options);

struct DiffOptions {
    std::string a, b;          ///< paths, or "-" for standard input
    bool contentOnly = false;  ///< passes over what readers do not see
    bool json = false;
};
/// Prints what differs between two messages. @return 1 when something does, 2 when they cannot be read.
int Diff(const DiffOptions& options);

struct RewriteOptions {
    Source source;
    std::string target;     ///< a path, or "-" for standard output
    bool bodyOnly = false;  ///< leaves out the header block and prints the value of Content-Type
};
int Rewrite(const RewriteOptions& options);

struct BuildOptions {
    std::vector<std::string> from, to, cc, bcc;  ///< address lists
    std::string subject;
    std::string text, html;  ///< paths, or "-" for standard input; empty: none
    std::vector<std::string> inlineFiles, attachments;
    std::string date, messageId;   ///< values of the fields; empty: generated
    std::optional<uint64_t> seed;  ///< makes what is generated the same on every run
    Signer signer;
    std::string target = "-";  ///< a path, or "-" for standard output
};
int Build(const BuildOptions& options);

struct EditOptions {
    std::string file;                                 ///< a path, or "-" for standard input
    std::vector<std::string> removedFields;           ///< names
    std::vector<std::string> setFields, addedFields;  ///< "NAME: VALUE"
    std::vector<std::string> removedParts;            ///< indices as Show prints them
    std::vector<std::string> replacedParts;           ///< "INDEX=FILE"
    std::vector<std::string> attachments;             ///< paths
    std::string footer;                               ///< a text, or "@" and a path
    Signer signer;
    std::string target;  ///< a path, or "-" for standard output
};
/// Writes the message with what is to be changed, and signs it; says which signatures that breaks.
int EditMessage(const EditOptions& options);

enum class Coding { base64, quotedPrintable, word };
/// From standard input to standard output.
int Encode(Coding coding);
int Decode(Coding coding);

struct TypeOptions {
    std::vector<std::string> names;
};
int LookUpTypes(const TypeOptions& options);

}  // namespace Tool
