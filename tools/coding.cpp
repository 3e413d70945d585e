#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>

#include <mime/mime.h>

#include "commands.h"
#include "files.h"
#include "kivgui/ascii.h"
#include "kivgui/convert.h"
#include "kivgui/hex.h"
#include "kivgui/utf8.h"
#include "output.h"

// "encode" and "decode". Base64 is coded in pieces, so input may be of any size; the others take
// whole lines or the whole text. Every decoder returns what its encoder was given.

namespace Tool {

using MIME::AnsiStr;

namespace {

constexpr char kInput[] = "standard input";

// ----------------------------------------------------------------------------------- encode --

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

/// All of standard input, for the encoders that need the whole text.
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
    // A byte-order mark is dropped, and may be all there is.
    const bool isEmpty = KivGuiBase::SkipByteOrderMark(text).empty();
    if (encoded.IsEmpty() && !isEmpty) throw Failure(kInput, GetLastReason());
    Print(encoded);
}

/// Returns true if mail programs show the text as it is when it stands bare in a field. A long word has
/// no place where its line can be folded (RFC 5322, 2.1.1).
bool CanBeBare(std::string_view text) {
    constexpr size_t kMaxWord = 900;
    size_t word = 0;
    for (const char c : text) {
        word = c == ' ' ? 0 : word + 1;
        if (static_cast<unsigned char>(c) < ' ' || c == '\x7F' || word > kMaxWord) return false;
    }
    return !text.starts_with(' ') && !text.ends_with(' ') &&
           text.find("=?") == std::string_view::npos;
}

void EncodeWord() {
    std::string text = ReadAll();
    if (text.ends_with('\n')) text.pop_back();
    if (text.ends_with('\r')) text.pop_back();
    if (text.find('\0') != std::string::npos) throw Failure(kInput, "has a NUL");
    if (!KivGuiBase::IsUtf8(text)) throw Failure(kInput, "is not UTF-8");
    Print(MIME::Encoding::QEncode(AnsiStr(text), !CanBeBare(text)));
    Print("\n");
}

// ----------------------------------------------------------------------------------- decode --

/// Decodes base64 as it comes. White space may be anywhere.
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

    /// Decodes whole groups. Nothing may follow padding.
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

/// Decodes one line, given without its line end, and prints it with CR LF, or without a line end
/// after a soft line break.
void PrintLine(std::string_view line) {
    MIME::Blob decoded;
    if (line.size() > AnsiStr::kMaxLength ||
        !MIME::Encoding::QPDecodeLine({line.data(), static_cast<unsigned>(line.size())}, decoded)) {
        throw Failure(kInput, GetLastReason());
    }
    Print({decoded.GetData(), decoded.GetSize()});
}

/// Decodes line by line. A lone LF ends a line too, since text in a shell has such lines.
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

std::optional<std::string> DecodeQ(std::string_view text) {
    std::string bytes;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '=') {
            bytes += text[i] == '_' ? ' ' : text[i];
            continue;
        }
        const unsigned byte = KivGuiBase::ReadHexEscape(text.substr(i));
        if (byte > 0xFF) return std::nullopt;
        bytes += static_cast<char>(byte);
        i += KivGuiBase::kHexEscapeLength - 1;
    }
    return bytes;
}

std::optional<std::string> DecodeB(std::string_view text) {
    std::string bytes(text.size(), '\0');
    auto size = static_cast<unsigned>(bytes.size());
    if (!KivGuiBase::B64Str2Binary(AnsiStr(text), bytes.data(), size, "")) return std::nullopt;
    bytes.resize(size);
    return bytes;
}

/// Removes everything up to and including `end` from the text and returns what precedes `end`;
/// fails when white space comes first. A word is on one line, which bounds the search.
std::optional<std::string_view> TakeField(std::string_view& text, std::string_view end) {
    constexpr size_t kMaxLine = 998;
    const size_t length = text.substr(0, kMaxLine).find(end);
    if (length == std::string_view::npos) return std::nullopt;
    const std::string_view field = text.substr(0, length);
    if (std::any_of(field.begin(), field.end(), KivGuiBase::IsSpaceAscii)) return std::nullopt;
    text.remove_prefix(length + end.size());
    return field;
}

bool IsDecodable(std::string_view charset) {
    // A language may follow (RFC 2231, 5).
    const std::string_view name = charset.substr(0, charset.find('*'));
    return KivGuiBase::EqualsCaseless(name, "utf-8") ||
           KivGuiBase::EqualsCaseless(name, "us-ascii");
}

/// Removes the encoded word at the start of the text and returns what it says. Nothing is removed
/// when there is no word.
std::optional<std::string> TakeWord(std::string_view& text) {
    if (!text.starts_with("=?")) return std::nullopt;
    std::string_view rest = text.substr(2);
    const auto charset = TakeField(rest, "?");
    if (!charset || !IsDecodable(*charset)) return std::nullopt;
    const auto encoding = TakeField(rest, "?");
    if (!encoding || encoding->size() != 1) return std::nullopt;
    const auto encoded = TakeField(rest, "?=");
    if (!encoded) return std::nullopt;
    const char kind = KivGuiBase::ToLowerAscii(encoding->front());
    std::optional<std::string> bytes;
    if (kind == 'q') bytes = DecodeQ(*encoded);
    if (kind == 'b') bytes = DecodeB(*encoded);
    if (bytes) text = rest;
    return bytes;
}

/// Decodes the encoded words of header text (RFC 2047) in utf-8 and us-ascii to UTF-8, wherever they
/// are, and drops white space between two of them. Everything else stays as it is: words in other
/// charsets, and malformed words. Unlike Decoding::Words, control characters come out as they went
/// in, so that what "encode" made comes back.
std::string DecodeWords(std::string_view text) {
    std::string decoded;
    size_t wordEnd = std::string::npos;  // where the white space after a word begins
    while (!text.empty()) {
        if (const auto word = TakeWord(text)) {
            if (wordEnd != std::string::npos) decoded.resize(wordEnd);
            decoded += *word;
            wordEnd = decoded.size();
            continue;
        }
        if (!KivGuiBase::IsSpaceAscii(text.front())) wordEnd = std::string::npos;
        decoded += text.front();
        text.remove_prefix(1);
    }
    return decoded;
}

void DecodeWord() {
    std::string text;
    ReadPieces(stdin, kInput, [&](std::string_view piece) { text += piece; });
    Print(DecodeWords(text));
}

/// Runs the function for a form, in the order of Coding.
int Run(Coding coding, void (*const (&forms)[3])()) {
    forms[static_cast<size_t>(coding)]();
    FinishOutput();
    return 0;
}

}  // namespace

int Encode(Coding coding) {
    return Run(coding, {EncodeBase64, EncodeQuotedPrintable, EncodeWord});
}

int Decode(Coding coding) {
    return Run(coding, {DecodeBase64, DecodeQuotedPrintable, DecodeWord});
}

}  // namespace Tool
