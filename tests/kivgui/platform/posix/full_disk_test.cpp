#include <gtest/gtest.h>

#include <cstdlib>
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

bool WriteInPieces(DiskFile& file, const std::string& content, size_t piece) {
    bool written = true;
    for (size_t at = 0; at < content.size() && written; at += piece) {
        const std::string part = content.substr(at, piece);
        written = file.Write(part.data(), static_cast<unsigned>(part.size()));
    }
    return written;
}

bool WriteThrough(FileAccess& file, const std::string& content) {
    return file.Write(content.data(), content.size()) && file.Close();
}

constexpr Writer kWriters[] = {
    {"disk file, at once",
     [](const File& file, const std::string& content) {
         DiskFile out;
         return out.Open(file, DiskFile::Mode::create) &&
                WriteInPieces(out, content, content.size()) && out.Close();
     }},
    {"disk file, in small pieces",
     [](const File& file, const std::string& content) {
         DiskFile out;
         return out.Open(file, DiskFile::Mode::create) && WriteInPieces(out, content, 1000) &&
                out.Close();
     }},
    {"memory view",
     [](const File& file, const std::string& content) {
         MemoryFile out;
         if (!out.Open(file, MemoryFile::Mode::create) || !out.Extend(content.size(), 0)) {
             return false;
         }
         content.copy(out.GetCursor(), content.size());
         out.Advance(content.size());
         return out.Close();
     }},
    {"file access, size unknown",
     [](const File& file, const std::string& content) {
         FileAccess out(file);
         return out.OpenForWriting(-1) && WriteThrough(out, content);
     }},
    {"file access, large file",
     [](const File& file, const std::string& content) {
         FileAccess out(file);
         return out.OpenForWriting(FileAccess::kDiskFileSize) && WriteThrough(out, content);
     }},
    {"stream",
     [](const File& file, const std::string& content) {
         WriteStream out(file, WriteStreamMode::create);
         return out.Write(content.c_str()) && out.Close();
     }},
};

void ExpectDiskFull(const std::string& path, size_t size) {
    const std::string content(size, 'x');
    for (const Writer& writer : kWriters) {
        SetLastError(kErrorNone);
        EXPECT_FALSE(writer.write(File(AnsiStr(path)), content)) << writer.name << ", " << size;
        EXPECT_EQ(GetLastError(), kErrorDiskFull) << writer.name << ", " << size;
    }
}

TEST(FullDiskTest, EveryWriterReportsADeviceThatIsFull) {
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full";
    // Within the buffers, so that only the close can report it; and beyond.
    for (const size_t size : {1u, 1000u, 1'000'000u}) ExpectDiskFull("/dev/full", size);
}

TEST(FullDiskTest, EveryWriterReportsADiskThatFillsUp) {
    const SmallDisk disk(1 << 20);
    if (!disk.GetReason().empty()) GTEST_SKIP() << disk.GetReason();
    ExpectDiskFull(disk.At("file"), 1'500'000);
    ExpectDiskFull(disk.At("file"), 5'000'000);  // past the size where a memory view moves to disk

    for (const Writer& writer : kWriters) {
        EXPECT_TRUE(writer.write(File(AnsiStr(disk.At("file"))), std::string(900'000, 'x')))
            << writer.name << ", what fits is no failure";
    }
}

TEST(FullDiskTest, CopyReportsADiskThatFillsUp) {
    const SmallDisk disk(1 << 20);
    if (!disk.GetReason().empty()) GTEST_SKIP() << disk.GetReason();
    const std::string source = disk.GetPath() + ".source";
    WriteWholeFile(source, std::string(1'500'000, 'x'));
    EXPECT_FALSE(File(AnsiStr(source)).Copy(File(AnsiStr(disk.At("copy"))), true));
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
    const std::string content(300'000, 'x');
    DiskFile file;
    ASSERT_TRUE(file.Open(File("/dev/full"), DiskFile::Mode::create));
    EXPECT_FALSE(file.Write(content.data(), static_cast<unsigned>(content.size())));
    EXPECT_FALSE(file.Close());
    EXPECT_EQ(GetLastError(), kErrorDiskFull);
    EXPECT_TRUE(file.Close()) << "it is closed now";

    FileAccess access(File("/dev/full"));
    ASSERT_TRUE(access.OpenForWriting(0));
    const std::string large(5'000'000, 'x');
    EXPECT_FALSE(access.Write(large.data(), large.size()));
    EXPECT_FALSE(access.Write("x", 1)) << "nothing more can be written";
    SetLastError(kErrorNone);
    EXPECT_FALSE(access.Close());
    EXPECT_EQ(GetLastError(), kErrorDiskFull);
}

}  // namespace
}  // namespace KivGuiBase
