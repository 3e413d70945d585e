#include "mime/writing/field_text.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "mime/mail.h"
#include "mime/writing/write_failure.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Random;

/// Texts of characters that mean something in fields, of 1 to 4 bytes, short and long.
std::string MakeText(Random& random) {
    const std::string_view kPieces[] = {"a", "b",  "word",         " ", " ", ",", ";",    "<", ">",
                                        "@", "\"", "\\",           "(", ")", ":", ".",    "%", "'",
                                        "*", "=?", "?=",           "=", "_", "ü", "日本", "😀", "?",
                                        "/", "[",  "=?utf-8?q?x?="};
    std::string text;
    for (size_t left = random.Below(random.Below(8) == 0 ? 150 : 15); left > 0; --left) {
        text += kPieces[random.Below(std::size(kPieces))];
    }
    return text;
}

/// Are all lines of a header at most 76 characters, when no single word is longer?
void ExpectShortLines(std::string_view text) {
    for (size_t at = 0; at < text.size();) {
        const size_t end = text.find("\r\n", at);
        const std::string_view line = text.substr(at, end - at);
        const bool isFoldable = line.find(' ', line.find(": ") + 2) != std::string_view::npos;
        EXPECT_TRUE(line.size() <= 76 || !isFoldable) << line;
        at = end + 2;
    }
}

std::string Trim(const std::string& text) {
    const size_t first = std::min(text.find_first_not_of(' '), text.size());
    return text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

TEST(FieldsTest, AreReadAsTheyWereMeant) {
    Random random(12);
    for (int round = 0; round < 3000; ++round) {
        const std::string text = MakeText(random), name = MakeText(random);
        const std::vector<Mailbox> to = {
            {name, "a@b.example"}, {"", "c@d.example"}, {text, "e@[::1]"}};
        const std::vector<Parameter> names = {{"name", name}, {"charset", "utf-8"}};
        const std::vector<Parameter> files = {{"size", "1"}, {"filename", name}};
        const std::string fields =
            WriteTextField("Subject", text, "\r\n") + WriteMailboxField("To", to, "\r\n") +
            WriteParameterField("Content-Type", "text/plain", names, "\r\n") +
            WriteParameterField("Content-Disposition", "attachment", files, "\r\n");
        ExpectShortLines(fields);
        const auto mail = Mail::Parse(fields + "\r\n");
        const Entity top = mail->GetTop();
        EXPECT_EQ(top.GetFields().size(), 4U) << fields;
        EXPECT_EQ(mail->GetSubject(), text) << fields;
        const AddressList list = mail->GetTo();
        ASSERT_EQ(list.size(), to.size()) << fields;
        for (size_t i = 0; i < list.size(); ++i) {
            EXPECT_EQ(list[i].GetName(), Trim(to[i].name)) << fields;
            EXPECT_EQ(list[i].GetAddress(), to[i].address) << fields;
        }
        EXPECT_EQ(top.GetParameter("Content-Type", "name"), name) << fields;
        EXPECT_EQ(top.GetFileName(), name) << fields;
        EXPECT_EQ(top.GetCharset(), "utf-8") << fields;
    }
}

/// A list that is taken is the one that AddressList reads, and nothing is lost on the way.
TEST(FieldsTest, ListsAreReadWholeOrRefused) {
    Random random(5);
    const std::string_view kPieces[] = {"a@b.c", "Bob", "<",  ">",   "<d@e.f>", ",",
                                        ", ",    " ",   "\"", "(x)", "(",       ";",
                                        ":",     "ü",   "\\", ".",   "[",       "=?utf-8?q?=2C?="};
    size_t taken = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string list;
        for (size_t left = 1 + random.Below(9); left > 0; --left) {
            list += kPieces[random.Below(std::size(kPieces))];
        }
        const auto read = Caught<std::vector<Mailbox>>([&] { return ReadMailboxes("To", list); });
        if (!read) continue;
        ++taken;
        const AddressList expected = AddressList::Parse(list);
        EXPECT_TRUE(expected.GetProblems().empty() && expected.GetGroups().empty()) << list;
        ASSERT_EQ(read->size(), expected.size()) << list;
        for (size_t i = 0; i < expected.size(); ++i) {
            EXPECT_EQ((*read)[i].name, expected[i].GetName()) << list;
            EXPECT_EQ((*read)[i].address, expected[i].GetAddress()) << list;
        }
    }
    EXPECT_GT(taken, 300U);
}

/// Every value of WriteDateField can be read, or is refused.
TEST(FieldsTest, DatesAreInRange) {
    using namespace std::chrono;
    const sys_seconds some = sys_days(2026y / July / 9) + 9h;
    EXPECT_EQ(WriteDateField("Date", {some, -90min, true}, "\n"),
              "Date: Thu, 09 Jul 2026 07:30:00 -0130\n");
    for (const Date& date : {Date{sys_days(12000y / January / 1), 0min, true},
                             Date{sys_days(1800y / January / 1), 0min, true},
                             Date{some, 1440min, true}, Date{some, 60min, false}}) {
        EXPECT_THROW(WriteDateField("Date", date, "\n"), WriteFailure);
    }
}

}  // namespace
}  // namespace MIME
