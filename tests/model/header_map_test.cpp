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

HeaderValue& Set(HeaderMap& headers, const char* name, const char* value) {
    HeaderValue& field = headers.FindOrInsert(name)->value;
    field.value = value;
    return field;
}

void SetParameter(HeaderValue& field, const char* name, const char* value, bool raw = false) {
    ParameterValue& parameter = field.parameters.FindOrInsert(name)->value;
    parameter.value = value;
    parameter.raw = raw;
}

TEST(HeaderMapTest, LookingUpRespellsAndAddsInAlphabeticalOrder) {
    HeaderMap headers;
    Set(headers, "Subject", "s");
    SetParameter(Set(headers, "content-type", "multipart/mixed"), "boundary", "b");
    HeaderValue& type = headers.FindOrInsert("Content-Type")->value;
    EXPECT_EQ(type.parameters.FindOrInsert("Boundary")->value.value, "b");
    headers.FindOrInsert(Header::Content_Transfer_Encoding);
    EXPECT_EQ(std::as_const(headers).Find("X-Nothing"), nullptr);
    EXPECT_EQ(
        Show(headers),
        "Content-Transfer-Encoding: \nContent-Type: multipart/mixed; Boundary=b\nSubject: s\n");
}

TEST(HeaderMapTest, CopyingTakesFieldsWithExactlyTheirParameters) {
    HeaderMap source;
    SetParameter(Set(source, "content-type", "text/html"), "format", "flowed", true);
    Set(source, "Subject", "new");
    HeaderMap target;
    SetParameter(Set(target, "Content-Type", "text/plain"), "charset", "utf-8");
    SetParameter(Set(target, "Subject", "old"), "x", "y");
    Set(target, "Received", "stays");

    ASSERT_TRUE(target.CopyFrom(source));
    const char* want =
        "content-type: text/html; format=flowed|raw\nReceived: stays\nSubject: new\n";
    EXPECT_EQ(Show(target), want);
    ASSERT_TRUE(target.CopyFrom(target));
    EXPECT_EQ(Show(target), want) << "itself";
}

TEST(ParameterMapTest, CopyingKeepsParametersOfOtherNames) {
    HeaderMap headers;
    HeaderValue& source = Set(headers, "A", "a");
    SetParameter(source, "Charset", "utf-8", true);
    HeaderValue& target = Set(headers, "B", "b");
    SetParameter(target, "charset", "ascii");
    SetParameter(target, "name", "n");
    ASSERT_TRUE(target.parameters.CopyFrom(source.parameters));
    ASSERT_TRUE(target.parameters.CopyFrom(target.parameters));
    EXPECT_EQ(Show(headers), "A: a; Charset=utf-8|raw\nB: b; Charset=utf-8|raw; name=n\n");
}

}  // namespace
}  // namespace MIME
