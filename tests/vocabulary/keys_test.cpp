#include "mime/mime.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "kivgui/ascii.h"

namespace MIME {
namespace {

constexpr unsigned kSubTypeCount = 1503;

std::string_view SubTypeText(unsigned value, AnsiStr& holder) {
    return holder = SubType::GetStr(static_cast<SubType::keys>(value));
}

struct KeyCase {
    unsigned value;
    std::string_view text;
};

TEST(KeysTest, TypesHaveTheirNumbers) {
    const KeyCase cases[] = {
        {0, "invalid"}, {1, "application"},   {6, "model"},   {7, "multipart"}, {8, "text"},
        {9, "video"},   {10, "x_conference"}, {11, "x_epoc"}, {12, ""},         {0xFFFFFFFF, ""},
    };
    for (const KeyCase& c : cases) {
        EXPECT_EQ(Type::GetStr(static_cast<Type::keys>(c.value)), c.text) << c.value;
    }
    EXPECT_EQ(Type::x_epoc, 11u);
}

TEST(KeysTest, HeadersHaveTheirNumbers) {
    const KeyCase cases[] = {
        {0, "invalid"},
        {1, "Content"},
        {2, "Content-Type"},
        {3, "Content-Transfer-Encoding"},
        {9, "Importance"},
        {15, "Date"},
        {16, ""},
        {0xFFFFFFFF, ""},
    };
    for (const KeyCase& c : cases) {
        EXPECT_EQ(Header::GetStr(static_cast<Header::keys>(c.value)), c.text) << c.value;
    }
    EXPECT_EQ(Header::Disposition_Notification_To, 6u);
}

TEST(KeysTest, SubTypesHaveTheirNumbers) {
    const KeyCase cases[] = {
        {0, "invalid"},
        {1, "32kadpcm"},
        {50, "H261"},
        {82, "alternative"},
        {170, "h261"},
        {202, "jpeg"},
        {239, "mixed"},
        {268, "octet-stream"},
        {279, "pdf"},
        {289, "pkcs7-signature"},
        {296, "plain"},
        {324, "rfc822"},
        {403, "vnd.3M.Post-it-Notes"},
        {621, "vnd.qvm.weblaunch"},  // stands outside of the alphabet
        {1252, "vnd.zzazz.deck+xml"},
        {1253, "vnd.ms-outlook"},  // likewise
        {1254, "vnd_nok_oplogo_color"},
        {1305, "x-cooltalk"},
        {1434, "x-sisx-app"},
        {1460, "x-vCard"},
        {1462, "x-vcard"},
        {1502, "zip"},
        {1503, ""},
        {0xFFFFFFFF, ""},
    };
    AnsiStr holder;
    for (const KeyCase& c : cases) EXPECT_EQ(SubTypeText(c.value, holder), c.text) << c.value;
    EXPECT_EQ(SubType::n32kadpcm, 1u);
    EXPECT_EQ(SubType::vnd_ms_outlook, 1253u);
    EXPECT_EQ(SubType::zip, 1502u);
}

// Hosts store these numbers, so no row may move, vanish or change its case: the hash is over
// every text in order, a line each (FNV-1a, 64 bits).
TEST(KeysTest, NoSubTypeEverMoves) {
    uint64_t hash = 0xCBF29CE484222325;
    AnsiStr holder;
    for (unsigned value = 0; value < kSubTypeCount; ++value) {
        for (char c : std::string(SubTypeText(value, holder)) + '\n') {
            hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
        }
    }
    EXPECT_EQ(hash, 0x92FCA8CC1B4AD5A0);
}

TEST(KeysTest, SubTypesAreDistinctAnd38PairsDifferInCaseAlone) {
    std::set<std::string> exact;
    std::set<std::string> caseless;
    AnsiStr holder;
    for (unsigned value = 0; value < kSubTypeCount; ++value) {
        std::string text(SubTypeText(value, holder));
        EXPECT_TRUE(exact.insert(text).second) << text;
        for (char& c : text) c = KivGuiBase::ToLowerAscii(c);
        caseless.insert(text);
    }
    EXPECT_EQ(exact.size() - caseless.size(), 38u);
}

TEST(KeysTest, CanonicTypeJoinsWhatGetStrGives) {
    struct Case {
        const char* why;
        unsigned type;
        unsigned subType;
        std::string_view want;
    };
    const Case cases[] = {
        {"plain", 8, 296, "text/plain"},
        {"plain", 7, 239, "multipart/mixed"},
        {"the underscore stays", 10, 1305, "x_conference/x-cooltalk"},
        {"letter case stays", 8, 1460, "text/x-vCard"},
        {"zeros", 0, 0, "invalid/invalid"},
        {"no such type", 12, 296, "/plain"},
        {"no such subtype", 8, 1503, "text/"},
        {"neither", 0xFFFFFFFF, 0xFFFFFFFF, "/"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(
            CanonicType(static_cast<Type::keys>(c.type), static_cast<SubType::keys>(c.subType)),
            c.want)
            << c.why;
    }
}

}  // namespace
}  // namespace MIME
