#include "inputs.h"

#include <filesystem>
#include <new>
#include <system_error>

#include "escape.h"
#include "files.h"
#include "kivgui/error.h"
#include "kivgui/memory_file.h"
#include "message_source.h"
#include "platform/system.h"

// Where messages come from: files and mail folders by way of the library, and streams, which are read into
// memory. The search in a folder is one message ahead of the caller, who needs to know whether there is
// another one.

namespace Tool {

namespace {

Input MakeFailure(const std::string& file, const std::string& reason) {
    Input input;
    input.file = file;
    input.name = GetShownName(file);
    input.failure = reason;
    return input;
}

/// The error of a file in a folder, which has the file's name before the reason.
Input MakeFailure(const MIME::Error& error) {
    const std::string reason = GetReason(error);
    std::string file = error.GetText();
    if (file.ends_with(": " + reason)) file.resize(file.size() - reason.size() - 2);
    return MakeFailure(file, reason);
}

void Keep(Input& input, std::string text) {
    const auto keeper = std::make_shared<const std::string>(std::move(text));
    input.text = *keeper;
    input.keeper = keeper;
}

}  // namespace

std::string GetReason(const MIME::Error& error) {
    if (error.GetSystemCode() == 0) return std::string(MIME::GetText(error.GetCode()));
    return ToString(KivGuiBase::GetErrorMessage(error.GetSystemCode(), 0, 1));
}

Input ReadStream(const std::string& file) {
    Input input = MakeFailure(file, "");
    Stream opened;
    if (file != "-") {
        opened.reset(System::OpenStream(file));
        if (opened == nullptr) return MakeFailure(file, GetSystemReason());
    }
    std::string text;
    try {
        ReadPieces(opened ? opened.get() : stdin, input.name,
                   [&](std::string_view piece) { text += piece; });
    } catch (const Failure&) {
        return MakeFailure(file, GetSystemReason());
    }
    Keep(input, std::move(text));
    return input;
}

std::optional<Input> Inputs::Next() {
    for (;;) {
        if (ahead_) return TakeEntry();
        if (nextFile_ == sources_.files.size()) return std::nullopt;
        const std::string& file = sources_.files[nextFile_++];
        std::optional<Input> input;
        if (IsStream(file)) {
            input = ReadStream(file);
        } else if (sources_.AreBare()) {
            input = OpenBare(file);
        } else {
            input = OpenFolder(file);
        }
        if (!input) continue;
        input->isAlone = sources_.files.size() == 1;
        return input;
    }
}

Input Inputs::OpenBare(const std::string& file) const {
    Input input = MakeFailure(file, "");
    const auto view = std::make_shared<KivGuiBase::MemoryFile>();
    std::error_code ignored;
    if (std::filesystem::is_directory(ToPath(file), ignored)) {
        return MakeFailure(file, "is a folder");
    }
    if (!view->Open(KivGuiBase::File(MIME::AnsiStr(file)), KivGuiBase::MemoryFile::Mode::read)) {
        return MakeFailure(file, GetLastReason());
    }
    input.text = {view->GetData(), static_cast<size_t>(view->GetSize())};
    input.keeper = view;
    return input;
}

/// @return a failure, or nothing when the folder is open.
std::optional<Input> Inputs::OpenFolder(const std::string& file) {
    auto folder = MIME::MailFolder::Open(ToPath(file), {sources_.isRecursive});
    if (!folder) return MakeFailure(file, GetReason(folder.error()));
    folder_ = std::move(*folder);
    ahead_ = folder_->Next();
    lastFile_.clear();
    isFolderAlone_ = folder_->GetKind() == MIME::MailFolder::Kind::message;
    return std::nullopt;
}

Input Inputs::TakeEntry() {
    const MIME::Result<MIME::FolderEntry> entry = *std::move(ahead_);
    const bool isFirst = lastFile_.empty();
    ahead_ = folder_->Next();
    if (isFirst && !ahead_) isFolderAlone_ |= folder_->GetKind() == MIME::MailFolder::Kind::mbox;
    Input input = entry ? MakeFailure(FromPath(entry->GetPath()), "") : MakeFailure(entry.error());
    input.isAlone = isFolderAlone_ && sources_.files.size() == 1;
    if (entry) SetText(input, *entry);
    lastFile_ = input.file;
    return input;
}

void Inputs::SetText(Input& input, const MIME::FolderEntry& entry) {
    input.offset = entry.GetOffset();
    if (input.file == lastFile_) input.name += ":" + std::to_string(input.offset);
    const bool isQuoted =
        !entry.GetFromLine().empty() && entry.GetText().find(">From ") != std::string_view::npos;
    if (quoting_ == Quoting::removed && isQuoted) return Keep(input, entry.GetUnquotedText());
    input.text = entry.GetText();
    input.keeper = std::make_shared<const MIME::FolderEntry>(entry);
    if (!isQuoted) input.entry = entry;
}

bool IsSelected(const Input& input, const Sources& sources) {
    return sources.selection.IsEmpty() || sources.selection.Takes(ReadMail(input, sources));
}

int ForEachInput(const Sources& sources, Inputs::Quoting quoting,
                 const std::function<void(const Input&)>& use) {
    int status = 0;
    Inputs inputs(sources, quoting);
    while (const std::optional<Input> input = inputs.Next()) {
        std::string failure;
        try {
            if (!input->failure.empty()) throw InputFailure(input->name, input->failure);
            if (IsSelected(*input, sources)) use(*input);
            continue;
        } catch (const InputFailure& error) {
            failure = error.what();
        } catch (const std::bad_alloc&) {
            failure = input->name + ": not enough memory";
        }
        FinishOutput();  // so that messages come in their order
        PrintError(failure);
        status = 1;
    }
    FinishOutput();
    return status;
}

void Headings::Print(const Input& input) {
    if (input.isAlone) return;
    Tool::Print((hasPrinted_ ? "\n==> " : "==> ") + Escape(input.name) + " <==\n");
    hasPrinted_ = true;
}

MIME::Mail ReadMail(const Input& input, const Sources& sources, MIME::ReadReport* report) {
    MIME::MailOptions options;
    options.report = report;
    options.contentType = sources.contentType;
    auto mail = input.entry ? MIME::Mail::Parse(*input.entry, options)
                            : MIME::Mail::Parse(input.text, options);
    if (mail) return std::move(*mail);
    std::string why = mail.error().GetText();
    const std::string file = input.file + ": ";  // the message's name has more to it
    if (input.entry && why.starts_with(file)) why.erase(0, file.size());
    throw InputFailure(input.name, why);
}

}  // namespace Tool
