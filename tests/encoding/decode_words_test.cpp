#include <gtest/gtest.h>

#include <string>

#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::Random;

TEST(DecodeWordsTest, AShiftedStateGoesOnInTheNextWord) {
    EXPECT_EQ(Decoding::Words("=?iso-2022-jp?B?GyRCRnw=?= =?iso-2022-jp?B?S1wbKEI=?="),
              "\xE6\x97\xA5\xE6\x9C\xAC");
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
        while (text.size() < (1 << 20)) text += piece;
        text += "=?utf-8?q?b?=";
        const AnsiStr value{std::string_view(text)};
        EXPECT_LE(Decoding::Words(value).GetLength(), text.size()) << piece;
        EXPECT_LE(Decoding::AddressWords(value).GetLength(), text.size()) << piece;
    }
}

}  // namespace
}  // namespace MIME
