#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <string>

#include "kivgui/stream.h"
#include "mime/foundation/file_access.h"
#include "mime/mime.h"
#include "small_disk.h"

namespace KivGuiBase {
namespace {

using MIME::FileAccess;
using MIME::Test::WriteWholeFile;

// Whether a write reports the failure or only the close can, the close fails.
void ExpectDiskFull(const std::string& path, size_t size) {
    const File file((AnsiStr(path)));
    for (const int64_t announced : {int64_t{-1}, FileAccess::kDiskFileSize}) {
        FileAccess out(file);
        ASSERT_TRUE(out.OpenForWriting(announced));
        bool isWritten = true;
        for (size_t at = 0; at < size; at += 1000) {
            const bool isTaken = out.Write(std::string(1000, 'x').data(), 1000);
            EXPECT_TRUE(isWritten || !isTaken) << "nothing more can be written";
            isWritten = isTaken;
        }
        SetLastError(kErrorNone);
        EXPECT_FALSE(out.Close()) << size << ", announced " << announced;
        EXPECT_EQ(GetLastError(), kErrorDiskFull) << size << ", announced " << announced;
        EXPECT_TRUE(out.Close()) << "it is closed now";
    }
    SetLastError(kErrorNone);
    WriteStream out(file, WriteStreamMode::create);
    EXPECT_FALSE(out.Write(std::string(size, 'x').c_str()) && out.Close()) << size;
    EXPECT_EQ(GetLastError(), kErrorDiskFull) << size;
}

TEST(FullDiskTest, EveryWriterReportsADeviceThatIsFull) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    // Within the buffers, and past the size where a memory view moves to disk.
    for (const size_t size : {1u, 5'000'000u}) ExpectDiskFull("/dev/full", size);
}

TEST(FullDiskTest, EveryWriterReportsADiskThatFillsUp) {
    const SmallDisk disk(1 << 20);
    if (!disk.GetReason().empty()) GTEST_SKIP() << disk.GetReason();
    for (const size_t size : {1'500'000u, 5'000'000u}) ExpectDiskFull(disk.At("file"), size);
    WriteWholeFile(disk.GetPath() + ".source", std::string(1'500'000, 'x'));
    EXPECT_FALSE(File(AnsiStr(disk.GetPath() + ".source")).Copy(File(AnsiStr(disk.At("x"))), true));
    EXPECT_EQ(GetLastError(), kErrorDiskFull);
}

TEST(FullDiskTest, ABodyThatCannotBeCopiedLeavesNoHalfCopy) {
    const SmallDisk disk(1 << 20);
    if (!disk.GetReason().empty()) GTEST_SKIP() << disk.GetReason();
    setenv("TMPDIR", disk.GetPath().c_str(), 1);
    WriteWholeFile(disk.At("body"), std::string(700'000, 'x'));
    MIME::Data body;
    body.file = File(AnsiStr(disk.At("body")));
    body.ownsFile = true;
    const MIME::Data copy = body;
    EXPECT_TRUE(copy.file.IsEmpty());
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(disk.GetPath()), {}), 1);
}

}  // namespace
}  // namespace KivGuiBase
