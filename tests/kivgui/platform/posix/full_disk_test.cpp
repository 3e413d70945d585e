#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <string>

#include "kivgui/disk_file.h"
#include "kivgui/memory_file.h"
#include "kivgui/stream.h"
#include "mime/foundation/file_access.h"
#include "mime/mime.h"
#include "small_disk.h"

namespace KivGuiBase {
namespace {

using MIME::FileAccess;
using MIME::Test::WriteWholeFile;

/// A way to write `content` into a file; true when nothing reported a failure, up to the close.
struct Writer {
    const char* name;
    bool (*write)(const File& file, const std::string& content);
};

bool WriteThroughAccess(const File& file, const std::string& content, int64_t announced) {
    FileAccess out(file);
    return out.OpenForWriting(announced) && out.Write(content.data(), content.size()) &&
           out.Close();
}

constexpr Writer kWriters[] = {
    {"disk file, in small pieces",
     [](const File& file, const std::string& content) {
         DiskFile out;
         bool written = out.Open(file, DiskFile::Mode::create);
         for (size_t at = 0; at < content.size() && written; at += 1000) {
             const std::string piece = content.substr(at, 1000);
             written = out.Write(piece.data(), static_cast<unsigned>(piece.size()));
         }
         return written && out.Close();
     }},
    {"file access, size unknown",
     [](const File& file, const std::string& content) {
         return WriteThroughAccess(file, content, -1);
     }},
    {"file access, large file",
     [](const File& file, const std::string& content) {
         return WriteThroughAccess(file, content, FileAccess::kDiskFileSize);
     }},
    {"stream",
     [](const File& file, const std::string& content) {
         WriteStream out(file, WriteStreamMode::create);
         return out.Write(content.c_str()) && out.Close();
     }},
};

void ExpectDiskFull(const std::string& path, size_t size) {
    for (const Writer& writer : kWriters) {
        SetLastError(kErrorNone);
        EXPECT_FALSE(writer.write(File(AnsiStr(path)), std::string(size, 'x'))) << writer.name;
        EXPECT_EQ(GetLastError(), kErrorDiskFull) << writer.name << ", " << size;
    }
}

TEST(FullDiskTest, EveryWriterReportsADeviceThatIsFull) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    // Within the buffers, so that only the close can report it; and beyond.
    for (const size_t size : {1u, 1'000'000u}) ExpectDiskFull("/dev/full", size);
}

TEST(FullDiskTest, EveryWriterReportsADiskThatFillsUp) {
    const SmallDisk disk(1 << 20);
    if (!disk.GetReason().empty()) GTEST_SKIP() << disk.GetReason();
    ExpectDiskFull(disk.At("file"), 1'500'000);
    ExpectDiskFull(disk.At("file"), 5'000'000);  // past the size where a memory view moves to disk
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
    std::filesystem::directory_iterator files(disk.GetPath());
    EXPECT_EQ(std::distance(files, {}), 1) << "the body alone";
}

TEST(FullDiskTest, AWriteThatFailedFailsTheCloseToo) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    const std::string large(5'000'000, 'x');
    for (const int64_t announced : {int64_t{0}, FileAccess::kDiskFileSize}) {
        FileAccess file(File("/dev/full"));
        ASSERT_TRUE(file.OpenForWriting(announced));
        EXPECT_FALSE(file.Write(large.data(), large.size()));
        EXPECT_FALSE(file.Write("x", 1)) << "nothing more can be written";
        SetLastError(kErrorNone);
        EXPECT_FALSE(file.Close());
        EXPECT_EQ(GetLastError(), kErrorDiskFull);
        EXPECT_TRUE(file.Close()) << "it is closed now";
    }
}

}  // namespace
}  // namespace KivGuiBase
