#include "mime/mail/mail_folder.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <utility>
#include <vector>

#include "kivgui/file.h"
#include "mime/mail/file_error.h"
#include "mime/mail/folder_listing.h"
#include "mime/mail/mapped_text.h"
#include "mime/mail/mbox.h"
#include "mime/mail/whole.h"

// A folder is a list of files and the mbox files that are open now. A draw takes the next message of
// an open mbox; when there is none it opens the next file, without the lock, so that several threads
// read files at once. As long as a thread opens one, it may turn out to be an mbox, so the others do
// not take the end of the list for the end of the folder, but wait.
//
// An entry shares its file with the mbox search and with the other entries of it; the last of them
// closes it.

namespace MIME {

namespace fs = std::filesystem;

// ------------------------------------------------------------------------------------------ entries --

struct FolderEntry::Source {
    fs::path path;
    MappedText text;
    std::string flags;
};

std::string FolderEntry::GetUnquotedText() const {
    return fromLine_.empty() ? std::string(text_) : UnquoteMbox(text_);
}

const MappedText& FolderEntry::GetFile() const noexcept {
    return source_->text;
}

const fs::path& FolderEntry::GetPath() const noexcept {
    return source_->path;
}

uint64_t FolderEntry::GetOffset() const noexcept {
    return static_cast<uint64_t>(text_.data() - source_->text.GetText().data());
}

std::string_view FolderEntry::GetSender() const noexcept {
    FromLine parsed;
    FromLine::Parse(fromLine_, parsed);
    return parsed.sender;
}

std::string_view FolderEntry::GetDeliveryDate() const noexcept {
    FromLine parsed;
    FromLine::Parse(fromLine_, parsed);
    return parsed.date;
}

std::string_view FolderEntry::GetFlags() const noexcept {
    return source_->flags;
}

// ------------------------------------------------------------------------------------- the folder --

namespace {

/// "FS" of "1278934.host:2,FS". Where a name cannot have ":", programs write ";" or "!".
std::string ReadFlags(const fs::path& file) {
    const auto name =
        Whole([&] { return std::string(KivGuiBase::File(file.filename()).GetPath()); });
    const size_t info = name.rfind("2,");
    if (info == std::string::npos || info == 0) return {};
    const bool isMarked = std::string_view(":;!").find(name[info - 1]) != std::string_view::npos;
    return isMarked ? name.substr(info + 2) : std::string();
}

bool IsFolder(const fs::path& path) {
    std::error_code error;
    return fs::is_directory(path, error);
}

constexpr size_t kMaildirPrefix = 4;  // "cur/" or "new/"

std::vector<ListedFile> ListMaildir(const fs::path& folder) {
    std::vector<ListedFile> files;
    ListFiles(folder, "cur", false, files);
    ListFiles(folder, "new", false, files);
    using NameView = std::basic_string_view<fs::path::value_type>;
    const auto getKey = [](const ListedFile& file) {
        const NameView name = file.name;
        return std::pair(name.substr(std::min(name.size(), kMaildirPrefix)), name);
    };
    std::sort(files.begin(), files.end(),
              [&](const ListedFile& a, const ListedFile& b) { return getKey(a) < getKey(b); });
    return files;
}

std::vector<ListedFile> ListFolder(const fs::path& folder, bool recursive) {
    std::vector<ListedFile> files;
    ListFiles(folder, {}, recursive, files);
    std::sort(files.begin(), files.end(),
              [](const ListedFile& a, const ListedFile& b) { return a.name < b.name; });
    return files;
}

/// A file without a byte is a mailbox that holds nothing.
bool HoldsMbox(std::string_view text) noexcept {
    return text.empty() || MboxReader::IsMbox(text);
}

/// Gives a lock up and counts a file that is being opened, as long as this lives.
class Opening {
public:
    Opening(std::unique_lock<std::mutex>& lock, unsigned& count, std::condition_variable& isOpened)
        : lock_(lock), count_(count), isOpened_(isOpened) {
        ++count_;
        lock_.unlock();
    }
    ~Opening() {
        lock_.lock();
        --count_;
        isOpened_.notify_all();
    }
    Opening(const Opening&) = delete;
    Opening& operator=(const Opening&) = delete;

private:
    std::unique_lock<std::mutex>& lock_;
    unsigned& count_;
    std::condition_variable& isOpened_;
};

}  // namespace

struct MailFolder::State {
    using SourcePointer = std::shared_ptr<const FolderEntry::Source>;

