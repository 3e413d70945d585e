#include "mime/mail/mail_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "kivgui/error.h"
#include "kivgui/memory_file.h"
#include "support/temp_folder.h"

namespace MIME {
namespace {

namespace fs = std::filesystem;
using Test::FromPath;
using Test::TempFolder;
using Test::ToPath;
using Test::WriteWholeFile;
using Kind = MailFolder::Kind;

const std::string kFrom = "From a@b Thu Jan  1 00:00:01 1970\n";

void WriteFiles(const TempFolder& folder, const std::vector<std::string>& names,
                const std::string& text) {
    for (const std::string& name : names) {
        const fs::path path = ToPath(folder.At(name));
        fs::create_directories(path.parent_path());
        if (!name.ends_with('/')) WriteWholeFile(FromPath(path), text);
    }
}

const std::string kNotFound =
    ": " + std::string(KivGuiBase::GetErrorMessage(KivGuiBase::kErrorFileNotFound, 0, 0));

/// A path or what begins with one, below the folder and with "/".
std::string ShowPath(const TempFolder& folder, const std::string& path) {
    std::string shown = path.substr(folder.GetPath().size() + 1);
    std::replace(shown.begin(), shown.end(), '\\', '/');
    return shown;
}

/// "NAME@OFFSET[FLAGS]=TEXT;" for each entry, and the texts of errors.
std::string ListRest(const TempFolder& folder, MailFolder& opened) {
    std::string shown;
    for (const auto& entry : opened) {
        if (!entry) {
            shown += ShowPath(folder, entry.error().GetText()) + ";";
            continue;
        }
        shown += ShowPath(folder, FromPath(entry->GetPath())) + "@" +
                 std::to_string(entry->GetOffset()) + "[" + std::string(entry->GetFlags()) +
                 "]=" + std::string(entry->GetText()) + ";";
    }
    return shown;
}

std::string List(const TempFolder& folder, const std::string& name, bool recursive) {
    auto opened = MailFolder::Open(ToPath(folder.At(name)), {recursive});
    if (!opened) return ShowPath(folder, opened.error().GetText());
    return std::to_string(static_cast<int>(opened->GetKind())) + " " + ListRest(folder, *opened);
}

TEST(MailFolderTest, DecidesByWhatIsThere) {
    const TempFolder folder;
    WriteFiles(folder, {"mbox", "files/b/mbox", "files/.hidden/mbox"}, kFrom + "x");
    WriteFiles(folder, {"empty", "files/empty", "maildir/cur/32,S"}, "");
    WriteFiles(folder, {"one", "files/c", "files/a", "files/.hidden/x", "files/.a"}, "1");
    WriteFiles(folder, {"maildir/cur/2!2,FS", "maildir/cur/.x", "maildir/tmp/1", "maildir/a"}, "2");
    WriteFiles(folder, {"maildir/new/1.host", "maildir/new/4", "maildir/.Sent/cur/0"}, kFrom);
    WriteFiles(folder, {"nothing/"}, "");
    struct Case {
        const char* name;
        bool recursive;
        std::string want;
    };
    const Case cases[] = {
        {"mbox", false, "1 mbox@34[]=x;"},
        {"empty", false, "1 "},
        {"one", false, "0 one@0[]=1;"},
        {"files", false, "3 files/a@0[]=1;files/c@0[]=1;"},
        {"files", true, "3 files/a@0[]=1;files/b/mbox@34[]=x;files/c@0[]=1;"},
        {"maildir", true,
         "2 maildir/new/1.host@0[]=" + kFrom +
             ";maildir/cur/2!2,FS@0[FS]=2;maildir/cur/32,S@0[]=;" + "maildir/new/4@0[]=" + kFrom +
             ";"},
        {"nothing", true, "3 "},
        {"none", false, "none" + kNotFound},
    };
    for (const Case& c : cases) EXPECT_EQ(List(folder, c.name, c.recursive), c.want) << c.name;
}

TEST(MailFolderTest, AFileThatCannotBeReadIsNotTheEnd) {
    const TempFolder folder;
    WriteFiles(folder, {"in/a", "in/b", "in/c"}, "1");
    auto opened = MailFolder::Open(ToPath(folder.At("in")));
    ASSERT_TRUE(opened);
    fs::remove(ToPath(folder.At("in/b")));
    EXPECT_EQ(ListRest(folder, *opened), "in/a@0[]=1;in/b" + kNotFound + ";in/c@0[]=1;");
}

TEST(MailFolderTest, EntriesOutliveTheirFolder) {
    const TempFolder folder;
    const std::string large(KivGuiBase::MemoryFile::kMapSize, 'x');
    WriteFiles(folder, {"mbox"}, kFrom + ">From \n" + large + "\n\n" + kFrom + "end\n");
    auto opened = MailFolder::Open(ToPath(folder.At("mbox")));
    ASSERT_TRUE(opened);
    const auto first = opened->Next();
    opened->Rewind();
    const auto again = opened->Next();
    const auto second = opened->Next();
    EXPECT_FALSE(opened->Next() || opened->Next());
    opened = Error(ErrorCode::none);
    const FolderEntry copy = **second;
    EXPECT_EQ((*first)->GetText(), ">From \n" + large + "\n");
    EXPECT_EQ((*again)->GetUnquotedText(), "From \n" + large + "\n");
    EXPECT_EQ(copy.GetText(), "end\n");
    EXPECT_EQ(copy.GetSender(), "a@b");
    EXPECT_EQ(copy.GetDeliveryDate(), "Thu Jan  1 00:00:01 1970");
}

// Files with one message and mbox files with many, among them the last one: a thread that finds no
// file left waits for the one that opens it.
TEST(MailFolderRaceTest, ThreadsDrawEachMessageOnce) {
    const TempFolder folder;
    std::string mbox;
    for (int i = 0; i < 50; ++i) mbox += kFrom + "text\n\n";
    WriteFiles(folder, {"in/0", "in/2", "in/9"}, mbox);
    WriteFiles(folder, {"in/1", "in/3", "in/4", "in/5"}, "text\n");
    auto opened = MailFolder::Open(ToPath(folder.At("in")));
    ASSERT_TRUE(opened);
    for (int round = 0; round < 20; ++round) {
        opened->Rewind();
        std::mutex mutex;
        std::multiset<std::string> drawn;
        const auto draw = [&] {
            for (const auto& entry : *opened) {
                EXPECT_EQ(entry->GetText(), "text\n");
                const std::lock_guard guard(mutex);
                drawn.insert(FromPath(entry->GetPath()) + std::to_string(entry->GetOffset()));
            }
        };
        std::thread threads[3];
        for (std::thread& thread : threads) thread = std::thread(draw);
        draw();
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(drawn.size(), 154u);
        EXPECT_EQ(std::set(drawn.begin(), drawn.end()).size(), 154u);
    }
}

}  // namespace
}  // namespace MIME
