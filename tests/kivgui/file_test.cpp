#include "kivgui/file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "kivgui/disk_file.h"
#include "kivgui/memory_file.h"
#include "kivgui/stream.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace KivGuiBase {
namespace {

using MIME::Test::Random;
using MIME::Test::ReadWholeFile;
using MIME::Test::TempFolder;
using MIME::Test::WriteWholeFile;

File At(const TempFolder& folder, const char* name) {
    return File(AnsiStr(folder.At(name)));
}

TEST(FileTest, TellsItsSizeAndGoesAway) {
    const TempFolder folder;
    const File file = At(folder, "file");
    EXPECT_EQ(file.GetSize(), -1);
    EXPECT_EQ(GetLastError(), kErrorFileNotFound);
    WriteWholeFile(folder.At("file"), "12345");
    EXPECT_EQ(file.GetSize(), 5);
    EXPECT_TRUE(file.Remove(true));
    SetLastError(kErrorNone);
    EXPECT_FALSE(file.Remove(true));
    EXPECT_EQ(GetLastError(), kErrorFileNotFound);
    EXPECT_FALSE(File().Remove(false)) << "the empty path names no file";
}

TEST(FileTest, CopiesEverySize) {
    const TempFolder folder;
    const File source = At(folder, "source");
    const File target = At(folder, "target");
    // Around the piece in which the copy moves, and around the buffer of a disk file.
    for (const size_t size :
         {0u, 1u, 0xFFFFu, 0x10000u, 0x10001u, 0x20000u, 0x20001u, 1'000'000u}) {
        const std::string content = Random(size).Bytes(size);
        WriteWholeFile(folder.At("source"), content);
        ASSERT_TRUE(source.Copy(target, true)) << size;
        EXPECT_TRUE(ReadWholeFile(folder.At("target")) == content) << size;
    }
    EXPECT_TRUE(source.Copy(source, true)) << "onto itself";
    EXPECT_EQ(source.GetSize(), 1'000'000);
}

TEST(FileTest, CopyReplacesWhatItMayAndNothingElse) {
    const TempFolder folder;
    WriteWholeFile(folder.At("source"), "new");
    WriteWholeFile(folder.At("target"), "something longer");
    std::filesystem::create_symlink(folder.At("source"), folder.At("link"));
    std::filesystem::create_directory(folder.At("folder"));
    const File source = At(folder, "source");

    EXPECT_FALSE(source.Copy(At(folder, "target"), false));
    EXPECT_EQ(GetLastError(), kErrorFileExists);
    EXPECT_EQ(ReadWholeFile(folder.At("target")), "something longer");
    EXPECT_TRUE(source.Copy(At(folder, "target"), true));
    EXPECT_EQ(ReadWholeFile(folder.At("target")), "new");

    EXPECT_TRUE(At(folder, "target").Copy(At(folder, "link"), true));
    EXPECT_FALSE(std::filesystem::is_symlink(folder.At("link"))) << "the link is replaced";

    EXPECT_FALSE(source.Copy(At(folder, "folder"), true));
    EXPECT_FALSE(At(folder, "folder").Copy(At(folder, "target"), true)) << "a folder has no bytes";
    EXPECT_EQ(GetLastError(), kErrorAccessDenied);
    EXPECT_FALSE(At(folder, "missing").Copy(At(folder, "target"), true));
    EXPECT_EQ(GetLastError(), kErrorFileNotFound);
    EXPECT_FALSE(source.Copy(At(folder, "missing/target"), true));
    EXPECT_EQ(GetLastError(), kErrorFileNotFound);
    EXPECT_FALSE(source.Copy(At(folder, "source/target"), true));
    EXPECT_EQ(GetLastError(), kErrorPathNotFound);
}

TEST(DiskFileTest, WritesInOrderWhateverTheSizes) {
    const TempFolder folder;
    DiskFile file;
    ASSERT_TRUE(file.Open(At(folder, "file"), DiskFile::Mode::create));
    Random random(5);
    std::string want;
    for (const unsigned size : {1u, 100u, 0u, 0x1FFFFu, 0x20000u, 5u, 0x20001u, 0x1FF00u, 0x101u}) {
        const std::string piece = random.Bytes(size);
        ASSERT_TRUE(file.Write(piece.data(), size));
        want += piece;
        char* room = file.GetWriteRoom(3000);
        ASSERT_NE(room, nullptr);
        want += "room";
        std::string("room").copy(room, 4);
        file.Commit(4);
    }
    EXPECT_EQ(file.GetWriteRoom(DiskFile::kBufferSize + 1), nullptr);
    EXPECT_TRUE(file.Close());
    EXPECT_TRUE(file.Close()) << "a second time";
    EXPECT_TRUE(ReadWholeFile(folder.At("file")) == want);

    ASSERT_TRUE(file.Open(At(folder, "file"), DiskFile::Mode::create));
    ASSERT_TRUE(file.Write("end", 3));
    ASSERT_TRUE(file.Open(At(folder, "other"), DiskFile::Mode::create)) << "closes the first";
    EXPECT_TRUE(ReadWholeFile(folder.At("file")) == "end");
    ASSERT_TRUE(file.Open(At(folder, "file"), DiskFile::Mode::create));
    ASSERT_TRUE(file.Close());
    EXPECT_EQ(ReadWholeFile(folder.At("file")), "");
}

TEST(DiskFileTest, ReadsUpToTheEnd) {
    const TempFolder folder;
    WriteWholeFile(folder.At("file"), "0123456789");
    DiskFile file;
    ASSERT_TRUE(file.Open(At(folder, "file"), DiskFile::Mode::read));
    char buffer[8];
    unsigned got = 0;
    EXPECT_TRUE(file.Read(buffer, 8, got));
    EXPECT_EQ(std::string(buffer, got), "01234567");
    EXPECT_TRUE(file.Read(buffer, 8, got));
    EXPECT_EQ(std::string(buffer, got), "89");
    EXPECT_TRUE(file.Read(buffer, 8, got));
    EXPECT_EQ(got, 0u);
}

// What is not open takes nothing, and nothing of it shows up in the next file.
TEST(DiskFileTest, AClosedFileRefusesWork) {
    const TempFolder folder;
    char byte = 'x';
    unsigned got = 1;
    DiskFile file;
    const auto refuses = [&](const char* why) {
        SetLastError(kErrorNone);
        EXPECT_FALSE(file.Write(&byte, 1)) << why;
        EXPECT_EQ(GetLastError(), kErrorInvalidHandle) << why;
        EXPECT_EQ(file.GetWriteRoom(1), nullptr) << why;
        EXPECT_FALSE(file.Read(&byte, 1, got)) << why;
        EXPECT_EQ(got, 0u) << why;
        EXPECT_TRUE(file.Close()) << why;
    };
    refuses("never opened");
    EXPECT_FALSE(file.Open(At(folder, "missing/file"), DiskFile::Mode::create));
    refuses("not opened");
    ASSERT_TRUE(file.Open(At(folder, "file"), DiskFile::Mode::create));
    ASSERT_TRUE(file.Close());
    refuses("closed");
    ASSERT_TRUE(file.Open(At(folder, "file"), DiskFile::Mode::create));
    ASSERT_TRUE(file.Close());
    EXPECT_EQ(ReadWholeFile(folder.At("file")), "");
}

TEST(MemoryFileTest, ReadsFilesOfEverySize) {
    const TempFolder folder;
    const size_t sizes[] = {
        0, 1, 5000, MemoryFile::kMapSize - 1, MemoryFile::kMapSize, MemoryFile::kMapSize + 1};
    MemoryFile file;
    for (const size_t size : sizes) {
        const std::string content = Random(size).Bytes(size);
        WriteWholeFile(folder.At("file"), content);
        ASSERT_TRUE(file.Open(At(folder, "file"), MemoryFile::Mode::read)) << size;
        ASSERT_EQ(file.GetSize(), size);
        EXPECT_TRUE(std::string_view(file.GetData(), size) == content) << size;
    }
    EXPECT_TRUE(file.Close());
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(file.GetSize(), 0u);
    EXPECT_EQ(file.GetData(), nullptr);
}

TEST(MemoryFileTest, AFileBelowTheMapSizeMayShrinkWhileItIsOpen) {
    const TempFolder folder;
    const std::string content(100'000, 'x');
    WriteWholeFile(folder.At("file"), content);
    MemoryFile file;
    ASSERT_TRUE(file.Open(At(folder, "file"), MemoryFile::Mode::read));
    std::filesystem::resize_file(folder.At("file"), 0);
    EXPECT_TRUE(std::string_view(file.GetData(), file.GetSize()) == content);
}

TEST(MemoryFileTest, AWritableViewEndsAtItsCursor) {
    const TempFolder folder;
    MemoryFile file;
    ASSERT_TRUE(file.Open(At(folder, "file"), MemoryFile::Mode::create));
    EXPECT_EQ(file.GetMappedLength(), 0u);
    EXPECT_EQ(file.GetSize(), 0u);
    ASSERT_TRUE(file.Extend(10, 0));
    EXPECT_GE(file.GetMappedLength(), 10u);
    std::string("abc").copy(file.GetCursor(), 3);
    file.Advance(3);
    EXPECT_EQ(file.GetSize(), 3u);
    ASSERT_TRUE(file.Extend(1'000'000, 3));
    EXPECT_GE(file.GetMappedLength(), 1'000'003u);
    EXPECT_FALSE(file.Extend(UINT64_MAX, 3)) << "passes 64 bits";
    EXPECT_EQ(std::string_view(file.GetData(), file.GetSize()), "abc");
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(ReadWholeFile(folder.At("file")), "abc");

    EXPECT_FALSE(file.Extend(1, 0)) << "nothing is open";
    ASSERT_TRUE(file.Open(At(folder, "file"), MemoryFile::Mode::create));
    EXPECT_TRUE(file.Close());
    EXPECT_EQ(ReadWholeFile(folder.At("file")), "") << "created, and nothing written";
}

TEST(MemoryFileTest, RefusesWhatIsNoPlainFile) {
    const TempFolder folder;
    MemoryFile file;
    EXPECT_FALSE(file.Open(At(folder, "missing"), MemoryFile::Mode::read));
    EXPECT_EQ(GetLastError(), kErrorFileNotFound);
    EXPECT_FALSE(file.Open(At(folder, ""), MemoryFile::Mode::read));
    EXPECT_EQ(GetLastError(), kErrorAccessDenied);
    EXPECT_FALSE(file.Open(File(), MemoryFile::Mode::read));
    EXPECT_EQ(GetLastError(), kErrorFileNotFound);
    EXPECT_FALSE(file.Open(At(folder, "missing/file"), MemoryFile::Mode::create));
    EXPECT_EQ(GetLastError(), kErrorFileNotFound);
}

TEST(StreamTest, TextsThereAndBack) {
    const TempFolder folder;
    const File file = At(folder, "file");
    for (const size_t size : {0u, 1u, 0x3FFFu, 0x4000u, 0x4001u, 300'000u}) {
        const std::string content = Random(size).Text(size, "abc\r\n");
        WriteStream out(file, WriteStreamMode::create);
        ASSERT_TRUE(out.Write(content.c_str()));
        ASSERT_TRUE(out.Close());
        AnsiStr text("before");
        ASSERT_TRUE(ReadStream(file, ReadStreamMode::read).Read(text));
        EXPECT_TRUE(text == content) << size;
    }
    WriteWholeFile(folder.At("file"), std::string("\0a\0", 3));
    AnsiStr text;
    ASSERT_TRUE(ReadStream(file, ReadStreamMode::read).Read(text));
    EXPECT_EQ(text, std::string_view("\0a\0", 3));
}

TEST(StreamTest, FailuresLeaveTheTextEmpty) {
    const TempFolder folder;
    for (const char* name : {"missing", "missing/file", ""}) {
        AnsiStr text("before");
        EXPECT_FALSE(ReadStream(At(folder, name), ReadStreamMode::read).Read(text)) << name;
        EXPECT_TRUE(text.IsEmpty()) << name;
    }
    EXPECT_FALSE(WriteStream(At(folder, "missing/file"), WriteStreamMode::create).Write("text"));
    EXPECT_EQ(GetLastError(), kErrorFileNotFound);
}

}  // namespace
}  // namespace KivGuiBase
