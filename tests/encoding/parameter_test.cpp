#include <gtest/gtest.h>

#include <string>

#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Escape;

std::string Letters(size_t count) {
    return std::string(count, 'n');
}

std::string Repeat(const std::string& text, size_t count) {
    std::string repeated;
    while (count-- > 0) repeated += text;
    return repeated;
}

struct Case {
    const char* why;
    std::string name;
    std::string value;
    std::string extended;      ///< RFC 2231 where encoding is needed
    std::string encodedWords;  ///< the other form; "=" when it is the same
};

void Check(const Case& c) {
    const AnsiStr name{std::string_view(c.name)};
    const AnsiStr value{std::string_view(c.value)};
    EXPECT_EQ(Escape(Encoding::EncodeParameter(name, value, false)), Escape(c.extended)) << c.why;
    EXPECT_EQ(Escape(Encoding::EncodeParameter(name, value, true)),
              Escape(c.encodedWords == "=" ? c.extended : c.encodedWords))
        << c.why;
}

TEST(ParameterTest, TakesThePlainestFormThatFits) {
    const Case kCases[] = {
        {"an atom", "charset", "utf-8", " charset=utf-8", "="},
        {"an empty value is an atom", "x", "", " x=", "="},
        {"no atom", "name", "my file.txt", " name=\"my file.txt\"", "="},
        {"quotes in it", "n", "a\"b\\", " n=\"a\\\"b\\\\\"", "="},
        {"the longest name", Letters(51), "v", " " + Letters(51) + "=v", "="},
        {"a longer one", Letters(52), "v", "", "="},
        {"an atom that fills the line", "n", Letters(74), " n=" + Letters(74), "="},
        {"an atom that does not fit", "n", Letters(75),
         "\r\n n*0=\"" + Letters(70) + "\";\r\n n*1=\"" + Letters(5) + "\"",
         " n=\r\n\"" + Letters(75) + "\""},
        {"the value ends at a NUL", "n", std::string("a\0b", 3), " n=a", "="},
    };
    for (const Case& c : kCases) Check(c);
}

TEST(ParameterTest, EncodesWhatIsNotAsciiOrTooLong) {
    const std::string umlauts =
        "Ein sehr langer Dateiname mit Umlauten \xC3\xA4\xC3\xB6\xC3\xBC und noch mehr Text damit "
        "es umbricht.pdf";
    const std::string ascii =
        "A very long plain ASCII file name that does not fit on one header line at all.txt";
    const Case kCases[] = {
        {"a short name", "filename",
         "Gr\xC3\xBC\xC3\x9F"
         "e.txt",
         " filename*=utf-8''Gr%C3%BC%C3%9Fe%2Etxt",
         " filename=\"=?utf-8?Q?Gr=C3=BC=C3=9Fe=2Etxt?=\""},
        {"one character", "filename", "\xC3\xA9", " filename*=utf-8''%C3%A9",
         " filename=\"=?utf-8?Q?=C3=A9?=\""},
        {"several sections", "filename", umlauts,
         "\r\n filename*0*=utf-8''Ein%20sehr%20langer%20Dateiname%20mit%20Umlauten%20%C3%A4;"
         "\r\n filename*1*=%C3%B6%C3%BC%20und%20noch%20mehr%20Text%20damit%20es%20umbricht;"
         "\r\n filename*2*=%2Epdf",
         " filename=\r\n\"=?utf-8?Q?Ein_sehr_langer_Dateiname_mit_Umlauten_=C3=A4=C3=B6=C3=BC_und"
         "_n?= =?utf-8?Q?och_mehr_Text_damit_es_umbricht=2Epdf?=\""},
        {"long ASCII", "filename", ascii,
         "\r\n filename*0=\"A very long plain ASCII file name that does not fit on one head\";"
         "\r\n filename*1=\"er line at all.txt\"",
         " filename=\"" + ascii + "\""},
        {"an escape is not divided", "n", Letters(70) + "\"\"",
         "\r\n n*0=\"" + Letters(70) + "\";\r\n n*1=\"\\\"\\\"\"",
         " n=\r\n\"" + Letters(70) + "\\\"\\\"\""},
        {"a run that no line holds is encoded", "n", Letters(79),
         "\r\n n*0=\"" + Letters(70) + "\";\r\n n*1=\"" + Letters(9) + "\"",
         " n=\r\n\"=?utf-8?Q?" + Letters(63) + "?= =?utf-8?Q?" + Letters(16) + "?=\""},
        {"more continuation bytes than a section holds", "n", "\xC3" + std::string(30, '\x80'),
         "\r\n n*0*=utf-8''%C3" + Repeat("%80", 20) + ";\r\n n*1*=" + Repeat("%80", 10),
         " n=\r\n\"=?utf-8?Q?=C3" + Repeat("=80", 20) + "?= =?utf-8?Q?" + Repeat("=80", 10) +
             "?=\""},
    };
    for (const Case& c : kCases) Check(c);
}

}  // namespace
}  // namespace MIME
