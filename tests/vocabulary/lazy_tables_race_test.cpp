#include "mime/vocabulary/extension_maps.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <latch>
#include <thread>

#include "mime/mime.h"

namespace MIME {
namespace {

// What one thread found: which tables, and how much of them.
struct Seen {
    bool foundType = false;
    bool foundExtension = false;
    const FileTypeMap* fileTypes = nullptr;
    const FileExtensionMap* fileExtensions = nullptr;
    std::ptrdiff_t fileTypeCount = 0;
    std::ptrdiff_t fileExtensionCount = 0;
};

void LookUp(std::latch& start, Seen& seen) {
    Type::keys type;
    SubType::keys subType;
    AnsiStr ext;
    start.arrive_and_wait();
    // The extensions of the rows that are inserted last.
    seen.foundType = GetTypesFromExt("ice", type, subType);
    seen.foundExtension = GetExtFromTypeStr("x-epoc/x-sisx-app", ext);
    seen.fileTypes = &GetFileTypeMap();
    seen.fileExtensions = &GetFileExtensionMap();
    seen.fileTypeCount = std::distance(seen.fileTypes->begin(), seen.fileTypes->end());
    seen.fileExtensionCount =
        std::distance(seen.fileExtensions->begin(), seen.fileExtensions->end());
}

// Says something only in a process that has looked nothing up before: run it alone, as ctest
// does, or with --gtest_filter=LazyTablesRaceTest.*
TEST(LazyTablesRaceTest, FirstLookupsAtOnceSeeTheSameWholeTables) {
    std::latch start(2);
    Seen seen[2];
    std::thread other([&] { LookUp(start, seen[1]); });
    LookUp(start, seen[0]);
    other.join();

    for (const Seen& s : seen) {
        EXPECT_TRUE(s.foundType);
        EXPECT_TRUE(s.foundExtension);
        EXPECT_EQ(s.fileTypeCount, 1262);
        EXPECT_EQ(s.fileExtensionCount, 951);
    }
    EXPECT_EQ(seen[0].fileTypes, seen[1].fileTypes);
    EXPECT_EQ(seen[0].fileExtensions, seen[1].fileExtensions);
}

}  // namespace
}  // namespace MIME
