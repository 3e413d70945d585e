#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "kivgui/disk_file.h"
#include "kivgui/memory_file.h"
#include "kivgui/platform/platform.h"
#include "kivgui/random.h"
#include "support/temp_folder.h"

namespace KivGuiBase {
namespace {

using namespace MIME::Test;

/// The ways in which the library makes a file that is its owner's alone.
struct Maker {
    const char* name;
    bool (*make)(const File& source, const File& file);
};
constexpr Maker kMakers[] = {
    {"DiskFile", [](const File&,
                    const File& file) { return DiskFile().Open(file, DiskFile::Mode::createNew); }},
    {"MemoryFile",
     [](const File&, const File& file) {
         return MemoryFile().Open(file, MemoryFile::Mode::createNew);
     }},
    {"File::Copy", [](const File& source, const File& file) { return source.Copy(file, false); }},
};

TEST(PosixFilesTest, NewFilesAreTheirOwnersAlone) {
    const TempFolder folder;
    WriteWholeFile(folder.At("source"), "text");
    std::filesystem::permissions(folder.At("source"), std::filesystem::perms::all);
    const mode_t before = umask(0);
    for (const Maker& maker : kMakers) {
        const std::string path = folder.At(maker.name);
        EXPECT_TRUE(maker.make(File(AnsiStr(folder.At("source"))), File(AnsiStr(path))));
        struct stat status = {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, 0600u) << maker.name;
    }
    umask(before);
}

TEST(PosixFilesTest, NewFilesReplaceAndFollowNothing) {
    const TempFolder folder;
    WriteWholeFile(folder.At("source"), "text");
    WriteWholeFile(folder.At("precious"), "precious");
    std::filesystem::create_symlink(folder.At("precious"), folder.At("link"));
    std::filesystem::create_symlink(folder.At("nothing"), folder.At("dangling"));
    std::filesystem::create_directory(folder.At("folder"));
    const File source(AnsiStr(folder.At("source")));
    const auto before = folder.List();
    for (const Maker& maker : kMakers) {
        for (const char* name : {"precious", "link", "dangling", "folder"}) {
            SetLastError(kErrorNone);
            EXPECT_FALSE(maker.make(source, File(AnsiStr(folder.At(name))))) << maker.name << name;
            EXPECT_EQ(GetLastError(), kErrorFileExists) << maker.name << " " << name;
        }
    }
    EXPECT_EQ(ReadWholeFile(folder.At("precious")), "precious");
    EXPECT_EQ(folder.List(), before) << "nothing was made behind the dangling link";

    // A host that names a link for writing means the file behind it.
    EXPECT_TRUE(DiskFile().Open(File(AnsiStr(folder.At("link"))), DiskFile::Mode::create));
    EXPECT_EQ(ReadWholeFile(folder.At("precious")), "");
}

TEST(PosixFilesTest, OnlyPlainFilesThatMayBeReadAreRead) {
    const TempFolder folder;
    ASSERT_EQ(mkfifo(folder.At("pipe").c_str(), 0600), 0);
    MemoryFile file;
    EXPECT_FALSE(file.Open(File(AnsiStr(folder.At("pipe"))), MemoryFile::Mode::read));
    EXPECT_EQ(GetLastError(), kErrorInvalidFunction) << "nobody writes, and it does not wait";
    if (geteuid() == 0) return;  // root may read everything
    WriteWholeFile(folder.At("file"), "text");
    std::filesystem::permissions(folder.At("file"), std::filesystem::perms::none);
    EXPECT_FALSE(file.Open(File(AnsiStr(folder.At("file"))), MemoryFile::Mode::read));
    EXPECT_EQ(GetLastError(), kErrorAccessDenied);
}

TEST(PosixFilesTest, TheTemporaryFolderEndsInASeparator) {
    const TempFolder folder;
    EXPECT_EQ(Platform::GetTempFolder(), folder.GetPath() + "/");
    setenv("TMPDIR", "/somewhere/", 1);
    EXPECT_EQ(Platform::GetTempFolder(), "/somewhere/");
    setenv("TMPDIR", "", 1);
    EXPECT_EQ(Platform::GetTempFolder(), "/tmp/");
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

}  // namespace
}  // namespace KivGuiBase
