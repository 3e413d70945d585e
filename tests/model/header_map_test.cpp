#include "mime/mime.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace MIME {
namespace {

/// The whole map as text: "Name: value; parameter=value|raw" and a newline for each field.
std::string Show(const HeaderMap& headers) {
    std::string all;
    for (const HeaderMap::Node& field : headers) {
        all += std::string(field.key) + ": " + std::string(field.value.value);
        for (const ParameterMap::Node& parameter : field.value.parameters) {
            all += "; " + std::string(parameter.key) + "=" + std::string(parameter.value.value);
            if (parameter.value.raw) all += "|raw";
        }
        all += "\n";
    }
    return all;
}

void Set(HeaderMap& headers, const char* field, const char* name, const char* value, bool raw) {
    ParameterValue& parameter =
        headers.FindOrInsert(field)->value.parameters.FindOrInsert(name)->value;
    parameter.value = value;
    parameter.raw = raw;
}

TEST(HeaderMapTest, CopyingTakesFieldsWithExactlyTheirParameters) {
    HeaderMap source;
    Set(source, "content-type", "format", "flowed", true);
    source.FindOrInsert("content-type")->value.value = "text/html";
    source.FindOrInsert("Subject")->value.value = "new";
    HeaderMap target;
    Set(target, "Content-Type", "charset", "utf-8", false);
    Set(target, "Subject", "x", "y", false);
    target.FindOrInsert("Received")->value.value = "stays";
    ASSERT_TRUE(target.CopyFrom(source));
    ASSERT_TRUE(target.CopyFrom(target));
    target.FindOrInsert(Header::Content_Type);
    EXPECT_EQ(Show(target),
              "Content-Type: text/html; format=flowed|raw\nReceived: stays\nSubject: new\n");
}

TEST(ParameterMapTest, CopyingKeepsParametersOfOtherNames) {
    HeaderMap headers;
    Set(headers, "A", "Charset", "utf-8", true);
    Set(headers, "B", "charset", "ascii", false);
    Set(headers, "B", "name", "n", false);
    ParameterMap& target = headers.Find("b")->value.parameters;
    ASSERT_TRUE(target.CopyFrom(headers.Find("a")->value.parameters));
    ASSERT_TRUE(target.CopyFrom(target));
    EXPECT_EQ(Show(headers), "A: ; Charset=utf-8|raw\nB: ; Charset=utf-8|raw; name=n\n");
}

}  // namespace
}  // namespace MIME
