#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "kivgui/ascii.h"
#include "mime/mime.h"
#include "mime/vocabulary/extension_maps.h"

namespace MIME {
namespace {

std::string SubTypeText(unsigned value) {
    return std::string(SubType::GetStr(static_cast<SubType::keys>(value)));
}

TEST(KeysTest, KeysHaveTheirTexts) {
    EXPECT_EQ(Type::GetStr(Type::application), "application");
    EXPECT_EQ(Type::GetStr(static_cast<Type::keys>(11)), "x_epoc");
    EXPECT_EQ(Type::GetStr(static_cast<Type::keys>(12)), "");
    EXPECT_EQ(Header::GetStr(Header::Content_Transfer_Encoding), "Content-Transfer-Encoding");
    EXPECT_EQ(Header::GetStr(static_cast<Header::keys>(15)), "Date");
    EXPECT_EQ(Header::GetStr(static_cast<Header::keys>(16)), "");
    EXPECT_EQ(SubType::n32kadpcm, 1u);
    EXPECT_EQ(SubTypeText(621), "vnd.qvm.weblaunch") << "stands outside of the alphabet";
    EXPECT_EQ(SubTypeText(1502), "zip");
    EXPECT_EQ(SubTypeText(1503), "");
    EXPECT_EQ(SubTypeText(0xFFFFFFFF), "");
    EXPECT_EQ(CanonicType(Type::x_conference, SubType::x_cooltalk), "x_conference/x-cooltalk");
    EXPECT_EQ(CanonicType(static_cast<Type::keys>(12), SubType::plain), "/plain");
}

// Hosts store these numbers, so no row may move, vanish or change its case: the hash is over
// every text in order, a line each (FNV-1a, 64 bits). 38 pairs differ in case alone.
TEST(KeysTest, NoSubTypeEverMoves) {
    uint64_t hash = 0xCBF29CE484222325;
    std::set<std::string> exact;
    std::set<std::string> caseless;
    for (unsigned value = 0; value < 1503; ++value) {
        std::string text = SubTypeText(value);
        EXPECT_TRUE(exact.insert(text).second) << text;
        for (char c : text + '\n') hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
        for (char& c : text) c = KivGuiBase::ToLowerAscii(c);
        caseless.insert(text);
    }
    EXPECT_EQ(hash, 0x92FCA8CC1B4AD5A0);
    EXPECT_EQ(exact.size() - caseless.size(), 38u);
}

// Says something only in a process that has looked nothing up before.
TEST(FirstUseRaceTest, LookupsAtOnceSeeTheSameWholeTables) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([] {
            const auto& types = GetFileTypeMap();
            const auto& extensions = GetFileExtensionMap();
            EXPECT_EQ(std::distance(types.begin(), types.end()), 1262);
            EXPECT_EQ(std::distance(extensions.begin(), extensions.end()), 951);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

// No entry gives an extension that the other table lacks, and no key holds a letter that
// lower-casing the argument would take away.
TEST(ExtensionMapsTest, EveryKeyIsFoundAgain) {
    ContentType type;
    for (const auto& entry : GetFileTypeMap()) {
        ASSERT_TRUE(GetTypeFromExt(entry.key, type)) << entry.key;
        EXPECT_EQ(type.subType, entry.value.subType) << entry.key;
    }
    for (const auto& entry : GetFileExtensionMap()) {
        AnsiStr ext;
        ASSERT_TRUE(GetExtFromTypeStr(entry.key, ext)) << entry.key;
        EXPECT_EQ(ext, entry.value) << entry.key;
        EXPECT_TRUE(GetTypeFromExt(ext, type)) << entry.key << " " << ext;
    }
}

}  // namespace
}  // namespace MIME
