#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "kivgui/disk_file.h"
#include "kivgui/file.h"
#include "kivgui/utf8.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace KivGuiBase {
namespace {

using namespace MIME::Test;

std::string Euros(size_t count) {
    std::string all;
    while (count-- > 0) all += "\xE2\x82\xAC";
    return all;
}

/// What is wrong with a file name; empty for one that every system takes as it is.
std::string FindFault(std::string_view name) {
    if (name.empty() || name.size() > 255) return "its length";
    if (name.find_first_of("/\\:<>\"|?*") != std::string_view::npos) return "a special character";
    if (std::string_view(". ").find(name.front()) != std::string_view::npos) return "its start";
    if (std::string_view(". ").find(name.back()) != std::string_view::npos) return "its end";
    while (!name.empty()) {
        if (static_cast<unsigned char>(name[0]) < 0x20 || name[0] == 0x7F) return "a control byte";
        const unsigned length = MeasureUtf8(name);
        if (length == 0) return "not UTF-8";
        name.remove_prefix(length);
    }
    return "";
}

TEST(FileNameTest, MakesNamesSafe) {
    struct Case {
        std::string in;
        std::string want;
    };
    const Case cases[] = {
        {"\xC3\xBC \xE2\x82\xAC.txt", "\xC3\xBC \xE2\x82\xAC.txt"},
        {"", "_"},
        // Ways out of the folder.
        {"../../etc/passwd", "___.._etc_passwd"},
        {"C:\\x", "C__x"},
        {"..", "__"},
        // What a system cuts off, hides or refuses.
        {" .a b. ", "__a b__"},
        {std::string("a\0\x01\r\n\x7F.t\tt", 10), "a_____.t_t"},
        {"<a>|\"b\"?*", "_a___b___"},
        {"\xFF\xC0\xAFx\xE2\x82.\xC3", "___x__._"},
        // Names that Windows keeps for devices, with any extension and in any case.
        {"CON", "_CON"},
        {"nul.tar.gz", "_nul.tar.gz"},
        {"COM1", "_COM1"},
        {"lpt9.prn", "_lpt9.prn"},
        {"com\xC2\xB9", "_com\xC2\xB9"},
        {"aux .txt", "_aux .txt"},
        {"com10.txt", "com10.txt"},
        // Lengths.
        {std::string(300, 'a') + ".html", std::string(250, 'a') + ".html"},
        {Euros(100) + ".html", Euros(83) + ".html"},
        {"con." + Euros(100) + ".txt", "_con." + Euros(82) + ".txt"},
        {"con." + std::string(249, 'a') + "." + std::string(100, 'x'),
         "_con." + std::string(249, 'a') + "_"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(Escape(MakeSafeFileName(AnsiStr(c.in))), Escape(c.want));
    }
}

TEST(FileNameTest, EveryTextGivesASafeNameThatStaysAsItIs) {
    const auto check = [](std::string_view text) {
        if (HasFailure()) return;  // one text is enough to look at
        const AnsiStr name = MakeSafeFileName(AnsiStr(text));
        ASSERT_EQ(FindFault(name), "") << Escape(text) << " gave " << Escape(name);
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
    for (const std::string& name : {std::string("mimeio-photo.jpeg"), std::string("../../etc/x"),
                                   std::string("\0\xFF \x01", 4), std::string(300, 'a')}) {
        const File file(FileType::temporary, AnsiStr(name), true);
        EXPECT_NE(File(FileType::temporary, AnsiStr(name), true).GetPath(), file.GetPath());
        const std::string path(file.GetPath());
        ASSERT_TRUE(path.starts_with(folder.GetPath() + "/")) << Escape(path);
        EXPECT_EQ(FindFault(path.substr(folder.GetPath().size() + 1)), "") << Escape(path);
        EXPECT_EQ(path.ends_with(".jpeg"), name.ends_with(".jpeg")) << Escape(path);
        EXPECT_TRUE(folder.List().empty()) << "a path alone makes no file";
        EXPECT_TRUE(DiskFile().Open(file, DiskFile::Mode::createNew)) << Escape(path);
        EXPECT_TRUE(file.Remove(false));
    }
}

}  // namespace
}  // namespace KivGuiBase
