#include "mime/encoding/decode_words.h"

#include <gtest/gtest.h>

#include <string>

#include "mime/mime.h"
#include "support/bytes.h"

namespace MIME {
namespace {

using Test::Escape;
using Test::Random;

struct Case {
    const char* why;
    std::string_view text;
    std::string_view decoded;  ///< "=" when the text stays as it is
};

template <size_t kCount>
void Check(AnsiStr (*decode)(const AnsiStr&), const Case (&cases)[kCount]) {
    for (const Case& c : cases) {
        EXPECT_EQ(Escape(decode(AnsiStr(c.text))), Escape(c.decoded == "=" ? c.text : c.decoded))
            << c.why << ": " << Escape(c.text);
    }
}

TEST(DecodeWordsTest, DecodesUnstructuredText) {
    constexpr Case kCases[] = {
        {"nothing", "", "="},
        {"nothing to decode", "a = b? =", "="},
        {"Q", "=?utf-8?Q?Gr=C3=BC=c3=9fe_x?=",
         "Gr\xC3\xBC\xC3\x9F"
         "e x"},
        {"any case", "=?Utf-8?q?=C3=A4?= =?ISO-8859-1?b?5A==?=", "\xC3\xA4\xC3\xA4"},
        {"a language", "=?us-ascii*en-us?Q?a?=", "a"},
        {"text around it", "x =?utf-8?Q?a?= y", "x a y"},
        {"white space between words is dropped", "=?utf-8?Q?a?= \r\n\t=?utf-8?B?Yg==?=", "ab"},
        {"but not other text", "=?utf-8?Q?a?= x =?utf-8?Q?b?=", "a x b"},
        {"also between charsets", "=?utf-8?Q?a?= =?iso-8859-1?Q?=E4?=", "a\xC3\xA4"},
        {"a divided character", "=?utf-8?Q?=E2=82?= =?UTF-8?Q?=AC?=", "\xE2\x82\xAC"},
        {"a character divided between encodings",
         "=?utf-8?Q?=E2=82?= =?utf-8?B?rA==?=", "\xE2\x82\xAC"},
        {"a divided group", "=?utf-8?B?SGVsb?= =?utf-8?B?G8=?=", "Hello"},
        {"a group divided between three words",
         "=?utf-8?B?SGV?= =?utf-8?B?sb?= =?utf-8?B?G8?=", "Hello"},
        {"padding left out of two words", "=?utf-8?B?SGk?= =?utf-8?B?SGk?=", "HiHi"},
        {"the same, of one byte each", "=?utf-8?B?YQ?= =?utf-8?B?Yg?=", "ab"},
        // What senders do.
        {"no white space around", "a=?utf-8?Q?b?=c=?utf-8?Q?d?==?utf-8?Q?e?=", "abcde"},
        {"blanks inside", "=?utf-8?Q?a b\tc?=", "a b\tc"},
        {"folded inside", "=?utf-8?Q?a\r\n b?=", "a b"},
        {"a question mark inside", "=?utf-8?Q?what? =C3=A4?=", "what? \xC3\xA4"},
        {"blanks in base64", "=?utf-8?B?SGV sbG8=?=", "Hello"},
        {"no escape in Q", "=?utf-8?Q?a=b=4?=", "a=b=4"},
        {"longer than 75 characters",
         "=?utf-8?Q?aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa?"
         "=",
         "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"},
        {"empty words", "a =?utf-8?Q?\?= =?utf-8?B?\?= b", "a  b"},
        {"malformed bytes", "=?utf-8?Q?a=C3?= b", "a\xEF\xBF\xBD b"},
        {"raw bytes outside stay", "\xE4 =?utf-8?Q?=C3=A4?=", "\xE4 \xC3\xA4"},
        // What stays.
        {"an unknown charset", "=?x-none?Q?a?= =?x-none?Q?b?=", "="},
        {"an unknown charset beside a known one",
         "=?utf-8?Q?a?= =?x-none?Q?b?= =?utf-8?Q?c?=", "a =?x-none?Q?b?= c"},
        {"no such encoding", "=?utf-8?X?a?=", "="},
        {"no charset", "=??Q?a?= =?*en?Q?a?=", "="},
        {"no end", "=?utf-8?Q?abc", "="},
        {"rubbish in base64", "=?utf-8?B?YQ!==?=", "="},
        {"no end before the next word", "=?utf-8?Q?a =?utf-8?Q?b?=", "=?utf-8?Q?a b"},
        {"a command for the system's converter", "=?utf-8//IGNORE?Q?a?=", "="},
        // Nothing that ends a field comes out of a word.
        {"control characters", "=?utf-8?Q?a=0D=0ABcc:_x=00y?=", "a  Bcc: x y"},
        {"in UTF-16", "=?utf-16be?B?AGEADQAKAGI=?=", "a  b"},
        {"decoded once", "=?utf-8?Q?=3D=3Futf-8=3FQ=3Fa=3F=3D?=", "=?utf-8?Q?a?="},
    };
    Check(&Decoding::Words, kCases);
}

TEST(DecodeWordsTest, AShiftedStateGoesOnInTheNextWord) {
    EXPECT_EQ(Decoding::Words("=?iso-2022-jp?B?GyRCRnw=?= =?iso-2022-jp?B?S1wbKEI=?="),
              "\xE6\x97\xA5\xE6\x9C\xAC");
}

TEST(DecodeWordsTest, DecodesAddressLists) {
    constexpr Case kCases[] = {
        {"nothing to decode", "\"a\" <b@c>, d@e (f)", "="},
        {"a name", "=?utf-8?Q?J=C3=B6rg?= <a@b>", "J\xC3\xB6rg <a@b>"},
        {"a name that needs quotes", "=?utf-8?Q?Doe=2C_John?= <a@b>", "\"Doe, John\" <a@b>"},
        {"a name with quotes in it", "=?utf-8?Q?a_=22b=22_=5C?= <a@b>",
         "\"a \\\"b\\\" \\\\\" <a@b>"},
        {"a name like an address", "=?utf-8?Q?x=40y=3E=2C?= <a@b>", "\"x@y>,\" <a@b>"},
        {"a name like a word", "=?utf-8?Q?=3D=3Fa=3Fq=3Fb=3F=3D?= <a@b>", "\"=?a?q?b?=\" <a@b>"},
        {"words and atoms", "Dr. =?utf-8?Q?J?= =?utf-8?Q?=C3=B6?= X <a@b>",
         "\"Dr. J\xC3\xB6 X\" <a@b>"},
        {"several mailboxes", "=?utf-8?Q?a?= <a@b>,\r\n =?utf-8?Q?c?= <c@d>",
         "a <a@b>,\r\n c <c@d>"},
        {"no space before the address", "=?utf-8?Q?a?=<a@b>", "a<a@b>"},
        {"in quotes", "\"=?utf-8?Q?J=C3=B6rg?=\" <a@b>", "\"J\xC3\xB6rg\" <a@b>"},
        {"in quotes, with escapes", "\"a\\\" =?utf-8?Q?=22=5C?=\" <a@b>",
         "\"a\\\" \\\"\\\\\" <a@b>"},
        {"quotes beside a word", "=?utf-8?Q?a?= \"b c\" <a@b>", "\"a b c\" <a@b>"},
        {"delimiters inside a word", "=?utf-8?Q?Doe, John (x)?= <a@b>", "\"Doe, John (x)\" <a@b>"},
        {"no word over an address", "=?utf-8?Q?a <a@b>, b?= <c@d>", "="},
        {"a comment", "a@b (=?utf-8?Q?J=C3=B6rg?=)", "a@b (J\xC3\xB6rg)"},
        {"a comment in a comment", "(x (=?utf-8?Q?a=29?=) \\) =?utf-8?Q?b?=) <a@b>",
         "(x (a\\)) \\) b) <a@b>"},
        {"a group", "=?utf-8?Q?a=3Ab?=: =?utf-8?Q?c?= <c@d>;", "\"a:b\": c <c@d>;"},
        {"a word alone", "=?utf-8?Q?a=40b?=", "\"a@b\""},
        {"control characters", "=?utf-8?Q?a=0D=0Ab?= <a@b>", "\"a  b\" <a@b>"},
        {"an unknown charset", "=?x-none?Q?a=2Cb?= <a@b>", "="},
        // Addresses are not touched.
        {"in angle brackets", "x <=?utf-8?Q?a?=@b>", "="},
        {"bare", "=?utf-8?Q?a?=@b", "="},
        {"with a quoted local part",
         "<\"> =?utf-8?Q?a?=\"@b> =?utf-8?Q?c?=", "<\"> =?utf-8?Q?a?=\"@b> c"},
        // Without an end.
        {"an open quote", "=?utf-8?Q?a?= <a@b>, \"=?utf-8?Q?a?=", "a <a@b>, \"=?utf-8?Q?a?="},
        {"an open comment", "(=?utf-8?Q?a?= (x)", "="},
        {"an open address", "=?utf-8?Q?a?= <a =?utf-8?Q?a?=", "a <a =?utf-8?Q?a?="},
    };
    Check(&Decoding::AddressWords, kCases);
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
