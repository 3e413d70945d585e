#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "commands.h"
#include "failure.h"
#include "output.h"
#include "pass_phrase.h"
#include "target.h"

namespace Tool {

using KivGuiBase::DiskFile;
using KivGuiBase::File;
using MIME::AnsiStr;

namespace {

/// The message's text without what the reader passes over at its start.
AnsiStr ReadText(const File& file, const std::string& shown) {
    AnsiStr text;
    KivGuiBase::ReadStream stream(file, KivGuiBase::ReadStreamMode::read);
    if (!stream.Read(text)) throw Failure(shown, GetLastReason());
    constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
    std::string_view rest = text;
    if (rest.starts_with(kByteOrderMark)) rest.remove_prefix(kByteOrderMark.size());
    const size_t start = rest.find_first_not_of("\r\n");
    rest = start == std::string_view::npos ? std::string_view() : rest.substr(start);
    return rest.size() == text.GetLength() ? text : AnsiStr(rest);
}

/// Programs that verify may change such a line end into CR LF, and then find another text.
void RefuseLoneLineFeeds(std::string_view text, const std::string& shown) {
    for (size_t i = text.find('\n'); i != std::string_view::npos; i = text.find('\n', i + 1)) {
        if (i == 0 || text[i - 1] != '\r') {
            throw Failure(shown, "has a line that does not end in CR LF");
        }
    }
}

/// The message as it stands in the file, which writing its tree again might change.
void FillMessage(const SignOptions& options, MIME::Message& message) {
    const WorkFolder folder;
    const std::string shown = GetShownName(options.file);
    const File file = GetPlainFile(options.file, folder.At("message"));
    MIME::ReadReport report;
    const std::unique_ptr<MIME::Part> read = ReadMessage({options.file, {}, {}}, file, &report);
    for (const MIME::ReadReport::Entry& entry : report.deviations) {
        if (entry.kind == MIME::Deviation::mboxLine)
            throw Failure(shown, "begins with an mbox line");
    }
    if (!message.headers.CopyFrom(read->headers)) throw std::bad_alloc();
    if (message.headers.Serialize(false, true).IsEmpty()) {
        throw Failure(shown, "has no header field besides Content- fields and MIME-Version");
    }
    message.rawText = ReadText(file, shown);
    RefuseLoneLineFeeds(message.rawText, shown);
}

AnsiStr MakeSigned(const SignOptions& options, const MIME::Message& message) {
    const std::unique_ptr<PassPhrase> passPhrase =
        options.passFile.empty() ? std::make_unique<PassPhrase>()
                                 : std::make_unique<PassPhrase>(options.passFile);
    KivGuiBase::SetErrorMessage(AnsiStr());
    AnsiStr text = message.Sign(File(AnsiStr(options.signer)), passPhrase->GetText());
    if (!text.IsEmpty()) return text;
    const AnsiStr reason = KivGuiBase::GetStoredErrorMessage();
    throw Failure(GetShownName(options.file) + " with " + options.signer,
                  reason.IsEmpty() ? GetLastReason() : std::string(std::string_view(reason)));
}

void WriteText(const AnsiStr& text, const std::string& path, const std::string& shown) {
    DiskFile out;
    if (!out.Open(File(AnsiStr(path)), DiskFile::Mode::create) ||
        !out.Write(text.GetStr(), text.GetLength()) || !out.Close()) {
        throw Failure(shown, GetLastReason());
    }
}

}  // namespace

int Sign(const SignOptions& options) {
    MIME::Message message;
    FillMessage(options, message);
    const AnsiStr text = MakeSigned(options, message);
    if (options.target == "-") {
        Print(text);
    } else if (IsStream(options.target)) {
        WriteText(text, options.target, options.target);
    } else {
        ReplaceFile(options.target,
                    [&](const std::string& path) { WriteText(text, path, options.target); });
    }
    FinishOutput();
    return 0;
}

}  // namespace Tool
