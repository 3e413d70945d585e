#include "mime/vocabulary/extension_maps.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <utility>

#include "kivgui/ascii.h"
#include "mime/foundation/guarded.h"
#include "mime/foundation/lazy_table.h"
#include "mime/mime.h"

// The tables between file-name extensions and media types. The rows (file_types.inc) are checked, and
// their texts laid out one after the other, when this file is compiled. What is built on first use, and
// read without a lock afterwards (lazy_table.h), is a hash table of their numbers: it needs no memory but
// its own. A later row replaces an earlier one with the same key, which extra_extensions.inc relies on.

namespace MIME {
namespace {

// ---- The rows, and what the compiler checks of them ----------------------------------------------

struct FileTypeRow {
    Type::keys type;
    SubType::keys subType;
    std::string_view extensions;
};

constexpr FileTypeRow kFileTypes[] = {
#define MIME_FILE_TYPE(type, subType, extensions) {Type::type, SubType::subType, extensions},
#include "mime/vocabulary/file_types.inc"
};

struct ExtraExtensionRow {
    std::string_view mediaType;
    std::string_view extension;
};

constexpr ExtraExtensionRow kExtraExtensions[] = {
#define MIME_EXTRA_EXTENSION(mediaType, extension) {mediaType, extension},
#include "mime/vocabulary/extra_extensions.inc"
};

/// Takes the first extension off a row's list and returns it without its mark.
constexpr std::string_view TakeExtension(std::string_view& list) {
    std::string_view extension = list.substr(0, list.find(' '));
    list.remove_prefix(std::min(extension.size() + 1, list.size()));
    if (extension.starts_with('-')) extension.remove_prefix(1);
    if (extension.ends_with('*')) extension.remove_suffix(1);
    return extension;
}

/// The extension for files of the row's type: the one marked "*", or the only one. Empty when
/// that is marked "-".
constexpr std::string_view PreferredExtension(std::string_view list) {
    if (list.starts_with('-')) return {};
    const std::string_view upToMark = list.substr(0, list.find('*'));
    return upToMark.substr(upToMark.rfind(' ') + 1);  // npos + 1 is 0
}

constexpr bool IsExtension(std::string_view text) {
    return text == "Z" || (!text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
           }));
}

constexpr bool IsExtensionList(std::string_view list) {
    const bool isSingle = list.find(' ') == std::string_view::npos;
    if (std::count(list.begin(), list.end(), '*') != (isSingle ? 0 : 1)) return false;
    if (list.starts_with('-') && !isSingle) return false;
    std::string_view previous;
    while (!list.empty()) {
        const std::string_view extension = TakeExtension(list);
        if (!IsExtension(extension) || extension <= previous) return false;
        previous = extension;
    }
    return !previous.empty();
}

#define MIME_FILE_TYPE(type, subType, extensions) \
    static_assert(IsExtensionList(extensions), extensions);
#include "mime/vocabulary/file_types.inc"

constexpr bool IsBefore(const FileTypeRow& a, const FileTypeRow& b) {
    return a.type != b.type ? a.type < b.type : a.subType < b.subType;
}

// Strictly ascending, so no media type has two rows.
static_assert(std::adjacent_find(std::begin(kFileTypes), std::end(kFileTypes),
                                 [](const FileTypeRow& a, const FileTypeRow& b) {
                                     return !IsBefore(a, b);
                                 }) == std::end(kFileTypes));

constexpr size_t CountExtensions() {
    size_t count = 0;
    for (const FileTypeRow& row : kFileTypes) {
        count +=
            1 + static_cast<size_t>(std::count(row.extensions.begin(), row.extensions.end(), ' '));
    }
    return count;
}

constexpr size_t CountPreferredExtensions() {
    return static_cast<size_t>(std::count_if(
        std::begin(kFileTypes), std::end(kFileTypes),
        [](const FileTypeRow& row) { return !PreferredExtension(row.extensions).empty(); }));
}

static_assert(std::size(kFileTypes) == 913);
static_assert(CountExtensions() == 1262);
static_assert(CountPreferredExtensions() == 912);
static_assert(std::size(kExtraExtensions) == 40);

// ---- The texts, and what belongs to each ---------------------------------------------------------

struct TextSize {
    size_t chars = 0;
    size_t texts = 0;

    constexpr void Append(std::string_view text) { chars += text.size(); }
    constexpr void EndText() { ++texts; }
};

/// The memory of a TextTable.
template <size_t kChars, size_t kTexts>
struct Texts {
    char chars[kChars]{};
    uint16_t ends[kTexts]{};
    TextSize used;

    constexpr void Append(std::string_view text) {
        for (const char c : text) chars[used.chars++] = c;
    }
    constexpr void EndText() {
        ends[used.texts] = static_cast<uint16_t>(used.chars);
        used.EndText();
    }
    constexpr TextTable GetTable() const { return {chars, ends}; }
};

/// Lays out the texts that `kList` appends to its argument.
template <auto kList>
constexpr auto LayOut() {
    constexpr TextSize kSize = [] {
        TextSize size;
        kList(size);
        return size;
    }();
    static_assert(kSize.chars <= UINT16_MAX && kSize.texts < UINT16_MAX);
    Texts<kSize.chars, kSize.texts> texts;
    kList(texts);
    return texts;
}

