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

TEST(HeaderWriterTest, WritesRawParametersAsTheyStand) {
    HeaderMap headers;
    Set(headers, {{"Content-Type", "multipart/mixed", {{"boundary", "a b"}}}});
    headers.FindOrInsert("Content-Type")->value.parameters.FindOrInsert("boundary")->value.raw =
        true;
    Set(headers, {{"A", "", {{"an empty value", "is no field"}}}});
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
