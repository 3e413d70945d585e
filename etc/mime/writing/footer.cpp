#include "mime/writing/footer.h"

#include <algorithm>
#include <cstdio>

#include "kivgui/ascii.h"
#include "kivgui/utf8.h"
#include "mime/mail/text_charset.h"
#include "mime/writing/body_encoder.h"
#include "mime/writing/spliced_text.h"
#include "mime/writing/write_failure.h"

// Lines are added to the encoded body where that is possible, so that all before them stays byte for
// byte. Base64, a charset that cannot have the new text, and lines that cannot stand in a body that is
// not encoded, as those with a boundary or above 998 bytes, ask for the body to be made anew.

namespace MIME {

using KivGuiBase::EqualsCaseless;
using KivGuiBase::IsAsciiText;

namespace {

template <class TakeLine>
void ForEachLine(std::string_view text, TakeLine takeLine) {
    while (!text.empty()) {
        const size_t end = std::min(text.find_first_of("\r\n"), text.size());
        takeLine(text.substr(0, end));
        text.remove_prefix(end);
        if (text.starts_with("\r\n")) text.remove_prefix(1);
        if (!text.empty()) text.remove_prefix(1);
    }
}

/// Lines of a text that may be format=flowed (RFC 3676, 4.2 and 4.4): none is joined with the next.
std::string MakePlainLines(std::string_view text, bool isFlowed, std::string_view lineEnd) {
    std::string lines;
    ForEachLine(text, [&](std::string_view line) {
        if (isFlowed) {
            const bool isSeparator = line == "-- ";
            while (!isSeparator && line.ends_with(' ')) line.remove_suffix(1);
            if (line.starts_with(' ') || line.starts_with('>') || line.starts_with("From ")) {
                lines += ' ';
            }
        }
        lines += line;
        lines += lineEnd;
    });
    return lines;
}

/// @param character  one in UTF-8, or a byte that is none.
uint32_t GetCodePoint(std::string_view character) {
    if (character.size() == 1) return static_cast<unsigned char>(character[0]);
    uint32_t point = static_cast<unsigned char>(character[0]) & (0x7Fu >> character.size());
    for (const char tail : character.substr(1)) {
        point = point << 6 | (static_cast<unsigned char>(tail) & 0x3Fu);
    }
    return point;
}

/// HTML in ASCII, which suits any charset.
std::string MakeHtmlLines(std::string_view text, std::string_view lineEnd) {
    std::string html = "<p>";
    bool isFirst = true;
    ForEachLine(text, [&](std::string_view line) {
        if (!isFirst) html += "<br>";
        isFirst = false;
        for (size_t i = 0; i < line.size();) {
            const unsigned size = std::max(1u, KivGuiBase::MeasureUtf8(line.substr(i)));
            const std::string_view character = line.substr(i, size);
            if (size == 1 &&
                std::string_view("<>&\"").find(character[0]) == std::string_view::npos) {
                html += character;
            } else {
                html += "&#" + std::to_string(GetCodePoint(character)) + ";";
            }
            i += size;
        }
        html += lineEnd;
    });
    return html + "</p>";
}

/// Where in HTML the footer is put.
size_t FindBodyEnd(std::string_view html) {
    for (size_t at = html.rfind("</"); at != std::string_view::npos;
         at = html.rfind("</", at - 1)) {
        if (KivGuiBase::StartsWithCaseless(html.substr(at + 2), "body")) return at;
        if (at == 0) break;
    }
    return std::string_view::npos;
}

std::string EncodeQuotedPrintable(std::string_view text, std::string_view lineEnd) {
    BodyPlan plan;
    plan.encoding = TransferEncoding::quoted_printable;
    plan.protectsDashes = true;
    std::string encoded;
    EncodeBody(*MakeViewSource(text), plan, lineEnd,
               [&encoded](std::string_view piece) { encoded += piece; });
    return encoded;
}

struct TextKind {
    bool isHtml;
    bool isUtf8;  ///< its charset is UTF-8
    TransferEncoding::keys encoding;
    std::span<const std::string> boundaries;  ///< around it
};

/// Can lines stand in a body that is not encoded?
bool CanStandBare(std::string_view lines, std::span<const std::string> boundaries) {
    const SharedBody body = MakeCanonicalSource(MakeViewSource(lines));
    return static_cast<bool>(
        Caught<void>([&] { static_cast<void>(PlanBody(*body, BodyForm::verbatim, boundaries)); }));
}

/// Does the body stay readable when encoded `lines` are put into it?
bool CanInsert(const TextKind& kind, std::string_view lines, std::string_view body) {
    const bool fitsCharset = IsAsciiText(lines) || kind.isUtf8;
    if (kind.encoding == TransferEncoding::quoted_printable) {
        return fitsCharset && !body.ends_with('=');
    }
    const bool isIdentity = TransferEncoding::IsIdentity(kind.encoding);
    return isIdentity && fitsCharset &&
           (IsAsciiText(lines) || kind.encoding != TransferEncoding::bit7) &&
           CanStandBare(lines, kind.boundaries);
}

/// The lines with a line end before them where the text before them has none.
std::string BeginLine(std::string_view before, std::string lines, std::string_view lineEnd) {
    if (before.empty() || before.ends_with('\n')) return lines;
    return std::string(lineEnd) + lines;
}

std::optional<Footer::Insertion> Insert(const TextKind& kind, std::string_view body,
                                        const std::string& lines, std::string_view lineEnd) {
    if (!CanInsert(kind, lines, body)) return std::nullopt;
    const bool isEncoded = kind.encoding == TransferEncoding::quoted_printable;
    const std::string text = isEncoded ? EncodeQuotedPrintable(lines, lineEnd) : lines;
    const size_t at = kind.isHtml ? FindBodyEnd(body) : std::string_view::npos;
    if (at == std::string_view::npos) {
        // A soft line break may divide the tag that was looked for.
        if (kind.isHtml && isEncoded) return std::nullopt;
        return Footer::Insertion{body.size(), BeginLine(body, text, lineEnd)};
    }
    // Soft line breaks keep the lines of quoted-printable short.
    const std::string soft = (isEncoded ? "=" : "") + std::string(lineEnd);
    return Footer::Insertion{at, soft + text + soft};
}

std::string AddToText(const TextKind& kind, const std::string& text, const std::string& lines,
                      std::string_view lineEnd) {
    size_t at = kind.isHtml ? FindBodyEnd(text) : text.size();
    if (at == std::string::npos) at = text.size();
    std::string whole = text.substr(0, at);
    whole += BeginLine(whole, lines, lineEnd);
    return whole + text.substr(at);
}

}  // namespace

Footer MakeFooter(const Entity& entity, const FooterPlace& place, std::string_view text) {
    if (!KivGuiBase::IsUtf8(text)) Fail(ErrorCode::cannotEncode, "the added text is not UTF-8");
    const std::string charset = entity.GetCharset();
    const TextKind kind{entity.IsType("text/html"), EqualsCaseless(charset, "utf-8"),
                        place.encoding, place.boundaries};
    const bool isFlowed = EqualsCaseless(entity.GetParameter("Content-Type", "format"), "flowed");
    const auto makeLines = [&](std::string_view end) {
        return kind.isHtml ? MakeHtmlLines(text, end) : MakePlainLines(text, isFlowed, end);
    };
    Footer footer;
    if (!place.isAnew) {
        footer.insertion =
            Insert(kind, entity.GetRawBody(), makeLines(place.lineEnd), place.lineEnd);
    }
    if (footer.insertion) return footer;
    const DecodedText decoded = DecodeText(entity.Decode(), charset);
    if (decoded.replaced > 0) {
        Fail(ErrorCode::cannotEdit, "the text has bytes that its charset does not have");
    }
    const std::string_view ownEnd = FindLineEnd(decoded.text);
    footer.text = AddToText(kind, decoded.text, makeLines(ownEnd), ownEnd);
    return footer;
}

}  // namespace MIME
