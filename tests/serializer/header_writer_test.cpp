#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Escape;

struct Field {
    const char* name;
    const char* value;
    std::vector<std::pair<const char*, const char*>> parameters = {};
};

void Set(HeaderMap& headers, const std::vector<Field>& fields) {
    for (const Field& field : fields) {
        HeaderValue& value = headers.FindOrInsert(field.name)->value;
        value.value = field.value;
        for (const auto& [name, text] : field.parameters) {
            value.parameters.FindOrInsert(name)->value.value = text;
        }
    }
}

TEST(HeaderWriterTest, WritesBlocks) {
    struct Case {
        const char* why;
        std::vector<Field> fields;
        bool contentOnly;
        bool skipContent;
        const char* want;
    };
    const std::vector<Field> kMixed = {{"Subject", "Hi"},
                                       {"MIME-VERSION", "1.0"},
                                       {"content-id", "<a>"},
                                       {"Content-Type", "text/plain"},
                                       {"Content", "no content field"}};
    const Case kCases[] = {
        {"nothing", {}, false, false, ""},
        {"the version first, two mailboxes on two lines",
         {{"Subject", "Hello"},
          {"To", "a b <x>, y"},
          {"Content-Type", "text/plain", {{"charset", "utf-8"}}},
          {"MIME-Version", "1.0"}},
         false,
         false,
         "Mime-Version: 1.0\r\nContent-Type: text/plain; charset=utf-8\r\nSubject: Hello\r\n"
         "To: \"a b\" <x>,\r\n y\r\n"},
        {"an empty value is no field",
         {{"A", "", {{"p", "v"}}}, {"B", "b"}},
         false,
         false,
         "B: b\r\n"},
        {"content fields only, and the version", kMixed, true, false,
         "Mime-Version: 1.0\r\ncontent-id: <a>\r\nContent-Type: text/plain\r\n"},
        {"all but them", kMixed, false, true, "Content: no content field\r\nSubject: Hi\r\n"},
        {"both leave nothing", kMixed, true, true, ""},
        {"an address field without a mailbox", {{"Cc", "<a> b"}}, false, false, "Cc: <a> b\r\n"},
        {"mailboxes behind a malformed one are not written",
         {{"Bcc", "a, <b> c, d"}},
         false,
         false,
         "Bcc: a\r\n"},
        {"only six fields have mailboxes",
         {{"Return-Receipt-To", "a b <c>"}},
         false,
         false,
         "Return-Receipt-To: a b <c>\r\n"},
        {"a value that is not ASCII",
         {{"Subject", "\xC3\xA9"}},
         false,
         false,
         "Subject: =?utf-8?Q?=C3=A9?=\r\n"},
        {"parameters of Content-Type and of others",
         {{"content-type", "a/b", {{"name", "\xC3\xA9"}}},
          {"Content-Disposition", "attachment", {{"filename", "\xC3\xA9"}}}},
         false,
         false,
         "Content-Disposition: attachment; filename*=utf-8''%C3%A9\r\n"
         "content-type: a/b; name=\"=?utf-8?Q?=C3=A9?=\"\r\n"},
    };
    for (const Case& c : kCases) {
        HeaderMap headers;
        Set(headers, c.fields);
        EXPECT_EQ(Escape(headers.Serialize(c.contentOnly, c.skipContent)), Escape(c.want)) << c.why;
    }
}

TEST(HeaderWriterTest, WritesRawParametersAsTheyStand) {
    HeaderMap headers;
    Set(headers, {{"Content-Type", "multipart/mixed", {{"boundary", "a b"}}}});
    headers.FindOrInsert("Content-Type")->value.parameters.FindOrInsert("boundary")->value.raw =
        true;
    EXPECT_EQ(headers.Serialize(false, false), "Content-Type: multipart/mixed; boundary=a b\r\n");
}

/// No text that a host stores begins a line of its own.
TEST(HeaderWriterTest, FieldsCannotBeInjected) {
    const char* const kAttacks[] = {"x\r\nBcc: evil",         "x\nBcc: evil",
                                    "x\rBcc: evil",           "x\r\n\r\nbody",
                                    "\r\n\r\nBcc: evil",      "a <b>\r\nBcc: evil",
                                    "\"a\r\nBcc: evil\" <b>", "<b\r\n\r\nBcc: evil>"};
    for (const char* attack : kAttacks) {
        HeaderMap headers;
        Set(headers, {{"Subject", attack},
                      {"To", attack},
                      {"X", "y", {{"p", attack}, {attack, "v"}}},
                      {"Content-Type", "a/b", {{"p", attack}, {attack, "v"}}}});
        headers.FindOrInsert(AnsiStr("X-") + AnsiStr(attack))->value.value = "v";
        const std::string block{std::string_view(headers.Serialize(false, false))};
        std::string names;
        for (size_t start = 0; start < block.size(); start = block.find("\r\n", start) + 2) {
            if (block[start] == ' ' || block[start] == '\t') continue;
            names += block[start];
            ASSERT_NE(block[start], 'B') << Escape(block);
            ASSERT_NE(block[start], '\r') << Escape(block);
        }
        EXPECT_EQ(names, "CSTXX") << Escape(block);
    }
}

}  // namespace
}  // namespace MIME
