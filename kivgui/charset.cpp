#include "kivgui/charset.h"

#include <algorithm>
#include <cstring>

#include "kivgui/ascii.h"
#include "kivgui/platform/platform.h"
#include "kivgui/text_builder.h"
#include "kivgui/utf8.h"

// A name becomes a key (its letters and digits, in lower case), and the key is looked up twice:
// first among the charsets that are converted here, which are those that nearly all mail uses and
// that every system must read alike; then among the names that a system knows under another name.
// What is in neither table is passed to the system as it is. To add a charset that the system
// converts, add a row to kAliases; to convert one here, add it to Kind, kBuiltIns and
// ConvertToUtf8.
//
// ASCII is found 32 bytes at a time, other text character by character. Malformed UTF-8 becomes one
// U+FFFD for each maximal subpart (Unicode, 3.9, "U+FFFD Substitution of Maximal Subparts").

namespace KivGuiBase {

namespace {

// ------------------------------------------------------------------------------------ names --

constexpr size_t kMaxName = 64;

/// A short NUL-terminated text. What does not fit is cut off.
class Name {
public:
    Name() noexcept = default;
    explicit Name(std::string_view text) noexcept { Append(text); }

    void Append(std::string_view text) noexcept {
        length_ += text.copy(text_ + length_, kMaxName - length_);
        text_[length_] = '\0';
    }
    void Append(char c) noexcept { Append(std::string_view(&c, 1)); }
    const char* GetStr() const noexcept { return text_; }
    std::string_view GetText() const noexcept { return {text_, length_}; }

private:
    char text_[kMaxName + 1]{};
    size_t length_ = 0;
};

constexpr bool IsAlphanumeric(char c) noexcept {
    const char lower = ToLowerAscii(c);
    return IsDigitAscii(c) || (lower >= 'a' && lower <= 'z');
}

/// Registered names have no other characters, and to some systems "/" and "," are instructions.
constexpr bool IsNameCharacter(char c) noexcept {
    return IsAlphanumeric(c) || std::string_view("-_.:+()").find(c) != std::string_view::npos;
}

bool IsName(std::string_view text) noexcept {
    return !text.empty() && text.size() <= kMaxName && IsAlphanumeric(text.front()) &&
           std::all_of(text.begin(), text.end(), IsNameCharacter);
}

/// The letters, in lower case, and digits of a name, by which names are compared.
Name MakeKey(std::string_view name) noexcept {
    Name key;
    for (const char c : name) {
        if (IsAlphanumeric(c)) key.Append(ToLowerAscii(c));
    }
    return key;
}

enum class Kind {
    other,
    ascii,
    utf8,
    latin1,
    windows1252,
    utf16,
    utf16be,
    utf16le,
    utf32,
    utf32be,
    utf32le
};

struct BuiltIn {
    std::string_view key;
    Kind kind;
};

constexpr BuiltIn kBuiltIns[] = {
    {"utf8", Kind::utf8},           {"usascii", Kind::ascii},
    {"iso88591", Kind::latin1},     {"windows1252", Kind::windows1252},
    {"ascii", Kind::ascii},         {"us", Kind::ascii},
    {"ansix341968", Kind::ascii},   {"ansix341986", Kind::ascii},
    {"iso646us", Kind::ascii},      {"iso646irv1991", Kind::ascii},
    {"isoir6", Kind::ascii},        {"cp367", Kind::ascii},
    {"ibm367", Kind::ascii},        {"csascii", Kind::ascii},
    {"unicode11utf8", Kind::utf8},  {"cp65001", Kind::utf8},
    {"csutf8", Kind::utf8},         {"latin1", Kind::latin1},
    {"l1", Kind::latin1},           {"iso885911987", Kind::latin1},
    {"isoir100", Kind::latin1},     {"cp819", Kind::latin1},
    {"ibm819", Kind::latin1},       {"csisolatin1", Kind::latin1},
    {"cp1252", Kind::windows1252},  {"xcp1252", Kind::windows1252},
    {"win1252", Kind::windows1252}, {"utf16", Kind::utf16},
    {"utf16be", Kind::utf16be},     {"utf16le", Kind::utf16le},
    {"iso10646ucs2", Kind::utf16},  {"ucs2", Kind::utf16},
    {"utf32", Kind::utf32},         {"utf32be", Kind::utf32be},
    {"utf32le", Kind::utf32le},     {"iso10646ucs4", Kind::utf32},
    {"ucs4", Kind::utf32},
};

Kind FindBuiltIn(std::string_view key) noexcept {
    for (const BuiltIn& row : kBuiltIns) {
        if (row.key == key) return row.kind;
    }
    return Kind::other;
}

struct Alias {
    std::string_view key;
    std::string_view name;  ///< for the system; empty for what is not a charset of mail
};

constexpr Alias kAliases[] = {
    // Supersets that senders use under the smaller name.
    {"gb2312", "gb18030"},
    {"xgb2312", "gb18030"},
    {"euccn", "gb18030"},
    {"gb231280", "gb18030"},
    {"csgb2312", "gb18030"},
    {"gbk", "gb18030"},
    {"xgbk", "gb18030"},
    {"cp936", "gb18030"},
    {"gb18030", "gb18030"},
    {"euckr", "cp949"},
    {"xeuckr", "cp949"},
    {"ksc5601", "cp949"},
    {"ksc56011987", "cp949"},
    {"ksc56011989", "cp949"},
    {"kscode", "cp949"},
    {"korean", "cp949"},
    {"uhc", "cp949"},
    {"shiftjis", "cp932"},
    {"xshiftjis", "cp932"},
    {"sjis", "cp932"},
    {"xsjis", "cp932"},
    {"mskanji", "cp932"},
    {"csshiftjis", "cp932"},
    {"windows31j", "cp932"},
    // Other spellings.
    {"xeucjp", "euc-jp"},
    {"eucjp", "euc-jp"},
    {"ujis", "euc-jp"},
    {"iso2022jp", "iso-2022-jp"},
    {"csiso2022jp", "iso-2022-jp"},
    {"iso2022kr", "iso-2022-kr"},
    {"big5", "big5"},
    {"xbig5", "big5"},
    {"csbig5", "big5"},
    {"cnbig5", "big5"},
    {"big5hkscs", "big5-hkscs"},
    {"koi8r", "koi8-r"},
    {"cskoi8r", "koi8-r"},
    {"koi8", "koi8-r"},
    {"koi8u", "koi8-u"},
    {"koi8ru", "koi8-u"},
    {"utf7", "utf-7"},
    {"unicode11utf7", "utf-7"},
    {"latin2", "iso-8859-2"},
    {"latin5", "iso-8859-9"},
    {"latin9", "iso-8859-15"},
    {"iso88598i", "iso-8859-8"},
    {"iso88598e", "iso-8859-8"},
    {"iso88596i", "iso-8859-6"},
    {"iso88596e", "iso-8859-6"},
    {"tis620", "tis-620"},
    {"iso885911", "tis-620"},
    {"windows874", "cp874"},
    {"macintosh", "macintosh"},
    {"macroman", "macintosh"},
    {"xmacroman", "macintosh"},
    {"mac", "macintosh"},
    // Names that a system may know, but whose meaning depends on the machine or its settings.
    {"wchart", ""},
    {"char", ""},
    {"internal", ""},
    {"locale", ""},
};

bool AreDigits(std::string_view text) noexcept {
    return !text.empty() && std::all_of(text.begin(), text.end(), IsDigitAscii);
}

/// The name that systems have for a charset. Empty when the charset counts as unknown.
Name MakeSystemName(std::string_view name, std::string_view key) noexcept {
    for (const Alias& alias : kAliases) {
        if (alias.key == key) return Name(alias.name);
    }
    constexpr Alias kPrefixes[] = {{"iso8859", "iso-8859-"},
                                   {"windows", "cp"},
                                   {"xwindows", "cp"},
                                   {"win", "cp"},
                                   {"xcp", "cp"},
                                   {"cp", "cp"}};
    for (const Alias& prefix : kPrefixes) {
        if (!key.starts_with(prefix.key)) continue;
        const std::string_view number = key.substr(prefix.key.size());
        if (!AreDigits(number) || number.size() > 5) continue;
        Name made(prefix.name);
        made.Append(number);
        return made;
    }
    return Name(name);
}

// -------------------------------------------------------------------------------- converters --

/// The text that converters write to, with the count of what they had to replace.
class Output {
public:
    explicit Output(size_t room) noexcept : text_(room) {}