constexpr auto kExtensions = LayOut<[](auto& out) {
    for (const FileTypeRow& row : kFileTypes) {
        for (std::string_view list = row.extensions; !list.empty();) {
            out.Append(TakeExtension(list));
            out.EndText();
        }
    }
}>();

struct TypeKeys {
    Type::keys type;
    SubType::keys subType;
};

constexpr auto kTypesOfExtensions = [] {
    std::array<TypeKeys, CountExtensions()> types{};
    size_t next = 0;
    for (const FileTypeRow& row : kFileTypes) {
        for (std::string_view list = row.extensions; !list.empty(); TakeExtension(list)) {
            types[next++] = {row.type, row.subType};
        }
    }
    return types;
}();

constexpr std::string_view kTypeTexts[] = {
#define MIME_TYPE(id, text) text,
#include "mime/vocabulary/types.inc"
};

constexpr std::string_view kSubTypeTexts[] = {
#define MIME_SUBTYPE(id, text) text,
#include "mime/vocabulary/subtypes.inc"
};

/// Two types have "_" in their names, where header fields have "-".
constexpr std::string_view SpeltInHeaders(Type::keys type) {
    if (type == Type::x_conference) return "x-conference";
    if (type == Type::x_epoc) return "x-epoc";
    return kTypeTexts[type];
}

constexpr auto kMixedCaseMediaTypes = LayOut<[](auto& out) {
    for (const FileTypeRow& row : kFileTypes) {
        if (row.extensions.starts_with('-')) continue;
        out.Append(SpeltInHeaders(row.type));
        out.Append("/");
        out.Append(kSubTypeTexts[row.subType]);
        out.EndText();
    }
    for (const ExtraExtensionRow& row : kExtraExtensions) {
        out.Append(row.mediaType);
        out.EndText();
    }
}>();

constexpr auto kMediaTypes = [] {
    auto texts = kMixedCaseMediaTypes;
    for (char& c : texts.chars) c = KivGuiBase::ToLowerAscii(c);
    return texts;
}();

constexpr auto kExtensionsOfMediaTypes = LayOut<[](auto& out) {
    for (const FileTypeRow& row : kFileTypes) {
        const std::string_view extension = PreferredExtension(row.extensions);
        if (extension.empty()) continue;
        out.Append(extension);
        out.EndText();
    }
    for (const ExtraExtensionRow& row : kExtraExtensions) {
        out.Append(row.extension);
        out.EndText();
    }
}>();

// ---- The tables ----------------------------------------------------------------------------------

template <const auto& kTexts, class Map>
void InsertAll(Map& map) {
    for (size_t number = 0; number < kTexts.used.texts; ++number)
        map.Insert(kTexts.GetTable(), number);
}

constinit LazyTable<FileTypeMap> fileTypes("FileTypeMap s_filetypemap", &InsertAll<kExtensions>);
constinit LazyTable<FileExtensionMap> fileExtensions("FileExtensionMap s_fileextensionmap",
                                                     &InsertAll<kMediaTypes>);

// ---- Looking up: a text ends at its first NUL -----------------------------------------------------

bool FindTypes(std::string_view ext, Type::keys& type, SubType::keys& subType) noexcept {
    const size_t number = fileTypes.Get().Find(kExtensions.GetTable(), ext);
    const bool isFound = number != FileTypeMap::kNone;
    type = isFound ? kTypesOfExtensions[number].type : Type::application;
    subType = isFound ? kTypesOfExtensions[number].subType : SubType::octet_stream;
    return isFound;
}

}  // namespace

const FileTypeMap& GetFileTypeMap() noexcept {
    return fileTypes.Get();
}

const FileExtensionMap& GetFileExtensionMap() noexcept {
    return fileExtensions.Get();
}

void EmptyExtensionMaps() noexcept {
    fileExtensions.Empty();
    fileTypes.Empty();
}

bool GetTypesFromExt(const AnsiStr& ext, Type::keys& type, SubType::keys& subType) noexcept {
    return Guarded(false, [&] { return FindTypes(GetCText(ext), type, subType); });
}

bool GetTypeFromExt(const AnsiStr& ext, ContentType& type) noexcept {
    // The string is emptied last: `ext` may be that string.
    const bool isFound = GetTypesFromExt(ext, type.type, type.subType);
    type.str = AnsiStr();
    return isFound;
}

bool GetTypeStrFromExt(const AnsiStr& ext, AnsiStr& typeStr) noexcept {
    AnsiStr text;
    const bool isFound = Guarded(false, [&] {
        std::string_view name = GetCText(ext);
        if (name.starts_with('.')) name.remove_prefix(1);
        Type::keys type;
        SubType::keys subType;
        const bool isKnown = FindTypes(name, type, subType);
        text = CanonicType(type, subType);
        return isKnown;
    });
    typeStr = std::move(text);
    return isFound;
}

bool GetExtFromTypeStr(const AnsiStr& typeStr, AnsiStr& ext) noexcept {
    AnsiStr found;
    const bool isFound = Guarded(false, [&] {
        const size_t number = GetFileExtensionMap().Find(kMediaTypes.GetTable(), GetCText(typeStr));
        if (number == FileExtensionMap::kNone) return false;
        found = kExtensionsOfMediaTypes.GetTable()[number];
        return true;
    });
    ext = std::move(found);
    return isFound;
}

}  // namespace MIME
