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

/// One message of a MailFolder. It keeps its file open, or in memory, so it may outlive the
/// MailFolder; copies share the file. Any number of threads may use the same entry.
class KIV_EXPORT FolderEntry {
public:
    /// The bytes of the message. In an mbox, they do not include the From_ line or the empty line
    /// before the next message, and are quoted as in the file. Valid as long as this entry, or a
    /// copy of it, lives.
    std::string_view GetText() const noexcept { return text_; }
    /// The text of a message of an mbox with ">From " unquoted (mboxrd: one ">" is removed from
    /// every line that begins with one or more ">" and "From "). The size of such a text, and the
    /// offsets in it, are not those of the file. Other texts are not changed. Throws
    /// std::bad_alloc.
    std::string GetUnquotedText() const;

    /// The file that contains the message: the path given to Open, followed by the name in the
    /// folder.
    const std::filesystem::path& GetPath() const noexcept;
    /// Where GetText begins in that file, in bytes.
    uint64_t GetOffset() const noexcept;
    uint64_t GetSize() const noexcept { return text_.size(); }  ///< of GetText, in bytes

    /// The From_ line before the message in an mbox, as it is in the file, without its line end;
    /// empty elsewhere. The sender is that of the envelope and the date is that of delivery, both
    /// as written; empty when the line has none. Valid as long as GetText.
    std::string_view GetFromLine() const noexcept { return fromLine_; }
    std::string_view GetSender() const noexcept;
    std::string_view GetDeliveryDate() const noexcept;

    /// The flags in the file name in a Maildir, one letter each, in the order of the name: D draft,
    /// F flagged, P passed on, R replied to, S seen, T trashed. Other letters belong to particular
    /// programs. Empty for a new message, and outside a Maildir.
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

/// Options of MailFolder::Open.
struct FolderOptions {
    /// Also reads files in subfolders; only for a folder of files.
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
/// Several threads may draw from one MailFolder, each with a loop as above or with Next: every
/// message is returned once, to whichever thread asks. With one thread, messages come in the order
/// of the folder.
///
/// A file stays open, or in memory when it is below 4 MiB, as long as one of its entries or the
/// search in it lasts. An mbox of any size is mapped and read as the search proceeds (on 32-bit
/// systems, as far as it can be mapped). A mapped mbox must not be made shorter; messages appended
/// meanwhile are not seen. Open lists the names in a folder once, which takes about 40 bytes plus
/// the name for each file.
class KIV_EXPORT MailFolder {
public:
    /// What Open found.
    enum class Kind {
        message,  ///< a file with one message
        mbox,     ///< a file that begins with a From_ line, or an empty file
        maildir,  ///< a folder that contains the folders "cur" and "new"
        files,    ///< any other folder
    };

    /// Opens the file or folder at `path`:
    /// - A plain file whose first line begins with "From " is an mbox in any of its variants
    ///   (mboxo, mboxrd, mboxcl, mboxcl2); a byte-order mark and empty lines before it do not
    ///   count. An empty file is also an mbox, with no message. Any other plain file is one
    ///   message.
    /// - In a Maildir, each file in "cur" and "new" is one message. They are sorted together by
    ///   name, roughly in the order of delivery. Subfolders (".Sent") are separate Maildirs. A file
    ///   that another program renames meanwhile, to change its flags, gives an error for that
    ///   entry.
    /// - In any other folder, every plain file is opened as if its path had been given here, sorted
    ///   by the bytes of the name, or of the path with recursion.
    /// Files and subfolders whose names begin with a dot are left out. Links to files are read;
    /// links to folders below `path` are not followed.
    /// @return cannotOpen or cannotRead, with the system's code, when the file or folder does not
    ///         exist or cannot be read. Throws std::bad_alloc.
    static Result<MailFolder> Open(const std::filesystem::path& path,
                                   const FolderOptions& options = {});

    MailFolder(MailFolder&&) noexcept;
    MailFolder& operator=(MailFolder&&) noexcept;
    ~MailFolder();

    Kind GetKind() const noexcept;

    /// The next message, or the reason why a file or a subfolder cannot be read; the error names
    /// it, and the next call continues after it. Nothing at the end. Any thread, at any time except
    /// while the MailFolder is moved or destroyed. Throws std::bad_alloc; that message is then left
    /// out.
    std::optional<Result<FolderEntry>> Next();

    /// Begins again with the first message. The names in the folder are not listed again.
    void Rewind() noexcept;

    /// An input iterator over the results of Next.
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

    /// Continues with the message that Next would return: loops over one MailFolder share its
    /// messages.
    Iterator begin() { return Iterator(*this); }
    std::default_sentinel_t end() const noexcept { return {}; }

private:
    struct State;
    explicit MailFolder(std::unique_ptr<State> state) noexcept;

    std::unique_ptr<State> state_;
};

}  // namespace MIME
