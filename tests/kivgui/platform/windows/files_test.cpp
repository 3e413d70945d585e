// Names, paths, devices and failures that only Windows has. What both systems owe is in file_test.cpp.

#include <gtest/gtest.h>

#include "kivgui/platform/windows/system.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "kivgui/disk_file.h"
#include "kivgui/error.h"
#include "kivgui/memory_file.h"
#include "kivgui/platform/windows/system.h"
#include "kivgui/random.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace KivGuiBase {
namespace {

using namespace MIME::Test;

constexpr uint32_t kErrorSharingViolation = 32;
constexpr uint32_t kErrorInvalidName = 123;
constexpr uint32_t kErrorNotUnicode = 1113;

class WindowsFilesTest : public testing::Test {
protected:
    File At(std::string_view name) const { return File(AnsiStr(folder_.At(name))); }
    TempFolder folder_;
};

/// Makes a file, reads, measures and copies it, and removes both.
void UseFile(const std::string& path, const char* why) {
    const File file((AnsiStr(path)));
    const File copy(AnsiStr(path + "2"));
    DiskFile out;
    ASSERT_TRUE(out.Open(file, DiskFile::Mode::createNew)) << why << ": " << GetLastError();
    EXPECT_TRUE(out.Write("text", 4) && out.Close()) << why;
    EXPECT_EQ(file.GetSize(), 4) << why;
    EXPECT_TRUE(file.Copy(copy, false)) << why;
    EXPECT_EQ(ReadWholeFile(path + "2"), "text") << why;
    EXPECT_TRUE(file.Remove(false) && copy.Remove(false)) << why;
}

TEST_F(WindowsFilesTest, NamesAreUtf8) {
    for (const char* name : {"gr\xC3\xBC\xC3\x9F", "\xF0\x9F\x98\x80", "e\xCC\x81"}) {
        UseFile(folder_.At(name), name);
        EXPECT_TRUE(DiskFile().Open(At(name), DiskFile::Mode::createNew));
        EXPECT_EQ(folder_.List(), std::vector<std::string>{name});
        EXPECT_TRUE(At(name).Remove(false)) << name;
    }
    // Half a pair, a cut character, an overlong one: another name must not be made of them.
    for (const char* name : {"\xED\xA0\x80", "a\xE2\x82", "\xC0\xAF", "\xFF"}) {
        const File file(AnsiStr(folder_.GetPath() + "\\" + name));
        SetLastError(kErrorNone);
        EXPECT_FALSE(DiskFile().Open(file, DiskFile::Mode::createNew)) << Escape(name);
        EXPECT_EQ(GetLastError(), kErrorNotUnicode) << Escape(name);
        EXPECT_FALSE(file.Remove(false));
        EXPECT_EQ(file.GetSize(), -1);
    }
    EXPECT_TRUE(folder_.List().empty());
}

// Each of these names is a device, a stream of another file, or another name, as it is.
TEST_F(WindowsFilesTest, SafeNamesAreOrdinaryFilesOfThatName) {
    for (const char* name : {"CON", "nul.tar.gz", "lpt9.a", "COM\xC2\xB9", "CONIN$", "a.", "a ",
                             "..", " ", "a:b", "a::$DATA", "a\\b", "\\\\?\\a", "a*?\"<>|"}) {
        const std::string safe(std::string_view(MakeSafeFileName(name)));
        EXPECT_TRUE(DiskFile().Open(At(safe), DiskFile::Mode::createNew)) << name;
        EXPECT_EQ(folder_.List(), std::vector<std::string>{safe}) << name;
        EXPECT_TRUE(At(safe).Remove(false)) << name;
    }
}

// Wine opens long paths in any form, so that only the form itself shows what Windows would do.
TEST(WindowsPathTest, LongPathsGetTheFormWithoutALimit) {
    const auto x = [](size_t count) { return std::string(count, 'x'); };
    const std::string folder = FromPath(std::filesystem::current_path());
    struct Case {
        std::string path;
        std::string want;
    };
    const Case cases[] = {
        {"a\\b", "a\\b"},
        {"NUL", "NUL"},
        {"C:\\" + x(256), "C:\\" + x(256)},
        {"C:\\" + x(257), "\\\\?\\C:\\" + x(257)},
        {"C:/a/../" + x(257), "\\\\?\\C:\\" + x(257)},
        {x(250) + "/y/../z", "\\\\?\\" + folder + "\\" + x(250) + "\\z"},
        {"\\\\server\\share\\" + x(250), "\\\\?\\UNC\\server\\share\\" + x(250)},
        {"\\\\?\\C:\\a\\..\\" + x(300), "\\\\?\\C:\\a\\..\\" + x(300)},
    };
    for (const Case& c : cases) {
        std::wstring path;
        EXPECT_TRUE(Platform::MakeSystemPath(c.path.c_str(), path));
        EXPECT_EQ(FromPath(path), c.want);
    }
}

TEST_F(WindowsFilesTest, PathsMayBeLong) {
    const std::string folder = folder_.GetPath() + "\\" + std::string(250, 'a');
    ASSERT_TRUE(CreateDirectoryW(ToPath("\\\\?\\" + folder).c_str(), nullptr));
    UseFile(folder + "\\name", "absolute");
    UseFile("\\\\?\\" + folder + "\\name", "verbatim");
    EXPECT_FALSE(DiskFile().Open(File(AnsiStr(std::string(100'000, 'x'))), DiskFile::Mode::read));
    EXPECT_EQ(GetLastError(), kErrorNameTooLong);
}

TEST_F(WindowsFilesTest, TheTemporaryFolderIsTheSystems) {
    const std::string names[] = {
        "gr\xC3\xBC\xC3\x9F \xE6\x9D\xB1 \xF0\x9F\x98\x80",
        std::string(250 - folder_.GetPath().size(), 'x'),  // a path near the limit
    };
    for (const std::string& name : names) {
        const std::string folder = folder_.At(name);
        std::filesystem::create_directory(ToPath(folder));
        System::SetTempFolder(folder);
        const File file(FileType::temporary, AnsiStr(std::string(200, 'n')), true);
        const std::string path(std::string_view(file.GetPath()));
        EXPECT_TRUE(path.starts_with(folder + "\\n")) << path;
        UseFile(path, name.c_str());
    }
    System::SetTempFolder(folder_.GetPath());
}

TEST_F(WindowsFilesTest, FailuresHaveTheSystemsCodes) {
    WriteWholeFile(folder_.At("file"), "text");
    std::filesystem::create_directory(ToPath(folder_.At("folder")));
    DiskFile writer;
    ASSERT_TRUE(writer.Open(At("written"), DiskFile::Mode::create));
    using Mode = DiskFile::Mode;
    struct Case {
        std::string name;
        Mode mode;
        uint32_t code;
    };
    const Case cases[] = {
        {"none", Mode::read, kErrorFileNotFound},
        {"none\\file", Mode::create, kErrorPathNotFound},
        {"folder", Mode::read, kErrorAccessDenied},
        {"folder", Mode::createNew, kErrorFileExists},
        {"written", Mode::create, kErrorSharingViolation},
        {"a<b", Mode::createNew, kErrorInvalidName},
        {"nul", Mode::createNew, kErrorFileExists},
    };
    for (const Case& c : cases) {
        SetLastError(kErrorNone);
        EXPECT_FALSE(DiskFile().Open(At(c.name), c.mode)) << c.name;
        EXPECT_EQ(GetLastError(), c.code) << c.name << ", mode " << static_cast<int>(c.mode);
        EXPECT_EQ(::GetLastError(), c.code) << "the host asks the system";
    }
    SetLastError(kErrorAccessDenied);
    EXPECT_TRUE(DiskFile().Open(At("file"), Mode::create));
    EXPECT_EQ(GetLastError(), kErrorAccessDenied) << "success leaves the code alone";
}

TEST(WindowsErrorTest, TheCodesOfTheLibraryAreTheSystems) {
    EXPECT_TRUE(AnsiStr(std::string_view("", size_t{AnsiStr::kMaxLength} + 1)).IsEmpty());
    EXPECT_EQ(::GetLastError(), kErrorStringOverflow);
    ::SetLastError(ERROR_SUCCESS);
    EXPECT_EQ(GetLastError(), kErrorNone);
}

TEST(WindowsErrorTest, TextsAreTheSystemsOnOneLine) {
    // Every number that the system may have a text for: some texts have places for names that
    // nobody gives, some have several lines.
    unsigned texts = 0;
    for (uint32_t code = 0; code < 16'000; ++code) {
        const std::string text(GetErrorMessage(code, 0, 1));
        ASSERT_FALSE(text.empty() || text.ends_with(' ')) << code << ": " << text;
        EXPECT_TRUE(std::all_of(text.begin(), text.end(), [](unsigned char c) {
            return c >= 0x20;
        })) << code;
        texts += text.starts_with("Error 0x") ? 0 : 1;
    }
    EXPECT_GT(texts, 500u);
    EXPECT_EQ(GetErrorMessage(0x20001234, 0, 1), "Error 0x20001234");
}

// Reading a device, or a pipe that nobody writes, would wait for ever.
TEST_F(WindowsFilesTest, DevicesAreWrittenAndNotRead) {
    const wchar_t* const kPipe = L"\\\\.\\pipe\\kivmime-test";
    const HANDLE pipe =
        CreateNamedPipeW(kPipe, PIPE_ACCESS_OUTBOUND, PIPE_TYPE_BYTE, 1, 0, 0, 0, nullptr);
    ASSERT_NE(pipe, INVALID_HANDLE_VALUE);
    for (const char* name : {"NUL", "\\\\.\\NUL", "\\\\.\\pipe\\kivmime-test"}) {
        EXPECT_FALSE(MemoryFile().Open(File(name), MemoryFile::Mode::read)) << name;
        EXPECT_EQ(GetLastError(), kErrorInvalidFunction) << name;
    }
    CloseHandle(pipe);
    EXPECT_TRUE(DiskFile().Open(File("NUL"), DiskFile::Mode::create)) << "a host may write there";
}

TEST_F(WindowsFilesTest, AMappedFileCannotBeCutShort) {
    const std::string content = Random(4).Bytes(MemoryFile::kMapSize + 5000);
    WriteWholeFile(folder_.At("file"), content);
    MemoryFile view;
    ASSERT_TRUE(view.Open(At("file"), MemoryFile::Mode::read));
    EXPECT_FALSE(DiskFile().Open(At("file"), DiskFile::Mode::create));
    EXPECT_TRUE(std::string_view(view.GetData(), view.GetSize()) == content);
    EXPECT_TRUE(view.Close());
    EXPECT_TRUE(DiskFile().Open(At("file"), DiskFile::Mode::create));
}

}  // namespace
}  // namespace KivGuiBase
