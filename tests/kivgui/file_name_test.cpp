#include "kivgui/file.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "kivgui/disk_file.h"
#include "kivgui/utf8.h"
#include "support/bytes.h"
#include "support/temp_folder.h"

namespace KivGuiBase {
namespace {

using MIME::Test::Escape;
using MIME::Test::ForEachText;
using MIME::Test::Random;
using MIME::Test::TempFolder;

std::string Repeat(std::string_view text, size_t count) {
    std::string all;
    while (count-- > 0) all += text;
    return all;
}

/// What is wrong with a file name; empty for one that every system takes as it is.
std::string FindFault(std::string_view name) {
    if (name.empty()) return "empty";
    if (name.size() > 255) return "too long";
    if (name.find_first_of("/\\:<>\"|?*") != std::string_view::npos) return "a special character";
    if (std::string_view(". ").find(name.front()) != std::string_view::npos) return "its start";
    if (std::string_view(". ").find(name.back()) != std::string_view::npos) return "its end";
    for (std::string_view rest = name; !rest.empty();) {
        const auto byte = static_cast<unsigned char>(rest.front());
        if (byte < 0x20 || byte == 0x7F) return "a control byte";
        const unsigned length = MeasureUtf8(rest);
        if (length == 0) return "not UTF-8";
        rest.remove_prefix(length);
    }
    return "";
}

TEST(FileNameTest, MakesNamesSafe) {
    struct Case {
        const char* why;
        std::string in;
        std::string want;
    };
    const Case cases[] = {
        {"plain", "report.pdf", "report.pdf"},
        {"UTF-8 stays", "\xC3\xBC \xE2\x82\xAC \xF0\x9F\x98\x80.txt",
         "\xC3\xBC \xE2\x82\xAC \xF0\x9F\x98\x80.txt"},
        {"several extensions", "a.tar.gz", "a.tar.gz"},
        {"empty", "", "_"},
        // Ways out of the folder.
        {"parent folders", "../../etc/passwd", "___.._etc_passwd"},
        {"absolute", "/etc/passwd", "_etc_passwd"},
        {"Windows path", "C:\\x", "C__x"},
        {"alternate stream", "a.txt:s", "a.txt_s"},
        {"the folder itself", ".", "_"},
        {"the folder above", "..", "__"},
        // What a system cuts off, hides or refuses.
        {"leading dot", ".profile", "_profile"},
        {"leading and trailing spaces and dots", " .a b. ", "__a b__"},
        {"extension of a space", "a. ", "a__"},
        {"control bytes", std::string("a\0\x01\r\n\x7F.t\tt", 10), "a_____.t_t"},
        {"shell and Windows characters", "<a>|\"b\"?*", "_a___b___"},
        {"invalid UTF-8", "\xFF\xC0\xAFx\xE2\x82.\xC3", "___x__._"},
        {"overlong form of a separator", "..\xC0\xAF..", "______"},
        // Names that Windows keeps for devices, with any extension and in any case.
        {"device", "CON", "_CON"},
        {"device with extension", "con.txt", "_con.txt"},
        {"device with extensions", "nul.tar.gz", "_nul.tar.gz"},
        {"numbered devices", "COM1", "_COM1"},
        {"numbered device with extension", "lpt9.prn", "_lpt9.prn"},
        {"device with a superscript digit", "com\xC2\xB9", "_com\xC2\xB9"},
        {"device with spaces", "aux .txt", "_aux .txt"},
        {"console", "CONIN$", "_CONIN$"},
        {"no device", "console", "console"},
        {"no numbered device", "com10.txt", "com10.txt"},
        {"no numbered device either", "lpt", "lpt"},
        // Lengths.
        {"the longest", std::string(255, 'a'), std::string(255, 'a')},
        {"too long", std::string(300, 'a'), std::string(255, 'a')},
        {"too long, with extension", std::string(300, 'a') + ".html",
         std::string(250, 'a') + ".html"},
        {"cut between characters", Repeat("\xE2\x82\xAC", 100) + ".html",
         Repeat("\xE2\x82\xAC", 83) + ".html"},
        {"longest extension that is kept", std::string(300, 'a') + "." + std::string(64, 'x'),
         std::string(190, 'a') + "." + std::string(64, 'x')},
        {"no extension: too long for one", std::string(200, 'a') + "." + std::string(65, 'x'),
         std::string(200, 'a') + "." + std::string(54, 'x')},
        {"cut at a dot", std::string(254, 'a') + "." + std::string(100, 'x'),
         std::string(254, 'a') + "_"},
        {"long device, cut between characters", "con." + Repeat("\xE2\x82\xAC", 100) + ".txt",
         "_con." + Repeat("\xE2\x82\xAC", 82) + ".txt"},
        {"long device, cut at a dot", "con." + std::string(249, 'a') + "." + std::string(100, 'x'),
         "_con." + std::string(249, 'a') + "_"},
    };
    for (const Case& c : cases) {
        const AnsiStr name = MakeSafeFileName(AnsiStr(c.in));
        EXPECT_EQ(Escape(name), Escape(c.want)) << c.why;
        EXPECT_EQ(FindFault(name), "") << c.why;
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
        check(random.Text(random.Below(600), "ab. \xC3\xA9\xE2\x82\xAC"));
        check("nul." + random.Text(random.Below(600), "ab. \xC3\xA9\xE2\x82\xAC"));
    }
}

TEST(FileNameTest, TemporaryFilesStayInTheirFolder) {
    const TempFolder folder;
    struct Case {
        std::string name;
        std::string extension;
        std::string ending;  // of the path
    };
    const Case cases[] = {
        {"mimeio-photo.jpeg", "", ".jpeg"},
        {"../../etc/passwd", "", ""},
        {"C:\\x", "", ""},
        {"nul.tar.gz", "", ".gz"},
        {"", "", ""},
        {"..", "", ""},
        {std::string("\0\xFF \x01", 4), "", ""},
        {std::string(300, 'a') + ".html", "", ".html"},
        {std::string(300, 'a'), "mime", ".mime"},
        {"kivmime-sign-mime", "mime", ".mime"},
        {"x", "a/../b", ""},
    };
    for (const Case& c : cases) {
        const auto make = [&c] {
            return c.extension.empty()
                       ? File(FileType::temporary, AnsiStr(c.name), true)
                       : File(FileType::temporary, AnsiStr(c.name), AnsiStr(c.extension), true);
        };
        const File file = make();
        const std::string path(file.GetPath());
        ASSERT_TRUE(path.starts_with(folder.GetPath() + "/")) << Escape(path);
        EXPECT_EQ(FindFault(path.substr(folder.GetPath().size() + 1)), "") << Escape(path);
        EXPECT_TRUE(path.ends_with(c.ending)) << Escape(path);
        EXPECT_NE(make().GetPath(), file.GetPath());

        EXPECT_TRUE(folder.List().empty()) << "a path alone makes no file";
        DiskFile opened;
        EXPECT_TRUE(opened.Open(file, DiskFile::Mode::createNew)) << Escape(path);
        EXPECT_EQ(folder.List().size(), 1u);
        EXPECT_TRUE(file.Remove(false));
    }
}

}  // namespace
}  // namespace KivGuiBase
