#include <algorithm>
#include <cstdio>
#include <string>
#include <string_view>

#include <mime/mime.h>

#include "commands.h"
#include "encoded_words.h"
#include "failure.h"
#include "file_pieces.h"
#include "kivgui/ascii.h"
#include "output.h"

namespace Tool {

using MIME::AnsiStr;

namespace {

constexpr char kInput[] = "standard input";

/// Decodes base64 as it comes. White space may stand anywhere.
class Base64Decoder {
public:
    void Take(std::string_view piece) {
        std::copy_if(piece.begin(), piece.end(), std::back_inserter(waiting_),
                     [](char c) { return !KivGuiBase::IsSpaceAscii(c); });
        const size_t whole = waiting_.size() / 4 * 4;
        Decode(waiting_.substr(0, whole));
        waiting_.erase(0, whole);
    }

    void Finish() const {
        if (!waiting_.empty()) Fail();
    }

private:
    [[noreturn]] static void Fail() { throw Failure(kInput, "malformed base64"); }

    /// Whole groups. Padding ends the text.
    void Decode(const std::string& groups) {
        if (groups.empty()) return;
        if (isPadded_) Fail();
        isPadded_ = groups.back() == '=';
        std::string bytes(groups.size() / 4 * 3, '\0');
        auto size = static_cast<unsigned>(bytes.size());
        if (!KivGuiBase::B64Str2Binary(AnsiStr(groups), bytes.data(), size, "")) Fail();
        Print(std::string_view(bytes).substr(0, size));
    }

    std::string waiting_;
    bool isPadded_ = false;
};

void DecodeBase64() {
    Base64Decoder decoder;
    ReadPieces(stdin, kInput, [&](std::string_view piece) { decoder.Take(piece); });
    decoder.Finish();
}

/// Decodes one line, given without its line end, and prints it with CR LF or a soft break's none.
void PrintLine(std::string_view line) {
    MIME::Blob decoded;
    if (line.size() > AnsiStr::kMaxLength ||
        !MIME::Encoding::QPDecodeLine({line.data(), static_cast<unsigned>(line.size())}, decoded)) {
        throw Failure(kInput, GetLastReason());
    }
    Print({decoded.GetData(), decoded.GetSize()});
}

/// Line by line. A LF ends a line too, since text in a shell has such lines.
void DecodeQuotedPrintable() {
    std::string waiting;
    ReadPieces(stdin, kInput, [&](std::string_view piece) {
        for (size_t end; (end = piece.find('\n')) != std::string_view::npos;) {
            waiting += piece.substr(0, end);
            if (waiting.ends_with('\r')) waiting.pop_back();
            PrintLine(waiting);
            waiting.clear();
            piece.remove_prefix(end + 1);
        }
        waiting += piece;
    });
    // No line end follows the last line: with a soft break it gets none.
    if (!waiting.empty() && !waiting.ends_with('=')) waiting += '=';
    if (!waiting.empty()) PrintLine(waiting);
}

void DecodeWord() {
    std::string text;
    ReadPieces(stdin, kInput, [&](std::string_view piece) { text += piece; });
    Print(DecodeWords(text));
}

}  // namespace

int Decode(Coding coding) {
    switch (coding) {
        case Coding::base64:
            DecodeBase64();
            break;
        case Coding::quotedPrintable:
            DecodeQuotedPrintable();
            break;
        case Coding::word:
            DecodeWord();
            break;
    }
    FinishOutput();
    return 0;
}

}  // namespace Tool
