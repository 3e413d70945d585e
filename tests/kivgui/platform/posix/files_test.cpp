#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>
#include <string>

#include "kivgui/disk_file.h"
#include "kivgui/full_disk.h"
#include "kivgui/memory_file.h"
#include "kivgui/random.h"
#include "mime/mime.h"
#include "small_disk.h"

namespace KivGuiBase {
namespace {

using namespace MIME::Test;

/// The ways in which the library makes a file that is its owner's alone.
bool Make(int way, const File& source, const File& file) {
    if (way == 0) return DiskFile().Open(file, DiskFile::Mode::createNew);
    if (way == 1) return MemoryFile().Open(file, MemoryFile::Mode::createNew);
    return source.Copy(file, false);
}

TEST(PosixFilesTest, NewFilesAreTheirOwnersAloneAndFollowNothing) {
    const TempFolder folder;
    WriteWholeFile(folder.At("source"), "text");
    WriteWholeFile(folder.At("precious"), "precious");
    std::filesystem::permissions(folder.At("source"), std::filesystem::perms::all);
    System::MakeLink(folder.At("precious"), folder.At("link"));
    System::MakeLink(folder.At("nothing"), folder.At("dangling"));
    std::filesystem::create_directory(folder.At("folder"));
    const File source(AnsiStr(folder.At("source")));
    const mode_t before = umask(0);
    for (const int way : {0, 1, 2}) {
        for (const char* name : {"precious", "link", "dangling", "folder"}) {
            SetLastError(kErrorNone);
            EXPECT_FALSE(Make(way, source, File(AnsiStr(folder.At(name))))) << way << name;
            EXPECT_EQ(GetLastError(), kErrorFileExists) << way << name;
        }
        const std::string path = folder.At(std::to_string(way));
        EXPECT_TRUE(Make(way, source, File(AnsiStr(path)))) << way;
        struct stat status = {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0600u) << way;
    }
    umask(before);
    EXPECT_EQ(ReadWholeFile(folder.At("precious")), "precious");
    EXPECT_FALSE(std::filesystem::exists(folder.At("nothing")));
    // A host that names a link for writing means the file behind it.
    EXPECT_TRUE(DiskFile().Open(File(AnsiStr(folder.At("link"))), DiskFile::Mode::create));
    EXPECT_EQ(ReadWholeFile(folder.At("precious")), "");
}

TEST(PosixFilesTest, ReadingAPipeThatNobodyWritesDoesNotWait) {
    const TempFolder folder;
    ASSERT_EQ(mkfifo(folder.At("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(MemoryFile().Open(File(AnsiStr(folder.At("pipe"))), MemoryFile::Mode::read));
    EXPECT_EQ(GetLastError(), kErrorInvalidFunction);
}

// A child that repeated its parent's bytes would give its files names that others know.
TEST(PosixRandomTest, AForkedChildDrawsOtherBytes) {
    char bytes[32];
    GetUnpredictableBytes(bytes, sizeof bytes);  // both share what is left of this block
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    GetUnpredictableBytes(bytes, sizeof bytes);
    if (child == 0) _exit(write(ends[1], bytes, sizeof bytes) == sizeof bytes ? 0 : 1);
    close(ends[1]);
    char ofChild[sizeof bytes];
    EXPECT_EQ(read(ends[0], ofChild, sizeof ofChild), static_cast<ssize_t>(sizeof ofChild));
    close(ends[0]);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_NE(std::string(bytes, sizeof bytes), std::string(ofChild, sizeof ofChild));
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
