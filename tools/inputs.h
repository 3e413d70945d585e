#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <mime/mail.h>

#include "output.h"
#include "selection.h"

namespace Tool {

/// What the user gave a command to read.
struct Sources {
    std::vector<std::string>
        files;                 ///< messages and mail folders: paths, or "-" for standard input
    bool isRecursive = false;  ///< reads the subfolders of a folder of messages too
    std::optional<std::string> contentType;  ///< given when it is not in the files
    bool strict = false;                     ///< with the exact rules instead of the mail rules
    Selection selection;                     ///< which messages are meant

    /// Nothing but one message is in each file then.
    bool AreBare() const { return contentType || strict; }
};

/// One message to read, or why there is none.
struct Input {
    std::string file;  ///< that it is in: a path, or "-"
    std::string name;  ///< in texts for people; after the first message of a file with its offset
    uint64_t offset = 0;  ///< of the message in the file
    bool isAlone = true;  ///< one file was given, and has one message
    std::string failure;  ///< empty, or why nothing could be read
    std::string_view text;
    std::shared_ptr<const void> keeper;      ///< of the text
    std::optional<MIME::FolderEntry> entry;  ///< whose text it is, where nothing in it is quoted
};

/// The messages that the user gave, one after the other.
class Inputs {
public:
    enum class Quoting {
        asInFile,  ///< offsets in the text are those of the file
        removed,   ///< ">From " is "From ", in messages of an mbox
    };

    Inputs(const Sources& sources, Quoting quoting) : sources_(sources), quoting_(quoting) {}

    /// The next message; nothing at the end. @throws std::bad_alloc
    std::optional<Input> Next();

private:
    Input OpenBare(const std::string& file) const;
    std::optional<Input> OpenFolder(const std::string& file);
    Input TakeEntry();
    void SetText(Input& input, const MIME::FolderEntry& entry);

    const Sources& sources_;
    Quoting quoting_;
    size_t nextFile_ = 0;
    std::optional<MIME::MailFolder> folder_;
    std::optional<MIME::Result<MIME::FolderEntry>> ahead_;  ///< the next message of the folder
    bool isFolderAlone_ = true;                             ///< it has one message
    std::string lastFile_;
};

/// What was wrong with one input. The others are still read.
class InputFailure : public Failure {
public:
    using Failure::Failure;
};

/// Reads standard input ("-"), a pipe or a device to its end.
Input ReadStream(const std::string& file);

/// Why a message cannot be read, without the name of its file.
std::string GetReason(const MIME::Error& error);

/// Does the user's selection take the message? @throws InputFailure when it cannot be read.
bool IsSelected(const Input& input, const Sources& sources);

/// Calls `use` for every message that can be read from and is selected. Where that is not so, or `use` throws
/// InputFailure or std::bad_alloc, the reason is printed and the next one follows.
/// @return the exit status: 0, or 1 when something failed.
int ForEachInput(const Sources& sources, Inputs::Quoting quoting,
                 const std::function<void(const Input&)>& use);

/// Prints the name of an input before what is printed of it, unless it is the only one.
class Headings {
public:
    void Print(const Input& input);

private:
    bool hasPrinted_ = false;
};

/// Reads a message by the mail rules. The mail refers to the input's text.
/// @param report  null, or what receives the deviations; offsets are those in the text.
/// @throws InputFailure
MIME::Mail ReadMail(const Input& input, const Sources& sources, MIME::ReadReport* report = nullptr);

}  // namespace Tool
