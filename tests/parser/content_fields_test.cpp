#include "mime/parser/content_fields.h"

#include <gtest/gtest.h>

#include <cstring>

#include "mime/parser/header_block.h"
#include "parser/reading.h"

namespace MIME {
namespace {

using Test::ToString;

AnsiStr SetType(Part& part, const char* value) {
    AnsiStr error;
    EXPECT_TRUE(ParseHeaderValue(part.headers.FindOrInsert(Header::Content_Type)->value,
                                 AnsiSubStr(value, static_cast<unsigned>(std::strlen(value)))));
    EXPECT_TRUE(SetInfoFromHeaders(part, error)) << error;
    return part.info.boundary;
}

TEST(ContentFieldsTest, MultipartTypesHaveABoundary) {
    struct Case {
        const char* type;
        const char* boundary;
    };
    const Case cases[] = {
        {"multipart/related; boundary=\"=_a b\"; start=\"<root-part>\"; type=\"text/xml\"",
         "=_a b"},
        {"MULTIPART/Mixed;boundary=q", "q"},
        {"multipart/x-unknown; BOUNDARY=q", "q"},
        {"multipart/; boundary=q", "q"},
        {"multipart/mixed", ""},
        {"multipart/mixed; boundary", ""},
        {"multipart/mixed; boundary=\"\"", ""},
        {"multipartx/mixed; boundary=q", ""},
        {"multipart; boundary=q", ""},
        {"\"multipart/mixed\"; boundary=q", ""},
        {"text/plain; boundary=q", ""},
    };
    for (const Case& c : cases) {
        Part part;
        part.info.boundary = "before";
        EXPECT_EQ(SetType(part, c.type), c.boundary) << c.type;
    }
}

// The keys are those of the type that the extension of the field's type stands for.
TEST(ContentFieldsTest, KnownTypesSetTheKeys) {
    struct Case {
        const char* type;
        const char* keys;
    };
    const Case cases[] = {
        {"text/plain; charset=x", "text/plain"},
        {"IMAGE/Gif", "image/gif"},
        {"text/x-unknown", "audio/basic"},
        {"multipart/mixed; boundary=q", "audio/basic"},
        {"", "audio/basic"},
    };
    for (const Case& c : cases) {
        Part part;
        part.info.contentType.type = Type::audio;
        part.info.contentType.subType = SubType::basic;
        SetType(part, c.type);
        EXPECT_EQ(part.info.contentType.GetStr(), c.keys) << c.type;
        EXPECT_TRUE(part.info.contentType.str.IsEmpty()) << c.type;
    }
}

TEST(ContentFieldsTest, TransferEncodings) {
    struct Case {
        const char* text;
        TransferEncoding::keys want;
    };
    const Case cases[] = {
        {"", TransferEncoding::binary},
        {"BASE64", TransferEncoding::base64},
        {"binary", TransferEncoding::binary},
        {"Quoted-Printable", TransferEncoding::quoted_printable},
        {"7bit", TransferEncoding::bit7},
        {"8BIT", TransferEncoding::bit8},
    };
    for (const Case& c : cases) {
        Part part;
        part.headers.FindOrInsert("content-transfer-encoding")->value.value = c.text;
        AnsiStr error;
        EXPECT_TRUE(SetInfoFromHeaders(part, error)) << c.text;
        EXPECT_EQ(part.info.transferEncoding, c.want) << c.text;
    }
    for (const char* text : {"x-uuencode", "7bit ", "base6", "base644", "7bit (comment)"}) {
        Part part;
        part.headers.FindOrInsert("Content-Transfer-Encoding")->value.value = text;
        part.info.transferEncoding = TransferEncoding::bit7;
        AnsiStr error;
        EXPECT_FALSE(SetInfoFromHeaders(part, error)) << text;
        EXPECT_EQ(ToString(error), "unsupported transfer encoding \"" + std::string(text) + "\"");
        EXPECT_EQ(part.info.transferEncoding, TransferEncoding::bit7) << text;
    }
}

}  // namespace
}  // namespace MIME
