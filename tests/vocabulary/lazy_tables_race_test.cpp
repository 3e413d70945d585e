#include "mime/vocabulary/extension_maps.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <functional>
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

void LookUp(Seen& seen) {
    Type::keys type;
    SubType::keys subType;
    AnsiStr ext;
    // The keys of the rows that are inserted last.
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
    Seen seen[3];
    std::latch start(2);
    const auto lookUpAtOnce = [&start](Seen& s) {
        start.arrive_and_wait();
        LookUp(s);
    };
    std::thread first(lookUpAtOnce, std::ref(seen[0]));
    std::thread second(lookUpAtOnce, std::ref(seen[1]));
    // Comes when the tables are built, so that nothing but the published pointer orders its
    // reading after their building: the thread sanitizer sees whether that is enough.
    std::thread late([&seen] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        LookUp(seen[2]);
    });
    first.join();
    second.join();
    late.join();

    for (const Seen& s : seen) {
        EXPECT_TRUE(s.foundType);
        EXPECT_TRUE(s.foundExtension);
        EXPECT_EQ(s.fileTypeCount, 1262);
        EXPECT_EQ(s.fileExtensionCount, 951);
        EXPECT_EQ(s.fileTypes, seen[0].fileTypes);
        EXPECT_EQ(s.fileExtensions, seen[0].fileExtensions);
    }
}

}  // namespace
}  // namespace MIME
