#include "mime/vocabulary/extension_maps.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string_view>

#include "mime/mime.h"

namespace MIME {
namespace {

TEST(ExtensionMapsTest, HaveTheirNumberOfKeys) {
    EXPECT_EQ(std::distance(GetFileTypeMap().begin(), GetFileTypeMap().end()), 1262);
    EXPECT_EQ(std::distance(GetFileExtensionMap().begin(), GetFileExtensionMap().end()), 951);
}

TEST(ExtensionMapsTest, EveryExtensionIsFoundAgain) {
    for (const auto& entry : GetFileTypeMap()) {
        EXPECT_TRUE(entry.value.str.IsEmpty()) << entry.key;
        ContentType type;
        ASSERT_TRUE(GetTypeFromExt(entry.key, type)) << entry.key;
        EXPECT_EQ(type.type, entry.value.type) << entry.key;
        EXPECT_EQ(type.subType, entry.value.subType) << entry.key;
    }
}

// A file that is named after its media type is known again: no entry gives an extension that the
// other table lacks. And no key holds a letter that lower-casing the argument would take away.
TEST(ExtensionMapsTest, EveryMediaTypeLeadsToAKnownExtension) {
    for (const auto& entry : GetFileExtensionMap()) {
        AnsiStr ext;
        ASSERT_TRUE(GetExtFromTypeStr(entry.key, ext)) << entry.key;
        EXPECT_EQ(ext, entry.value) << entry.key;
        Type::keys type;
        SubType::keys subType;
        EXPECT_TRUE(GetTypesFromExt(ext, type, subType)) << entry.key << " " << ext;
    }
}

TEST(ExtensionMapsTest, GetTypesFromExt) {
    struct Case {
        const char* why;
        std::string_view ext;
        bool found;
        unsigned type;
        unsigned subType;
    };
    const Case cases[] = {
        {"first row", "ez", true, 1, 84},
        {"last row", "ice", true, 10, 1305},
        {"preferred extension", "txt", true, 8, 296},
        {"other extension of that row", "properties", true, 8, 296},
        {"digits", "3gp", true, 9, 2},
        {"one digit", "8", true, 1, 1454},
        {"a hyphen", "sfd-hdstx", true, 1, 683},
        {"an underscore", "x_b", true, 6, 1039},
        {"looked up in this direction only", "mpd", true, 1, 121},
        {"subtypes that differ in case alone", "sdf", true, 1, 422},
        {"subtypes that differ in case alone", "knp", true, 1, 743},
        {"upper case", "PDF", true, 1, 279},
        {"upper case, found as z", "Z", true, 1, 1303},
        {"a text ends at its first NUL", std::string_view("PDF\0X", 5), true, 1, 279},
        {"a leading dot", ".pdf", false, 1, 268},
        {"white space", "pdf ", false, 1, 268},
        {"the start of an extension", "propertie", false, 1, 268},
        {"a list from a row", "c cc", false, 1, 268},
        {"a row's mark", "txt*", false, 1, 268},
        {"no extension", "", false, 1, 268},
        {"bytes above 0x7F", "\xC3\x89Z", false, 1, 268},
    };
    for (const Case& c : cases) {
        const AnsiStr ext(c.ext);
        Type::keys type = Type::invalid;
        SubType::keys subType = SubType::invalid;
        EXPECT_EQ(GetTypesFromExt(ext, type, subType), c.found) << c.why;
        EXPECT_EQ(type, c.type) << c.why;
        EXPECT_EQ(subType, c.subType) << c.why;
        EXPECT_EQ(ext, c.ext) << c.why << ": the argument changed";

        ContentType contentType;
        contentType.str = "left over";
        EXPECT_EQ(GetTypeFromExt(ext, contentType), c.found) << c.why;
        EXPECT_EQ(contentType.str, "") << c.why;
        EXPECT_EQ(contentType.type, c.type) << c.why;
        EXPECT_EQ(contentType.subType, c.subType) << c.why;
    }
}

struct TextCase {
    const char* why;
    std::string_view in;
    bool found;
    std::string_view want;
};

TEST(ExtensionMapsTest, GetTypeStrFromExt) {
    constexpr std::string_view kUnknown = "application/octet-stream";
    const TextCase cases[] = {
        {"plain", "html", true, "text/html"},
        {"the type that is also given on a miss", "bin", true, kUnknown},
        {"one leading dot, upper case", ".Doc", true, "application/msword"},
        {"letter case of the subtype", "vcf", true, "text/x-vCard"},
        {"the key outside of the alphabet", "msg", true, "application/vnd.ms-outlook"},
        {"underscore of the type", "ice", true, "x_conference/x-cooltalk"},
        {"not the type that prefers it", "sisx", true, "application/vnd.symbian.install"},
        {"two dots", "..doc", false, kUnknown},
        {"a dot alone", ".", false, kUnknown},
        {"a file name", "a.doc", false, kUnknown},
        {"no extension", "", false, kUnknown},
    };
    for (const TextCase& c : cases) {
        AnsiStr typeStr = "left over";
        EXPECT_EQ(GetTypeStrFromExt(c.in, typeStr), c.found) << c.why;
        EXPECT_EQ(typeStr, c.want) << c.why;
    }
}

TEST(ExtensionMapsTest, GetExtFromTypeStr) {
    const TextCase cases[] = {
        {"first row", "application/andrew-inset", true, "ez"},
        {"one of several", "text/plain", true, "txt"},
        {"letter case", "Image/JPEG", true, "jpg"},
        {"letter case of the subtype", "text/x-vCard", true, "vcf"},
        {"upper-case extension", "application/x-compress", true, "Z"},
        {"rows that differ in case alone: the later one", "application/vnd.Kinar", true, "kne"},
        {"hyphen of the type", "x-conference/x-cooltalk", true, "ice"},
        {"underscore of the subtype", "image/vnd_nok_oplogo_color", true, "nol"},
        {"first without a row", "application/font-woff", true, "woff"},
        {"last without a row", "x-epoc/x-sisx-app", true, "sisx"},
        {"underscore of the type", "x_conference/x-cooltalk", false, ""},
        {"prefers no extension", "application/dash+xml", false, ""},
        {"no extension for it", "multipart/mixed", false, ""},
        {"parameters", "text/plain; charset=us-ascii", false, ""},
        {"white space", " text/plain", false, ""},
        {"no subtype", "text/", false, ""},
        {"an extension", "txt", false, ""},
        {"empty", "", false, ""},
    };
    for (const TextCase& c : cases) {
        AnsiStr ext = "left over";
        EXPECT_EQ(GetExtFromTypeStr(c.in, ext), c.found) << c.why;
        EXPECT_EQ(ext, c.want) << c.why;
    }
}

TEST(ExtensionMapsTest, RoundTripMayEndAtAnotherType) {
    struct Case {
        const char* typeStr;
        std::string_view ext;
        std::string_view back;
    };
    const Case cases[] = {
        {"text/plain", "txt", "text/plain"},
        {"application/x-gzip", "gz", "application/x-gunzip"},
        {"image/x-icon", "ico", "image/vnd.microsoft.icon"},
        {"x-epoc/x-sisx-app", "sisx", "application/vnd.symbian.install"},
    };
    for (const Case& c : cases) {
        AnsiStr ext;
        AnsiStr back;
        EXPECT_TRUE(GetExtFromTypeStr(c.typeStr, ext)) << c.typeStr;
        EXPECT_EQ(ext, c.ext) << c.typeStr;
        EXPECT_TRUE(GetTypeStrFromExt(ext, back)) << c.typeStr;
        EXPECT_EQ(back, c.back);
    }
}

TEST(ExtensionMapsTest, ArgumentAndResultMayBeOneString) {
    AnsiStr text = ".PDF";
    EXPECT_TRUE(GetTypeStrFromExt(text, text));
    EXPECT_EQ(text, "application/pdf");
    EXPECT_TRUE(GetExtFromTypeStr(text, text));
    EXPECT_EQ(text, "pdf");

    ContentType type;
    type.str = "pdf";
    EXPECT_TRUE(GetTypeFromExt(type.str, type));
    EXPECT_EQ(type.subType, SubType::pdf);
    EXPECT_EQ(type.str, "");
}

}  // namespace
}  // namespace MIME
