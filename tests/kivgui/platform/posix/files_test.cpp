#include "kivgui/platform/platform.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "kivgui/disk_file.h"
#include "kivgui/memory_file.h"
#include "kivgui/random.h"
#include "support/temp_folder.h"

namespace KivGuiBase {
namespace {

using MIME::Test::ReadWholeFile;
using MIME::Test::TempFolder;
using MIME::Test::WriteWholeFile;

class Umask {
public:
    explicit Umask(mode_t mask) : before_(umask(mask)) {}
    ~Umask() { umask(before_); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    mode_t before_;
};

/// The ways in which the library makes a file that is its owner's alone.
struct Maker {
    const char* name;
    bool (*make)(const File& source, const File& file);
};
constexpr Maker kMakers[] = {
    {"DiskFile",
     [](const File&, const File& file) {
         DiskFile made;
         return made.Open(file, DiskFile::Mode::createNew) && made.Write("new", 3) && made.Close();
     }},
    {"MemoryFile",
     [](const File&, const File& file) {
         MemoryFile made;
         return made.Open(file, MemoryFile::Mode::createNew) && made.Close();
     }},
    {"File::Copy", [](const File& source, const File& file) { return source.Copy(file, false); }},
};

TEST(PosixFilesTest, NewFilesAreTheirOwnersAlone) {
    const TempFolder folder;
    WriteWholeFile(folder.At("source"), "text");
    std::filesystem::permissions(folder.At("source"), std::filesystem::perms::all);
    const File source(AnsiStr(folder.At("source")));
    const std::string path = folder.At("file");
    for (const mode_t mask : {0u, 022u, 077u}) {
        const Umask masked(mask);
        for (const Maker& maker : kMakers) {
            ASSERT_TRUE(maker.make(source, File(AnsiStr(path)))) << maker.name;
            struct stat status;
            ASSERT_EQ(stat(path.c_str(), &status), 0);
            EXPECT_EQ(status.st_mode & 07777, 0600u) << maker.name << ", umask " << mask;
            std::filesystem::remove(path);
        }
    }
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

    DiskFile file;
    // A host that names a link for writing means the file behind it.
    EXPECT_TRUE(file.Open(File(AnsiStr(folder.At("link"))), DiskFile::Mode::create));
    EXPECT_TRUE(file.Write("followed", 8) && file.Close());
    EXPECT_EQ(ReadWholeFile(folder.At("precious")), "followed");
}

TEST(PosixFilesTest, ReadingAPipeThatNobodyWritesDoesNotWait) {
    const TempFolder folder;
    ASSERT_EQ(mkfifo(folder.At("pipe").c_str(), 0600), 0);
    MemoryFile file;
    EXPECT_FALSE(file.Open(File(AnsiStr(folder.At("pipe"))), MemoryFile::Mode::read));
    EXPECT_EQ(GetLastError(), kErrorInvalidFunction);
}

TEST(PosixFilesTest, AFileWithoutReadPermissionIsDenied) {
    if (geteuid() == 0) GTEST_SKIP() << "root may read everything";
    const TempFolder folder;
    WriteWholeFile(folder.At("file"), "text");
    std::filesystem::permissions(folder.At("file"), std::filesystem::perms::none);
    MemoryFile file;
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
    unsetenv("TMPDIR");
    EXPECT_EQ(Platform::GetTempFolder(), "/tmp/");
}

// A child that repeated its parent's bytes would give its files names that others know.
TEST(PosixRandomTest, AForkedChildDrawsOtherBytes) {
    constexpr size_t kSize = 32;
    char bytes[kSize];
    GetUnpredictableBytes(bytes, kSize);  // parent and child share what is left of this block
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        GetUnpredictableBytes(bytes, kSize);
        _exit(write(ends[1], bytes, kSize) == kSize ? 0 : 1);
    }
    close(ends[1]);
    char ofChild[kSize];
    EXPECT_EQ(read(ends[0], ofChild, kSize), static_cast<ssize_t>(kSize));
    close(ends[0]);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    GetUnpredictableBytes(bytes, kSize);
    EXPECT_NE(std::string(bytes, kSize), std::string(ofChild, kSize));
}

}  // namespace
}  // namespace KivGuiBase
