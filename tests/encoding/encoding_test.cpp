#include <gtest/gtest.h>

#include <string>

#include "kivgui/convert.h"
#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::Random;

void Set(ParameterMap& map, std::string_view name, std::string_view value) {
    map.FindOrInsert(AnsiStr(name))->value.value = value;
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

TEST(DecodeWordsTest, GivesBackWhatWasEncoded) {
    Random random(8);
    for (int round = 0; round < 3000; ++round) {
        std::string text;
        for (size_t count = random.Below(120); count > 0; --count) {
            constexpr std::string_view kPieces[] = {
                "a", " ",  "=?",    "?=", "\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80",
                "_", "\"", "<x@y>,"};
            text += kPieces[random.Below(std::size(kPieces))];
        }
        const AnsiStr encoded = Encoding::QEncode(AnsiStr(std::string_view(text)), true);
        ASSERT_EQ(Escape(Decoding::Words(encoded)), Escape(text));
        // As the display name of a mailbox, whichever way it is written then.
        const AnsiStr list = Decoding::AddressWords(encoded + AnsiStr(" <a@b>"));
        MailboxParser mailboxes(list);
        ASSERT_TRUE(mailboxes.ToNext()) << Escape(list);
        ASSERT_EQ(Escape(mailboxes.name), Escape(text)) << Escape(list);
        ASSERT_EQ(mailboxes.address, "a@b");
        ASSERT_FALSE(mailboxes.ToNext());
    }
}

TEST(DecodeWordsTest, HostileTextTakesLinearTime) {
    const char* const kPieces[] = {
        "=?", "=?a?q?",         "=?a?b?=", "=?utf-8?q?a?", "=?utf-8?b?!?=",  "?=",    "(",
        "\"", "=?utf-8?Q?a?= ", "<\"",     "=?x?q?a?=",    "=?utf-8?B?Y?= ", "<\\\">"};
    for (const char* piece : kPieces) {
        std::string text;
        while (text.size() < (1 << 19)) text += piece;
        text += "=?utf-8?q?b?=";
        const AnsiStr value{std::string_view(text)};
        EXPECT_LE(Decoding::Words(value).GetLength(), text.size()) << piece;
        EXPECT_LE(Decoding::AddressWords(value).GetLength(), text.size()) << piece;
    }
}

TEST(QuotingTest, EveryByteIsAnAtomCharacterOrNot) {
    const std::string atomCharacters =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!#$%&'*+-/?^_`{|}~";
    for (unsigned byte = 1; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        const bool isAtom = atomCharacters.find(c) != std::string::npos;
        const std::string around = std::string("a") + c + "z";
        EXPECT_EQ(Encoding::IsAtom(AnsiStr(&c, 1)), isAtom) << byte;
        EXPECT_EQ(Encoding::IsAtom(AnsiStr(std::string_view(around))), isAtom) << byte;
    }
}

}  // namespace
}  // namespace MIME
