#include "kivgui/ansi_str.h"

#include <gtest/gtest.h>

#include <cstring>
#include <latch>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace KivGuiBase {
namespace {

int Sign(int n) {
    return (n > 0) - (n < 0);
}

/// A handle to a body that claims a length and does not have the memory for it: the limits can
/// be reached without 4 GiB. Only what looks at lengths alone may touch it.
AnsiStr ClaimLength(uint32_t length) {
    AnsiStr::Imp* body = AnsiStr::Imp::Init(16, length, "abc", 3);
    AnsiStr text;
    static_assert(sizeof text == sizeof body);
    std::memcpy(static_cast<void*>(&text), static_cast<void*>(&body), sizeof body);
    return text;
}

TEST(AnsiStrTest, NullHandleReadsAsTheEmptyText) {
    const char* none = nullptr;
    AnsiStr texts[] = {AnsiStr(), AnsiStr(none), AnsiStr(""), AnsiStr("x", 0), AnsiSubStr()};
    for (AnsiStr& text : texts) {
        text.Shrink();
        text.Trunc(3).Delete(0, 1).ToLower();
        EXPECT_EQ(text.GetLength(), 0u);
        EXPECT_STREQ(text.GetStr(), "");
        EXPECT_TRUE(text.IsEmpty());
        EXPECT_EQ(text, AnsiStr());
        EXPECT_EQ(text.Copy(0, 5), "");
        EXPECT_EQ(text.Find('\0'), AnsiStr::kMaxLength);
        EXPECT_EQ(text.FindLast('\0'), AnsiStr::kMaxLength);
    }
}

TEST(AnsiStrTest, TextWrittenThroughABufferEndsAtItsNul) {
    struct Case {
        const char* why;
        unsigned room;
        std::string_view written;
        unsigned want;
    };
    const Case cases[] = {
        {"NUL in the middle", 12, {"abc\0efghijk", 11}, 3},
        {"NUL first", 12, {"\0bc", 3}, 0},
        {"filled to the last character, no NUL written", 4, "abcd", 4},
        {"no room at all", 0, "", 0},
    };
    for (const Case& c : cases) {
        char* buffer;
        AnsiStr text(c.room, buffer);
        ASSERT_NE(buffer, nullptr);
        c.written.copy(buffer, c.written.size());
        EXPECT_EQ(text.GetLength(), c.want) << c.why;
        EXPECT_EQ(text.Append('!'), std::string(c.written.substr(0, c.want)) + '!') << c.why;
    }
}

TEST(AnsiStrTest, CountedTextKeepsItsNulCharacters) {
    constexpr std::string_view kText("\0a\0", 3);
    AnsiStr text(kText.data(), 3);
    EXPECT_EQ(text, kText);
    EXPECT_EQ(text + text, std::string(kText) + std::string(kText));
    EXPECT_EQ(text.Append('b'), std::string_view("\0a\0b", 4));
    EXPECT_EQ(text.Delete(1, 2), std::string_view("\0b", 2));
}

// Each change is made once to a body of its own and once to a shared one, whose other handle
// must not see it.
TEST(AnsiStrTest, ChangesLeaveOtherHandlesAlone) {
    struct Case {
        const char* why;
        void (*change)(AnsiStr& text);
        const char* want;
    };
    const Case cases[] = {
        {"append", [](AnsiStr& s) { s += '!'; }, "Hello World!"},
        {"append nothing", [](AnsiStr& s) { s += ""; }, "Hello World"},
        {"append null", [](AnsiStr& s) { s += static_cast<const char*>(nullptr); }, "Hello World"},
        {"append itself", [](AnsiStr& s) { s += s; }, "Hello WorldHello World"},
        {"append a part of itself with room for it",
         [](AnsiStr& s) {
             s.Alloc(50);
             s += AnsiSubStr(s.GetStr() + 5, 6);
         },
         "Hello World World"},
        {"assign a part of itself", [](AnsiStr& s) { s = AnsiSubStr(s.GetStr() + 6, 3); }, "Wor"},
        {"assign itself", [](AnsiStr& s) { s = *&s; }, "Hello World"},
        {"cut", [](AnsiStr& s) { s.Trunc(5); }, "Hello"},
        {"cut to nothing", [](AnsiStr& s) { s.Trunc(0); }, ""},
        {"cut behind the end", [](AnsiStr& s) { s.Trunc(12); }, "Hello World"},
        {"cut and append", [](AnsiStr& s) { s.Trunc(4) += "p"; }, "Hellp"},
        {"insert in front", [](AnsiStr& s) { s.Insert(0, '>'); }, ">Hello World"},
        {"insert inside", [](AnsiStr& s) { s.Insert(5, ','); }, "Hello, World"},
        {"insert before the last", [](AnsiStr& s) { s.Insert(10, '-'); }, "Hello Worl-d"},
        {"insert at the end", [](AnsiStr& s) { s.Insert(11, '!'); }, "Hello World!"},
        {"insert behind the end", [](AnsiStr& s) { s.Insert(99, '!'); }, "Hello World!"},
        {"delete in front", [](AnsiStr& s) { s.Delete(0, 6); }, "World"},
        {"delete inside", [](AnsiStr& s) { s.Delete(4, 2); }, "HellWorld"},
        {"delete more than there is", [](AnsiStr& s) { s.Delete(5, 0xFFFFFFFF); }, "Hello"},
        {"delete everything", [](AnsiStr& s) { s.Delete(0, 11); }, ""},
        {"delete behind the end", [](AnsiStr& s) { s.Delete(11, 1); }, "Hello World"},
        {"lower case", [](AnsiStr& s) { s.ToLower(); }, "hello world"},
        {"reserve", [](AnsiStr& s) { s.Alloc(100); }, "Hello World"},
        {"write anew", [](AnsiStr& s) { std::strcpy(s.Alloc(100), "Bye"); }, "Bye"},
        {"write anew in place",
         [](AnsiStr& s) {
             s.Alloc(100);
             std::strcpy(s.Alloc(50), "Bye");
         },
         "Bye"},
        {"give room back",
         [](AnsiStr& s) {
             s.Alloc(100);
             s.Shrink();
         },
         "Hello World"},
    };
    for (const Case& c : cases) {
        AnsiStr own("Hello World");
        c.change(own);
        EXPECT_EQ(own, c.want) << c.why;
        EXPECT_EQ(std::strlen(own.GetStr()), own.GetLength()) << c.why;

        const AnsiStr other("Hello World");
        AnsiStr shared = other;
        c.change(shared);
        EXPECT_EQ(shared, c.want) << c.why << ", shared";
        EXPECT_EQ(std::strlen(shared.GetStr()), shared.GetLength()) << c.why << ", shared";
        EXPECT_EQ(other, "Hello World") << c.why << ", the other handle";
    }
}

TEST(AnsiStrTest, ReservedRoomIsUsedBeforeTheTextMoves) {
    AnsiStr text;
    const char* place = text.Alloc(100);
    for (int i = 0; i < 100; ++i) text += 'x';
    EXPECT_EQ(text.GetStr(), place);
    text += 'x';
    EXPECT_EQ(text, std::string(101, 'x'));
    EXPECT_EQ(text.GetCapacity(), 101u) << "a single append leaves no spare room";
}

TEST(AnsiStrTest, BuildersGrowInFewStepsAndGiveTheRestBack) {
    AnsiStr text;
    unsigned steps = 0;
    for (unsigned i = 0; i < 1'000'000; ++i) {
        const unsigned before = text.GetCapacity();
        text.Append('x', Growth::spare);
        steps += text.GetCapacity() != before ? 1 : 0;
    }
    EXPECT_LE(steps, 40u);
    text.Shrink();
    EXPECT_EQ(text.GetCapacity(), 1'000'000u);
    EXPECT_EQ(text, std::string(1'000'000, 'x'));
}

TEST(AnsiStrTest, LengthsStopAt32Bits) {
    struct Case {
        const char* why;
        uint32_t length;
        std::string_view added;
        bool fits;
    };
    const Case cases[] = {
        {"one character too many", 0xFFFFFFFF, "d", false},
        {"the last of several is too many", 0xFFFFFFFD, "def", false},
        {"nothing is never too much", 0xFFFFFFFF, "", true},
    };
    for (const Case& c : cases) {
        AnsiStr text = ClaimLength(c.length);
        const char* place = text.GetStr();
        SetLastError(kErrorNone);
        text.Append(c.added, Growth::spare);
        EXPECT_EQ(text.GetLength(), c.length) << c.why;
        EXPECT_EQ(text.GetStr(), place) << c.why;
        EXPECT_STREQ(text.GetStr(), "abc") << c.why;
        EXPECT_EQ(GetLastError(), c.fits ? kErrorNone : kErrorStringOverflow) << c.why;
    }
    SetLastError(kErrorNone);
    EXPECT_TRUE((ClaimLength(0x80000000) + ClaimLength(0x80000000)).IsEmpty());
    EXPECT_EQ(GetLastError(), 0x8002000A);

    for (const uint32_t length : {0u, 1u, 1000u, 0x80000000u, 0xFFFFFFF0u, 0xFFFFFFFFu}) {
        EXPECT_EQ(AnsiStr::Imp::GetExtendSize(length, false), length);
        const uint32_t spare = AnsiStr::Imp::GetExtendSize(length, true);
        EXPECT_GE(spare, length);
        EXPECT_TRUE(spare > length || length == 0xFFFFFFFF) << length;
    }
}

TEST(AnsiStrTest, FindsCharactersFromBothEnds) {
    struct Case {
        const char* text;
        char c;
        unsigned start;
        bool ignoreCase;
        unsigned first;  // of Find
        unsigned last;   // of FindLast
    };
    constexpr unsigned kNone = AnsiStr::kMaxLength;
    const Case cases[] = {
        {"abcabc", 'b', 0, false, 1, kNone},      {"abcabc", 'b', AnsiStr::kToEnd, false, kNone, 4},
        {"abcabc", 'b', 3, false, 4, 1},          {"abcabc", 'b', 4, false, 4, 4},
        {"abcabc", 'a', 6, false, kNone, 3},      {"abcabc", 'a', 0, false, 0, 0},
        {"abcabc", 'x', 2, false, kNone, kNone},  {"abcabc", 'B', 2, false, kNone, kNone},
        {"aBcabc", 'b', 3, true, 4, 1},           {"abcaBc", 'B', 3, true, 4, 1},
        {"a\xC9", '\xE9', 1, true, kNone, kNone},  // letters of ASCII only
    };
    for (const Case& c : cases) {
        EXPECT_EQ(AnsiStr(c.text).Find(c.c, c.start, c.ignoreCase), c.first)
            << c.text << " " << c.c << " " << c.start;
        EXPECT_EQ(AnsiStr(c.text).FindLast(c.c, c.start, c.ignoreCase), c.last)
            << c.text << " " << c.c << " " << c.start;
    }
}

TEST(AnsiStrTest, CopiesParts) {
    struct Case {
        unsigned start;
        unsigned count;
        const char* want;
    };
    const Case cases[] = {
        {0, 3, "abc"}, {0, 6, "abcdef"}, {0, 99, "abcdef"}, {2, AnsiStr::kToEnd, "cdef"},
        {2, 2, "cd"},  {5, 1, "f"},      {6, 1, ""},        {AnsiStr::kToEnd, 1, ""},
        {3, 0, ""},
    };
    const AnsiStr text("abcdef");
    for (const Case& c : cases) {
        EXPECT_EQ(text.Copy(c.start, c.count), c.want) << c.start << ", " << c.count;
        if (c.start == 0) {
            EXPECT_EQ(text.Copy(c.count), c.want) << c.count;
        }
    }
}

TEST(AnsiStrTest, ComparesBytesAsUnsignedValues) {
    struct Case {
        const char* a;
        const char* b;
        int exact;
        int ignoringCase;
    };
    const Case cases[] = {
        {"", "", 0, 0},         {"", "a", -1, -1},        {"abc", "abcd", -1, -1},
        {"abc", "abd", -1, -1}, {"abc", "ABC", 1, 0},     {"ABD", "abc", -1, 1},
        {"Z", "a", -1, 1},      {"Z", "_", -1, 1},  // folding makes lower-case letters, which stand behind "_"
        {"[", "a", -1, -1},     {"@", "`", -1, -1},  // 0x20 apart like "A" and "a", but no letters
        {"\xE9", "z", 1, 1},    {"\xC9", "\xE9", -1, -1},
    };
    for (const Case& c : cases) {
        for (const bool ignoreCase : {false, true}) {
            const int want = ignoreCase ? c.ignoringCase : c.exact;
            EXPECT_EQ(Sign(AnsiStr::Compare(c.a, c.b, ignoreCase)), want) << c.a << " " << c.b;
            EXPECT_EQ(Sign(AnsiStr::Compare(c.b, c.a, ignoreCase)), -want) << c.b << " " << c.a;
            EXPECT_EQ(Sign(AnsiStr::NCompare(c.a, c.b, 4, ignoreCase)), want) << c.a << " " << c.b;
        }
        EXPECT_EQ(AnsiStr::NCompare(c.a, c.b, 0, false), 0) << c.a << " " << c.b;
    }
    EXPECT_EQ(AnsiStr::NCompare("Subject: a", "SUBJECT: b", 9, true), 0);
    EXPECT_LT(AnsiStr::NCompare("Subject: a", "SUBJECT: b", 10, true), 0);
}

// For the thread sanitizer: each thread has a handle of its own to one body, whose length is not
// known yet. All count it, copy it and change their handle.
TEST(AnsiStrRaceTest, ThreadsShareABodyOfUnknownLength) {
    constexpr unsigned kThreads = 4;
    for (int round = 0; round < 100; ++round) {
        char* buffer;
        const AnsiStr text(200, buffer);
        std::memset(buffer, 'x', 150);
        buffer[150] = '\0';
        std::latch start(kThreads);
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < kThreads; ++i) {
            threads.emplace_back([&start, own = text]() mutable {
                start.arrive_and_wait();
                const AnsiStr copy = own;
                EXPECT_EQ(own.GetLength(), 150u);
                own += 'y';
                EXPECT_EQ(own.GetLength(), 151u);
                EXPECT_EQ(copy.GetLength(), 150u);
            });
        }
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(text, std::string(150, 'x'));
    }
}

// The last other handle goes while this thread appends: whether the append copies or writes in
// place, it must not run into the other thread's reading.
TEST(AnsiStrRaceTest, AppendRacesWithTheOtherHandlesEnd) {
    for (int round = 0; round < 200; ++round) {
        AnsiStr text;
        text.Alloc(100);
        text += "shared";
        std::latch start(2);
        std::thread reader([&start, other = text]() mutable {
            start.arrive_and_wait();
            EXPECT_EQ(other, "shared");
            other = AnsiStr();
        });
        start.arrive_and_wait();
        for (int i = 0; i < 20; ++i) text += '!';
        reader.join();
        EXPECT_EQ(text, "shared" + std::string(20, '!'));
    }
}

}  // namespace
}  // namespace KivGuiBase
