#include <gtest/gtest.h>

#include <string>

#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Escape;

void MakeText(Part& part, const char* content, TransferEncoding::keys encoding) {
    part.info.contentType = {"", Type::text, SubType::plain};
    part.info.transferEncoding = encoding;
    part.data.content = content;
}

TEST(EntityTextTest, WritesLeaves) {
    struct Case {
        const char* why;
        void (*make)(Part& part);
        bool contentOnly;
        const char* want;
    };
    const Case kCases[] = {
        {"fields from info, in order, and an encoded body",
         [](Part& part) {
             MakeText(part, "Hello.", TransferEncoding::quoted_printable);
             part.info.charset = "utf-8";
             part.headers.FindOrInsert("Subject")->value.value = "Hi";
         },
         false,
         "Content-Transfer-Encoding: quoted-printable\r\nContent-Type: text/plain; "
         "charset=utf-8\r\n"
         "Subject: Hi\r\n\r\nHello=2E"},
        {"content fields only",
         [](Part& part) {
             MakeText(part, "a", TransferEncoding::bit7);
             part.headers.FindOrInsert("Subject")->value.value = "Hi";
             part.headers.FindOrInsert("Mime-version")->value.value = "1.0";
         },
         true,
         "Mime-Version: 1.0\r\nContent-Transfer-Encoding: 7bit\r\nContent-Type: text/plain\r\n\r\n"
         "a"},
        {"an encoding that is none",
         [](Part& part) { MakeText(part, "=", static_cast<TransferEncoding::keys>(9)); }, false,
         "Content-Transfer-Encoding: 8bit\r\nContent-Type: text/plain\r\n\r\n="},
        {"a body that is encoded already",
         [](Part& part) {
             MakeText(part, "x=", TransferEncoding::base64);
             part.data.encoded = true;
             part.headers.FindOrInsert("Content-Transfer-Encoding")->value.value = "x-mine";
         },
         false, "Content-Transfer-Encoding: x-mine\r\nContent-Type: text/plain\r\n\r\nx="},
        {"stored type and parameters",
         [](Part& part) {
             MakeText(part, "", TransferEncoding::bit7);
             HeaderValue& type = part.headers.FindOrInsert("content-type")->value;
             type.value = "text/html";
             type.parameters.FindOrInsert("format")->value.value = "flowed";
         },
         false,
         "Content-Transfer-Encoding: 7bit\r\nContent-Type: text/plain; format=flowed\r\n\r\n"},
        {"the whole text", [](Part& part) { part.rawText = "as it is"; }, true, "as it is"},
    };
    for (const Case& c : kCases) {
        Part part;
        c.make(part);
        EXPECT_EQ(Escape(part.Serialize(c.contentOnly)), Escape(c.want)) << c.why;
    }
}

TEST(EntityTextTest, WritesTrees) {
    Part message;
    message.info.boundary = "B";
    message.data.topLevel = true;
    message.data.content = "never written";
    message.info.contentType = {"", Type::text, SubType::plain};
    message.headers.FindOrInsert("Subject")->value.value = "Hi";
    auto* nested = new Part;
    nested->info.boundary = "C";
    nested->info.contentType = {"", Type::multipart, SubType::alternative};
    nested->headers.FindOrInsert("X-Nested")->value.value = "kept";
    auto* leaf = new Part;
    MakeText(*leaf, "text", TransferEncoding::bit7);
    leaf->headers.FindOrInsert("Subject")->value.value = "left out";
    auto* raw = new Part;
    raw->rawText = "raw";
    message.AddPart(nested);
    nested->AddPart(leaf);
    message.AddPart(raw);
    EXPECT_EQ(Escape(message.Serialize(true)),
              Escape("Mime-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=B\r\n"
                     "Subject: Hi\r\n\r\nThis is a multipart message in MIME format.\r\n\r\n--B\r\n"
                     "Content-Type: multipart/alternative; boundary=C\r\nX-Nested: kept\r\n"
                     "\r\n--C\r\nContent-Transfer-Encoding: 7bit\r\nContent-Type: text/plain\r\n"
                     "\r\ntext\r\n--C--\r\n\r\n--B\r\nraw\r\n--B--\r\n"));
    EXPECT_EQ(message.headers.Find("Mime-Version"), nullptr) << "the stored fields stay";
    EXPECT_EQ(message.headers.Find("Content-Type"), nullptr);
}

HeaderValue& Set(HeaderMap& headers, const AnsiStr& name, const AnsiStr& value) {
    HeaderValue& field = headers.FindOrInsert(name)->value;
    field.value = value;
    return field;
}

TEST(HeaderWriterTest, WritesRawParametersAsTheyAreAndNoEmptyField) {
    HeaderMap headers;
    HeaderValue& field = Set(headers, "Content-Type", "multipart/mixed");
    field.parameters.FindOrInsert("boundary")->value = {"a b", true};
    Set(headers, "A", "").parameters.FindOrInsert("p")->value.value = "v";
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
        Set(headers, "Subject", attack);
        Set(headers, "To", attack);
        Set(headers, AnsiStr("X-") + AnsiStr(attack), "v");
        for (const char* name : {"X", "Content-Type"}) {
            HeaderValue& field = Set(headers, name, "a/b");
            field.parameters.FindOrInsert("p")->value.value = attack;
            field.parameters.FindOrInsert(attack)->value.value = "v";
        }
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