    void Append(std::string_view piece) noexcept { text_.Append(piece); }
    void AppendMalformed() noexcept {
        ++replaced_;
        text_.Append(kReplacementCharacter);
    }
    /// Appends a code point; a number that is not one is malformed.
    void AppendCodePoint(uint32_t c) noexcept {
        char bytes[4];
        const unsigned length = EncodeUtf8(c, bytes);
        if (length == 0) return AppendMalformed();
        text_.Append({bytes, length});
    }

    CharsetResult Finish() noexcept { return {text_.Finish(), true, replaced_}; }

private:
    TextBuilder text_;
    uint64_t replaced_ = 0;
};

/// Length of the ASCII text at the start.
size_t MeasureAscii(std::string_view bytes) noexcept {
    constexpr uint64_t kHighBits = 0x8080808080808080;
    size_t length = 0;
    for (; bytes.size() - length >= 4 * sizeof(uint64_t); length += 4 * sizeof(uint64_t)) {
        uint64_t words[4];
        std::memcpy(words, bytes.data() + length, sizeof words);
        if (((words[0] | words[1] | words[2] | words[3]) & kHighBits) != 0) break;
    }
    while (length < bytes.size() && IsAscii(bytes[length])) ++length;
    return length;
}

/// Length of the well-formed UTF-8 at the start.
size_t MeasureWellFormed(std::string_view bytes) noexcept {
    size_t length = 0;
    for (;;) {
        length += MeasureAscii(bytes.substr(length));
        // Letters above ASCII come in words, so another one is likelier than ASCII.
        unsigned character = 0;
        while (length < bytes.size() && !IsAscii(bytes[length]) &&
               (character = MeasureUtf8(bytes.substr(length))) != 0) {
            length += character;
        }
        if (length == bytes.size() || character == 0) return length;
    }
}

CharsetResult ConvertUtf8(std::string_view bytes) noexcept {
    size_t length = MeasureWellFormed(bytes);
    Output out(bytes.size());
    while (length != bytes.size()) {
        out.Append(bytes.substr(0, length));
        bytes.remove_prefix(length);
        out.AppendMalformed();
        bytes.remove_prefix(MeasureMalformedUtf8(bytes));
        length = MeasureWellFormed(bytes);
    }
    out.Append(bytes);
    return out.Finish();
}

constexpr uint16_t kNone = 0xFFFF;

/// The characters 0x80 to 0x9F of windows-1252; the others are those of iso-8859-1.
constexpr uint16_t kWindows1252[32] = {
    0x20AC, kNone,  0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, kNone,  0x017D, kNone,  kNone,  0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, kNone,  0x017E, 0x0178};

uint32_t DecodeByte(Kind kind, unsigned char byte) noexcept {
    constexpr uint32_t kMalformed = 0xFFFFFFFF;
    if (kind == Kind::ascii) return kMalformed;
    if (kind == Kind::latin1 || byte >= 0xA0) return byte;
    const uint16_t c = kWindows1252[byte - 0x80];
    return c != kNone ? c : kMalformed;
}

/// us-ascii, iso-8859-1 and windows-1252.
CharsetResult ConvertBytes(std::string_view bytes, Kind kind) noexcept {
    Output out(bytes.size());
    for (;;) {
        const size_t length = MeasureAscii(bytes);
        out.Append(bytes.substr(0, length));
        bytes.remove_prefix(length);
        if (bytes.empty()) return out.Finish();
        out.AppendCodePoint(DecodeByte(kind, static_cast<unsigned char>(bytes.front())));
        bytes.remove_prefix(1);
    }
}

/// Reads units of 16 or 32 bits.
class UnitReader {
public:
    UnitReader(std::string_view bytes, size_t unitSize, bool isLittle) noexcept
        : bytes_(bytes), unitSize_(unitSize), isLittle_(isLittle) {}

