#include "kivgui/charset.h"

#include <gtest/gtest.h>

#include <string>

#include "support/bytes.h"

namespace KivGuiBase {
namespace {

using MIME::Test::Escape;
using MIME::Test::Random;

struct Case {
    const char* charset;
    std::string_view bytes;
    std::string_view text;  ///< "?" for U+FFFD
    unsigned replaced = 0;
};

/// The text with a "?" for each U+FFFD, to keep tables readable.
std::string Show(std::string_view text) {
    std::string shown(text);
    for (size_t at; (at = shown.find("\xEF\xBF\xBD")) != std::string::npos;) {
        shown.replace(at, 3, "?");
    }
    return Escape(shown);
}

constexpr std::string_view kNihon = "\xE6\x97\xA5\xE6\x9C\xAC";  // U+65E5 U+672C

TEST(CharsetTest, ConvertsToUtf8) {
    const Case kCases[] = {
        {"us-ascii", "abc", "abc"},
        {"", "a\xE4\xFF", "a??", 2},
        {"ANSI_X3.4-1968", "a", "a"},
        {"UTF8", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80"},
        {"iso8859-1", "a\x80\xE4\xFF", "a\xC2\x80\xC3\xA4\xC3\xBF"},
        {" Latin1 ", "\xE4", "\xC3\xA4"},
        {"'latin1\"", "\xE4", "\xC3\xA4"},
        {"Windows-1252", "\x80\x81\x82\x83\x84\x85\x86\x87\x88\x89\x8A\x8B\x8C\x8D\x8E\x8F",
         "\u20AC?\u201A\u0192\u201E\u2026\u2020\u2021\u02C6\u2030\u0160\u2039\u0152?\u017D?", 3},
        {"Windows-1252", "\x90\x91\x92\x93\x94\x95\x96\x97\x98\x99\x9A\x9B\x9C\x9D\x9E\x9F\xE4",
         "?\u2018\u2019\u201C\u201D\u2022\u2013\u2014\u02DC\u2122\u0161\u203A\u0153?"
         "\u017E\u0178\u00E4",
         2},
        {"utf-16", {"\0a\xD8\x3D\xDE\x00", 6}, "a\xF0\x9F\x98\x80"},
        {"utf-16",
         {"\xFF\xFE"
          "a\0",
          4},
         "a"},
        {"utf-16", {"\xFE\xFF\0a", 4}, "a"},
        {"UTF-16LE",
         {"a\0\0\xD8"
          "b\0x",
          7},
         "a?b?",
         2},
        {"utf-16be", {"\xDC\0\xD8\0", 4}, "??", 2},
        {"utf-16be", "\xD8\x01\xD8\x01\xDC\x01\xDF\xFF\xE0\x01\xDB\xFF\xDF\xFF",
         "?\U00010401?\uE001\U0010FFFF", 2},
        {"utf-32", {"\0\0\0a\0\x11\0\0", 8}, "a?", 1},
        {"utf-32be",
         {"\0\0\xD8\0\0\0\xDF\xFF\0\0\xE0\0\0\x10\xFF\xFF", 16},
         "??\uE000\U0010FFFF",
         2},
        {"utf-32", {"\xFF\xFE\0\0a\0\0\0", 8}, "a"},
        // The system's, by the names that mail has for them.
        {"ISO-8859-2", "\xB1", "\xC4\x85"},
        {"iso8859-15", "\xA4", "\xE2\x82\xAC"},
        {"ISO-8859-8-I", "\xE0", "\xD7\x90"},
        {"windows-1251", "\xC0", "\xD0\x90"},
        {"cp-1250", "\x8A", "\xC5\xA0"},
        {"KOI8-R", "\xC1", "\xD0\xB0"},
        {"gb2312", "\xC8\xD5\xB1\xBE", kNihon},
        {"big5", "\xA4\xE9\xA5\xBB", kNihon},
        {"x-sjis", "\x93\xFA\x96{\\", "\xE6\x97\xA5\xE6\x9C\xAC\\"},
        {"EUC-JP", "\xC6\xFC\xCB\xDC", kNihon},
        {"ks_c_5601-1987", "\xB0\xA1\x81\x41", "\xEA\xB0\x80\xEA\xB0\x82"},
        {"utf-7", "a+AOQ-b",
         "a\xC3\xA4"
         "b"},
        {"x-mac-roman", "\x8A", "\xC3\xA4"},
        {"shift_jis", "a\x93", "a?", 1},
        {"euc-kr",
         "\xFF\xFF"
         "a",
         "??a", 2},
    };
    for (const Case& c : kCases) {
        const CharsetResult got = ConvertToUtf8(c.bytes, c.charset);
        EXPECT_TRUE(got.known) << c.charset;
        EXPECT_EQ(Show(got.text), Show(c.text)) << c.charset << ": " << Escape(c.bytes);
        EXPECT_EQ(got.replaced, c.replaced) << c.charset << ": " << Escape(c.bytes);
    }
}

TEST(CharsetTest, CharactersOfFourBytesAndShiftedStates) {
    EXPECT_EQ(ConvertToUtf8({"\x81\x30\x81\x30", 4}, "GB18030").text, "\xC2\x80");
    EXPECT_EQ(ConvertToUtf8("a\x1B$BF|K\\\x1B(Bb", "iso-2022-jp").text,
              "a" + std::string(kNihon) + "b");
}

TEST(CharsetTest, MalformedUtf8IsReplacedBySequences) {
    constexpr Case kCases[] = {
        {"a lone tail",
         "a\x80"
         "b",
         "a?b", 1},
        {"overlong", "\xC0\xAF\xE0\x80\xAF", "?????", 5},
        {"next to overlong", "\xE0\xA0\x80\xE0\x9F\xBF\xF0\x90\x80\x80", "\u0800???\U00010000", 3},
        {"a surrogate", "\xED\xA0\x80", "???", 3},
        {"above U+10FFFF", "\xF4\x90\x80\x80\xF5", "?????", 5},
        {"cut short",
         "\xE2\x82"
         "a\xF0\x9F\x98",
         "?a?", 2},
        {"cut by another", "\xF0\x9F\xC3\xA4\xE2\xE2\x82\xAC", "?\xC3\xA4?\xE2\x82\xAC", 2},
        {"a NUL is a character", {"a\0\xFF", 3}, {"a\0?", 3}, 1},
    };
    for (const Case& c : kCases) {
        const CharsetResult got = ConvertToUtf8(c.bytes, "utf-8");
        EXPECT_EQ(Show(got.text), Show(c.text)) << c.charset;
        EXPECT_EQ(got.replaced, c.replaced) << c.charset;
    }
}

TEST(CharsetTest, UnknownNamesGiveNoText) {
    const std::string kNames[] = {"x-none",
                                  "utf-8//TRANSLIT",
                                  "utf-8,x",
                                  "../../etc",
                                  "$(id)",
                                  "utf-8\nx",
                                  "-",
                                  "wchar_t",
                                  "internal",
                                  "windows-",
                                  "cp99999",
                                  std::string("utf-8\0x", 7),
                                  std::string(1000000, 'u')};
    for (const std::string& name : kNames) {
        const CharsetResult got = ConvertToUtf8("abc", name);
        EXPECT_FALSE(got.known) << Escape(name.substr(0, 80));
        EXPECT_TRUE(got.text.IsEmpty()) << Escape(name.substr(0, 80));
    }
}

/// Every way to end a text, a buffer of the system's converter and a step of ours.
TEST(CharsetTest, LongTextsAreConvertedWhole) {
    Random random(7);
    for (const char* charset : {"utf-8", "iso-8859-1", "iso-8859-15", "us-ascii"}) {
        for (size_t size = 4000; size < 4140; ++size) {
            std::string text = random.Text(size, "abcdefghijklmnopqrstuvwxyz \r\n");
            const CharsetResult got = ConvertToUtf8(text, charset);
            ASSERT_EQ(got.text, std::string_view(text)) << charset;
            ASSERT_EQ(got.replaced, 0u) << charset;
        }
    }
    const std::string rubbish(1 << 20, '\xFF');
    for (const char* charset : {"utf-8", "us-ascii", "euc-kr"}) {
        EXPECT_EQ(ConvertToUtf8(rubbish, charset).replaced, rubbish.size()) << charset;
    }
}

}  // namespace
}  // namespace KivGuiBase
