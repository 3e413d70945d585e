#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

#include "kivgui/disk_file.h"
#include "kivgui/file.h"
#include "kivgui/utf8.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace KivGuiBase {
namespace {

using namespace MIME::Test;

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

TEST(FileNameTest, MakesNamesSafe) {
    std::string euros;  // 3 bytes each
    while (euros.size() < 300) euros += "\xE2\x82\xAC";
    const std::pair<std::string, std::string> cases[] = {
        {"\xC3\xBC \xE2\x82\xAC.txt", "\xC3\xBC \xE2\x82\xAC.txt"},
        {"", "_"},
        // Ways out of the folder.
        {"../../etc/passwd", "___.._etc_passwd"},
        {"C:\\x", "C__x"},
        // What a system cuts off, hides or refuses.
        {" .a b. ", "__a b__"},
        {std::string("a\0\x01\r\n\x7F.t\tt", 10), "a_____.t_t"},
        {"\xFF\xC0\xAFx\xE2\x82.\xC3", "___x__._"},
        // Names that Windows keeps for devices, with any extension and in any case.
        {"nul.tar.gz", "_nul.tar.gz"},
        {"COM1", "_COM1"},
        {"lpt9.prn", "_lpt9.prn"},
        {"com\xC2\xB9", "_com\xC2\xB9"},
        {"aux .txt", "_aux .txt"},
        {"com10.txt", "com10.txt"},
        // Lengths.
        {std::string(300, 'a') + ".html", std::string(250, 'a') + ".html"},
        {euros + ".html", euros.substr(0, 249) + ".html"},
        {"con." + euros + ".txt", "_con." + euros.substr(0, 246) + ".txt"},
        {"con." + std::string(249, 'a') + "." + std::string(100, 'x'),
         "_con." + std::string(249, 'a') + "_"},
    };
    for (const auto& [text, want] : cases) {
        EXPECT_EQ(Escape(MakeSafeFileName(AnsiStr(text))), Escape(want));
    }
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
