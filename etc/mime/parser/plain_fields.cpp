#include "mime/parser/plain_fields.h"

#include "kivgui/ascii.h"
#include "mime/foundation/char_class.h"
#include "mime/parser/fields.h"

// The short way past structured_field.cpp. Everything with more than one reading, or that the full grammar
// changes or removes, makes it give up, so that what it does accept means the same on both ways.

namespace MIME {

using KivGuiBase::EqualsCaseless;
using KivGuiBase::IsSpaceAscii;

namespace {

/// What a media type, a transfer encoding or the name of a parameter consists of.
constexpr ByteSet kNameBytes = ByteSet().With(0x21, 0x7E).Without("\"()*;=\\");
/// What a value without quotes, and one in quotes, consist of. "?" could be part of an encoded word.
constexpr ByteSet kBareBytes = ByteSet().With(0x21, 0x7E).Without("\"();\\");
constexpr ByteSet kQuotedBytes = ByteSet().With(0x20, 0x7E).Without("\"\\");

/// Takes a field's text from the front.
class PlainText {
public:
    explicit PlainText(std::string_view text) noexcept
        : next_(text.data()), end_(text.data() + text.size()) {}

    bool IsAtEnd() const noexcept { return next_ == end_; }
    bool IsAt(char c) const noexcept { return !IsAtEnd() && *next_ == c; }
    bool Skip(char c) noexcept {
        if (!IsAt(c)) return false;
        ++next_;
        return true;
    }
    void SkipSpace() noexcept {
        while (!IsAtEnd() && IsSpaceAscii(*next_)) ++next_;
    }
    std::string_view Take(const ByteSet& bytes) noexcept {
        const char* const begin = next_;
        while (!IsAtEnd() && bytes.Has(*next_)) ++next_;
        return {begin, static_cast<size_t>(next_ - begin)};
    }
    /// Between two parameters: white space, and a ";" unless the text ends.
    bool SkipSemicolon() noexcept {
        SkipSpace();
        return IsAtEnd() || Skip(';');
    }

private:
    const char* next_;
    const char* end_;
};

bool TakeValue(PlainText& text, std::string_view& value) noexcept {
    const bool isQuoted = text.Skip('"');
    value = text.Take(isQuoted ? kQuotedBytes : kBareBytes);
    if (isQuoted && !text.Skip('"')) return false;
    return value.find("=?") == std::string_view::npos;
}

/// Finds the first boundary in what follows the media type.
bool TakeBoundary(PlainText& text, std::string_view& boundary) noexcept {
    for (;;) {
        if (!text.SkipSemicolon()) return false;
        text.SkipSpace();
        if (text.IsAtEnd()) return true;
        if (text.IsAt(';')) continue;
        const std::string_view name = text.Take(kNameBytes);
        std::string_view value;
        if (name.empty() || !text.Skip('=') || !TakeValue(text, value)) return false;
        if (boundary.data() == nullptr && EqualsCaseless(name, "boundary")) boundary = value;
    }
}

/// Takes the media type; of anything but a multipart nothing else counts.
bool TakeType(std::string_view field, std::string_view& type, std::string_view& boundary) noexcept {
    PlainText text(field);
    type = text.Take(kNameBytes);
    if (type.empty()) return field.empty();
    if (IsMultipart(type)) return TakeBoundary(text, boundary);
    return text.IsAtEnd() || text.IsAt(';');
}

}  // namespace

bool ReadPlainFields(std::string_view type, std::string_view encoding, bool isInDigest,
                     const Reading& reading, EntityShape& shape) {
    std::string_view name;
    std::string_view boundary;
    if (PlainText(encoding).Take(kNameBytes).size() != encoding.size()) return false;
    if (!TakeType(type, name, boundary)) return false;
    shape.encoding = TransferEncoding::binary;
    FindTransferEncoding(encoding, shape.encoding);
    shape.boundary = boundary;
    shape.isMessage = CarriesMessage(name, isInDigest) && MayDescend(shape.encoding, reading);
    shape.isDigest = EqualsCaseless(name, "multipart/digest");
    shape.isPlainText = name.empty()
                            ? !isInDigest
                            : EqualsCaseless(name, "text/plain") || EqualsCaseless(name, "text");
    return true;
}

}  // namespace MIME
