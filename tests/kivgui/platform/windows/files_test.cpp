#include <gtest/gtest.h>

#include "kivgui/platform/windows/system.h"

#include <aclapi.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "kivgui/disk_file.h"
#include "kivgui/full_disk.h"
#include "kivgui/memory_file.h"
#include "kivgui/random.h"
#include "kivgui/utf8.h"
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
    MemoryFile in;
    ASSERT_TRUE(in.Open(copy, MemoryFile::Mode::read)) << why;
    EXPECT_EQ(std::string_view(in.GetData(), in.GetSize()), "text") << why;
    EXPECT_TRUE(in.Close() && file.Remove(false) && copy.Remove(false)) << why;
    EXPECT_EQ(file.GetSize(), -1) << why;
}

TEST_F(WindowsFilesTest, NamesAreUtf8) {
    const char* const names[] = {
        "gr\xC3\xBC\xC3\x9F", "\xE6\x9D\xB1\xE4\xBA\xAC", "\xF0\x9F\x98\x80",  // outside the BMP
        "e\xCC\x81",                                                           // stays decomposed
    };
    for (const char* name : names) {
        UseFile(folder_.At(name), name);
        WriteWholeFile(folder_.At(name), "");
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

// Each of these names is a device, a stream of another file, or another name, as it stands.
TEST_F(WindowsFilesTest, SafeNamesAreOrdinaryFilesOfThatName) {
    for (const char* name :
         {"CON",       "con.txt", "NUL",         "nul.tar.gz", "AUX",     "PRN.x",
          "COM1",      "lpt9.a",  "COM\xC2\xB9", "CONIN$",     "conout$", "a.",
          "a ",        "a. .",    "..",          " ",          "a:b",     "a::$DATA",
          "a:b:$DATA", "a\\b",    "C:\\a",       "\\\\?\\a",   "a*?\"<>|"}) {
        const std::string safe(std::string_view(MakeSafeFileName(name)));
        DiskFile out;
        ASSERT_TRUE(out.Open(At(safe), DiskFile::Mode::createNew)) << name;
        EXPECT_TRUE(out.Write("text", 4) && out.Close()) << name;
        EXPECT_EQ(folder_.List(), std::vector<std::string>{safe}) << name;
        EXPECT_EQ(ReadWholeFile(folder_.At(safe)), "text") << name;
        EXPECT_TRUE(At(safe).Remove(false)) << name;
    }
}

/// Another current folder for as long as this lives.
class CurrentFolder {
public:
    explicit CurrentFolder(const std::string& path) { std::filesystem::current_path(ToPath(path)); }
    ~CurrentFolder() { std::filesystem::current_path(before_); }

private:
    std::filesystem::path before_ = std::filesystem::current_path();
};

TEST_F(WindowsFilesTest, PathsMayBeLong) {
    // The longest folder that may be a current one, and folders below it that may not.
    std::string folder = folder_.GetPath();
    folder += "\\" + std::string(230 - folder.size(), 'a');
    const std::string below = std::string(200, 'b') + "\\" + std::string(200, 'c');
    CreateDirectoryW(ToPath(folder).c_str(), nullptr);
    for (const std::string& name : {folder + "\\" + below.substr(0, 200), folder + "\\" + below}) {
        ASSERT_TRUE(CreateDirectoryW(ToPath("\\\\?\\" + name).c_str(), nullptr)) << name;
    }
    std::string slashes = folder + "\\" + below + "\\name";
    for (char& c : slashes) c = c == '\\' ? '/' : c;
    const CurrentFolder current(folder);
    // Around the 260 units that end an ordinary path, and far behind them.
    for (size_t length = 22; length < 34; ++length) {
        const std::string name(length, 'x');
        UseFile(folder + "\\" + name, "absolute, near the limit");
        UseFile(name, "relative, near the limit");
    }
    UseFile(folder + "\\" + below + "\\name", "absolute");
    UseFile(slashes, "slashes");
    UseFile(below + "\\name", "relative");
    UseFile("..\\" + folder.substr(folder.rfind('\\') + 1) + "/" + below + "/../name", "dots");
    UseFile("\\\\?\\" + folder + "\\" + below + "\\name", "verbatim");
    UseFile(folder + "\\" + below + "\\" + std::string(254, 'n'), "a long name, too");
    EXPECT_FALSE(DiskFile().Open(File(AnsiStr(std::string(40'000, 'x'))), DiskFile::Mode::read));
    EXPECT_NE(GetLastError(), kErrorNone) << "longer than any path";
    EXPECT_FALSE(DiskFile().Open(File(AnsiStr(std::string(100'000, 'x'))), DiskFile::Mode::read));
    EXPECT_EQ(GetLastError(), kErrorNameTooLong);
    // The standard library cannot remove these.
    for (const std::string& name : {below, below.substr(0, 200)}) {
        EXPECT_TRUE(RemoveDirectoryW(ToPath("\\\\?\\" + folder + "\\" + name).c_str())) << name;
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

TEST_F(WindowsFilesTest, TheTemporaryFolderIsTheSystems) {
    struct Case {
        const char* why;
        std::string name;
    };
    const Case cases[] = {
        {"plain", "plain"},
        {"not ASCII", "gr\xC3\xBC\xC3\x9F \xE6\x9D\xB1 \xF0\x9F\x98\x80"},
        {"a path near the limit", std::string(250 - folder_.GetPath().size(), 'x')},
    };
    for (const Case& c : cases) {
        const std::string folder = folder_.At(c.name);
        std::filesystem::create_directory(ToPath(folder));
        System::SetTempFolder(folder);
        const std::string name(200, 'n');
        const File file(FileType::temporary, AnsiStr(name), true);
        const std::string path(std::string_view(file.GetPath()));
        EXPECT_TRUE(path.starts_with(folder + "\\n")) << c.why << ": " << path;
        UseFile(path, c.why);
        EXPECT_TRUE(std::filesystem::is_empty(ToPath(folder))) << c.why;
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
        {"none\\file", Mode::read, kErrorPathNotFound},
        {"none\\file", Mode::create, kErrorPathNotFound},
        {"folder", Mode::read, kErrorAccessDenied},
        {"folder", Mode::create, kErrorAccessDenied},
        {"folder", Mode::createNew, kErrorFileExists},
        {"file", Mode::createNew, kErrorFileExists},
        {"written", Mode::create, kErrorSharingViolation},
        {"a<b", Mode::createNew, kErrorInvalidName},
    };
    for (const Case& c : cases) {
        SetLastError(kErrorNone);
        EXPECT_FALSE(DiskFile().Open(At(c.name), c.mode)) << c.name;
        EXPECT_EQ(GetLastError(), c.code) << c.name << ", mode " << static_cast<int>(c.mode);
    }
    SetLastError(kErrorAccessDenied);
    EXPECT_TRUE(DiskFile().Open(At("file"), Mode::create));
    EXPECT_EQ(GetLastError(), kErrorAccessDenied) << "success leaves the code alone";
}

TEST(WindowsErrorTest, TextsAreTheSystemsOnOneLine) {
    // Every number that the system may have a text for: some texts have places for names that
    // nobody gives, some have several lines.
    unsigned texts = 0;
    for (uint32_t code = 0; code < 16'000; ++code) {
        const AnsiStr text = GetErrorMessage(code, 0, 1);
        ASSERT_FALSE(text.IsEmpty()) << code;
        if (!std::string_view(text).starts_with("Error 0x")) ++texts;
        std::string_view rest(text);
        EXPECT_FALSE(rest.ends_with(' ')) << code << ": " << text.GetStr();
        while (!rest.empty()) {
            const unsigned length = MeasureUtf8(rest);
            ASSERT_TRUE(length > 0 && static_cast<unsigned char>(rest[0]) >= 0x20) << code;
            rest.remove_prefix(length);
        }
    }
    EXPECT_GT(texts, 500u);
    EXPECT_EQ(GetErrorMessage(0x20001234, 0, 1), "Error 0x20001234");
}

// Reading a device, or a pipe that nobody writes, would wait for ever.
TEST_F(WindowsFilesTest, WhatIsNoFileIsNotReadFrom) {
    const wchar_t* const kPipe = L"\\\\.\\pipe\\kivmime-test";
    const HANDLE pipe =
        CreateNamedPipeW(kPipe, PIPE_ACCESS_OUTBOUND, PIPE_TYPE_BYTE, 1, 0, 0, 0, nullptr);
    ASSERT_NE(pipe, INVALID_HANDLE_VALUE);
    for (const char* name : {"NUL", "\\\\.\\NUL", "\\\\.\\pipe\\kivmime-test"}) {
        MemoryFile file;
        EXPECT_FALSE(file.Open(File(name), MemoryFile::Mode::read)) << name;
        EXPECT_EQ(GetLastError(), kErrorInvalidFunction) << name;
    }
    CloseHandle(pipe);
}

TEST_F(WindowsFilesTest, OthersMayUseAnOpenFile) {
    for (const bool isWritten : {false, true}) {
        WriteWholeFile(folder_.At("file"), "text");
        DiskFile file;
        ASSERT_TRUE(
            file.Open(At("file"), isWritten ? DiskFile::Mode::create : DiskFile::Mode::read));
        EXPECT_TRUE(DiskFile().Open(At("file"), DiskFile::Mode::read)) << isWritten;
        std::filesystem::rename(ToPath(folder_.At("file")), ToPath(folder_.At("renamed")));
        EXPECT_TRUE(At("renamed").Remove(false)) << isWritten;
        EXPECT_TRUE(file.Close());
        EXPECT_TRUE(folder_.List().empty()) << isWritten;
    }
}

TEST_F(WindowsFilesTest, AMappedFileCannotBeCutShort) {
    const std::string content = Random(4).Bytes(MemoryFile::kMapSize + 5000);
    WriteWholeFile(folder_.At("file"), content);
    MemoryFile view;
    ASSERT_TRUE(view.Open(At("file"), MemoryFile::Mode::read));
    EXPECT_FALSE(DiskFile().Open(At("file"), DiskFile::Mode::create));
    std::error_code error;
    std::filesystem::resize_file(ToPath(folder_.At("file")), 10, error);
    EXPECT_TRUE(error) << "refused";
    EXPECT_TRUE(std::string_view(view.GetData(), view.GetSize()) == content);
    EXPECT_TRUE(view.Close());
    EXPECT_TRUE(DiskFile().Open(At("file"), DiskFile::Mode::create));
    EXPECT_EQ(At("file").GetSize(), 0);
}

// Windows itself has no such device; Wine shows that of Linux.
TEST_F(WindowsFilesTest, EveryWriterReportsADeviceThatIsFull) {
    const std::string device = "Z:\\dev\\full";
    if (!DiskFile().Open(File(AnsiStr(device)), DiskFile::Mode::create)) {
        GTEST_SKIP() << "no full device";
    }
    for (const size_t size : {1u, 5'000'000u}) ExpectDiskFull(device, size);
}

/// Does the access list of a file let only its owner in? (And the system's own account, which gets
/// in anyway and which Wine puts on every list.)
bool IsOwnersAlone(const std::string& path) {
    ACL* list = nullptr;
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetNamedSecurityInfoW(ToPath(path).c_str(), SE_FILE_OBJECT,
                              OWNER_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION, &owner,
                              nullptr, &list, nullptr, &descriptor) != ERROR_SUCCESS) {
        return false;
    }
    bool isAlone = list != nullptr;  // no list lets everybody in
    for (DWORD i = 0; isAlone && i < list->AceCount; ++i) {
        void* entry = nullptr;
        GetAce(list, i, &entry);
        PSID account = &static_cast<ACCESS_ALLOWED_ACE*>(entry)->SidStart;
        isAlone = EqualSid(account, owner) || IsWellKnownSid(account, WinLocalSystemSid);
    }
    LocalFree(descriptor);
    return isAlone;
}

TEST_F(WindowsFilesTest, NewFilesAreTheirOwnersAlone) {
    WriteWholeFile(folder_.At("source"), "text");
    EXPECT_TRUE(DiskFile().Open(At("disk"), DiskFile::Mode::createNew));
    EXPECT_TRUE(MemoryFile().Open(At("memory"), MemoryFile::Mode::createNew));
    EXPECT_TRUE(At("source").Copy(At("copy"), false));
    for (const char* name : {"disk", "memory", "copy"}) {
        EXPECT_TRUE(IsOwnersAlone(folder_.At(name))) << name;
        EXPECT_TRUE(DiskFile().Open(At(name), DiskFile::Mode::read)) << "its owner may";
    }
}

TEST_F(WindowsFilesTest, NewFilesFollowNoLink) {
    System::MakeLink(folder_.At("nothing"), folder_.At("dangling"));
    EXPECT_FALSE(DiskFile().Open(At("dangling"), DiskFile::Mode::createNew));
    EXPECT_EQ(GetLastError(), kErrorFileExists);
    EXPECT_EQ(folder_.List(), std::vector<std::string>{"dangling"});
}

}  // namespace
}  // namespace KivGuiBase
