#include <memory>
#include <new>
#include <string>
#include <string_view>

#include "commands.h"
#include "files.h"
#include "kivgui/error.h"
#include "kivgui/stream.h"
#include "kivgui/utf8.h"
#include "output.h"
#include "pass_phrase.h"

// "sign". The message is signed as it is: its header fields are read for the outer header block, and its
// text goes into the signed part byte for byte. What would change on the way, such as LF alone as a line
// end, is refused.

namespace Tool {

using KivGuiBase::File;
using MIME::AnsiStr;

namespace {

/// The message's text from its first header field on, as the reader takes it: without a byte-order
/// mark and line ends before it.
AnsiStr ReadText(const File& file, const std::string& shown) {
    AnsiStr text;
    KivGuiBase::ReadStream stream(file, KivGuiBase::ReadStreamMode::read);
    if (!stream.Read(text)) throw Failure(shown, GetLastReason());
    std::string_view rest = KivGuiBase::SkipByteOrderMark(text);
    const size_t start = rest.find_first_not_of("\r\n");
    rest = start == std::string_view::npos ? std::string_view() : rest.substr(start);
    return rest.size() == text.GetLength() ? text : AnsiStr(rest);
}

/// A program that verifies may turn a lone LF into CR LF, and the signature then does not match.
void RefuseLoneLineFeeds(std::string_view text, const std::string& shown) {
    for (size_t i = text.find('\n'); i != std::string_view::npos; i = text.find('\n', i + 1)) {
        if (i == 0 || text[i - 1] != '\r') {
            throw Failure(shown, "has a line that does not end in CR LF");
        }
    }
}

/// Takes the message exactly as it is in the file: writing its tree again might change it.
void FillMessage(const SignOptions& options, MIME::Message& message) {
    const WorkFolder folder;
    const std::string shown = GetShownName(options.file);
    const File file = GetPlainFile(options.file, folder.At("message"));
    MIME::ReadReport report;
    const std::unique_ptr<MIME::Part> read = ReadMessage({options.file, {}, {}}, file, &report);
    for (const MIME::ReadReport::Entry& entry : report.deviations) {
        if (entry.kind == MIME::Deviation::mboxLine) {
            throw Failure(shown, "begins with an mbox line");
        }
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
                  reason.IsEmpty() ? GetLastReason() : ToString(reason));
}

}  // namespace

int Sign(const SignOptions& options) {
    MIME::Message message;
    FillMessage(options, message);
    WriteText(options.target, MakeSigned(options, message));
    return 0;
}

}  // namespace Tool
