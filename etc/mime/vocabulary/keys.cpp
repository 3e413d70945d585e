#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

#include "kivgui/ascii.h"
#include "mime/mime.h"

// The texts of the enumerations, compiled from the same rows: a key is the index of its row, so a look-up
// costs an index. Static checks hold each row to its place, its identifier to its text, and the counts.

namespace MIME {
namespace {

using KivGuiBase::IsDigitAscii;

constexpr std::string_view kTypes[] = {
#define MIME_TYPE(id, text) text,
#include "mime/vocabulary/types.inc"
};

constexpr std::string_view kSubTypes[] = {
#define MIME_SUBTYPE(id, text) text,
#include "mime/vocabulary/subtypes.inc"
};

constexpr std::string_view kHeaders[] = {
#define MIME_HEADER(id, text) text,
#include "mime/vocabulary/headers.inc"
};

constexpr std::string_view kTransferEncodings[] = {
#define MIME_TRANSFER_ENCODING(key, text, isIdentity, codec) text,
#include "mime/encoding/transfer_encodings.inc"
};

static_assert(std::size(kTypes) == 12);
static_assert(std::size(kSubTypes) == 1503);
static_assert(std::size(kHeaders) == 16);

constexpr bool IsLetterOrDigit(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || IsDigitAscii(c);
}

/// Returns true if a row's identifier is the one that its text requires.
constexpr bool IsIdentifierOf(std::string_view id, std::string_view text) {
    if (text.empty()) return false;
    if (IsDigitAscii(text.front())) {
        if (!id.starts_with('n')) return false;
        id.remove_prefix(1);
    }
    if (id.size() != text.size()) return false;
    for (size_t i = 0; i < id.size(); ++i) {
        if (id[i] != (IsLetterOrDigit(text[i]) ? text[i] : '_')) return false;
    }
    return true;
}

#define MIME_TYPE(id, text) static_assert(IsIdentifierOf(#id, text), text);
#include "mime/vocabulary/types.inc"
#define MIME_SUBTYPE(id, text) static_assert(IsIdentifierOf(#id, text), text);
#include "mime/vocabulary/subtypes.inc"
#define MIME_HEADER(id, text) static_assert(IsIdentifierOf(#id, text), text);
#include "mime/vocabulary/headers.inc"

/// Empty for a number above the last row: hosts can pass any number as a key.
template <size_t kCount>
constexpr std::string_view TextOf(const std::string_view (&texts)[kCount], unsigned key) noexcept {
    return key < kCount ? texts[key] : std::string_view();
}

template <size_t kCount>
constexpr size_t LongestOf(const std::string_view (&texts)[kCount]) {
    size_t longest = 0;
    for (const std::string_view text : texts) longest = std::max(longest, text.size());
    return longest;
}

}  // namespace

// A text is one allocation, so it is whole or empty.

AnsiStr Type::GetStr(keys key) noexcept {
    return TextOf(kTypes, key);
}

AnsiStr SubType::GetStr(keys key) noexcept {
    return TextOf(kSubTypes, key);
}

AnsiStr Header::GetStr(keys key) noexcept {
    return TextOf(kHeaders, key);
}

AnsiStr TransferEncoding::GetStr(keys key) noexcept {
    return TextOf(kTransferEncodings, key);
}

AnsiStr CanonicType(Type::keys type, SubType::keys subType) noexcept {
    const std::string_view typeText = TextOf(kTypes, type);
    const std::string_view subTypeText = TextOf(kSubTypes, subType);
    char text[LongestOf(kTypes) + 1 + LongestOf(kSubTypes)];
    char* end = std::copy(typeText.begin(), typeText.end(), text);
    *end++ = '/';
    end = std::copy(subTypeText.begin(), subTypeText.end(), end);
    return AnsiStr(text, static_cast<unsigned>(end - text));
}

}  // namespace MIME
