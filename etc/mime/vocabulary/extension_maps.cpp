#include "mime/vocabulary/extension_maps.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <string_view>

#include "mime/foundation/guarded.h"
#include "mime/foundation/lazy_table.h"

// The tables between file-name extensions and media types. The rows (file_types.inc) are checked when
// this file is compiled: their order, their marks and how many there are. The maps are built on first
// use from the rows, and read without a lock afterwards (lazy_table.h). A later row replaces the value
// of an earlier one with the same key, which extra_extensions.inc relies on.

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

// ---- Building the tables -------------------------------------------------------------------------

/// A later row replaces the value of an earlier one with the same key. Without memory the table is
/// given up as a whole (lazy_table.h).
template <class Map, class Value>
void Insert(Map& map, const AnsiStr& key, const Value& value) {
    auto* const node = map.FindOrInsert(key);
    if (node != nullptr) node->value = value;
}

void FillFileTypeMap(FileTypeMap& map) {
    for (const FileTypeRow& row : kFileTypes) {
        std::string_view list = row.extensions;
        while (!list.empty()) {
            Insert(map, TakeExtension(list), ContentType{AnsiStr(), row.type, row.subType});
        }
    }
}

/// Two types have "_" in their names, where header fields have "-".
AnsiStr SpeltInHeaders(Type::keys type) {
    if (type == Type::x_conference) return "x-conference";
    if (type == Type::x_epoc) return "x-epoc";
    return Type::GetStr(type);
}

void FillFileExtensionMap(FileExtensionMap& map) {
    for (const FileTypeRow& row : kFileTypes) {
        const std::string_view extension = PreferredExtension(row.extensions);
        if (extension.empty()) continue;
        AnsiStr mediaType = SpeltInHeaders(row.type);
        mediaType += '/';
        mediaType += SubType::GetStr(row.subType);
        Insert(map, mediaType.ToLower(), AnsiStr(extension));
    }
    for (const ExtraExtensionRow& row : kExtraExtensions) {
        Insert(map, row.mediaType, AnsiStr(row.extension));
    }
}

constinit LazyTable<FileTypeMap> fileTypes("FileTypeMap s_filetypemap", &FillFileTypeMap);
constinit LazyTable<FileExtensionMap> fileExtensions("FileExtensionMap s_fileextensionmap",
                                                     &FillFileExtensionMap);

// ---- Looking up ----------------------------------------------------------------------------------

/// Finds the lower-case form of `text`. Most texts have that form already and are not copied.
template <class Map>
auto FindLowerCase(const Map& map, const AnsiStr& text) noexcept {
    const std::string_view view = text;
    const bool hasUpper =
        std::any_of(view.begin(), view.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
    return map.Find(hasUpper ? AnsiStr(text).ToLower() : text);
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
    const auto* const node = Guarded(static_cast<const FileTypeMap::Node*>(nullptr),
                                     [&ext] { return FindLowerCase(GetFileTypeMap(), ext); });
    type = node != nullptr ? node->value.type : Type::application;
    subType = node != nullptr ? node->value.subType : SubType::octet_stream;
    return node != nullptr;
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
        const bool hasDot = *ext.GetStr() == '.';
        Type::keys type;
        SubType::keys subType;
        const bool isKnown =
            GetTypesFromExt(hasDot ? ext.Copy(1, AnsiStr::kToEnd) : ext, type, subType);
        text = CanonicType(type, subType);
        return isKnown;
    });
    typeStr = text;
    return isFound;
}

bool GetExtFromTypeStr(const AnsiStr& typeStr, AnsiStr& ext) noexcept {
    const auto* const node = Guarded(static_cast<const FileExtensionMap::Node*>(nullptr),
                                     [&] { return FindLowerCase(GetFileExtensionMap(), typeStr); });
    ext = node != nullptr ? node->value : AnsiStr();
    return node != nullptr;
}

}  // namespace MIME
