#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "kivgui/export.h"
#include "mime/mail/result.h"

namespace MIME {

class MappedText;

/// One message of a MailFolder. It keeps the file that it is in open, or in memory, so it may outlive
/// the folder; a copy shares that. Any number of threads may look at one entry.
class KIV_EXPORT FolderEntry {
public:
    /// The bytes of the message. In an mbox they are without the From_ line and without the empty line
    /// before the next message, and quoted as in the file. Valid as long as this entry, or a copy of
    /// it, lives.
    std::string_view GetText() const noexcept { return text_; }
    /// The text of a message of an mbox with ">From " unquoted (mboxrd: one ">" is removed from every
    /// line that begins with ">" once or more and "From "). The length of such a message in bytes, and
    /// the offsets in it, are not those of the file. Other texts are not changed. Throws
    /// std::bad_alloc.
    std::string GetUnquotedText() const;

    /// The file that the message is in: the path given to Open, with the name in the folder added.
    const std::filesystem::path& GetPath() const noexcept;
    /// Where GetText begins in that file, in bytes.
    uint64_t GetOffset() const noexcept;
    uint64_t GetSize() const noexcept { return text_.size(); }  ///< of GetText, in bytes

    /// The From_ line before the message in an mbox, as it is there, without its line end; empty
    /// elsewhere. The sender is the envelope's and the date that of delivery, both as they are
    /// written; empty when the line has none. Valid as long as GetText.
    std::string_view GetFromLine() const noexcept { return fromLine_; }
    std::string_view GetSender() const noexcept;
    std::string_view GetDeliveryDate() const noexcept;

    /// The flags that the file's name has in a Maildir, one letter each, in the order of the name: D
    /// draft, F flagged, P passed on, R replied to, S seen, T trashed. Other letters are those of
    /// one program. Empty for a new message, and elsewhere.
    std::string_view GetFlags() const noexcept;
    bool HasFlag(char flag) const noexcept {
        return GetFlags().find(flag) != std::string_view::npos;
    }

private:
    friend class MailFolder;
    friend struct MessageTree;
    struct Source;
    FolderEntry(std::shared_ptr<const Source> source, std::string_view fromLine,
                std::string_view text) noexcept
        : source_(std::move(source)), fromLine_(fromLine), text_(text) {}

    const MappedText& GetFile() const noexcept;

    std::shared_ptr<const Source> source_;
    std::string_view fromLine_;
    std::string_view text_;
};

/// What MailFolder::Open reads.
struct FolderOptions {
    /// Files of subfolders too; for a folder of files only.
    bool recursive = false;
};

/// The messages of an mbox file, of a Maildir or of a folder of files, one after the other.
///
///   auto folder = MIME::MailFolder::Open(path);
///   if (!folder) return Fail(folder.error().GetText());
///   for (const auto& entry : *folder) {
///       if (!entry) std::cerr << entry.error().GetText() << '\n';
///       else std::cout << entry->GetPath() << ' ' << entry->GetSize() << '\n';
///   }
///
/// Several threads may draw from one folder, each with a loop as above or with Next: every message is
/// given once, to whichever thread asks. With one thread they come in the order of the folder.
///
/// A file is open, or in memory when it is below 4 MiB, as long as an entry of it or the search in it
/// lasts; an mbox of any size is mapped and read as the search goes on (on 32-bit systems up to what
/// can be mapped). While an mbox is mapped nobody may make it shorter; messages that are appended
/// meanwhile are not seen. The names in a folder are listed once, by Open: about 40 bytes and the name
/// for each file.
class KIV_EXPORT MailFolder {
public:
    /// What Open found.
    enum class Kind {
        message,  ///< a file with one message
        mbox,     ///< a file that begins with a From_ line, or that has no byte
        maildir,  ///< a folder that has the folders "cur" and "new"
        files,    ///< another folder
    };

    /// Opens what is at `path`:
    /// - A plain file whose first line begins with "From " is an mbox in any of its variants (mboxo,
    ///   mboxrd, mboxcl, mboxcl2); a byte-order mark and empty lines before it do not count. So is a
    ///   file without a byte: a mailbox with no message. Any other plain file is one message.
    /// - Of a Maildir, the files in "cur" and "new" are one message each, sorted by name over both:
    ///   roughly in the order of delivery. Its subfolders (".Sent") are Maildirs of their own. A file
    ///   that another program renames meanwhile, to change its flags, is an error of that entry.
    /// - Of another folder, every plain file is opened as if it had been given here, sorted by the
    ///   bytes of the name, with recursion by that of the path.
    /// Files and subfolders whose names begin with a dot are left out. Links to files are read; links
    /// to folders below `path` are not followed.
    /// @return cannotOpen or cannotRead, with the system's code, when there is no such file or folder
    ///         or it cannot be read. Throws std::bad_alloc.
    static Result<MailFolder> Open(const std::filesystem::path& path,
                                   const FolderOptions& options = {});

    MailFolder(MailFolder&&) noexcept;
    MailFolder& operator=(MailFolder&&) noexcept;
    ~MailFolder();

    Kind GetKind() const noexcept;

    /// The next message, or why a file or a subfolder of the folder cannot be read; the error names it,
    /// and the next call goes on after it. Nothing at the end. Any thread, at any time but while the
    /// folder is moved or destroyed. Throws std::bad_alloc; that message is then left out.
    std::optional<Result<FolderEntry>> Next();

    /// Begins again with the first message. The names in a folder are those of before.
    void Rewind() noexcept;

    /// An input iterator over what Next gives.
    class Iterator {
    public:
        using iterator_concept = std::input_iterator_tag;
        using value_type = Result<FolderEntry>;
        using difference_type = std::ptrdiff_t;

        Iterator() noexcept = default;
        explicit Iterator(MailFolder& folder) : folder_(&folder), entry_(folder.Next()) {}

        const Result<FolderEntry>& operator*() const noexcept { return *entry_; }
        const Result<FolderEntry>* operator->() const noexcept { return &*entry_; }
        Iterator& operator++() {
            entry_.reset();  // its file is closed before the next one is opened
            entry_ = folder_->Next();
            return *this;
        }
        void operator++(int) { ++*this; }
        friend bool operator==(const Iterator& at, std::default_sentinel_t) noexcept {
            return !at.entry_;
        }

    private:
        MailFolder* folder_ = nullptr;
        std::optional<Result<FolderEntry>> entry_;
    };

    /// Goes on with the message that Next would give: loops over one folder share its messages.
    Iterator begin() { return Iterator(*this); }
    std::default_sentinel_t end() const noexcept { return {}; }

private:
    struct State;
    explicit MailFolder(std::unique_ptr<State> state) noexcept;

    std::unique_ptr<State> state_;
};

}  // namespace MIME