    struct OpenMbox {
        SourcePointer source;
        MboxReader reader;
    };

    Kind kind = Kind::files;
    fs::path path;
    std::vector<ListedFile> files;
    SourcePointer only;  ///< instead of files: the file at `path`

    std::mutex mutex;  ///< for what follows
    std::condition_variable isOpened;
    std::vector<OpenMbox> mboxes;
    size_t nextFile = 0;
    unsigned opening = 0;  ///< files that threads are opening

    bool HasFiles() const noexcept { return nextFile < (only != nullptr ? 1 : files.size()); }

    static Result<SourcePointer> OpenFile(const fs::path& path, Kind kind) {
        auto text = MappedText::Open(path);
        if (!text) return text.error();
        return SourcePointer(new FolderEntry::Source{
            path, *std::move(text), kind == Kind::maildir ? ReadFlags(path) : std::string()});
    }

    Result<SourcePointer> OpenNext(std::unique_lock<std::mutex>& lock) {
        const size_t index = nextFile++;
        if (only != nullptr) return only;
        const Opening counted(lock, opening, isOpened);
        const ListedFile& file = files[index];
        const fs::path full = file.name.empty() ? path : path / file.name;
        if (file.systemCode == 0) return OpenFile(full, kind);
        return MakeFileError(ErrorCode::cannotRead, full, file.systemCode);
    }

    /// The next message of the mbox files that are open; those that have no more are closed.
    bool TakeMessage(SourcePointer& source, MboxMessage& message) noexcept {
        for (; !mboxes.empty(); mboxes.pop_back()) {
            source = mboxes.back().source;
            if (mboxes.back().reader.Next(message)) return true;
        }
        return false;
    }
};

MailFolder::MailFolder(std::unique_ptr<State> state) noexcept : state_(std::move(state)) {}
MailFolder::MailFolder(MailFolder&&) noexcept = default;
MailFolder& MailFolder::operator=(MailFolder&&) noexcept = default;
MailFolder::~MailFolder() = default;

Result<MailFolder> MailFolder::Open(const fs::path& path, const FolderOptions& options) {
    auto state = std::make_unique<State>();
    state->path = path;
    if (!IsFolder(path)) {
        auto file = State::OpenFile(path, Kind::message);
        if (!file) return file.error();
        state->only = *std::move(file);
        state->kind = HoldsMbox(state->only->text.GetText()) ? Kind::mbox : Kind::message;
        return MailFolder(std::move(state));
    }
    if (IsFolder(path / "cur") && IsFolder(path / "new")) {
        state->kind = Kind::maildir;
        state->files = ListMaildir(path);
    } else {
        state->files = ListFolder(path, options.recursive);
    }
    if (state->files.size() == 1 && state->files[0].name.empty()) {
        return MakeFileError(ErrorCode::cannotOpen, path, state->files[0].systemCode);
    }
    return MailFolder(std::move(state));
}

MailFolder::Kind MailFolder::GetKind() const noexcept {
    return state_->kind;
}

std::optional<Result<FolderEntry>> MailFolder::Next() {
    State& state = *state_;
    std::unique_lock lock(state.mutex);
    for (;;) {
        State::SourcePointer source;
        MboxMessage message;
        if (state.TakeMessage(source, message)) {
            return FolderEntry(std::move(source), message.fromLine, message.text);
        }
        if (state.HasFiles()) {
            auto file = state.OpenNext(lock);
            if (!file) return file.error();
            const std::string_view text = (*file)->text.GetText();
            if (state.kind == Kind::maildir || !HoldsMbox(text)) {
                return FolderEntry(*std::move(file), {}, text);
            }
            MboxReader reader(text, &(*file)->text);
            state.mboxes.push_back({*std::move(file), std::move(reader)});
        } else if (state.opening == 0) {
            return std::nullopt;
        } else {
            state.isOpened.wait(lock);
        }
    }
}

void MailFolder::Rewind() noexcept {
    const std::lock_guard lock(state_->mutex);
    state_->mboxes.clear();
    state_->nextFile = 0;
}

}  // namespace MIME
