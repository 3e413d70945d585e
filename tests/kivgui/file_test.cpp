#include "kivgui/file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kivgui/disk_file.h"
#include "kivgui/memory_file.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace KivGuiBase {
namespace {

using namespace MIME::Test;

class FileTest : public testing::Test {
protected:
    File At(const char* name) const { return File(AnsiStr(folder_.At(name))); }
    TempFolder folder_;
};

TEST_F(FileTest, CopiesEverySize) {
    // Around the piece in which the copy moves, and around the buffer of a disk file.
    for (const size_t size : {0u, 1u, 0xFFFFu, 0x10000u, 0x10001u, 0x20001u, 1'000'000u}) {
        const std::string content = Random(size).Bytes(size);
        WriteWholeFile(folder_.At("source"), content);
        ASSERT_TRUE(At("source").Copy(At("target"), true)) << size;
        EXPECT_TRUE(ReadWholeFile(folder_.At("target")) == content) << size;
    }
    EXPECT_TRUE(At("source").Copy(At("source"), true)) << "onto itself";
    EXPECT_EQ(At("source").GetSize(), 1'000'000);
}

TEST_F(FileTest, CopyReplacesWhatItMayAndNothingElse) {
    WriteWholeFile(folder_.At("source"), "new");
    WriteWholeFile(folder_.At("target"), "something longer");
    std::filesystem::create_symlink(folder_.At("target"), folder_.At("link"));
    std::filesystem::create_directory(folder_.At("folder"));
    EXPECT_TRUE(At("source").Copy(At("link"), true));
    EXPECT_FALSE(std::filesystem::is_symlink(folder_.At("link"))) << "the link is replaced";
    EXPECT_FALSE(At("source").Copy(At("target"), false));
    EXPECT_EQ(GetLastError(), kErrorFileExists);
    EXPECT_FALSE(At("source").Copy(At("source/target"), true));
    EXPECT_EQ(GetLastError(), kErrorPathNotFound);
    EXPECT_FALSE(At("source").Copy(At("folder"), true));
    EXPECT_EQ(ReadWholeFile(folder_.At("target")), "something longer");
}

// What is not open takes nothing, and nothing of it shows up in the next file.
TEST_F(FileTest, AClosedDiskFileRefusesWork) {
    DiskFile file;
    for (const char* name : {"missing/file", "file", "file"}) {
        char byte = 'x';
        unsigned got = 1;
        EXPECT_EQ(file.Open(At(name), DiskFile::Mode::create), name[0] == 'f');
        EXPECT_TRUE(file.Close()) << name;
        EXPECT_FALSE(file.Write(&byte, 1)) << name;
        EXPECT_EQ(GetLastError(), kErrorInvalidHandle) << name;
        EXPECT_EQ(file.GetWriteRoom(1), nullptr) << name;
        EXPECT_FALSE(file.Read(&byte, 1, got)) << name;
        EXPECT_EQ(got, 0u) << name;
    }
    EXPECT_EQ(ReadWholeFile(folder_.At("file")), "");
}

TEST_F(FileTest, MemoryFilesReadEverySize) {
    constexpr auto kMapSize = static_cast<size_t>(MemoryFile::kMapSize);
    MemoryFile file;
    for (const size_t size : {kMapSize, kMapSize + 1, size_t{0}, size_t{5000}, kMapSize - 1}) {
        const std::string content = Random(size).Bytes(size);
        WriteWholeFile(folder_.At("file"), content);
        ASSERT_TRUE(file.Open(At("file"), MemoryFile::Mode::read)) << size;
        // One that is not mapped may shrink while it is open.
        if (size < kMapSize) std::filesystem::resize_file(folder_.At("file"), 0);
        EXPECT_TRUE(std::string_view(file.GetData(), file.GetSize()) == content) << size;
    }
    EXPECT_TRUE(file.Close());
    EXPECT_FALSE(file.Extend(1, 0)) << "nothing is open";
    ASSERT_TRUE(file.Open(At("file"), MemoryFile::Mode::create));
    EXPECT_FALSE(file.Extend(UINT64_MAX, 3)) << "passes 64 bits";
}

}  // namespace
}  // namespace KivGuiBase
