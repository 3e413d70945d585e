// Pipes and processes of POSIX systems. What both systems owe is in file_test.cpp.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "kivgui/error.h"
#include "kivgui/memory_file.h"
#include "kivgui/random.h"
#include "kivgui/replaced_file.h"
#include "support/temp_folder.h"

namespace KivGuiBase {
namespace {

TEST(PosixFilesTest, ReadingAPipeThatNobodyWritesDoesNotWait) {
    const MIME::Test::TempFolder folder;
    ASSERT_EQ(mkfifo(folder.At("pipe").c_str(), 0600), 0);
    EXPECT_FALSE(MemoryFile().Open(File(AnsiStr(folder.At("pipe"))), MemoryFile::Mode::read));
    EXPECT_EQ(GetLastError(), kErrorInvalidFunction);
}

// A child that repeated its parent's bytes would give its files names that others know.
TEST(PosixRandomTest, AForkedChildDrawsOtherBytes) {
    char bytes[32];
    ASSERT_TRUE(
        GetUnpredictableBytes(bytes, sizeof bytes));  // both share what is left of this block
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    const bool drawn = GetUnpredictableBytes(bytes, sizeof bytes);
    if (child == 0) _exit(drawn && write(ends[1], bytes, sizeof bytes) == sizeof bytes ? 0 : 1);
    close(ends[1]);
    char ofChild[sizeof bytes];
    EXPECT_EQ(read(ends[0], ofChild, sizeof ofChild), static_cast<ssize_t>(sizeof ofChild));
    close(ends[0]);
    EXPECT_EQ(waitpid(child, nullptr, 0), child);
    EXPECT_NE(std::string(bytes, sizeof bytes), std::string(ofChild, sizeof ofChild));
}

bool Replace(const std::string& path) {
    ReplacedFile file;
    return file.Open(File(AnsiStr(path))) && file.Write("new", 3) && file.Commit();
}

TEST(PosixReplacedFileTest, PermissionsAreThoseOfTheOldFileOrOfTheUser) {
    const MIME::Test::TempFolder folder;
    const std::string path = folder.At("x");
    const mode_t before = umask(027);
    for (const mode_t want : {0640u, 0604u, 0444u}) {
        // The first round makes the file.
        EXPECT_EQ(chmod(path.c_str(), want), want == 0640 ? -1 : 0);
        EXPECT_TRUE(Replace(path));
        struct stat status = {};
        EXPECT_EQ(stat(path.c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777, want);
    }
    umask(before);
}

TEST(PosixReplacedFileTest, LinksAreFollowedAsTheSystemDoes) {
    const MIME::Test::TempFolder folder;
    ASSERT_EQ(mkdir(folder.At("d").c_str(), 0700), 0);
    ASSERT_EQ(symlink("d/second", folder.At("first").c_str()), 0);
    ASSERT_EQ(symlink("../third", folder.At("d/second").c_str()), 0);
    EXPECT_TRUE(Replace(folder.At("first"))) << "to nothing yet";
    EXPECT_TRUE(Replace(folder.At("first")));
    EXPECT_EQ(folder.List(), (std::vector<std::string>{"d", "first", "third"}));
    EXPECT_EQ(MIME::Test::ReadWholeFile(folder.At("first")), "new");
}

}  // namespace
}  // namespace KivGuiBase
