#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <utility>

#include "kivgui/convert.h"
#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using MIME::Test::Escape;
using MIME::Test::Random;

void Set(ParameterMap& map, std::string_view name, std::string_view value) {
    map.FindOrInsert(AnsiStr(name))->value.value = value;
}

struct Case {
    const char* why;
    std::initializer_list<std::pair<const char*, const char*>> parameters;
    const char* value;       ///< null when there is no such parameter
    const char* notes = "";  ///< "c" conflicting, "w" encoded word
};

TEST(DecodeParameterTest, FindsEveryForm) {
    const Case kCases[] = {
        {"no parameter", {}, nullptr},
        {"other names", {{"name", "x"}, {"filenames", "x"}, {"filename0", "x"}}, nullptr},
        {"plain", {{"FileName", "a b.txt"}}, "a b.txt"},
        {"raw bytes stay", {{"filename", "\xE4.txt"}}, "\xE4.txt"},
        {"extended", {{"filename*", "utf-8'en'%C3%a4%20.txt"}}, "\xC3\xA4 .txt"},
        {"another charset", {{"filename*", "ISO-8859-1''%E4"}}, "\xC3\xA4"},
        {"another charset, a section", {{"filename*0*", "iso-8859-1''%E4"}}, "\xC3\xA4"},
        {"an empty value", {{"filename*", "utf-8''"}}, ""},
        {"malformed escapes", {{"filename*", "utf-8''100%25%4%xx%"}}, "100%%4%xx%"},
        {"no charset", {{"filename*", "%C3%A4%FF"}}, "\xC3\xA4\xEF\xBF\xBD"},
        {"an empty charset", {{"filename*", "''it's"}}, "it's"},
        {"sections",
         {{"filename*1", "b"}, {"filename*0", "a"}, {"filename*2*", "c%20"}, {"filename*10", "k"}},
         "abc "},
        {"more than ten sections",
         {{"filename*0*", "utf-8''a"},
          {"filename*1", "b"},
          {"filename*2", "c"},
          {"filename*3", "d"},
          {"filename*4", "e"},
          {"filename*5", "f"},
          {"filename*6", "g"},
          {"filename*7", "h"},
          {"filename*8", "i"},
          {"filename*9", "j"},
          {"filename*10*", "%6B"}},
         "abcdefghijk"},
        {"a character divided between sections",
         {{"filename*0*", "utf-8''%E2%82"}, {"filename*1*", "%AC"}},
         "\xE2\x82\xAC"},
        {"a plain section holds percent signs",
         {{"filename*0*", "utf-8''a"}, {"filename*1", "%20'"}},
         "a%20'"},
        {"both forms of a section", {{"filename*0", "a"}, {"filename*0*", "''b"}}, "b"},
        {"no first section", {{"filename*1", "a"}}, nullptr},
        {"no section numbers",
         {{"filename*00", "a"},
          {"filename*x", "b"},
          {"filename*9999999999", "c"},
          {"filename**", "d"}},
         nullptr},
        {"the extended form wins", {{"filename", "a"}, {"filename*", "utf-8''b"}}, "b", "c"},
        {"sections win", {{"filename", "ab"}, {"filename*0", "a"}, {"filename*1", "b"}}, "ab"},
        {"an encoded word",
         {{"filename", "=?utf-8?Q?=C3=A4?= =?utf-8?Q?b?="}},
         "\xC3\xA4"
         "b",
         "w"},
        {"an encoded word divided between sections",
         {{"filename*0", "=?utf-8?Q?=C3"}, {"filename*1", "=A4?="}},
         "\xC3\xA4",
         "w"},
        {"the same in both forms",
         {{"filename", "=?utf-8?Q?=C3=A4?="}, {"filename*", "utf-8''%C3%A4"}},
         "\xC3\xA4"},
        {"an unknown charset gives way",
         {{"filename", "a"}, {"filename*", "x-none''%E4"}},
         "a",
         "c"},
        {"an unknown charset alone", {{"filename*", "x-none''a%E4"}}, "a\xEF\xBF\xBD"},
        {"control characters", {{"filename*", "utf-8''a%0D%0A%00b"}}, "a   b"},
    };
    for (const Case& c : kCases) {
        ParameterMap map;
        for (const auto& [name, value] : c.parameters) Set(map, name, value);
        const Decoding::ParameterResult got = Decoding::Parameter(map, "filename");
        EXPECT_EQ(got.found, c.value != nullptr) << c.why;
        EXPECT_EQ(Escape(got.value), Escape(c.value != nullptr ? c.value : "")) << c.why;
        EXPECT_EQ(std::string(got.conflicting ? "c" : "") + (got.hadEncodedWord ? "w" : ""),
                  c.notes)
            << c.why;
        size_t count = 0;
        for ([[maybe_unused]] const auto& entry : map) ++count;
        EXPECT_EQ(count, c.parameters.size()) << c.why;
    }
}

/// Puts what EncodeParameter wrote into a map, as a reader of folded fields would.
void Parse(std::string_view text, ParameterMap& map) {
    while (!text.empty()) {
        const size_t end = std::min(text.find(";\r\n"), text.size());
        std::string field(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        for (size_t at; (at = field.find("\r\n")) != std::string::npos;) field.erase(at, 2);
        const size_t equals = field.find('=');
        Set(map, std::string_view(field).substr(1, equals - 1),
            KivGuiBase::ExtendedUnQuote(AnsiStr(std::string_view(field).substr(equals + 1))));
    }
}

TEST(DecodeParameterTest, GivesBackWhatWasEncoded) {
    Random random(9);
    for (int round = 0; round < 3000; ++round) {
        std::string value;
        for (size_t count = random.Below(200); count > 0; --count) {
            constexpr std::string_view kPieces[] = {
                "a", "b", ".", " ", "%41", "'", "\"", "\\", "\xC3\xA4", "\xE2\x82\xAC", "*", "="};
            value += kPieces[random.Below(std::size(kPieces))];
        }
        const AnsiStr wanted{std::string_view(value)};
        for (const bool useEncodedWords : {false, true}) {
            ParameterMap map;
            const AnsiStr text = Encoding::EncodeParameter("name", wanted, useEncodedWords);
            Parse(text, map);
            for (size_t at = 0, end; !useEncodedWords && at < text.GetLength(); at = end + 2) {
                end = std::min(std::string_view(text).find("\r\n", at), size_t{text.GetLength()});
                ASSERT_LE(end - at, 78u) << Escape(text);
            }
            const Decoding::ParameterResult got = Decoding::Parameter(map, "name");
            ASSERT_TRUE(got.found) << Escape(text);
            ASSERT_EQ(Escape(got.value), Escape(value)) << Escape(text);
        }
    }
}

TEST(DecodeParameterTest, ManySectionsTakeLinearTime) {
    constexpr unsigned kCount = 100000;
    ParameterMap map;
    for (unsigned i = 0; i < kCount; ++i) Set(map, "n*" + std::to_string(i) + "*", "%C3%A4");
    EXPECT_EQ(Decoding::Parameter(map, "n").value.GetLength(), 2 * kCount);
    // One call for each name sees only its own entries.
    unsigned found = 0;
    for (const auto& entry : map) found += Decoding::Parameter(map, entry.key).found;
    EXPECT_EQ(found, kCount);
}

}  // namespace
}  // namespace MIME
