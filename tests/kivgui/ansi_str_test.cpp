#include "kivgui/ansi_str.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include "support/gate.h"

namespace KivGuiBase {
namespace {

TEST(AnsiStrTest, MadeOfNothingAndOfBuffers) {
    AnsiStr none(static_cast<const char*>(nullptr));
    EXPECT_STREQ(none.Trunc(3).Delete(0, 1).ToLower().GetStr(), "");
    EXPECT_EQ(none.Find('\0'), AnsiStr::kMaxLength);
    char* buffer;
    AnsiStr shorter(6, buffer);
    std::memcpy(buffer, "abc\0ef", 6);
    EXPECT_EQ(shorter.Append('!'), "abc!");
}

// Each change is made to a body of its own and to a shared one, whose other handle must not see it.
TEST(AnsiStrTest, ChangesLeaveOtherHandlesAlone) {
    struct Case {
        void (*change)(AnsiStr& text);
        const char* want;
    };
    const Case cases[] = {
        {[](AnsiStr& s) { s += s; }, "Hello WorldHello World"},
        {[](AnsiStr& s) { s += AnsiSubStr(s.GetStr() + 5, 6); }, "Hello World World"},
        {[](AnsiStr& s) { s = AnsiSubStr(s.GetStr() + 6, 3); }, "Wor"},
        {[](AnsiStr& s) { s.Trunc(4) += "p"; }, "Hellp"},
        {[](AnsiStr& s) { s.Insert(10, '-'); }, "Hello Worl-d"},
        {[](AnsiStr& s) { s.Insert(99, '!'); }, "Hello World!"},
        {[](AnsiStr& s) { s.Delete(4, 2); }, "HellWorld"},
        {[](AnsiStr& s) { s.Delete(5, 0xFFFFFFFF); }, "Hello"},
        {[](AnsiStr& s) { s = s.Copy(4, 3); }, "o W"},
        {[](AnsiStr& s) { s = s.Copy(6, AnsiStr::kToEnd); }, "World"},
        {[](AnsiStr& s) { s.ToLower(); }, "hello world"},
        {[](AnsiStr& s) { std::strcpy(s.Alloc(100), "Bye"); }, "Bye"},
        {[](AnsiStr& s) { s.Shrink(); }, "Hello World"},
    };
    for (const Case& c : cases) {
        AnsiStr own("Hello World");
        own.Alloc(50);
        const AnsiStr other("Hello World");
        AnsiStr shared = other;
        for (AnsiStr* text : {&own, &shared}) {
            c.change(*text);
            EXPECT_EQ(*text, c.want);
            EXPECT_EQ(std::strlen(text->GetStr()), text->GetLength()) << c.want;
        }
        EXPECT_EQ(other, "Hello World") << c.want;
    }
}

TEST(AnsiStrTest, LengthsStopAt32Bits) {
    // A body that claims a length it has no memory for; only what looks at lengths may touch it.
    AnsiStr::Imp* body = AnsiStr::Imp::Init(16, 0xFFFFFFFD, "abc", 3);
    AnsiStr text;
    std::memcpy(static_cast<void*>(&text), static_cast<void*>(&body), sizeof body);
    text.Append("def", Growth::spare);
    EXPECT_EQ(GetLastError(), 0x8002000A);
    EXPECT_EQ(text.GetLength(), 0xFFFFFFFD);
    EXPECT_STREQ(text.GetStr(), "abc");
    EXPECT_TRUE((text + text).IsEmpty());
    EXPECT_EQ(AnsiStr::Imp::GetExtendSize(0xFFFFFFF0, true), 0xFFFFFFFF);
}

TEST(AnsiStrTest, FindsAndComparesBytesAsUnsignedValues) {
    const AnsiStr text("aBcaBc\xC9");
    EXPECT_EQ(text.Find('b', 2, true), 4u);
    EXPECT_EQ(text.Find('b', 2, false), AnsiStr::kMaxLength);
    EXPECT_EQ(text.Find('\xE9', 0, true), AnsiStr::kMaxLength) << "letters of ASCII only";
    EXPECT_EQ(text.FindLast('B', AnsiStr::kToEnd, false), 4u);
    EXPECT_EQ(text.FindLast('b', 3, true), 1u);
    EXPECT_LT(AnsiStr::Compare("ABD", "abc", false), 0);
    EXPECT_GT(AnsiStr::Compare("ABD", "abc", true), 0);
    EXPECT_GT(AnsiStr::Compare("\xE9", "z", true), 0);
    EXPECT_GT(AnsiStr::Compare("Z", "_", true), 0) << "folded to a lower-case letter";
    EXPECT_LT(AnsiStr::Compare("@", "`", true), 0) << "0x20 apart, but no letters";
    EXPECT_EQ(AnsiStr::NCompare("Subject: a", "SUBJECT: b", 9, true), 0);
}

TEST(AnsiStrTest, GetsOnWithStandardTexts) {
    const std::string standard("b\0\xC9", 3);
    AnsiStr text = standard;
    const std::string back = text;
    EXPECT_EQ(back, standard);
    EXPECT_TRUE(text == standard && standard == text && text + standard == standard + standard);
    EXPECT_EQ(std::string(text.begin(), text.end()), standard);
    EXPECT_TRUE(text < std::string_view("b\0\xCA", 3) && text > "b" && std::string("b\xC8") > text);
    EXPECT_TRUE(text > static_cast<const char*>(nullptr) && text <= AnsiStr("c"));
    text = std::string("x");
    text += std::string("y");
    std::unordered_map<AnsiStr, int, std::hash<AnsiStr>, std::equal_to<>> map{{text, 1}};
    EXPECT_TRUE(map.contains(std::string_view("xy")));
}

// Each thread has a handle of its own to one body, whose length is not known yet. All count it,
// copy it and change their handle; the others do so meanwhile.
TEST(AnsiStrRaceTest, ThreadsShareABodyOfUnknownLength) {
    constexpr unsigned kThreads = 4;
    for (int round = 0; round < 100; ++round) {
        char* buffer;
        AnsiStr text(200, buffer);
        std::memset(buffer, 'x', 150);
        buffer[150] = '\0';
        MIME::Test::Gate start(kThreads + 1);
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < kThreads; ++i) {
            threads.emplace_back([&start, own = text]() mutable {
                start.CountAndWait();
                const AnsiStr copy = own;
                EXPECT_EQ(own.GetLength(), 150u);
                own += 'y';
                EXPECT_EQ(copy.GetLength(), 150u);
            });
        }
        start.CountAndWait();
        for (int i = 0; i < 20; ++i) text += '!';
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(text, std::string(150, 'x') + std::string(20, '!'));
    }
}

}  // namespace
}  // namespace KivGuiBase
