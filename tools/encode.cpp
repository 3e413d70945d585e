#include <cstdio>
#include <string>
#include <string_view>

#include <mime/mime.h>

#include "build_header_text.h"
#include "commands.h"
#include "failure.h"
#include "file_pieces.h"
#include "output.h"

namespace Tool {

using MIME::AnsiStr;

namespace {

constexpr char kInput[] = "standard input";

/// Base64 in lines of 76 characters, each ending in CR LF. Whole lines are written as they come.
void EncodeBase64() {
    constexpr unsigned kLine = 76;
    constexpr size_t kLineBytes = kLine / 4 * 3;
    const auto write = [](std::string_view bytes) {
        const auto size = static_cast<unsigned>(bytes.size());
        Print(KivGuiBase::Binary2B64Str(bytes.data(), size, kLine, "\r\n"));
        if (size != 0) Print("\r\n");
    };
    std::string waiting;
    ReadPieces(stdin, kInput, [&](std::string_view piece) {
        waiting += piece;
        const size_t whole = waiting.size() / kLineBytes * kLineBytes;
        write(std::string_view(waiting).substr(0, whole));
        waiting.erase(0, whole);
    });
    write(waiting);
}

/// All of standard input, which the encoders of texts take at once.
std::string ReadAll() {
    std::string text;
    ReadPieces(stdin, kInput, [&](std::string_view piece) {
        if (piece.size() > AnsiStr::kMaxLength - text.size()) throw Failure(kInput, "too large");
        text += piece;
    });
    return text;
}

void EncodeQuotedPrintable() {
    const std::string text = ReadAll();
    const AnsiStr encoded =
        MIME::Encoding::QPEncode(text.data(), static_cast<unsigned>(text.size()));
    constexpr size_t kByteOrderMark = 3;  // may be all there is, and is dropped
    if (encoded.IsEmpty() && text.size() > kByteOrderMark) throw Failure(kInput, GetLastReason());
    Print(encoded);
}

void EncodeWord() {
    std::string text = ReadAll();
    if (text.ends_with('\n')) text.pop_back();
    if (text.ends_with('\r')) text.pop_back();
    if (text.find('\0') != std::string::npos) throw Failure(kInput, "has a NUL");
    Print(MakeUnstructured(kInput, text));
    Print("\n");
}

}  // namespace

int Encode(Coding coding) {
    switch (coding) {
        case Coding::base64:
            EncodeBase64();
            break;
        case Coding::quotedPrintable:
            EncodeQuotedPrintable();
            break;
        case Coding::word:
            EncodeWord();
            break;
    }
    FinishOutput();
    return 0;
}

}  // namespace Tool
