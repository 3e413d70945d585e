#include "kivgui/file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "kivgui/memory_file.h"
#include "kivgui/stream.h"
#include "kivgui/utf8.h"
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
    std::filesystem::create_directory(folder_.At("folder"));
    EXPECT_FALSE(At("source").Copy(At("target"), false));
    EXPECT_EQ(GetLastError(), kErrorFileExists);
    EXPECT_FALSE(At("source").Copy(At("source/target"), true));
    EXPECT_EQ(GetLastError(), kErrorPathNotFound);
    EXPECT_FALSE(At("source").Copy(At("folder"), true));
    EXPECT_EQ(ReadWholeFile(folder_.At("target")), "something longer");
}

TEST_F(FileTest, CopyReplacesALinkAndNotWhatItLeadsTo) {
    WriteWholeFile(folder_.At("source"), "new");
    WriteWholeFile(folder_.At("target"), "old");
    System::MakeLink(folder_.At("target"), folder_.At("link"));
    EXPECT_EQ(ReadWholeFile(folder_.At("link")), "old");
    EXPECT_TRUE(At("source").Copy(At("link"), true));
    EXPECT_EQ(ReadWholeFile(folder_.At("link")), "new");
    EXPECT_EQ(ReadWholeFile(folder_.At("target")), "old");
}

/// The ways in which the library makes a file for its owner alone.
bool Make(int way, const File& source, const File& file) {
    if (way == 0) return DiskFile().Open(file, DiskFile::Mode::createNew);
    if (way == 1) return MemoryFile().Open(file, MemoryFile::Mode::createNew);
    return source.Copy(file, false);
}

TEST_F(FileTest, NewFilesAreTheirOwnersAlone) {
    WriteWholeFile(folder_.At("source"), "text");
    std::filesystem::permissions(ToPath(folder_.At("source")), std::filesystem::perms::all);
    WriteWholeFile(folder_.At("taken"), "mine");
    std::filesystem::create_directory(folder_.At("folder"));
    for (const int way : {0, 1, 2}) {
        for (const char* name : {"taken", "folder"}) {
            SetLastError(kErrorNone);
            EXPECT_FALSE(Make(way, At("source"), At(name))) << way << name;
            EXPECT_EQ(GetLastError(), kErrorFileExists) << way << name;
        }
        EXPECT_TRUE(Make(way, At("source"), At("new")));
        EXPECT_TRUE(System::IsOwnersAlone(folder_.At("new"))) << way;
        EXPECT_TRUE(DiskFile().Open(At("new"), DiskFile::Mode::read)) << "its owner may";
        EXPECT_TRUE(At("new").Remove(false));
    }
    EXPECT_EQ(ReadWholeFile(folder_.At("taken")), "mine");
}

TEST_F(FileTest, NewFilesFollowNoLink) {
    WriteWholeFile(folder_.At("target"), "text");
    System::MakeLink(folder_.At("target"), folder_.At("link"));
    System::MakeLink(folder_.At("nothing"), folder_.At("dangling"));
    for (const int way : {0, 1, 2}) {
        EXPECT_FALSE(Make(way, At("target"), At("link"))) << way;
        EXPECT_FALSE(Make(way, At("target"), At("dangling"))) << way;
        EXPECT_EQ(GetLastError(), kErrorFileExists) << way;
    }
    EXPECT_EQ(folder_.List(), (std::vector<std::string>{"dangling", "link", "target"}));
    // A host that names a link for writing means the file that it leads to.
    EXPECT_TRUE(DiskFile().Open(At("link"), DiskFile::Mode::create));
    EXPECT_EQ(ReadWholeFile(folder_.At("target")), "");
}

TEST_F(FileTest, ADeviceThatIsFullFailsTheCloseAtTheLatest) {
    const std::string device = System::GetFullDevice();
    if (device.empty()) GTEST_SKIP() << "this system has none";
    for (const size_t size : {1u, 1'000'000u}) {
        SetLastError(kErrorNone);
        WriteStream out(File(AnsiStr(device)), WriteStreamMode::create);
        EXPECT_FALSE(out.Write(std::string(size, 'x').c_str()) && out.Close()) << size;
        EXPECT_EQ(GetLastError(), kErrorDiskFull) << size;
    }
}

TEST_F(FileTest, AStreamThatIsNotOpenSaysWhyAtEachUse) {
    ReadStream in(At("missing"), ReadStreamMode::read);
    WriteStream out(At("missing/file"), WriteStreamMode::create);
    AnsiStr text = "old";
    for (int use = 0; use < 2; ++use) {
        SetLastError(kErrorNone);
        EXPECT_FALSE(in.Read(text));
        EXPECT_EQ(GetLastError(), kErrorFileNotFound);
        EXPECT_FALSE(out.Write("x"));
        // Windows tells a missing folder from a missing file.
        EXPECT_TRUE(GetLastError() == kErrorFileNotFound || GetLastError() == kErrorPathNotFound)
            << GetLastError();
    }
    EXPECT_TRUE(text.IsEmpty());
}

