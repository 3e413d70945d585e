#include "build_body.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "build_fields.h"
#include "files.h"
#include "kivgui/ascii.h"
#include "kivgui/error.h"
#include "kivgui/memory_file.h"
#include "kivgui/utf8.h"
#include "message_source.h"
#include "output.h"

// The bodies of "build": each file becomes a part with a media type from its name, a charset from its bytes,
// and the transfer encoding that changes least of them: 7bit or 8bit for text that may travel as it is,
// quoted-printable for other text, base64 for the rest.

namespace Tool {

using KivGuiBase::File;
using KivGuiBase::IsAsciiText;
using KivGuiBase::IsUtf8;
using KivGuiBase::kByteOrderMark;
using KivGuiBase::MemoryFile;
using MIME::AnsiStr;
using MIME::ContentType;
using MIME::Part;
namespace SubType = MIME::SubType;
namespace TransferEncoding = MIME::TransferEncoding;
namespace Type = MIME::Type;

namespace {

/// Returns true if all line ends are CR LF and no line has more than 998 bytes (RFC 5322, 2.1.1).
bool HasPlainLines(std::string_view text) {
    constexpr size_t kMaxLine = 998;
    while (!text.empty()) {
        const size_t end = std::min(text.find('\r'), text.size());
        const std::string_view line = text.substr(0, end);
        if (line.size() > kMaxLine || line.find('\n') != std::string_view::npos) return false;
        if (end == text.size()) return true;
        if (text.substr(end, 2) != "\r\n") return false;
        text.remove_prefix(end + 2);
    }
    return true;
}

/// Returns true if the text can be sent as 8bit, or as 7bit when it is ASCII (RFC 2045, 2.7 and 2.8).
bool IsPlain(std::string_view text) {
    return text.find('\0') == std::string_view::npos && HasPlainLines(text);
}

/// Returns true if the text has a control byte other than tabs and line ends, or DEL.
bool HasControlsInLine(std::string_view text) {
    return std::any_of(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return (byte < ' ' && c != '\t' && c != '\r' && c != '\n') || byte == 0x7F;
    });
}

/// Turns each LF without a CR into CR LF. A CR alone is text.
std::string NormaliseLineEnds(std::string_view text) {
    std::string lines;
    lines.reserve(text.size() + text.size() / 16);
    while (!text.empty()) {
        const size_t end = std::min(text.find('\n'), text.size());
        lines += text.substr(0, end);
        if (end == text.size()) break;
        lines += lines.ends_with('\r') ? "\n" : "\r\n";
        text.remove_prefix(end + 1);
    }
    return lines;
}

TransferEncoding::keys ChooseEncoding(std::string_view text) {
    if (IsAsciiText(text) && IsPlain(text) && !HasControlsInLine(text))
        return TransferEncoding::bit7;
    // Quoted-printable takes two bytes more for each of these, base64 a third more for all.
    const auto escaped = std::count_if(text.begin(), text.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte > 0x7E || c == '=' || c == '.' || (byte < ' ' && c != '\r' && c != '\n');
    });
    return static_cast<size_t>(escaped) > text.size() / 6 ? TransferEncoding::base64
                                                          : TransferEncoding::quoted_printable;
}

/// The charset of a text that is UTF-8.
const char* GetCharset(std::string_view text) {
    return IsAsciiText(text) ? "us-ascii" : "utf-8";
}

void SetContent(Part& part, std::string_view text, TransferEncoding::keys encoding,
                const std::string& shown) {
    part.info.transferEncoding = encoding;
    part.data.content = text;
    if (part.data.content.GetLength() != text.size()) throw Failure(shown, GetLastReason());
}

/// The media type of the name's extension; application/octet-stream when it is not known.
ContentType GetType(const std::string& name) {
    ContentType type;
    const size_t dot = name.rfind('.');
    const std::string extension = dot == std::string::npos ? "" : name.substr(dot + 1);
    MIME::GetTypeFromExt(AnsiStr(extension), type);
    return type;
}

bool IsAttachedMessage(const ContentType& type) {
    return type.type == Type::message && type.subType == SubType::rfc822;
}

