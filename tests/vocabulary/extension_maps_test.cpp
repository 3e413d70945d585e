#include "mime/vocabulary/extension_maps.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "mime/mime.h"

namespace MIME {
namespace {

// Says something only in a process that has looked nothing up before: run it alone, as ctest does.
TEST(ExtensionMapsRaceTest, FirstLookupsAtOnceSeeTheSameWholeTables) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([] {
            const auto& types = GetFileTypeMap();
            const auto& extensions = GetFileExtensionMap();
            EXPECT_EQ(std::distance(types.begin(), types.end()), 1262);
            EXPECT_EQ(std::distance(extensions.begin(), extensions.end()), 951);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

// No entry gives an extension that the other table lacks, and no key holds a letter that
// lower-casing the argument would take away.
TEST(ExtensionMapsTest, EveryKeyIsFoundAgain) {
    ContentType type;
    for (const auto& entry : GetFileTypeMap()) {
        ASSERT_TRUE(GetTypeFromExt(entry.key, type)) << entry.key;
        EXPECT_EQ(type.subType, entry.value.subType) << entry.key;
    }
    for (const auto& entry : GetFileExtensionMap()) {
        AnsiStr ext;
        ASSERT_TRUE(GetExtFromTypeStr(entry.key, ext)) << entry.key;
        EXPECT_EQ(ext, entry.value) << entry.key;
        EXPECT_TRUE(GetTypeFromExt(ext, type)) << entry.key << " " << ext;
    }
}

TEST(ExtensionMapsTest, GetTypesFromExt) {
    struct Case {
        std::string_view ext;
        bool found;
        unsigned type;
        unsigned subType;
    };
    const Case cases[] = {
        {"ez", true, 1, 84},            // the first row
        {"ice", true, 10, 1305},        // the last row
        {"properties", true, 8, 296},   // not the preferred one of its row
        {"knp", true, 1, 743},          // subtypes that differ in case alone
        {{"PDF\0X", 5}, true, 1, 279},  // a text ends at its first NUL
        {".pdf", false, 1, 268},        // octet-stream
        {"c cc", false, 1, 268},        // a list from a row
        {"txt*", false, 1, 268},        // a row's mark
    };
    for (const Case& c : cases) {
        ContentType type{"left over", Type::invalid, SubType::invalid};
        EXPECT_EQ(GetTypeFromExt(AnsiStr(c.ext), type), c.found) << c.ext;
        EXPECT_EQ(type.str, "") << c.ext;
        EXPECT_EQ(type.type, c.type) << c.ext;
        EXPECT_EQ(type.subType, c.subType) << c.ext;
    }
}

TEST(ExtensionMapsTest, TextsInBothDirections) {
    struct Case {
        bool (*find)(const AnsiStr& in, AnsiStr& out);
        const char* in;
        bool found;
        const char* want;
    };
    const Case cases[] = {
        {GetTypeStrFromExt, ".Doc", true, "application/msword"},
        {GetTypeStrFromExt, "vcf", true, "text/x-vCard"},
        {GetTypeStrFromExt, "ice", true, "x_conference/x-cooltalk"},
        {GetTypeStrFromExt, "sisx", true, "application/vnd.symbian.install"},
        {GetTypeStrFromExt, "..doc", false, "application/octet-stream"},
        {GetExtFromTypeStr, "Image/JPEG", true, "jpg"},
        {GetExtFromTypeStr, "application/x-compress", true, "Z"},
        {GetExtFromTypeStr, "application/vnd.Kinar", true, "kne"},  // the later of two rows
        {GetExtFromTypeStr, "x-conference/x-cooltalk", true, "ice"},
        {GetExtFromTypeStr, "application/font-woff", true, "woff"},  // has no row
        {GetExtFromTypeStr, "x-epoc/x-sisx-app", true, "sisx"},
        {GetExtFromTypeStr, "application/dash+xml", false, ""},  // prefers none
        {GetExtFromTypeStr, "text/plain; charset=us-ascii", false, ""},
    };
    for (const Case& c : cases) {
        AnsiStr text = c.in;
        EXPECT_EQ(c.find(text, text), c.found) << c.in;  // argument and result may be one string
        EXPECT_EQ(text, c.want) << c.in;
    }
}

}  // namespace
}  // namespace MIME
