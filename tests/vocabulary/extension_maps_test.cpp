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

}  // namespace
}  // namespace MIME