/// Quoted-printable keeps a text readable, but drops a byte-order mark, and encodes every line end
/// that is not CR LF.
bool SuitsQuotedPrintable(std::string_view text) {
    return IsUtf8(text) && !text.starts_with(kByteOrderMark) && HasPlainLines(text) &&
           text.find('\0') == std::string_view::npos;
}

/// Attaches an encoded file. It is sent as application/octet-stream when it is a text in an unknown
/// charset, which no program could show, or of a multipart or message type, which may not be
/// encoded (RFC 2046, 5.1 and 5.2.1).
void SetFileContent(Part& part, const MemoryFile& view, ContentType type,
                    const std::string& shown) {
    const std::string_view bytes(view.GetData(), view.GetSize());
    const bool isUnknownText = type.type == Type::text && !IsUtf8(bytes);
    if (isUnknownText || type.type == Type::multipart || type.type == Type::message) {
        type = {{}, Type::application, SubType::octet_stream};
    }
    const bool isText = type.type == Type::text;
    if (isText && !SuitsQuotedPrintable(bytes)) {
        // With a type key other than text the library chooses base64.
        type = {type.GetStr(), Type::application, SubType::octet_stream};
    }
    if (isText) part.info.charset = GetCharset(bytes);
    if (!part.SetContent(view, type)) throw Failure(shown, "too large to be encoded");
}

/// Attaches a message, which may not be encoded. @return false when it cannot be sent unencoded.
bool SetMessageContent(Part& part, std::string_view bytes, const ContentType& type,
                       const std::string& shown) {
    const std::string text = NormaliseLineEnds(bytes);
    if (!IsPlain(text)) return false;
    part.info.contentType = type;
    SetContent(part, text, IsAsciiText(text) ? TransferEncoding::bit7 : TransferEncoding::bit8,
               shown);
    return true;
}

void NameFile(Part& part, const std::string& name, const char* disposition) {
    MIME::HeaderValue& shown = GetField(part, "Content-Disposition");
    shown.value = disposition;
    SetParameter(shown, "filename", name);
    SetParameter(GetField(part, "Content-Type"), "name", name);
}

}  // namespace

std::string GetSentName(const std::string& path) {
    std::string name;
    const std::string found = FromPath(ToPath(path).filename());
    for (std::string_view rest = found; !rest.empty();) {
        const unsigned length = KivGuiBase::MeasureUtf8(rest);
        const std::string_view character = rest.substr(0, std::max(length, 1u));
        name += length == 0 || HasControls(character) ? "_" : character;
        rest.remove_prefix(character.size());
    }
    return name;
}

void BodyMaker::Open(MemoryFile& view, const std::string& path) {
    const std::string copy = folder_.At("stream-" + std::to_string(++copies_));
    KivGuiBase::SetLastError(KivGuiBase::kErrorNone);
    if (!view.Open(GetPlainFile(path, copy), MemoryFile::Mode::read)) {
        throw Failure(GetShownName(path), GetLastReason());
    }
}

std::unique_ptr<Part> BodyMaker::MakeText(const std::string& path, SubType::keys subType) {
    MemoryFile view;
    Open(view, path);
    std::string_view bytes(view.GetData(), view.GetSize());
    while (bytes.starts_with(kByteOrderMark)) bytes.remove_prefix(kByteOrderMark.size());
    if (!IsUtf8(bytes)) throw Failure(GetShownName(path), "is not UTF-8");
    const std::string text = NormaliseLineEnds(bytes);
    auto part = std::make_unique<Part>();
    part->info.contentType = {{}, Type::text, subType};
    part->info.charset = GetCharset(text);
    SetContent(*part, text, ChooseEncoding(text), GetShownName(path));
    return part;
}

std::unique_ptr<Part> BodyMaker::MakeFile(const std::string& path, const char* disposition) {
    MemoryFile view;
    Open(view, path);
    auto part = std::make_unique<Part>();
    const std::string name = GetSentName(path);
    const ContentType type = GetType(name);
    const std::string_view bytes(view.GetData(), view.GetSize());
    if (!IsAttachedMessage(type) || !SetMessageContent(*part, bytes, type, path)) {
        SetFileContent(*part, view, type, path);
    }
    NameFile(*part, name, disposition);
    return part;
}

}  // namespace Tool
