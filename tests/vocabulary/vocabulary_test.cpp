#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <sstream>
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
            EXPECT_EQ(GetFileTypeMap().GetCount(), 1262u);
            EXPECT_EQ(GetFileExtensionMap().GetCount(), 951u);
        });
    }
    for (std::thread& thread : threads) thread.join();
}

// Every extension gives the type of its row, and every media type an extension that has a type.
TEST(ExtensionMapsTest, EveryRowIsFoundAgain) {
    ContentType found;
    AnsiStr preferred;
    const auto expectRow = [&](Type::keys type, SubType::keys subType, const char* extensions) {
        std::istringstream list(extensions);
        for (std::string ext; list >> ext;) {
            if (ext.front() == '-') ext.erase(0, 1);
            if (ext.back() == '*') ext.pop_back();
            EXPECT_TRUE(GetTypeFromExt(ext, found)) << ext;
            EXPECT_EQ(CanonicType(found.type, found.subType), CanonicType(type, subType)) << ext;
        }
    };
#define MIME_FILE_TYPE(type, subType, extensions) \
    expectRow(Type::type, SubType::subType, extensions);
#include "mime/vocabulary/file_types.inc"
#define MIME_EXTRA_EXTENSION(mediaType, extension)                     \
    EXPECT_TRUE(GetExtFromTypeStr(mediaType, preferred)) << mediaType; \
    EXPECT_EQ(preferred, extension) << mediaType;                      \
    EXPECT_TRUE(GetTypeFromExt(extension, found)) << mediaType;
#include "mime/vocabulary/extra_extensions.inc"
}

}  // namespace
}  // namespace MIME