// What is not open takes nothing, and nothing of it shows up in the next file.
TEST_F(FileTest, AClosedDiskFileRefusesWork) {
    DiskFile file;
    char byte = 'x';
    unsigned got = 1;
    EXPECT_TRUE(file.Open(At("file"), DiskFile::Mode::create) && file.Close());
    EXPECT_TRUE(!file.Write(&byte, 1) && !file.Read(&byte, 1, got));
    EXPECT_EQ(GetLastError(), kErrorInvalidHandle);
    EXPECT_EQ(file.GetWriteRoom(1), nullptr);
    EXPECT_EQ(got, 0u);
    EXPECT_TRUE(file.Close()) << "again";
}

TEST_F(FileTest, MemoryFilesReadEverySize) {
    constexpr auto kMapSize = static_cast<size_t>(MemoryFile::kMapSize);
    MemoryFile file;
    for (const size_t size : {kMapSize, kMapSize + 1, size_t{0}, size_t{5000}, kMapSize - 1}) {
        const std::string content = Random(size).Bytes(size);
        const std::string name = std::to_string(size);
        WriteWholeFile(folder_.At(name), content);
        ASSERT_TRUE(file.Open(At(name.c_str()), MemoryFile::Mode::read)) << size;
        // One that is not mapped may shrink while it is open.
        if (size < kMapSize) std::filesystem::resize_file(folder_.At(name), 0);
        EXPECT_TRUE(std::string_view(file.GetData(), file.GetSize()) == content) << size;
    }
    EXPECT_TRUE(file.Close());
    EXPECT_FALSE(file.Extend(1, 0)) << "nothing is open";
    ASSERT_TRUE(file.Open(At("file"), MemoryFile::Mode::create));
    EXPECT_FALSE(file.Extend(UINT64_MAX, 3)) << "passes 64 bits";
}

/// Whether every system takes the name as it is.
bool IsSafe(std::string_view name) {
    if (name.empty() || name.size() > 255) return false;
    if (name.find_first_of("/\\:<>\"|?*\x7F") != std::string_view::npos) return false;
    for (const char end : {name.front(), name.back()}) {
        if (end == '.' || end == ' ') return false;
    }
    while (!name.empty()) {
        const unsigned length = MeasureUtf8(name);
        if (length == 0 || static_cast<unsigned char>(name[0]) < 0x20) return false;
        name.remove_prefix(length);
    }
    return true;
}

TEST(FileNameTest, PathsOfTheStandardLibraryKeepTheirText) {
    const std::string text = "a/\xC3\xA9\xF0\x9F\x98\x80.txt";
    const std::filesystem::path path = ToPath(text);
    const File file(path);
    EXPECT_EQ(file, File(text));
    EXPECT_EQ(std::filesystem::path(file), path);
    EXPECT_LT(File("a"), file);

    std::wstring wide;
    ToSystemPath(text, wide);
    EXPECT_EQ(wide, L"a/\u00E9\U0001F600.txt");
    EXPECT_EQ(FromSystemPath(wide), text);
    EXPECT_EQ(FromSystemPath(std::wstring{L'a', wchar_t{0xD83D}, wchar_t{0xDE00}}),
              "a\xF0\x9F\x98\x80");
    EXPECT_EQ(FromSystemPath(std::wstring{wchar_t{0xDE00}, wchar_t{0xD83D}}), "\xFF\xFF");
    ToSystemPath("a\xFF", wide);
    EXPECT_EQ(wide, L"");
}

TEST(FileNameTest, EveryTextGivesASafeNameThatStaysAsItIs) {
    const auto check = [](std::string_view text) {
        if (HasFailure()) return;  // one text is enough to look at
        const AnsiStr name = MakeSafeFileName(AnsiStr(text));
        ASSERT_TRUE(IsSafe(name)) << Escape(text) << " gave " << Escape(name);
        ASSERT_EQ(MakeSafeFileName(name), name) << Escape(text);
    };
    ForEachText("a. /\x01\xC3\xA9", 5, check);
    Random random(99);
    for (int i = 0; i < 2000; ++i) {
        check(random.Bytes(random.Below(600)));
        check("nul." + random.Text(random.Below(600), "ab. \xC3\xA9\xE2\x82\xAC"));
    }
}

TEST(FileNameTest, TemporaryFilesStayInTheirFolder) {
    const TempFolder folder;
    for (const char* name : {"photo.jpeg", "../../etc/x.jpeg", "\xFF \x01.jpeg"}) {
        const File file(FileType::temporary, name, true);
        EXPECT_NE(File(FileType::temporary, name, true).GetPath(), file.GetPath());
        EXPECT_TRUE(folder.List().empty()) << "a path alone makes no file";
        EXPECT_TRUE(DiskFile().Open(file, DiskFile::Mode::createNew)) << name;
        ASSERT_EQ(folder.List().size(), 1u) << name;
        EXPECT_TRUE(folder.List()[0].ends_with(".jpeg")) << name;
        EXPECT_TRUE(IsSafe(folder.List()[0])) << name;
        EXPECT_TRUE(file.Remove(false));
    }
}

}  // namespace
}  // namespace KivGuiBase