    /// Skips a byte-order mark at the start, which decides the order of the bytes.
    void TakeMark() noexcept {
        const uint32_t swapped = unitSize_ == 2 ? 0xFFFE : 0xFFFE0000;
        if (!HasUnit()) return;
        if (Peek() == swapped) isLittle_ = !isLittle_;
        if (Peek() == 0xFEFF) Skip();
    }

    bool IsAtEnd() const noexcept { return bytes_.empty(); }
    bool HasUnit() const noexcept { return bytes_.size() >= unitSize_; }
    uint32_t Peek() const noexcept {
        uint32_t unit = 0;
        for (size_t i = 0; i < unitSize_; ++i) {
            const size_t place = isLittle_ ? unitSize_ - 1 - i : i;
            unit = unit << 8 | static_cast<unsigned char>(bytes_[place]);
        }
        return unit;
    }
    /// Skips a unit, or what there is of it.
    void Skip() noexcept { bytes_.remove_prefix(std::min(unitSize_, bytes_.size())); }

    /// The next character; a surrogate without its partner is returned alone.
    uint32_t Take() noexcept {
        const uint32_t high = Peek();
        Skip();
        if (unitSize_ != 2 || high < 0xD800 || high > 0xDBFF || !HasUnit()) return high;
        const uint32_t low = Peek();
        if (low < 0xDC00 || low > 0xDFFF) return high;
        Skip();
        return 0x10000 + ((high & 0x3FF) << 10 | (low & 0x3FF));
    }

private:
    std::string_view bytes_;
    size_t unitSize_;
    bool isLittle_;
};

CharsetResult ConvertUnits(std::string_view bytes, Kind kind) noexcept {
    const bool isNarrow = kind == Kind::utf16 || kind == Kind::utf16be || kind == Kind::utf16le;
    UnitReader units(bytes, isNarrow ? 2 : 4, kind == Kind::utf16le || kind == Kind::utf32le);
    if (kind == Kind::utf16 || kind == Kind::utf32) units.TakeMark();
    Output out(bytes.size());
    while (units.HasUnit()) out.AppendCodePoint(units.Take());
    if (!units.IsAtEnd()) out.AppendMalformed();
    return out.Finish();
}

CharsetResult ConvertBySystem(std::string_view bytes, const char* charset) noexcept {
    TextBuilder text;
    uint64_t replaced = 0;
    const bool known = Platform::AppendAsUtf8(charset, bytes, text, replaced);
    return {text.Finish(), known, replaced};
}

/// Some senders put quotes around the name.
std::string_view TrimQuotes(std::string_view name) noexcept {
    constexpr std::string_view kQuotes = "\"'";
    while (!name.empty() && kQuotes.find(name.front()) != std::string_view::npos) {
        name.remove_prefix(1);
    }
    while (!name.empty() && kQuotes.find(name.back()) != std::string_view::npos) {
        name.remove_suffix(1);
    }
    return name;
}

}  // namespace

bool IsUtf8Text(std::string_view bytes) noexcept {
    return MeasureWellFormed(bytes) == bytes.size();
}

CharsetResult ConvertToUtf8(std::string_view bytes, std::string_view charset) noexcept {
    const std::string_view name = TrimQuotes(TrimSpace(charset));
    if (name.empty()) return ConvertBytes(bytes, Kind::ascii);
    if (!IsName(name)) return {};
    const Name key = MakeKey(name);
    const Kind kind = FindBuiltIn(key.GetText());
    switch (kind) {
        case Kind::utf8:
            return ConvertUtf8(bytes);
        case Kind::ascii:
        case Kind::latin1:
        case Kind::windows1252:
            return ConvertBytes(bytes, kind);
        case Kind::other:
            break;
        default:
            return ConvertUnits(bytes, kind);
    }
    const Name systemName = MakeSystemName(name, key.GetText());
    if (systemName.GetText().empty()) return {};
    return ConvertBySystem(bytes, systemName.GetStr());
}

}  // namespace KivGuiBase
